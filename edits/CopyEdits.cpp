#include "edits/CopyEdits.h"

#include "attributes/KWImageDescriptionController.h"
#include "attributes/KWMetadataController.h"
#include "support/Text.h"
#include "timecode/KWTimecodeController.h"
#include "tracks/KWQuickTimeEditing.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace reelwright {
namespace {

    tl::unexpected<MovieError> refusal(std::string why)
    {
        return failure(MovieError::Code::Refused, {}, std::move(why));
    }

    /// Texts only: what is none cannot be set, and the title only where it is more than a file's name.
    Result<RefusedParts> copyMetadata(const QTMovie& from, QTMovie& to)
    {
        std::vector<KWMetadataValue> values;
        for (const auto& item : QTMetaData::ofMovie(from).items())
            if (auto text = item.anyText())
                values.push_back({item.shownKey(), std::move(*text)});
        return KWMetadataController::importMetaDataValues(values, QTMetaDataReference::ofMovie(to), to);
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
        for (const auto& entry : *entries)
            if (entry.description != kEncodedWidth && entry.description != kEncodedHeight)
                RW_CHECK(KWImageDescriptionController::imageDescriptionExtension(entry, entry.value, to));
        return RefusedParts {};
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
        if (has(TimecodeDefinition::kCounter))
            KWTimecodeController::updateCounter(
                static_cast<std::uint8_t>(std::clamp(integerValue(start), 0, 255)), reel, to);
        else
            KWTimecodeController::updateTimecode(start, reel, to, has(TimecodeDefinition::kDropFrame),
                has(TimecodeDefinition::kNegativeTimesOK), has(TimecodeDefinition::k24HourMax));
        const auto made = to.tracksOfMediaType(QTMediaTypeTimeCode);
        if (made.empty())
            return refusal("the timecode track could not be made; the log says why");
        return RefusedParts {};
    }

    constexpr CopySubject kSubjects[] = {
        {"attributes", "Encoding attributes", copyAttributes},
        {"metadata", "Metadata", copyMetadata},
        {"timecode", "Timecode", copyTimecode},
        {"settings", "Movie settings", copySettings},
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
        {"--copy", "LIST", "attributes, metadata, timecode, settings: one or more, parted by commas",
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
            for (const auto* subject : chosen) {
                RW_TRY(const auto parts, subject->copy(*source, movie));
                refused.insert(refused.end(), parts.begin(), parts.end());
            }
            return refused;
        });
}

std::span<const EditKind> edits::copyKinds()
{
    return kKinds;
}

} // namespace reelwright
