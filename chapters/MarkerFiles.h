#pragma once

#include "chapters/MarkerLists.h"

#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// Marker and chapter lists as files. Keeps no state.
class MarkerFiles
{
public:
    /// Those that are written, and those that are read, in the order of the pop-ups.
    static const std::vector<MarkerFormat>& exportFormats();
    static const std::vector<MarkerFormat>& importFormats();
    /// The one with that name, or null.
    static const MarkerFormat* exportFormatNamed(std::string_view name);
    static const MarkerFormat* importFormatNamed(std::string_view name);
    /// What a file looks like: by its extension, else by its text.
    static const MarkerFormat& importFormatOf(const std::string& path);

    /// The movie's chapters as such a list, UTF-8. Errors: those of chapterList::read.
    static Result<std::string> exported(const MarkerFormat& format, const QTMovie& movie);
    /// Writes it to a file, which holds the old list or the new one at every instant; UTF-16 with a
    /// byte-order mark where the format has that. Errors: as above; Io.
    static Result<void> exportChapters(
        const MarkerFormat& format, const std::string& path, const QTMovie& movie);
    /// The name that an export proposes: "NAME Chapters"; an empty path is an untitled document's.
    static std::string proposedName(const std::string& moviePath);

    /// The entries of a list for a movie; none for a file that cannot be read. Of movies, projects and CSV
    /// files the extension decides, whatever the format, unless that was made for names of any kind.
    static std::vector<ImportedChapter> importedChapters(
        const std::string& path, const MarkerFormat& format, int referenceHour, const QTMovie& movie);
    /// The hour in which a timecode track starts, or else the movie's first one; -1 where there is none.
    static int referenceHour(const QTMovie& movie, const std::optional<QTTrack>& selected = {});

    /// The text of a file as UTF-8. A byte-order mark says UTF-16 or UTF-8; other bytes that are no UTF-8
    /// count as Mac Roman. Empty for a file that cannot be read, or a huge one.
    static std::string textOfFile(const std::string& path);
};

} // namespace reelwright
