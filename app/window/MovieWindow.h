#pragma once

#include "app/shell/ApplicationActions.h"
#include "document/DocumentWindow.h"
#include "edits/Edit.h"

#include <QMainWindow>
#include <QTimer>

#include <memory>

class QLabel;
class QPushButton;
class QSplitter;

namespace reelwright {

class BannerBar;
class FactsLoader;
class FullScreen;
class MovieExporter;
class MovieView;
class MyDocument;
class PanelTabWidget;
class ProgressSheet;
class TimecodeField;
class TrackPanel;
class TransportBar;
class WindowActions;

/// The window of one movie document: what the movie is on the left, what can be done to it on the right. It
/// shows and asks; all rules are the document's.
class MovieWindow final : public QMainWindow, public DocumentWindow
{
    Q_OBJECT

public:
    MovieWindow(std::unique_ptr<MyDocument> document, const ApplicationActions& actions);
    ~MovieWindow() override;

    /// Asks whether an export that runs may be stopped; true when none runs.
    bool mayStopExport();
    [[nodiscard]] MyDocument& document() { return *m_document; }
    [[nodiscard]] const MyDocument& document() const { return *m_document; }

    // What the document asks of its window.

    std::size_t alert(
        const std::string& title, const std::string& text, const std::vector<std::string>& buttons) override;
    std::optional<std::string> chooseSavePath(
        const std::string& title, const std::string& suggestedPath) override;
    void updateProgressLabel(const std::string& label) override;
    void showProgress() override;
    void setProgress(double fraction) override;
    void endProgress() override;
    void setProgressTarget(const std::string& path) override;
    void saved(const Saved& what) override;
    void showExport(const std::optional<Exporting>& state) override;
    void requestAttention() override;
    void reloadTrackList() override;
    void reloadSelection() override;
    void movieReplaced() override;
    void movieReleased() override;
    [[nodiscard]] QTTime currentTime() const override;
    void setCurrentTime(const QTTime& time) override;
    void titleChanged() override;
    void editedChanged() override;
    void undoChanged() override;
    void closeWindow() override;
    [[nodiscard]] bool timecodeFieldHasFocus() const override;
    [[nodiscard]] std::string timecodeFieldText() const override;
    void setTimecodeFieldText(const std::string& text) override;
    void focusNextControl() override;

signals:
    /// Movie files were dropped on the window.
    void filesDropped(const QStringList& paths);
    /// A quick task is wanted for more files than this one.
    void batchAsked(int tag);
    /// The manual is wanted, at that page.
    void helpAsked(const QString& page);
    /// The document has another file (it was saved as).
    void pathChanged();
    /// The window is closed for good; whoever made it has to delete it later, not at once.
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void layOut();
    void connectActions();
    void connectViews();
    void updateActions();
    /// The transport bar, with the timecode field in it.
    void showController(bool shown);
    /// What is being typed somewhere counts, before a save or a question.
    void finishEditing();
    void connectTrackActions();
    /// The strip at the bottom and the banners: what a save would do, and what is true of the file.
    void showPendingSave();
    void goToNextArea();
    void findCommand();
    void showKeys();
    /// Performs an edit of tracks, and tells why where it cannot be done.
    void checkMovie();
    void performTold(const Edit& edit, const std::string& title);
    void checkMedia();
    void connectExports();

    /// Shows the timecode where it may have changed.
    void followTime();
    /// Has the timecode for `followTime` read where that may take its time.
    void readTimecode(const QTTime& time);
    /// Goes to what was typed, once all that this asks of the disk was read.
    void goToTypedTimecode();

    std::unique_ptr<MyDocument> m_document;
    FactsLoader* m_facts;
    MovieView* m_view;
    TimecodeField* m_timecode;
    TransportBar* m_transport; ///< the movie itself may hide it
    FullScreen* m_fullScreen;
    WindowActions* m_actions;
    TrackPanel* m_tracks;
    PanelTabWidget* m_panels;
    ProgressSheet* m_progress;
    MovieExporter* m_exporter;
    BannerBar* m_banners;
    QLabel* m_pending; ///< what a save would do
    QPushButton* m_review;
    QSplitter* m_columns; ///< what it is | what can be done
    QSplitter* m_rows; ///< picture above the tracks
    QTimer m_timecodeTimer;
    std::optional<QTTime> m_timecodeTime; ///< for which the timecode is shown
    bool m_isReadingTimecode = false;
    bool m_isClosed = false;
};

} // namespace reelwright
