#include "app/window/AtomModel.h"

#include "report/Printable.h"

#include <QFont>
#include <QLocale>
#include <QStringList>

namespace reelwright {
namespace {

    QString typeOf(const AtomNode& node)
    {
        return QString::fromStdString(printable(node.type.text()));
    }

    QString changeInWords(AtomChange change)
    {
        switch (change) {
        case AtomChange::None:
            break;
        case AtomChange::Inside:
            return AtomModel::tr("changes inside");
        case AtomChange::Changed:
            return AtomModel::tr("changes");
        case AtomChange::Removed:
            return AtomModel::tr("goes");
        case AtomChange::Added:
            return AtomModel::tr("new");
        }
        return {};
    }

    QString noteOf(const AtomNode& node)
    {
        QStringList notes;
        if (const auto change = changeInWords(node.change); !change.isEmpty())
            notes << AtomModel::tr("[%1]").arg(change);
        if (!node.note.empty())
            notes << QString::fromStdString(printable(node.note));
        if (node.sizeForm == SizeForm::Extended)
            notes << AtomModel::tr("64-bit size");
        if (node.sizeForm == SizeForm::ToEnd)
            notes << AtomModel::tr("no size: reaches to the end");
        if (node.isCutShort())
            notes << AtomModel::tr("cut short: claims %1 bytes").arg(QLocale().toString(node.claimedSize));
        if (node.trailingBytes != 0)
            notes << AtomModel::tr("%1 bytes at the end are no atom")
                         .arg(QLocale().toString(node.trailingBytes));
        return notes.join(QStringLiteral("; "));
    }

} // namespace

AtomModel::AtomModel(QObject* parent)
    : QAbstractItemModel(parent)
{
}

void AtomModel::setTree(AtomTree tree)
{
    beginResetModel();
    m_tree = std::move(tree);
    m_entries.clear();
    m_outermost.clear();
    add(m_tree.atoms, -1);
    endResetModel();
}

void AtomModel::add(const std::vector<AtomNode>& nodes, int parent)
{
    for (const auto& node : nodes) {
        const auto number = static_cast<int>(m_entries.size());
        auto& siblings = parent < 0 ? m_outermost : m_entries[static_cast<std::size_t>(parent)].children;
        const auto row = static_cast<int>(siblings.size());
        siblings.push_back(number);
        m_entries.push_back({&node, parent, row, {}});
        add(node.children, number);
    }
}

const AtomNode* AtomModel::node(const QModelIndex& index) const
{
    return index.isValid() ? m_entries[index.internalId()].node : nullptr;
}

QModelIndex AtomModel::indexOf(int entry) const
{
    return createIndex(
        m_entries[static_cast<std::size_t>(entry)].row, TypeColumn, static_cast<quintptr>(entry));
}

QString AtomModel::pathOf(int entry) const
{
    QString path;
    for (; entry >= 0; entry = m_entries[static_cast<std::size_t>(entry)].parent)
        path = QLatin1Char('/') + typeOf(*m_entries[static_cast<std::size_t>(entry)].node) + path;
    return path;
}

QModelIndex AtomModel::find(const QString& text, const QModelIndex& from, bool forward) const
{
    const auto count = static_cast<int>(m_entries.size());
    if (text.isEmpty() || count == 0)
        return {};
    const int start = from.isValid() ? static_cast<int>(from.internalId()) : (forward ? -1 : count);
    for (int step = 1; step <= count; ++step) {
        const int entry = ((start + (forward ? step : -step)) % count + count) % count;
        if (pathOf(entry).endsWith(QLatin1Char('/') + text)
            || noteOf(*m_entries[static_cast<std::size_t>(entry)].node).contains(text, Qt::CaseInsensitive))
            return indexOf(entry);
    }
    return {};
}

QModelIndex AtomModel::index(int row, int column, const QModelIndex& parent) const
{
    const auto& rows = parent.isValid() ? m_entries[parent.internalId()].children : m_outermost;
    if (row < 0 || row >= static_cast<int>(rows.size()) || column < 0 || column >= ColumnCount)
        return {};
    return createIndex(row, column, static_cast<quintptr>(rows[static_cast<std::size_t>(row)]));
}

QModelIndex AtomModel::parent(const QModelIndex& index) const
{
    const int above = index.isValid() ? m_entries[index.internalId()].parent : -1;
    return above < 0 ? QModelIndex {} : indexOf(above);
}

int AtomModel::rowCount(const QModelIndex& parent) const
{
    if (parent.column() > 0)
        return 0;
    return static_cast<int>(
        (parent.isValid() ? m_entries[parent.internalId()].children : m_outermost).size());
}

int AtomModel::columnCount(const QModelIndex&) const
{
    return ColumnCount;
}

QVariant AtomModel::data(const QModelIndex& index, int role) const
{
    const auto* atom = node(index);
    if (!atom)
        return {};
    if (role == Qt::TextAlignmentRole && (index.column() == OffsetColumn || index.column() == SizeColumn))
        return QVariant(Qt::AlignRight | Qt::AlignVCenter);
    if (role == Qt::FontRole && atom->change != AtomChange::None) {
        QFont font;
        font.setBold(atom->change != AtomChange::Inside);
        font.setStrikeOut(atom->change == AtomChange::Removed);
        return font;
    }
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
        return {};
    switch (index.column()) {
    case TypeColumn:
        return typeOf(*atom);
    case OffsetColumn:
        return atom->change == AtomChange::Added ? QString() : QLocale().toString(atom->offset);
    case SizeColumn:
        return QLocale().toString(atom->size);
    default:
        return noteOf(*atom);
    }
}

QVariant AtomModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case TypeColumn:
        return tr("Atom");
    case OffsetColumn:
        return tr("Offset");
    case SizeColumn:
        return tr("Bytes");
    default:
        return tr("Notes");
    }
}

} // namespace reelwright
