#include "app/batch/BatchMainWindow.h"
#include "app/shell/AppController.h"
#include "app/shell/Appearance.h"
#include "app/shell/ManualWindow.h"
#include "app/shell/PreferencesDialog.h"
#include "app/shell/StartWindow.h"
#include "app/window/ExportDialog.h"
#include "app/window/MovieWindow.h"
#include "app/window/PanelTabWidget.h"
#include "app/window/StillsDialog.h"
#include "app/window/TrackSizeDialog.h"
#include "app/window/TrackTable.h"
#include "tests/app/AppTest.h"

#include <QAccessible>
#include <QLabel>
#include <QTextBrowser>

#include <cmath>

namespace reelwright::test {
namespace {

    /// What a screen reader could not tell of the controls of a window.
    QStringList unnamed(QWidget& window)
    {
        QStringList wrong;
        for (auto* widget : window.findChildren<QWidget*>()) {
            if (!widget->isVisibleTo(&window))
                continue;
            if (auto* label = qobject_cast<QLabel*>(widget);
                label && label->text().contains(QLatin1Char('&')) && label->textFormat() != Qt::PlainText
                && !label->buddy() && !Qt::mightBeRichText(label->text()))
                wrong << QStringLiteral("label without its field: ") + label->text();
            if ((widget->focusPolicy() & Qt::TabFocus) == 0)
                continue;
            // The parts of a combo box and a spin box speak for the whole.
            if (widget->parentWidget() && (widget->parentWidget()->inherits("QAbstractSpinBox") || widget->parentWidget()->inherits("QComboBox")))
                continue;
            auto* interface = QAccessible::queryAccessibleInterface(widget);
            const auto what = QStringLiteral("%1 \"%2\" in %3")
                                  .arg(QLatin1String(widget->metaObject()->className()), widget->objectName(),
                                      QLatin1String(widget->parentWidget()->metaObject()->className()));
            if (!interface || interface->role() == QAccessible::NoRole)
                wrong << what + QStringLiteral(": no role");
            else if (interface->text(QAccessible::Name).isEmpty())
                wrong << what + QStringLiteral(": no name");
        }
        return wrong;
    }

