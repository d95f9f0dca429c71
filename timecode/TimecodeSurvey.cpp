#include "timecode/TimecodeSurvey.h"

#include "movie/FrameRate.h"
#include "movie/QTMetaData.h"
#include "movie/files/MovieFile.h"
#include "support/FileDates.h"
#include "support/FileHelper.h"
#include "support/Text.h"
#include "timecode/KWTimecodeController.h"
#include "timecode/StillImage.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <set>

namespace reelwright {
namespace {

    __extension__ using Wide = __int128;

    constexpr std::size_t kMostBreaks = 20;
    constexpr std::uint64_t kMostXmp = 4U << 20U; ///< bytes; packets are some kilobytes

    std::string rateName(const FrameRate& rate)
    {
        return rate.num % std::max<std::int64_t>(rate.den, 1) == 0
            ? fmt::format("{} fps", rate.den == 0 ? 0 : rate.num / rate.den)
            : fmt::format("{:.5g} fps", rate.perSecond());
    }

    /// What the timecode tracks of a movie, of which there may be thousands, are held against.
    struct Surroundings
    {
        std::set<std::uint32_t> referredTo; ///< timecode tracks that others refer to
        std::optional<FrameRate> picture;
        FrameRate meant;

        static Surroundings of(const QTMovie& movie)
        {
            Surroundings result {{}, FrameRate::averageOfPicture(movie), FrameRate::forTimecode(movie)};
            for (const auto& track : movie.tracks()) {
                const auto references = track.references();
                if (const auto kind = references.find(QTMediaTypeTimeCode); kind != references.end())
                    result.referredTo.insert(kind->second.begin(), kind->second.end());
            }
            return result;
        }
    };

    /// What the samples say one after the other.
    void lookThrough(
        const std::vector<timecodeMedia::StoredSample>& samples, const QTTrack& track, TimecodePlace& place)
    {
        const Wide mediaScale = track.media().timeScale();
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const auto& sample = samples[i];
            const auto& definition = sample.description.definition;
            const auto day = timecodeMedia::framesPerDay(definition);
            const bool isCounter = (definition.flags & TimecodeDefinition::kCounter) != 0;
            if (!isCounter && day > 0 && (sample.frame >= day || sample.frame <= -day))
                place.remarks.push_back(fmt::format(
                    "its frame number {} is beyond a day, which has {} frames", sample.frame, day));
            if (i == 0)
                continue;
            const auto& before = samples[i - 1];
            const auto rate = FrameRate::of(before.description.definition);
            if (rate.num <= 0 || mediaScale <= 0)
                continue;
            const auto length
                = static_cast<std::int64_t>((Wide {before.duration} * rate.num * 2 + mediaScale * rate.den)
                    / (mediaScale * rate.den * 2));
            const bool sameCount = before.description.definition == definition;
            if (sameCount && before.frame + length == sample.frame)
                continue;
            if (place.breaks.size() < kMostBreaks)
                place.breaks.push_back({{static_cast<std::int64_t>(sample.start), track.media().timeScale()},
                    timecodeMedia::label(before.frame + length, before.description.definition),
                    timecodeMedia::label(sample.frame, definition)});
        }
        if (!place.breaks.empty()) {
            const auto& first = place.breaks.front();
            place.remarks.push_back(fmt::format("it has {}{} break{}: at {:.2f} s {} follows where {} would",
                place.breaks.size() == kMostBreaks ? "at least " : "", place.breaks.size(),
                place.breaks.size() == 1 ? "" : "s", first.time.seconds(), first.found, first.expected));
        }
    }

