#include "cli/VerifyCommand.h"

#include "cli/FileReports.h"
#include "report/Json.h"
#include "report/MovieFacts.h"
#include "report/Printable.h"
#include "saving/MediaCheck.h"
#include "support/FileHelper.h"
#include "tracks/TrackPlaces.h"

#include <fmt/format.h>

#include <map>

namespace reelwright::cli {
namespace {

    using PlaceNames = std::map<std::uint32_t, std::string>; ///< by track ID

    std::string trackName(const TrackCheck& track, const PlaceNames& places)
    {
        const auto place = places.find(track.trackID);
        return place == places.end() || place->second.empty()
            ? fmt::format("track {}", track.trackID)
            : fmt::format("track {} ({})", track.trackID, place->second);
    }

    Json trackJson(const TrackCheck& track, const PlaceNames& places)
    {
        auto unreadable = Json::array();
        for (const auto& stretch : track.unreadable)
            unreadable.push_back({{"first", stretch.first}, {"count", stretch.count},
                {"source", stretch.source.empty() ? Json {} : Json(stretch.source)},
                {"offset", stretch.offset}, {"reason", stretch.reason}});
        const auto place = places.find(track.trackID);
        return {{"id", track.trackID}, {"place", place == places.end() ? Json {} : Json(place->second)},
            {"samples", track.samples}, {"bytes", track.bytes}, {"unreadableSamples", track.unreadableCount},
            {"unreadable", std::move(unreadable)}};
    }

    std::string stretchText(const UnreadableSamples& stretch)
    {
        const auto samples = stretch.count == 1
            ? fmt::format("sample {}", stretch.first)
            : fmt::format("samples {} to {}", stretch.first, stretch.last());
        const auto source = stretch.source.empty() ? std::string {} : " of " + printable(stretch.source);
        return fmt::format(
            "{} cannot be read at byte {}{}: {}", samples, stretch.offset, source, printable(stretch.reason));
    }

    FileReport reportOn(const std::string& file, const std::vector<TrackCheck>& tracks,
        const PlaceNames& places, OutputFormat format)
    {
        FileReport report;
        std::uint64_t unreadable = 0;
        auto list = Json::array();
        report.text = printable(file) + '\n';
        for (const auto& track : tracks) {
            unreadable += track.unreadableCount;
            list.push_back(trackJson(track, places));
            report.text += fmt::format("  {}: {} sample{}, {} read\n", trackName(track, places),
                track.samples, track.samples == 1 ? "" : "s", FileHelper::formatFileSize(track.bytes));
            for (const auto& stretch : track.unreadable)
                report.text += fmt::format("    {}\n", stretchText(stretch));
            if (track.unreadable.size() == TrackCheck::kMostStretches)
                report.text += "    ... and maybe more\n";
        }
        if (unreadable != 0)
            report.problems.push_back(
                fmt::format("{} sample{} cannot be read", unreadable, unreadable == 1 ? "" : "s"));
        if (format != OutputFormat::Text)
            report.json = {{"file", file}, {"readable", unreadable == 0}, {"tracks", std::move(list)}};
        return report;
    }

} // namespace

int VerifyCommand::run(const Invocation& invocation)
{
    return reportEach(invocation, [&](const std::string& file) -> Result<FileReport> {
        RW_TRY(const auto movie, QTMovie::open(file));
        PlaceNames places;
        for (const auto& placed : placedTracks(movie))
            places[placed.track.trackID()] = placed.placeName();
        RW_TRY(const auto tracks, checkMedia(movie, [] { return true; }));
        return reportOn(file, tracks, places, invocation.format);
    });
}

} // namespace reelwright::cli
