#pragma once

#include "chapters/ChapterTimes.h"
#include "chapters/KWChapterController.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

/// What a list is written from. Borrows everything.
struct MarkerSource
{
    std::span<const Chapter> chapters;
    const ChapterTimes& times;
    const QTMovie& movie;
    std::string title; ///< of the movie, for lists that have one
};

/// What reading a list goes by beside its text.
struct MarkerTarget
{
    const ChapterTimes& times;
    const QTMovie& movie; ///< that the chapters are for
    int referenceHour = -1; ///< the hour that its timecode starts in; -1 for none
};

/// A kind of marker list.
struct MarkerFormat
{
    const char* name; ///< "fcp", as the command line has it
    const char* title; ///< "Final Cut Pro Marker List (*.txt)"
    std::span<const std::string_view> extensions;
    bool isUtf16 = false; ///< else UTF-8
    std::string (*write)(const MarkerSource&) = nullptr; ///< null for one that is read only
    std::vector<ImportedChapter> (*read)(std::string_view text, const MarkerTarget&) = nullptr; ///< of text
};

/// Takes the hour of each time of a list relative to a reference. Without one the first time's hour becomes
/// it.
class HourBase
{
public:
    explicit HourBase(int referenceHour)
        : m_hour(referenceHour)
    {
    }
    /// The time with its hour so taken and ":" before the frames.
    std::string rebased(std::string_view time);

private:
    int m_hour;
};

/// The lists that editing and authoring programs have had since long ago. A line stands for one marker;
/// lines that do not fit are left out.
namespace markerLists {

    std::string writeFinalCut(const MarkerSource& source);
    std::string writeAvid(const MarkerSource& source);
    std::string writeDvdStudio(const MarkerSource& source);
    std::string writeCsv(const MarkerSource& source);
    std::string writeText(const MarkerSource& source);

    std::vector<ImportedChapter> readFinalCut(std::string_view text, const MarkerTarget& target);
    std::vector<ImportedChapter> readAvid(std::string_view text, const MarkerTarget& target);
    std::vector<ImportedChapter> readDvdStudio(std::string_view text, const MarkerTarget& target);
    /// A name with a comma in it makes its line unusable; readQuotedCsv takes them.
    std::vector<ImportedChapter> readCsv(std::string_view text, const MarkerTarget& target);
    std::vector<ImportedChapter> readText(std::string_view text, const MarkerTarget& target);

    // Lists of today. Their times are the movie's own and exact, or those of its timecode.

    /// A cut list with a note "|C:… |M:NAME |D:1" for each marker; read as well are notes of locators.
    std::string writeEdl(const MarkerSource& source);
    std::string writeWebVtt(const MarkerSource& source);
    /// ffmpeg's text form of metadata.
    std::string writeFfmetadata(const MarkerSource& source);
    std::string writeJson(const MarkerSource& source);
    std::string writeCue(const MarkerSource& source);
    /// RFC 4180: names of any kind.
    std::string writeQuotedCsv(const MarkerSource& source);

    std::vector<ImportedChapter> readEdl(std::string_view text, const MarkerTarget& target);
    std::vector<ImportedChapter> readWebVtt(std::string_view text, const MarkerTarget& target);
    std::vector<ImportedChapter> readFfmetadata(std::string_view text, const MarkerTarget& target);
    /// Our own, and what ffprobe tells of chapters.
    std::vector<ImportedChapter> readJson(std::string_view text, const MarkerTarget& target);
    std::vector<ImportedChapter> readCue(std::string_view text, const MarkerTarget& target);
    std::vector<ImportedChapter> readQuotedCsv(std::string_view text, const MarkerTarget& target);

} // namespace markerLists
} // namespace reelwright
