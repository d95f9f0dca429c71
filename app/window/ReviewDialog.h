#pragma once

#include <QDialog>

class QLabel;
class QPushButton;
class QTreeWidget;

namespace reelwright {

class FactsLoader;
class MyDocument;

/// What a save would change, step by step: before and after, each step to be taken back by itself.
class ReviewDialog final : public QDialog
{
    Q_OBJECT

public:
    ReviewDialog(MyDocument& document, const FactsLoader& facts, QWidget* parent);

private:
    void load();
    void undo(std::size_t index);

    MyDocument& m_document;
    const FactsLoader& m_facts;
    QLabel* m_title;
    QLabel* m_how;
    QTreeWidget* m_tree;
    QPushButton* m_undoAll;
    QPushButton* m_save;
};

/// "1 change", "3 changes"
QString changesInWords(int count);
/// "header 28 kB, saved in place", or why and how much is written anew.
QString saveInWords(const FactsLoader& facts);

} // namespace reelwright
