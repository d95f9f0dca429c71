#pragma once

#include "edits/Edit.h"
#include "tracks/TrackInsertion.h"

#include <QObject>
#include <QString>

namespace reelwright {

class MovieView;
class MovieWindow;
class WindowActions;

/// What the actions that bring tracks and media in and out do: they ask, and perform edits. Borrows the
/// window, whose child it is, and the view.
class InsertionCommands final : public QObject
{
    Q_OBJECT

public:
    InsertionCommands(MovieWindow& window, const WindowActions& actions, MovieView& view);

private:
    void addVideoTrack();
    void addEmptyTrack(int type);
    /// Of a movie file that the user chooses, a track of that type.
    void addFromFile(int type);
    void addMediaToTrack();
    void removeAllTrackMedia();
    void extractTrack();

    /// What the user chose to take.
    struct Source
    {
        std::string path;
        std::size_t place = 1;
        QTTime start;
    };
    enum class AsksStart { No, Yes };
    /// Asks for a file and, where it has several tracks of the type, for one of them; where the movie does
    /// not stand at its start, whether to insert there. Nothing when the user cancels, or was told why not.
    std::optional<Source> chooseSource(const QString& title, int type, AsksStart asksStart);
    [[nodiscard]] QString chooseFile(const QString& title, int type);
    void perform(const Edit& edit);
    /// In an alert, under the title that the error has.
    void tell(const MovieError& error, const char* title);

    MovieWindow& m_window;
    MovieView& m_view;
};

} // namespace reelwright
