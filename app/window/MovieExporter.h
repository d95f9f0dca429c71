#pragma once

#include "document/DocumentWindow.h"

#include <QObject>
#include <QTimer>

#include <functional>

class QWidget;

namespace reelwright {

class MyDocument;
class ProgressSheet;

/// What a window has for exports: the questions, and the strip that tells how far one is. Borrows the
/// document, which does the work.
class MovieExporter final : public QObject
{
    Q_OBJECT

public:
    MovieExporter(MyDocument& document, QWidget& window);

    [[nodiscard]] ProgressSheet& strip() { return *m_strip; }

    void exportMovie(int unsavedChanges);
    /// `isOnShow`: one picture, that of `time`; else a series or a sheet.
    void exportStills(const QTTime& time, bool isOnShow);
    /// What the document tells of an export.
    void show(const std::optional<DocumentWindow::Exporting>& state);
    /// Asks whether an export that runs may be stopped. True when none runs.
    bool mayStop();

signals:
    void helpAsked(const QString& page);

private:
    bool isBusy();

    MyDocument& m_document;
    QWidget& m_window;
    ProgressSheet* m_strip;
    QTimer m_timer;
};

} // namespace reelwright
