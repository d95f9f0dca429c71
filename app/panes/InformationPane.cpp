#include "app/panes/InformationPane.h"

#include "app/window/FactsLoader.h"
#include "document/MyDocument.h"
#include "report/InfoReport.h"
#include "report/Printable.h"

#include <QEvent>
#include <QScrollBar>
#include <QTextBrowser>
#include <QVBoxLayout>

#include <algorithm>
#include <cstring>

namespace reelwright {
namespace {

    /// Quieter than the text, but good to read.
    QColor mixed(const QColor& text, const QColor& base)
    {
        const auto part = [](int a, int b) { return (3 * a + 2 * b) / 5; };
        return {
            part(text.red(), base.red()), part(text.green(), base.green()), part(text.blue(), base.blue())};
    }

    QString escaped(const std::string& text)
    {
        return QString::fromStdString(text).toHtmlEscaped();
    }

    QString heading(const QString& text)
    {
        return QStringLiteral("<p style=\"margin-top:12px; margin-bottom:4px\"><b>%1</b></p>").arg(text);
    }

    /// How the names beside the values look; one width for all tables of a report.
    struct NameStyle
    {
        QColor color;
        int width;
    };

    QString table(const std::vector<ReportRow>& rows, const NameStyle& names)
    {
        auto html = QStringLiteral("<table cellspacing=\"0\" cellpadding=\"2\">");
        for (const auto& row : rows)
            html += QStringLiteral(
                "<tr><td width=\"%1\" style=\"color:%2; white-space:pre\">%3</td><td>%4</td></tr>")
                        .arg(names.width)
                        .arg(names.color.name(), escaped(row.name), escaped(row.value));
        return html + QStringLiteral("</table>");
    }

    QString movieReport(const MovieFacts& facts, const NameStyle& names)
    {
        const auto path = printable(facts.file);
        auto html = heading(
            facts.file.empty() ? QObject::tr("Untitled") : escaped(path.substr(path.rfind('/') + 1)));
        html += table(movieRows(facts), names);
        for (const auto& track : facts.tracks) {
            const auto rows = trackRows(track);
            html += heading(
                QStringLiteral("%1 %2").arg(escaped(rows.front().name), escaped(rows.front().value)));
            html += table({rows.begin() + 1, rows.end()}, names);
        }
        if (!facts.warnings.empty())
            html += heading(QObject::tr("Warnings"));
        for (const auto& warning : facts.warnings)
            html += QStringLiteral("<p>%1</p>").arg(escaped(printable(warning)));
        return html;
    }

} // namespace

InformationPane::InformationPane(MyDocument& document, FactsLoader& facts, QWidget* parent)
    : Pane(parent)
    , m_document(document)
    , m_facts(facts)
    , m_report(new QTextBrowser(this))
{
    m_report->setFrameShape(QFrame::NoFrame);
    m_report->setOpenLinks(false);
    m_report->setTabChangesFocus(true);
    m_report->document()->setDocumentMargin(kMargin);
    m_report->setAccessibleName(tr("Information"));
    m_report->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_report->viewport()->setAutoFillBackground(false);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(m_report);
    connect(&m_facts, &FactsLoader::loaded, this, &InformationPane::reload);
}

void InformationPane::reload()
{
    const auto& facts = m_facts.facts();
    if (!facts)
        return;
    const NameStyle names {mixed(palette().color(QPalette::Text), palette().color(QPalette::Base)),
        fontMetrics().horizontalAdvance(tr("Media time scale")) + kMargin};
    QString html;
    if (const auto* record = m_document.selectedTrack()) {
        const auto found = std::find_if(facts->tracks.begin(), facts->tracks.end(),
            [&](const TrackFacts& track) { return track.id == record->trackID(); });
        if (found == facts->tracks.end())
            return; // of a movie that is not read yet
        html = heading(QString::fromStdString(m_document.trackList().title(*m_document.selectedRow())))
            + table(trackRows(*found), names);
    } else if (m_document.selectedRow()) {
        html = movieReport(*facts, names);
    } else {
        html = QStringLiteral("<p>%1</p>").arg(tr("Nothing is selected."));
    }
    if (html == std::exchange(m_shown, html))
        return;
    const int position = m_report->verticalScrollBar()->value();
    m_report->setHtml(html);
    m_report->verticalScrollBar()->setValue(position);
}

QString InformationPane::text() const
{
    return m_report->toPlainText();
}

void InformationPane::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::PaletteChange)
        reload(); // it has colours of its own
    Pane::changeEvent(event);
}

} // namespace reelwright
