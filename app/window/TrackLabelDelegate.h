#pragma once

#include <QLinearGradient>
#include <QStyledItemDelegate>

#include <optional>

namespace reelwright {

/// Draws the kind of a row as a coloured label.
class TrackLabelDelegate final : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(
        QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    /// From the bottom to the top of a box of height 1; nothing for a code without a gradient.
    [[nodiscard]] static std::optional<QLinearGradient> gradientForType(std::optional<int> typeCode);

    /// Between the labels of neighbouring cells, in both directions.
    static constexpr int kSpacing = 8;
};

} // namespace reelwright
