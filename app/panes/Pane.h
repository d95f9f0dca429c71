#pragma once

#include <QWidget>

namespace reelwright {

/// What stands in a tab of a document's window.
class Pane : public QWidget
{
    Q_OBJECT

public:
    using QWidget::QWidget;

    /// Shows the document as it is now. Called when the tab appears, and after every edit.
    virtual void reload() = 0;

    /// Round what stands in a tab, and between what belongs together in it.
    static constexpr int kMargin = 16;
    static constexpr int kSpacing = 8;
};

} // namespace reelwright
