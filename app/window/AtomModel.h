#pragma once

#include "report/AtomTree.h"

#include <QAbstractItemModel>

#include <vector>

namespace reelwright {

/// A file's atoms as a tree: type, place, size, what is worth knowing.
class AtomModel final : public QAbstractItemModel
{
    Q_OBJECT

public:
    enum Column { TypeColumn, OffsetColumn, SizeColumn, NoteColumn, ColumnCount };

    explicit AtomModel(QObject* parent = nullptr);

    void setTree(AtomTree tree);
    [[nodiscard]] const AtomTree& tree() const { return m_tree; }
    /// Null for no atom.
    [[nodiscard]] const AtomNode* node(const QModelIndex& index) const;
    /// The next atom (or the one before) whose path from the outermost level ends with the text ("tkhd",
    /// "trak/tkhd") or whose note has it, beginning behind `from` and round the end; none when there is none.
    [[nodiscard]] QModelIndex find(const QString& text, const QModelIndex& from, bool forward) const;

    [[nodiscard]] QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    [[nodiscard]] QModelIndex parent(const QModelIndex& index) const override;
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    /// An atom in the order of the file, with the one that holds it.
    struct Entry
    {
        const AtomNode* node;
        int parent; ///< number of its entry; -1 on the outermost level
        int row;
        std::vector<int> children;
    };

    void add(const std::vector<AtomNode>& nodes, int parent);
    [[nodiscard]] QModelIndex indexOf(int entry) const;
    [[nodiscard]] QString pathOf(int entry) const;

    AtomTree m_tree;
    std::vector<Entry> m_entries;
    std::vector<int> m_outermost;
};

} // namespace reelwright
