#include "chapters/MarkerFiles.h"

#include "chapters/KWFCPXMLParser.h"
#include "movie/atoms/TextEncoding.h"
#include "support/FileHelper.h"
#include "support/KWLog.h"
#include "support/Text.h"
#include "timecode/KWTimecodeController.h"
#include "times/KWTimecode.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>

namespace reelwright {
namespace {

    constexpr std::uintmax_t kMaxFile = 64U << 20U;

    std::string lowerExtension(const std::string& path)
    {
        auto extension = std::filesystem::path(path).extension().string();
        if (!extension.empty())
            extension.erase(0, 1);
        for (auto& c : extension)
            if (c >= 'A' && c <= 'Z')
                c = static_cast<char>(c - 'A' + 'a');
        return extension;
    }

    bool has(const MarkerFormat& format, std::string_view extension)
    {
        return std::find(format.extensions.begin(), format.extensions.end(), extension)
            != format.extensions.end();
    }

    using namespace markerLists;
    constexpr std::string_view kTextFile[] = {"txt"};
    constexpr std::string_view kCsvFile[] = {"csv"};
    constexpr std::string_view kMovieFile[] = {"mov", "qt", "mp4", "m4v"};
    constexpr std::string_view kProjectFile[] = {"fcpxml"};
    constexpr std::string_view kEdlFile[] = {"edl"};
    constexpr std::string_view kVttFile[] = {"vtt"};
    constexpr std::string_view kMetadataFile[] = {"ffmeta"};
    constexpr std::string_view kJsonFile[] = {"json"};
    constexpr std::string_view kCueFile[] = {"cue"};

    constexpr MarkerFormat kMovie {"movie", "QuickTime Movie (*.mov,*.qt,*.mp4,*.m4v)", kMovieFile};
    constexpr MarkerFormat kFinalCut {
        "fcp", "Final Cut Pro Marker List (*.txt)", kTextFile, true, writeFinalCut, readFinalCut};
    constexpr MarkerFormat kAvid {"avid", "Avid Locator List (*.txt)", kTextFile, true, writeAvid, readAvid};
    constexpr MarkerFormat kDvd {
        "dvdsp", "DVD Studio Pro Chapter List (*.txt)", kTextFile, true, writeDvdStudio, readDvdStudio};
    constexpr MarkerFormat kProject {"fcpxml", "Final Cut Pro X XML (*.fcpxml)", kProjectFile};
    constexpr MarkerFormat kCsv {"csv", "CSV (*.csv)", kCsvFile, true, writeCsv, readCsv};
    constexpr MarkerFormat kText {"text", "Text (*.txt)", kTextFile, true, writeText, readText};
    /// Behind the others in both pop-ups.
    constexpr MarkerFormat kFormatsOfToday[] = {
        {"edl", "EDL with Marker Notes (*.edl)", kEdlFile, false, writeEdl, readEdl},
        {"webvtt", "WebVTT Chapters (*.vtt)", kVttFile, false, writeWebVtt, readWebVtt},
        {"ffmetadata", "FFmpeg Metadata (*.ffmeta)", kMetadataFile, false, writeFfmetadata, readFfmetadata},
        {"json", "JSON (*.json)", kJsonFile, false, writeJson, readJson},
        {"cue", "CUE Sheet (*.cue)", kCueFile, false, writeCue, readCue},
        {"csv-quoted", "CSV, Names of Any Kind (*.csv)", kCsvFile, false, writeQuotedCsv, readQuotedCsv},
    };

    std::vector<MarkerFormat> withFormatsOfToday(std::vector<MarkerFormat> formats)
    {
        formats.insert(formats.end(), std::begin(kFormatsOfToday), std::end(kFormatsOfToday));
        return formats;
    }

    const MarkerFormat* named(const std::vector<MarkerFormat>& formats, std::string_view name)
    {
        const auto found = std::find_if(
            formats.begin(), formats.end(), [&](const MarkerFormat& format) { return format.name == name; });
        return found == formats.end() ? nullptr : &*found;
    }

    std::vector<ImportedChapter> chaptersOfMovie(const std::string& path)
    {
        std::vector<ImportedChapter> entries;
        const auto movie = QTMovie::open(path);
        if (!movie) {
            KWLog::appendLog("Error opening movie: {}", movie.error().message());
            return entries;
        }
        const auto chapters = chapterList::read(*movie);
        if (!chapters) {
            KWLog::appendLog("Error reading chapters: {}", chapters.error().message());
            return entries;
        }
        const ChapterTimes times {*movie};
        for (const auto& [name, start] : *chapters)
            entries.push_back({name, times.formatted(start), start});
        return entries;
    }