    TimecodePlace placeOf(const QTTrack& track, const Surroundings& around)
    {
        TimecodePlace place;
        place.trackID = track.trackID();
        place.source = fmt::format("Timecode track {}", track.trackID());
        if (!track.isEnabled())
            place.remarks.emplace_back("it is disabled");
        if (!around.referredTo.contains(track.trackID()))
            place.remarks.emplace_back(
                "no track refers to it, and other programs may not find it (--relink-timecode mends that)");
        if (const auto count = track.media().sampleDescriptionCount(); count > 1)
            place.remarks.push_back(fmt::format("it has {} descriptions", count));
        const auto reading = timecodeMedia::atMediaTime(track, 0);
        if (!reading) {
            place.remarks.push_back("it cannot be read: " + reading.error().message());
            return place;
        }
        const auto& definition = reading->description.definition;
        const auto rate = FrameRate::of(definition);
        place.source += ", " + rateName(rate);
        place.start = reading->text;
        place.reel = reading->description.reel;
        constexpr double kNear = 0.0005; // half of what is between 30 and 29.97
        if (around.picture && std::abs(rate.perSecond() / around.meant.perSecond() - 1) > kNear)
            place.remarks.push_back(fmt::format(
                "it counts at {}, the picture has {}", rateName(rate), rateName(*around.picture)));
        if ((definition.flags & TimecodeDefinition::kDropFrame) != 0 && !rate.hasDropFrame())
            place.remarks.push_back(
                fmt::format("it says drop frame, which does not exist at {}", rateName(rate)));
        constexpr std::uint32_t kMostLooked = 5000;
        if (track.media().sampleCount() > kMostLooked) {
            place.remarks.push_back(fmt::format(
                "its {} samples were not looked through for breaks", track.media().sampleCount()));
        } else if (const auto samples = timecodeMedia::storedSamples(track)) {
            lookThrough(*samples, track, place);
        } else {
            place.remarks.push_back("not all of it can be read: " + samples.error().message());
        }
        return place;
    }

    bool endsWithWord(const std::string& key, std::string_view word)
    {
        return key.size() >= word.size()
            && std::equal(word.rbegin(), word.rend(), key.rbegin(), [](char a, char b) {
                   return a == (b >= 'A' && b <= 'Z' ? static_cast<char>(b + ('a' - 'A')) : b);
               });
    }

    /// The places among the metadata items of the movie or of a track.
    void addMetadata(const QTMetaData& metadata, const std::string& of, std::vector<TimecodePlace>& places)
    {
        std::string scale;
        std::string length;
        for (const auto& item : metadata.items()) {
            const auto key = item.shownKey();
            const auto value = item.anyText();
            if (value && key == "\u00A9TSC")
                scale = trimmed(*value);
            if (value && key == "\u00A9TSZ")
                length = trimmed(*value);
        }
        for (const auto& item : metadata.items()) {
            const auto key = item.shownKey();
            const auto value = item.anyText();
            if (!value)
                continue;
            const bool isTime = key == "\u00A9TIM" || key == "MIT\u00A9" || endsWithWord(key, "timecode")
                || endsWithWord(key, "starttc");
            const bool isReel = endsWithWord(key, ".reel") || endsWithWord(key, "reelname");
            if (!isTime && !isReel)
                continue;
            TimecodePlace place;
            place.kind = TimecodePlace::Kind::Metadata;
            place.source = fmt::format(
                "{} {}{}", item.storage == QTMetaData::Storage::UserData ? "User data" : "Metadata", key, of);
            if (key == "\u00A9TIM" && !scale.empty())
                place.source += fmt::format(" ({}/{} fps)", scale, length.empty() ? "?" : length);
            (isReel && !isTime ? place.reel : place.start) = trimmed(*value);
            places.push_back(std::move(place));
        }
    }

    /// The value that follows `name` as an attribute (name="value") or an element (<name>value<).
    std::string xmpValue(std::string_view xml, std::string_view name)
    {
        const auto at = xml.find(name);
        if (at == std::string_view::npos)
            return {};
        auto rest = xml.substr(at + name.size());
        const auto begin = rest.find_first_of("\"'>");
        if (begin == std::string_view::npos)
            return {};
        const char close = rest[begin] == '>' ? '<' : rest[begin];
        rest.remove_prefix(begin + 1);
        return std::string(trimmed(rest.substr(0, std::min(rest.find(close), std::size_t {64}))));
    }

    void addXmp(std::string_view xml, std::vector<TimecodePlace>& places)
    {
        struct Name
        {
            std::string_view element;
            const char* source;
        };
        constexpr Name kNames[]
            = {{":startTimecode", "XMP start timecode"}, {":altTimecode", "XMP alternate timecode"}};
        for (const auto& name : kNames) {
            const auto at = xml.find(name.element);
            if (at == std::string_view::npos)
                continue;
            // An element ends with its own name or with "/>" before any other element.
            const auto end = xml.find(name.element, at + 1);
            const auto body = xml.substr(at, end == std::string_view::npos ? 512 : end - at);
            TimecodePlace place;
            place.kind = TimecodePlace::Kind::Xmp;
            place.source = name.source;
            place.start = xmpValue(body, "timeValue");
            if (const auto format = xmpValue(body, "timeFormat"); !format.empty())
                place.source += fmt::format(" ({})", format);
            if (!place.start.empty())
                places.push_back(std::move(place));
        }
        if (const auto reel = xmpValue(xml, ":tapeName"); !reel.empty()) {
            TimecodePlace place;
            place.kind = TimecodePlace::Kind::Xmp;
            place.source = "XMP tape name";
            place.reel = reel;
            places.push_back(std::move(place));
        }
    }

