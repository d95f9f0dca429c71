#include "edits/CopyEdits.h"

#include "attributes/KWImageDescriptionController.h"
#include "attributes/KWMetadataController.h"
#include "chapters/KWChapterController.h"
#include "support/Text.h"
#include "timecode/KWTimecodeController.h"
#include "tracks/KWQuickTime.h"
#include "tracks/KWQuickTimeEditing.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <map>

namespace reelwright {
namespace {

    tl::unexpected<MovieError> refusal(std::string why)
    {
        return failure(MovieError::Code::Refused, {}, std::move(why));
    }

    /// Does one part on a copy, which is taken when that worked; else says what was not copied.
    void copyPart(QTMovie& to, RefusedParts& refused, const std::string& what,
        const std::function<Result<void>(QTMovie&)>& copy)
    {
        auto changed = to;
        if (const auto done = copy(changed); done)
            to = std::move(changed);
        else
            refused.push_back(fmt::format("{} not copied: {}", what, done.error().message()));
    }

    /// Texts only: what is none cannot be set, and the title only where it is more than a file's name.
    Result<RefusedParts> copyMetadata(const QTMovie& from, QTMovie& to)
    {
        std::vector<KWMetadataValue> values;
        for (const auto& item : QTMetaData::ofMovie(from).items())
            if (auto text = item.anyText())
                values.push_back({item.shownKey(), std::move(*text)});
        RW_TRY(auto refused,
            KWMetadataController::importMetaDataValues(values, QTMetaDataReference::ofMovie(to), to));
        return unlessAllRefused(std::move(refused), values.size());
    }

    /// Of the first video track to the first one; the encoded size belongs to the media.
    Result<RefusedParts> copyAttributes(const QTMovie& from, QTMovie& to)
    {
        const auto tracks = from.tracksOfMediaType(QTMediaTypeVideo);
        const auto entries = tracks.empty()
            ? std::nullopt
            : KWImageDescriptionController::imageDescriptionExtensionsForTrack(
                KWMovTrack::trackWithQTTrack(tracks.front()));
        if (!entries)
            return refusal("the movie to copy from has no video track");
        RefusedParts refused;
        std::size_t count = 0;
        for (const auto& entry : *entries) {
            if (entry.description == kEncodedWidth || entry.description == kEncodedHeight)
                continue;
            ++count;
            copyPart(to, refused, "\"" + entry.description + "\"", [&](QTMovie& changed) {
                return KWImageDescriptionController::imageDescriptionExtension(entry, entry.value, changed);
            });
        }
        return unlessAllRefused(std::move(refused), count);
    }

    Result<RefusedParts> copySettings(const QTMovie& from, QTMovie& to)
    {
        RW_CHECK(KWQuickTimeEditing::setAutoPlay(KWQuickTimeEditing::autoPlay(from), to));
        RW_CHECK(KWQuickTimeEditing::setAutoClose(KWQuickTimeEditing::autoClose(from), to));
        RW_CHECK(KWQuickTimeEditing::setAutoQuit(KWQuickTimeEditing::autoQuit(from), to));
        RW_CHECK(KWQuickTimeEditing::movieControllerType(from) == "none"_cc
                ? KWQuickTimeEditing::setMovieControllerNone(to)
                : KWQuickTimeEditing::setMovieControllerDefault(to));
        auto copy = from; // reading the mode applies it
        const auto mode = KWQuickTimeEditing::apertureModeForMovie(copy);
        if (mode != FourCC {} && mode != "????"_cc)
            RW_CHECK(KWQuickTimeEditing::setApertureMode(mode, to));
        return RefusedParts {};
    }

    Result<RefusedParts> copyTimecode(const QTMovie& from, QTMovie& to)
    {
        const auto tracks = from.tracksOfMediaType(QTMediaTypeTimeCode);
        if (tracks.empty())
            return refusal("the movie to copy from has no timecode track");
        if (KWTimecodeController::isTypeWithoutTimecode(to.fileName()))
            return refusal("timecode tracks are not supported for this file format");
        TimecodeDefinition definition;
        std::string reel;
        const auto start = KWTimecodeController::timecodeForTrack(tracks.front(), &definition, &reel);
        const auto has = [&](std::uint32_t flag) { return (definition.flags & flag) != 0; };
        RW_CHECK(has(TimecodeDefinition::kCounter)
                ? KWTimecodeController::updateCounter(
                    static_cast<std::uint8_t>(std::clamp(integerValue(start), 0, 255)), reel, to)
                : KWTimecodeController::updateTimecode(start, reel, to, has(TimecodeDefinition::kDropFrame),
                    has(TimecodeDefinition::kNegativeTimesOK), has(TimecodeDefinition::k24HourMax)));
        return RefusedParts {};
    }

