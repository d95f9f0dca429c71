#pragma once

#include "movie/QTMovie.h"
#include "report/AtomTree.h"

#include <QDialog>

#include <memory>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QTableWidget;
class QTreeView;

namespace reelwright {

class AtomModel;
class MyDocument;

/// The atoms of a movie's file: places, sizes, fields by name, bytes; and which of them a save would change.
/// It shows and changes nothing.
class AtomInspector final : public QDialog
{
    Q_OBJECT

public:
    AtomInspector(MyDocument& document, QWidget* parent);
    ~AtomInspector() override;

    /// Reads the file again.
    void load();

private:
    void showTree(const AtomTree& tree);
    void showAtom(const QModelIndex& index);
    void showDetail(const AtomNode& node, const Result<AtomDetail>& detail);
    void find(bool forward);

    MyDocument& m_document;
    std::unique_ptr<AtomModel> m_model;
    QLineEdit* m_search;
    QLabel* m_state;
    QTreeView* m_tree;
    QTableWidget* m_fields;
    QPlainTextEdit* m_bytes;
    std::uint64_t m_asked
        = 0; ///< counts selections: details of an atom that is not selected any more are dropped
};

} // namespace reelwright