    /// The markers of a project. Their texts are labels of the sequence's own timecode, which counts frames;
    /// in a movie these frames last as long as in the sequence.
    std::vector<ImportedChapter> markersOfProject(
        const std::string& path, int referenceHour, const QTMovie& movie)
    {
        std::vector<ImportedChapter> entries;
        const ChapterTimes times {movie};
        const auto timing = KWFCPXMLParser::timingFromXMLFile(path);
        for (auto& marker : KWFCPXMLParser::markersFromXMLFile(path, true, true, true, referenceHour)) {
            std::optional<QTTime> start;
            const auto frame = KWTimecode::frameCountFromTimecode(
                marker.startTimecode, timing.timebase, timing.ntsc, timing.dropFrame, 0);
            constexpr std::int32_t kScale = 240'000; // frames of the usual rates have whole lengths in it
            if (std::isfinite(timing.fps) && timing.fps > 0 && frame >= 0)
                start = times.nearestPicture(
                    {std::llround(std::min(frame / timing.fps * kScale, 1e15)), kScale});
            entries.push_back({std::move(marker.name), std::move(marker.startTimecode), start});
        }
        return entries;
    }

} // namespace

const std::vector<MarkerFormat>& MarkerFiles::exportFormats()
{
    static const auto all = withFormatsOfToday({kFinalCut, kAvid, kDvd, kCsv, kText});
    return all;
}

const std::vector<MarkerFormat>& MarkerFiles::importFormats()
{
    static const auto all = withFormatsOfToday({kMovie, kFinalCut, kAvid, kDvd, kProject, kCsv, kText});
    return all;
}

const MarkerFormat* MarkerFiles::exportFormatNamed(std::string_view name)
{
    return named(exportFormats(), name);
}

const MarkerFormat* MarkerFiles::importFormatNamed(std::string_view name)
{
    return named(importFormats(), name);
}

const MarkerFormat& MarkerFiles::importFormatOf(const std::string& path)
{
    const auto extension = lowerExtension(path);
    if (extension != "txt")
        for (const auto& format : importFormats())
            if (has(format, extension))
                return format;
    const auto text = textOfFile(path);
    if (text.starts_with(";FFMETADATA"))
        return *importFormatNamed("ffmetadata");
    const auto firstLine = std::string_view(text).substr(0, text.find('\n'));
    const auto tabs = std::count(firstLine.begin(), firstLine.end(), '\t');
    return *importFormatNamed(tabs == 6 ? "fcp" : tabs == 4 ? "avid" : tabs == 1 ? "text" : "dvdsp");
}

Result<std::string> MarkerFiles::exported(const MarkerFormat& format, const QTMovie& movie)
{
    RW_TRY(const auto chapters, chapterList::read(movie));
    const ChapterTimes times {movie};
    return format.write({chapters, times, movie, std::filesystem::path(movie.fileName()).stem().string()});
}

Result<void> MarkerFiles::exportChapters(
    const MarkerFormat& format, const std::string& path, const QTMovie& movie)
{
    RW_TRY(auto text, exported(format, movie));
    if (format.isUtf16)
        text = "\xFF\xFE" + encodeUtf16(text, ByteOrder::LittleEndian);
    if (const auto error = FileHelper::writeAtomically(path, text)) {
        KWLog::appendLog("Error writing chapters: {}", error.value());
        return systemFailure(error.value(), path, "the list cannot be written");
    }
    return {};
}

std::string MarkerFiles::proposedName(const std::string& moviePath)
{
    const auto name = moviePath.empty() ? "Untitled" : std::filesystem::path(moviePath).stem().string();
    return name + " Chapters";
}

std::vector<ImportedChapter> MarkerFiles::importedChapters(
    const std::string& path, const MarkerFormat& format, int referenceHour, const QTMovie& movie)
{
    KWLog::appendLog("hour: {}", referenceHour);
    const auto extension = lowerExtension(path);
    if (has(kMovie, extension))
        return chaptersOfMovie(path);
    if (has(kProject, extension))
        return markersOfProject(path, referenceHour, movie);
    const auto& toRead = has(kCsv, extension) && !has(format, "csv") ? kCsv
        : format.read == nullptr                                     ? kFinalCut
                                                                     : format;
    const ChapterTimes times {movie};
    return toRead.read(textOfFile(path), {times, movie, referenceHour});
}

int MarkerFiles::referenceHour(const QTMovie& movie, const std::optional<QTTrack>& selected)
{
    const auto tracks = movie.tracksOfMediaType(QTMediaTypeTimeCode);
    const bool isTimecode = selected && selected->mediaType() == QTMediaTypeTimeCode;
    if (!isTimecode && tracks.empty())
        return -1;
    TimecodeDefinition definition;
    const auto start
        = KWTimecodeController::timecodeForTrack(isTimecode ? *selected : tracks.front(), &definition);
    if (start.empty() || (definition.flags & TimecodeDefinition::kCounter) != 0)
        return -1;
    return integerValue(split(start, ":;").front());
}

std::string MarkerFiles::textOfFile(const std::string& path)
{
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error || size > kMaxFile)
        return {};
    std::ifstream file {path, std::ios::binary};
    std::string bytes(static_cast<std::size_t>(size), '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(size));
    bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0)));
    const std::string_view text = bytes;
    const auto behind = [&](std::size_t mark) { return std::as_bytes(std::span {text.substr(mark)}); };
    if (text.starts_with("\xFF\xFE"))
        return decodeUtf16(behind(2), ByteOrder::LittleEndian);
    if (text.starts_with("\xFE\xFF"))
        return decodeUtf16(behind(2), ByteOrder::BigEndian);
    return decodeText(behind(text.starts_with("\xEF\xBB\xBF") ? 3 : 0));
}

} // namespace reelwright
