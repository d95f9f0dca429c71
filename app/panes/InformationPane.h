#pragma once

#include "app/panes/Pane.h"

class QTextBrowser;

namespace reelwright {

class FactsLoader;
class MyDocument;

/// The report on what is selected, as text that can be selected and copied. Borrows the document and the
/// loader.
class InformationPane final : public Pane
{
    Q_OBJECT

public:
    InformationPane(MyDocument& document, FactsLoader& facts, QWidget* parent = nullptr);

    void reload() override;
    [[nodiscard]] QString text() const;

protected:
    void changeEvent(QEvent* event) override;

private:
    MyDocument& m_document;
    FactsLoader& m_facts;
    QTextBrowser* m_report;
    QString m_shown;
};

} // namespace reelwright
