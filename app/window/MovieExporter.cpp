#include "app/window/MovieExporter.h"

#include "app/window/ExportDialog.h"
#include "app/window/ProgressSheet.h"
#include "app/window/StillsDialog.h"
#include "document/MyDocument.h"

#include <QFileInfo>
#include <QLocale>

namespace reelwright {
namespace {

    constexpr int kLookMilliseconds = 100;

} // namespace

MovieExporter::MovieExporter(MyDocument& document, QWidget& window)
    : QObject(&window)
    , m_document(document)
    , m_window(window)
    , m_strip(new ProgressSheet(&window))
{
    m_strip->setObjectName(QStringLiteral("exportProgress"));
    connect(m_strip, &ProgressSheet::cancelled, this, [this] { m_document.exporter().cancelProgress(); });
    m_timer.setInterval(kLookMilliseconds);
    connect(&m_timer, &QTimer::timeout, this, [this] { m_document.exporter().update(); });
}

bool MovieExporter::isBusy()
{
    if (!m_document.exporter().isExporting())
        return false;
    m_document.window()->alert("An export is under way",
        "It can be cancelled below the movie; another one can begin when it is done.", {"OK"});
    return true;
}

void MovieExporter::exportMovie(int unsavedChanges)
{
    if (isBusy())
        return;
    auto panel = m_document.exporter().exportQTMovie();
    if (!panel) {
        m_document.window()->alert("Unable to export file", panel.error().message(), {"OK"});
        return;
    }
    auto* dialog = new ExportDialog(m_document, std::move(*panel), unsavedChanges, &m_window);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    connect(dialog, &ExportDialog::helpAsked, this, [this] { emit helpAsked(QStringLiteral("export")); });
    connect(dialog, &QDialog::accepted, this, [this, dialog] {
        auto& exporter = m_document.exporter();
        exporter.takeSettings(dialog->choices());
        exporter.exportTo(dialog->format(), dialog->path().toStdString(), dialog->range());
    });
    dialog->open();
}

void MovieExporter::exportStills(const QTTime& time, bool isOnShow)
{
    if (isBusy())
        return;
    const auto scope = isOnShow ? StillsDialog::Scope::Shown : StillsDialog::Scope::Every;
    auto* dialog = new StillsDialog(m_document, scope, time, &m_window);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    connect(dialog, &StillsDialog::helpAsked, this, [this] { emit helpAsked(QStringLiteral("export")); });
    connect(dialog, &QDialog::accepted, this, [this, dialog] {
        m_document.exporter().exportFrames(dialog->format(), dialog->stills(), dialog->path().toStdString());
    });
    dialog->open();
}

void MovieExporter::show(const std::optional<DocumentWindow::Exporting>& state)
{
    if (!state) {
        m_timer.stop();
        m_strip->end();
        return;
    }
    if (!m_strip->isActive()) {
        m_strip->setLabel(tr("Exporting..."));
        m_strip->setTarget(QString::fromStdString(state->path), 0);
        m_strip->begin();
        m_timer.start();
    }
    m_strip->setFraction(state->fraction);
    const QLocale locale;
    const auto count = [&](std::int64_t number) { return locale.toString(static_cast<qlonglong>(number)); };
    QStringList done {tr("%1 %").arg(static_cast<int>(state->fraction * 100))};
    if (state->picturesTotal > 0)
        done << tr("frame %1 of %2").arg(count(state->pictures), count(state->picturesTotal));
    if (state->bytes > 0)
        done << tr("%1 written").arg(locale.formattedDataSize(
            static_cast<qint64>(state->bytes), 0, QLocale::DataSizeSIFormat));
    QStringList left;
    if (state->fraction > 0.01)
        left << tr("%1 left").arg(ProgressSheet::inWords(state->seconds / state->fraction - state->seconds));
    if (state->seconds > 1) {
        if (state->pictures > 0)
            left << tr("%1 fps").arg(static_cast<int>(static_cast<double>(state->pictures) / state->seconds));
        left << tr("%1 times real time")
                    .arg(locale.toString(state->fraction * state->movieSeconds / state->seconds, 'f', 1));
    }
    m_strip->setDetails(done.join(QStringLiteral(", ")), left.join(QStringLiteral(", ")));
}

bool MovieExporter::mayStop()
{
    auto* window = m_document.window();
    if (!m_document.exporter().isExporting() || !window)
        return true;
    return window->alert("An export is under way", "If it is stopped, nothing of it stays.",
               {"Keep Exporting", "Stop the Export"})
        == 1;
}

} // namespace reelwright