    /// XMP of the user data, or of an atom of the outermost level.
    std::string xmpOf(const QTMovie& movie)
    {
        const auto text = [](const Bytes& bytes) {
            const auto span = bytes.span();
            std::string result(span.size(), '\0');
            std::transform(
                span.begin(), span.end(), result.begin(), [](std::byte b) { return static_cast<char>(b); });
            return result;
        };
        if (const auto item = movie.userDataItem("XMP_"_cc))
            return text(*item);
        constexpr unsigned char kXmp[] = {
            0xBE, 0x7A, 0xCF, 0xCB, 0x97, 0xA9, 0x42, 0xE8, 0x9C, 0x71, 0x99, 0x94, 0x91, 0xE3, 0xAF, 0xAC};
        const auto& file = movie.file();
        for (std::size_t i = 0; file && i < file->layout.atoms.size(); ++i) {
            const auto& atom = file->layout.atoms[i];
            if (atom.type != "uuid"_cc || atom.size < atom.headerSize + sizeof kXmp || atom.size > kMostXmp)
                continue;
            std::vector<std::byte> bytes(static_cast<std::size_t>(atom.size - atom.headerSize));
            const auto read = file->file->readAt(atom.offset + atom.headerSize, bytes);
            if (!read || *read != bytes.size())
                continue;
            if (std::equal(std::begin(kXmp), std::end(kXmp), bytes.begin(),
                    [](unsigned char a, std::byte b) { return a == std::to_integer<unsigned char>(b); }))
                return text(Bytes::copyOf(std::span(bytes).subspan(sizeof kXmp)));
        }
        return {};
    }

    TimecodePlace clock(std::string source, int hours, int minutes, int seconds)
    {
        TimecodePlace place;
        place.kind = TimecodePlace::Kind::Clock;
        place.source = std::move(source);
        place.start = fmt::format("{:02}:{:02}:{:02}", hours, minutes, seconds);
        return place;
    }

    void addDate(std::string source, const std::optional<std::chrono::sys_seconds>& date,
        std::vector<TimecodePlace>& places)
    {
        const std::time_t time = date ? date->time_since_epoch().count() : 0;
        std::tm local {};
        if (date && ::localtime_r(&time, &local) != nullptr)
            places.push_back(clock(std::move(source), local.tm_hour, local.tm_min, local.tm_sec));
    }

    /// "2024-07-01T12:34:56+0200": as the camera's clock had it.
    void addWrittenDates(const QTMetaData& metadata, std::vector<TimecodePlace>& places)
    {
        for (const auto& item : metadata.items()) {
            const auto key = item.shownKey();
            const auto value = item.anyText();
            const auto at = value ? value->find('T') : std::string::npos;
            if (!endsWithWord(key, "creationdate") || at != 10)
                continue;
            const auto parts = split(std::string_view(*value).substr(at + 1), ":");
            if (parts.size() >= 3)
                places.push_back(clock("Metadata " + key, integerValue(parts[0]), integerValue(parts[1]),
                    integerValue(parts[2].substr(0, 2))));
        }
    }

    void addStill(const QTMovie& movie, std::vector<TimecodePlace>& places)
    {
        for (const auto* extension : {".THM", ".thm"}) {
            const auto path = std::filesystem::path(movie.fileName()).replace_extension(extension).string();
            if (movie.fileName().empty() || !FileHelper::fileExistsAtPath(path))
                continue;
            if (const auto time = StillImage::recordingTime(path))
                places.push_back(
                    clock("THM file beside the movie", time->hours, time->minutes, time->seconds));
            return;
        }
    }