    double luminance(const QColor& color)
    {
        const auto part = [](double value) {
            return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * part(color.redF()) + 0.7152 * part(color.greenF()) + 0.0722 * part(color.blueF());
    }

    double contrast(const QColor& a, const QColor& b)
    {
        const auto lighter = std::max(luminance(a), luminance(b));
        const auto darker = std::min(luminance(a), luminance(b));
        return (lighter + 0.05) / (darker + 0.05);
    }

} // namespace

class AccessibilityTest : public QObject
{
    Q_OBJECT

private slots:
    void everyControlOfTheMovieWindowIsNamed();
    void everyControlOfTheDialogsIsNamed();
    void textsStandOutFromTheirGround();
    void theManualHasAPageForEachPane();
};

void AccessibilityTest::everyControlOfTheMovieWindowIsNamed()
{
    AppFixture app;
    MovieWindow window {app.open(app.sample("timecode-25.mov")), ApplicationActions {}};
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    auto& table = *window.findChild<TrackTable*>();
    auto& tabs = *window.findChild<PanelTabWidget*>();
    for (int row = 0; row < table.model()->rowCount(); ++row) {
        table.selectRow(row);
        for (int tab = 0; tab < tabs.count(); ++tab) {
            tabs.setCurrentIndex(tab);
            const auto wrong = unnamed(window);
            QVERIFY2(wrong.isEmpty(),
                qPrintable(tabs.tabText(tab) + QLatin1Char('\n') + wrong.join(QLatin1Char('\n'))));
        }
    }
}

void AccessibilityTest::everyControlOfTheDialogsIsNamed()
{
    AppFixture app;
    const auto path = app.sample("timecode-25.mov");
    auto document = app.open(path);
    Preferences shared {app.folder.filePath(QStringLiteral("shared.plist")).toStdString()};
    std::vector<std::unique_ptr<QWidget>> windows;
    windows.push_back(std::make_unique<ExportDialog>(
        *document, document->exporter().exportQTMovie().value(), 3, nullptr));
    windows.push_back(
        std::make_unique<StillsDialog>(*document, StillsDialog::Scope::Every, QTTime {0, 25}, nullptr));
    windows.push_back(std::make_unique<PreferencesDialog>(app.preferences, shared, nullptr));
    windows.push_back(std::make_unique<TrackSizeDialog>(nullptr));
    windows.push_back(std::make_unique<ManualWindow>());
    windows.push_back(std::make_unique<BatchMainWindow>(
        BatchEnvironment {app.mainThread, app.preferences, app.storage, BatchFiles::real()}, ApplicationActions {},
        QStringList {path}));
    for (const auto& window : windows) {
        window->show();
        const auto wrong = unnamed(*window);
        QVERIFY2(wrong.isEmpty(),
            qPrintable(window->windowTitle() + QLatin1Char('\n') + wrong.join(QLatin1Char('\n'))));
    }
}

void AccessibilityTest::textsStandOutFromTheirGround()
{
    constexpr double kReadable = 4.5;
    for (const auto kind : {Appearance::Kind::Light, Appearance::Kind::Dark}) {
        Appearance::apply(kind);
        const auto palette = QApplication::palette();
        using Role = QPalette::ColorRole;
        for (const auto& [text, ground] : {std::pair<Role, Role> {QPalette::WindowText, QPalette::Window},
                 {QPalette::Text, QPalette::Base}, {QPalette::Text, QPalette::AlternateBase},
                 {QPalette::ButtonText, QPalette::Button}, {QPalette::HighlightedText, QPalette::Highlight},
                 {QPalette::PlaceholderText, QPalette::Base}, {QPalette::PlaceholderText, QPalette::Window}}) {
            auto ink = palette.color(text);
            const auto paper = palette.color(ground);
            const auto mixed = [&](int a, int b) { return (a * ink.alpha() + b * (255 - ink.alpha())) / 255; };
            ink = QColor(mixed(ink.red(), paper.red()), mixed(ink.green(), paper.green()), mixed(ink.blue(), paper.blue()));
            QVERIFY2(contrast(ink, paper) >= kReadable,
                qPrintable(QStringLiteral("%1 on %2: %3").arg(text).arg(ground).arg(contrast(ink, paper))));
        }
        for (const auto tone : {Appearance::Tone::New, Appearance::Tone::Warning, Appearance::Tone::Error,
                 Appearance::Tone::Information})
            QVERIFY(contrast(Appearance::tone(palette, tone), palette.color(QPalette::Base)) >= kReadable);
    }
    Appearance::apply(Appearance::Kind::System);
}

void AccessibilityTest::theManualHasAPageForEachPane()
{
    AppFixture app;
    MovieWindow window {app.open(app.sample("text-track.mov")), ApplicationActions {}};
    auto& table = *window.findChild<TrackTable*>();
    auto& tabs = *window.findChild<PanelTabWidget*>();
    ManualWindow manual;
    const auto first = manual.browser().source();
    for (int row = 0; row < table.model()->rowCount(); ++row) {
        table.selectRow(row);
        for (int tab = 0; tab < tabs.count(); ++tab) {
            tabs.setCurrentIndex(tab);
            manual.showPage(tabs.helpPage());
            QVERIFY2(manual.browser().source() != first, qPrintable(tabs.tabText(tab)));
            QVERIFY(manual.browser().toPlainText().size() > 100);
        }
    }
    manual.showPage(QStringLiteral("nonsense"));
    QCOMPARE(manual.browser().source(), first);
}

} // namespace reelwright::test

QTEST_MAIN(reelwright::test::AccessibilityTest)
#include "AccessibilityTest.moc"
