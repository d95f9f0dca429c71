#pragma once

#include "app/panes/Pane.h"

class QPlainTextEdit;
class QPushButton;

namespace reelwright {

class FactsLoader;
class MyDocument;

/// The information report on what is selected, and below it further facts, as text that can be selected,
/// copied and saved. Borrows the document and the loader.
class InformationPane final : public Pane
{
    Q_OBJECT

public:
    InformationPane(MyDocument& document, FactsLoader& facts, QWidget* parent = nullptr);

    void reload() override;
    [[nodiscard]] QString text() const;

private:
    void saveReport();

    MyDocument& m_document;
    FactsLoader& m_facts;
    QPlainTextEdit* m_report;
    QPushButton* m_copy;
    QPushButton* m_save;
};

} // namespace reelwright
