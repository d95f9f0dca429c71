#include "app/panes/ChapterTableModel.h"

#include "document/MyDocument.h"

namespace reelwright {

ChapterTableModel::ChapterTableModel(MyDocument& document, QObject* parent)
    : QAbstractTableModel(parent)
    , m_document(document)
    , m_edits(document)
    , m_chapters(m_edits.chapters())
    , m_chapterThumbCache(new ChapterThumbnails(this))
{
    m_chapterThumbCache->setMovie(document.movie());
    connect(m_chapterThumbCache, &ChapterThumbnails::arrived, this, [this] {
        if (rowCount() > 0)
            emit dataChanged(index(0, Picture), index(rowCount() - 1, Picture), {Qt::DecorationRole});
    });
}

void ChapterTableModel::reload()
{
    m_chapterThumbCache->setMovie(m_document.movie());
    auto chapters = m_edits.chapters();
    if (chapters == m_chapters)
        return;
    if (chapters.size() == m_chapters.size()) {
        m_chapters = std::move(chapters);
        emit dataChanged(index(0, 0), index(rowCount() - 1, kColumns - 1));
        return;
    }
    beginResetModel();
    m_chapters = std::move(chapters);
    endResetModel();
}

int ChapterTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_chapters.size());
}

int ChapterTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(kColumns);
}

QString ChapterTableModel::text(std::size_t row, int column) const
{
    const auto& chapter = m_chapters[row];
    if (column == Picture)
        return {};
    if (column == Name)
        return QString::fromStdString(chapter.name);
    if (column == Start)
        return QString::fromStdString(m_edits.startText(chapter.start));
    const auto end = row + 1 < m_chapters.size() ? m_chapters[row + 1].start : m_document.movie().duration();
    return QString::fromStdString(m_edits.startText(std::max(end - chapter.start, QTTime {0, 1})));
}

QVariant ChapterTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    if (role == Qt::DisplayRole || role == Qt::EditRole)
        return text(static_cast<std::size_t>(index.row()), index.column());
    if (role == Qt::TextAlignmentRole && index.column() == Length)
        return static_cast<int>(Qt::AlignRight | Qt::AlignVCenter);
    if (role == Qt::DecorationRole && index.column() == Picture)
        return m_chapterThumbCache->at(m_chapters[static_cast<std::size_t>(index.row())].start);
    return {};
}

QVariant ChapterTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return {};
    if (orientation == Qt::Vertical)
        return section + 1;
    return section == Start ? tr("Start")
        : section == Name   ? tr("Name")
        : section == Length ? tr("Length")
                            : tr("Picture");
}

Qt::ItemFlags ChapterTableModel::flags(const QModelIndex& index) const
{
    const auto flags = QAbstractTableModel::flags(index);
    return index.isValid() && (index.column() == Start || index.column() == Name) ? flags | Qt::ItemIsEditable
                                                                                  : flags;
}

bool ChapterTableModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!index.isValid() || role != Qt::EditRole || index.row() >= rowCount())
        return false;
    const auto row = static_cast<std::size_t>(index.row());
    if (value.toString() == text(row, index.column()))
        return false;
    const auto typed = value.toString().toStdString();
    const auto done = index.column() == Start ? m_edits.setStart(row, typed) : m_edits.setName(row, typed);
    if (!done)
        emit refused(QString::fromStdString(done.error().detail));
    return done.has_value();
}

} // namespace reelwright