    /// A chapter that starts where one of the copied ones does gets its name; the others stay.
    Result<RefusedParts> copyChapters(const QTMovie& from, QTMovie& to)
    {
        RW_TRY(const auto source, chapterList::read(from));
        if (source.empty())
            return refusal("the movie to copy from has no chapters");
        RW_TRY(auto chapters, chapterList::read(to));
        std::map<QTTime, std::size_t> rows;
        for (std::size_t i = 0; i < chapters.size(); ++i)
            rows.emplace(chapters[i].start, i);
        const auto rate = KWQuickTime::fpsForMovie(to);
        std::vector<ImportedChapter> entries;
        for (const auto& [name, start] : source)
            if (const auto known = rows.find(start); known != rows.end())
                chapters[known->second].name = name;
            else
                entries.push_back({name, KWQuickTime::formattedQTTime(start, rate), start});
        RefusedParts refused;
        for (const auto& [chapter, reason] : KWChapterController::insertInto(chapters, entries, to))
            refused.push_back(
                fmt::format("chapter {} \"{}\" not copied: {}", chapter.startTimecode, chapter.name, reason));
        if (refused.size() < source.size()) {
            RW_CHECK(KWChapterController::setChapterMarkers(chapters, to));
        }
        return unlessAllRefused(std::move(refused), source.size());
    }

    constexpr CopySubject kSubjects[] = {
        {"attributes", "Encoding attributes", copyAttributes},
        {"metadata", "Metadata", copyMetadata},
        {"timecode", "Timecode", copyTimecode},
        {"settings", "Movie settings", copySettings},
        {"chapters", "Chapters", copyChapters},
    };

    std::string subjectNames()
    {
        std::vector<std::string_view> names;
        for (const auto& subject : kSubjects)
            names.emplace_back(subject.name);
        return fmt::format("{}", fmt::join(names, ","));
    }

    const CopySubject* subjectNamed(std::string_view name)
    {
        const auto* place = std::find_if(std::begin(kSubjects), std::end(kSubjects),
            [&](const CopySubject& subject) { return name == subject.name; });
        return place == std::end(kSubjects) ? nullptr : place;
    }

    /// `--copy-from FILE` with `--copy LIST`.
    class CopyEdit final : public CompoundEdit
    {
    public:
        Result<void> setSource(std::string_view path)
        {
            if (!m_path.empty())
                return refusal("--copy-from can be given once only");
            m_path = path;
            return {};
        }
        Result<void> setSubjects(std::string_view list)
        {
            for (const auto name : split(list, ","))
                m_subjects.emplace_back(name);
            return {};
        }
        Result<Edit> finish() override
        {
            if (m_path.empty())
                return refusal("--copy goes with --copy-from, which names the movie to copy from");
            if (m_subjects.empty())
                return refusal("--copy-from goes with --copy, which says what: " + subjectNames());
            return edits::copyFrom(m_path, m_subjects);
        }

    private:
        std::string m_path;
        std::vector<std::string> m_subjects;
    };

    template <Result<void> (CopyEdit::*set)(std::string_view)>
    Result<void> value(std::string_view text, EditSteps& steps)
    {
        return (steps.compound<CopyEdit>().*set)(text);
    }

    constexpr EditKind kKinds[] = {
        {"--copy-from", "FILE", "Take from another movie what --copy says", value<&CopyEdit::setSource>},
        {"--copy", "LIST",
            "attributes, metadata, timecode, settings, chapters: one or\nmore, parted by commas; what is "
            "refused is named",
            value<&CopyEdit::setSubjects>},
    };

} // namespace

std::span<const CopySubject> copySubjects()
{
    return kSubjects;
}

Result<Edit> edits::copyFrom(const std::string& path, const std::vector<std::string>& subjects)
{
    std::vector<const CopySubject*> chosen;
    for (const auto& name : subjects) {
        const auto* subject = subjectNamed(name);
        if (!subject)
            return wrongValue("--copy", name, "a list of " + subjectNames());
        chosen.push_back(subject);
    }
    RW_TRY(auto from, QTMovie::open(path));
    return makeEditInParts(fmt::format("--copy-from {} --copy {}", path, fmt::join(subjects, ",")),
        "Copy From Movie", "Copy " + fmt::format("{}", fmt::join(subjects, ", ")),
        [chosen, source = std::make_shared<const QTMovie>(std::move(from))](
            QTMovie& movie) -> Result<RefusedParts> {
            RefusedParts refused;
            std::size_t failed = 0;
            for (const auto* subject : chosen) {
                auto changed = movie;
                if (const auto parts = subject->copy(*source, changed)) {
                    movie = std::move(changed);
                    refused.insert(refused.end(), parts->begin(), parts->end());
                } else {
                    refused.push_back(fmt::format("{}: {}", subject->title, parts.error().message()));
                    ++failed;
                }
            }
            return failed == chosen.size() ? unlessAllRefused(std::move(refused), refused.size())
                                           : Result<RefusedParts> {std::move(refused)};
        });
}

std::span<const EditKind> edits::copyKinds()
{
    return kKinds;
}

} // namespace reelwright
