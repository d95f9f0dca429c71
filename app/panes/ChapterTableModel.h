#pragma once

#include "app/panes/ChapterThumbnails.h"
#include "document/DocumentChapters.h"

#include <QAbstractTableModel>

namespace reelwright {

/// What the chapter table shows: starts, names, lengths and pictures. Tells what only changed in place, so
/// that an open editor stays.
class ChapterTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { Start, Name, Length, Picture, kColumns };

    ChapterTableModel(MyDocument& document, QObject* parent);

    /// Takes the chapters from the document again.
    void reload();
    [[nodiscard]] const std::vector<Chapter>& chapters() const { return m_chapters; }

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;

signals:
    /// What was typed was refused, and why.
    void refused(const QString& reason);

private:
    [[nodiscard]] QString text(std::size_t row, int column) const;

    MyDocument& m_document;
    DocumentChapters m_edits;
    std::vector<Chapter> m_chapters;
    ChapterThumbnails* m_chapterThumbCache;
};

} // namespace reelwright
