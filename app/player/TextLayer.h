#pragma once

#include "app/player/PicturePlacement.h"
#include "tracks/TextInsertion.h"

#include <QTransform>

#include <vector>

class QPainter;

namespace reelwright {

/// The texts of a movie's enabled text tracks as they lie over its picture. A value, independent of the movie
/// it was made from. Lists of chapters are not shown; of the tracks of one group (languages) the first is.
class TextLayer
{
public:
    TextLayer() = default;
    /// `picture`: the track that the player shows. Reads the texts; tracks that cannot be read are left out.
    static TextLayer of(const QTMovie& movie, const std::optional<QTTrack>& picture);

    [[nodiscard]] bool isEmpty() const { return m_tracks.empty(); }
    /// Is the same shown at both times?
    [[nodiscard]] bool isSameAt(const QTTime& a, const QTTime& b) const;
    /// Draws what is on show at that time into a widget of that size, over a picture that is placed so.
    void draw(QPainter& painter, QSizeF widget, const PicturePlacement& placement, const QTTime& time) const;

private:
    struct Track
    {
        QTransform toMovie;
        QSizeF size;
        std::vector<TextCue> texts;
        [[nodiscard]] const TextCue* at(const QTTime& time) const;
    };

    std::vector<Track> m_tracks; ///< those behind come first
    QRectF m_picture; ///< where the picture lies in the movie; empty without one
    QSizeF m_movie;
};

} // namespace reelwright
