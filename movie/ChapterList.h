#pragma once

#include "movie/QTTrack.h"

#include <string>
#include <vector>

namespace reelwright {

/// One chapter of a movie.
struct Chapter
{
    std::string name; ///< UTF-8, may be empty
    QTTime start; ///< in the movie
    bool operator==(const Chapter&) const = default;
};

/// A movie's chapters: a text track that other tracks refer to by `chap`, whose samples are the names, or a
/// `chpl` list in the movie's user data. Tracks of pictures that `chap` refers to as well are left alone.
namespace chapterList {

    /// Is it a text track that holds chapters? A movie that has no other track says it with a mark in the
    /// track's user data, since none is there to refer to it.
    bool isChapterTrack(const QTTrack& track);
    /// The chapter tracks, those that are referred to first in front; usually one for each language.
    std::vector<QTTrack> tracks(const QTMovie& movie);
    /// Puts that mark on a track; nothing happens when it is there.
    Result<void> mark(QTMovie& movie, const QTTrack& track);

    /// The chapters of the first chapter track that has any, else those of the `chpl` list; as found, in the
    /// order of the movie. Errors: those of textMedia::shownTexts, when no list can be read and one is there.
    Result<std::vector<Chapter>> read(const QTMovie& movie);
    /// Reads what `read` needs, so that it waits for no disk when it is asked.
    void readAhead(const QTMovie& movie);

    /// The same for a movie that plays slower or faster than it did, when it was `former` long: a `chpl` list
    /// counts in time of its own, and would stay behind. Errors: Refused when the movie is not editable.
    Result<void> stretchList(QTMovie& movie, const QTTime& former);
    /// Replaces all chapters, which are in the order of their starts. The chapter track that `read` goes by
    /// gets new samples and keeps everything else; a movie without one gets a disabled text track, which the
    /// first video track, or else the first track, refers to. A `chpl` list that is there is kept in step,
    /// with names cut to the 255 bytes that it can hold. No chapters: all chapter tracks and the list go.
    /// Errors: Refused when the movie is not editable or a name is longer than a sample.
    Result<void> replace(QTMovie& movie, const std::vector<Chapter>& chapters);

} // namespace chapterList
} // namespace reelwright
