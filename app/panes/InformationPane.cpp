#include "app/panes/InformationPane.h"

#include "app/shell/FileChooser.h"
#include "app/window/FactsLoader.h"
#include "document/MyDocument.h"
#include "report/InfoReport.h"
#include "report/Printable.h"
#include "support/FileHelper.h"

#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>

namespace reelwright {
namespace {

    /// Further facts in the form of the report.
    std::string lines(const std::vector<ReportRow>& rows)
    {
        std::string text;
        for (const auto& row : rows)
            text += row.name + ": " + row.value + '\n';
        return text;
    }

    std::string movieText(const MovieFacts& facts, const InformationTexts& texts)
    {
        auto text = texts.movie + "\n\n" + lines(movieRows(facts));
        for (const auto& track : facts.tracks)
            text += '\n' + lines(trackRows(track));
        for (const auto& warning : facts.warnings)
            text += "\nWarning: " + printable(warning);
        return text;
    }

} // namespace

InformationPane::InformationPane(MyDocument& document, FactsLoader& facts, QWidget* parent)
    : Pane(parent)
    , m_document(document)
    , m_facts(facts)
    , m_report(new QPlainTextEdit)
    , m_copy(new QPushButton(tr("Copy")))
    , m_save(new QPushButton(tr("Save…")))
{
    m_report->setFrameShape(QFrame::NoFrame);
    m_report->setReadOnly(true);
    m_report->setTabChangesFocus(true);
    m_report->document()->setDocumentMargin(kMargin);
    m_report->setAccessibleName(tr("Information"));
    m_report->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_report->viewport()->setAutoFillBackground(false);
    m_copy->setToolTip(tr("The whole text to the clipboard"));
    m_save->setToolTip(tr("The whole text as a file"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(m_report, 1);
    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(kMargin, 0, kMargin, kSpacing);
    buttons->addStretch(1);
    buttons->addWidget(m_copy);
    buttons->addWidget(m_save);
    layout->addLayout(buttons);
    connect(m_copy, &QPushButton::clicked, this, [this] { QApplication::clipboard()->setText(text()); });
    connect(m_save, &QPushButton::clicked, this, &InformationPane::saveReport);
    connect(&m_facts, &FactsLoader::loaded, this, &InformationPane::reload);
}

void InformationPane::reload()
{
    const auto& facts = m_facts.facts();
    const auto& texts = m_facts.texts();
    if (!facts || !texts)
        return;
    QString shown;
    if (const auto* record = m_document.selectedTrack()) {
        const auto found = std::find_if(facts->tracks.begin(), facts->tracks.end(),
            [&](const TrackFacts& track) { return track.id == record->trackID(); });
        const auto report = texts->tracks.find(record->trackID());
        if (found == facts->tracks.end() || report == texts->tracks.end())
            return; // of a movie that is not read yet
        shown = QString::fromStdString(report->second + "\n\n" + lines(trackRows(*found)));
    } else if (m_document.selectedRow()) {
        shown = QString::fromStdString(movieText(*facts, *texts));
    }
    m_copy->setEnabled(!shown.isEmpty());
    m_save->setEnabled(!shown.isEmpty());
    if (shown.isEmpty())
        shown = tr("Nothing is selected.");
    if (shown == text())
        return;
    const int position = m_report->verticalScrollBar()->value();
    m_report->setPlainText(shown);
    m_report->verticalScrollBar()->setValue(position);
}

QString InformationPane::text() const
{
    return m_report->toPlainText();
}

void InformationPane::saveReport()
{
    QFileDialog chooser {this, tr("Save Information")};
    chooser.setAcceptMode(QFileDialog::AcceptSave);
    chooser.setNameFilter(tr("Text (*.txt)"));
    chooser.setDefaultSuffix(QStringLiteral("txt"));
    chooser.selectFile(tr("%1 Information").arg(QString::fromStdString(m_document.displayName())));
    makeRoomInFileChooser(chooser);
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty())
        return;
    const auto path = chooser.selectedFiles().first();
    if (const auto error = FileHelper::writeAtomically(path.toStdString(), text().toStdString()))
        QMessageBox::warning(this, tr("Unable to save the information"),
            QStringLiteral("%1: %2").arg(path, QString::fromStdString(error.message())));
}

} // namespace reelwright