    /// Compares each place with the one in use.
    void compare(std::vector<TimecodePlace>& places, const TimecodeDefinition& definition)
    {
        const auto used
            = std::find_if(places.begin(), places.end(), [](const auto& place) { return place.isInUse; });
        if (used == places.end())
            return;
        const auto base = timecodeMedia::recordOf(used->start);
        const auto start = base ? std::optional(timecodeMedia::frameNumber(*base, definition)) : std::nullopt;
        const std::string reel = used->reel;
        for (auto& place : places) {
            if (place.isInUse)
                continue;
            place.disagrees = !place.reel.empty() && !reel.empty() && place.reel != reel;
            if (place.kind == TimecodePlace::Kind::Clock) {
                const auto parts = split(place.start, ":");
                if (base && parts.size() == 3)
                    place.difference = std::int64_t {integerValue(parts[0])} * 3600
                        + integerValue(parts[1]) * 60 + integerValue(parts[2])
                        - ((base->hours * 60 + base->minutes) * 60 + base->seconds)
                            * (base->negative ? -1 : 1);
                continue;
            }
            const auto record = timecodeMedia::recordOf(place.start);
            if (start && record) {
                place.difference = timecodeMedia::frameNumber(*record, definition) - *start;
                place.disagrees = place.disagrees || *place.difference != 0;
            }
        }
    }

} // namespace

std::string TimecodePlace::differenceText() const
{
    if (isInUse)
        return "in use";
    if (!difference)
        return disagrees ? "another reel" : std::string {};
    if (*difference == 0)
        return disagrees ? "another reel" : "same";
    const auto amount = std::abs(*difference);
    const auto* sign = *difference < 0 ? "\u2212" : "+";
    if (kind != Kind::Clock)
        return fmt::format("{}{} fr", sign, amount);
    if (amount < 60)
        return fmt::format("{}{} s", sign, amount);
    return amount < 3600 ? fmt::format("{}{} min {} s", sign, amount / 60, amount % 60)
                         : fmt::format("{}{} h {} min", sign, amount / 3600, amount / 60 % 60);
}

TimecodeSurvey TimecodeSurvey::of(const QTMovie& movie, Scope scope)
{
    TimecodeSurvey survey;
    auto& places = survey.places;
    TimecodeDefinition definition {0, 30, 1, 30};
    const auto around = Surroundings::of(movie);
    for (const auto& track : movie.tracksOfMediaType(QTMediaTypeTimeCode)) {
        places.push_back(placeOf(track, around));
        if (places.size() == 1)
            if (const auto reading = timecodeMedia::atMediaTime(track, 0))
                definition = reading->description.definition;
    }
    if (places.empty()) {
        const auto rate = around.meant;
        definition = {0, static_cast<std::uint32_t>(std::min<std::int64_t>(rate.num, UINT32_MAX)),
            static_cast<std::uint32_t>(std::min<std::int64_t>(rate.den, UINT32_MAX)),
            static_cast<std::uint8_t>(std::min<std::int64_t>(rate.labels(), UINT8_MAX))};
    } else {
        places.front().isInUse = true;
    }
    const auto metadata = QTMetaData::ofMovie(movie);
    addMetadata(metadata, {}, places);
    for (const auto& track : movie.tracks())
        addMetadata(QTMetaData::ofTrack(track), fmt::format(" of track {}", track.trackID()), places);
    addXmp(xmpOf(movie), places);
    if (!places.empty() && !places.front().isInUse && !places.front().start.empty())
        places.front().isInUse = true; // what a new track would be compared with
    addWrittenDates(metadata, places);
    addDate("Creation time, local zone", movie.creationTime(), places);
    if (scope == Scope::WithFiles) {
        addDate("File created, local zone", fileCreationTime(movie.fileName()), places);
        addStill(movie, places);
    }
    compare(places, definition);

    for (const auto& place : places) {
        for (const auto& remark : place.remarks)
            survey.warnings.push_back(fmt::format("{}: {}", place.source, remark));
        if (place.disagrees)
            survey.warnings.push_back(fmt::format("{} and {} disagree: {} and {}", places.front().source,
                place.source, place.difference.value_or(0) != 0 ? places.front().start : places.front().reel,
                place.difference.value_or(0) != 0 ? place.start : place.reel));
    }
    return survey;
}

bool TimecodeSurvey::disagrees() const
{
    return std::any_of(places.begin(), places.end(), [](const auto& place) { return place.disagrees; });
}

} // namespace reelwright
