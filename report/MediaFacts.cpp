#include "report/MediaFacts.h"

#include "attributes/KWInfoController.h"
#include "movie/files/DataReference.h"
#include "tracks/KWQuickTime.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {
namespace {

    /// Channels of the layouts that a tag names (Core Audio's tags; the lower half is the number of
    /// channels).
    struct NamedLayout
    {
        std::uint32_t tag;
        std::initializer_list<const char*> channels;
    };

    constexpr std::uint32_t layout(std::uint32_t number, std::uint32_t channels)
    {
        return number << 16U | channels;
    }

    std::vector<std::string> namesOfTag(std::uint32_t tag)
    {
        static const NamedLayout kLayouts[] = {
            {layout(100, 1), {"Mono"}},
            {layout(101, 2), {"Left", "Right"}},
            {layout(102, 2), {"Left", "Right"}}, // headphones
            {layout(113, 3), {"Left", "Right", "Center"}},
            {layout(114, 3), {"Center", "Left", "Right"}},
            {layout(115, 4), {"Left", "Right", "Center", "Center Surround"}},
            {layout(116, 4), {"Center", "Left", "Right", "Center Surround"}},
            {layout(117, 5), {"Left", "Right", "Center", "Left Surround", "Right Surround"}},
            {layout(118, 5), {"Left", "Right", "Left Surround", "Right Surround", "Center"}},
            {layout(119, 5), {"Left", "Center", "Right", "Left Surround", "Right Surround"}},
            {layout(120, 5), {"Center", "Left", "Right", "Left Surround", "Right Surround"}},
            {layout(121, 6), {"Left", "Right", "Center", "LFE Screen", "Left Surround", "Right Surround"}},
            {layout(122, 6), {"Left", "Right", "Left Surround", "Right Surround", "Center", "LFE Screen"}},
            {layout(123, 6), {"Left", "Center", "Right", "Left Surround", "Right Surround", "LFE Screen"}},
            {layout(124, 6), {"Center", "Left", "Right", "Left Surround", "Right Surround", "LFE Screen"}},
        };
        for (const auto& known : kLayouts)
            if (known.tag == tag)
                return {known.channels.begin(), known.channels.end()};
        return {};
    }

    std::vector<std::string> channelsOf(const SoundDescription& sound)
    {
        constexpr std::uint32_t kMost = 1024; // more than anybody reads
        auto names = namesOfTag(sound.channelLayoutTag);
        if (names.empty())
            for (const auto& channel : sound.channelList)
                names.push_back(KWQuickTime::friendlyAudioChannelLabel(channel.mChannelLabel));
        names.resize(std::min(sound.channels, kMost));
        for (auto& name : names)
            if (name.empty())
                name = "No label";
        return names;
    }

} // namespace

MediaFacts MediaFacts::of(const QTTrack& track)
{
    MediaFacts facts;
    const auto media = track.media();
    facts.description = KWInfoController::formatSummary(track);
    facts.descriptions = media.sampleDescriptionCount();
    facts.duration = media.duration();
    if (track.mediaType() == QTMediaTypeSound)
        if (const auto description = media.sampleDescription(1))
            if (const auto sound = description->sound())
                facts.channels = channelsOf(*sound);

    if (track.atom().find({"edts"_cc, "elst"_cc})) {
        if (const auto list = track.editList()) {
            std::int64_t start = 0;
            for (const auto& edit : list->edits) {
                const auto duration
                    = static_cast<std::int64_t>(std::min<std::uint64_t>(edit.duration, INT64_MAX / 2));
                Segment segment {
                    {start, track.timeScale()}, {duration, track.timeScale()}, {}, edit.rate / 65536.0};
                if (!edit.isEmpty())
                    segment.mediaTime = QTTime {edit.mediaTime, media.timeScale()};
                facts.segments.push_back(segment);
                start = start > INT64_MAX / 2 ? start : start + duration;
            }
        } else {
            facts.problem = list.error().detail;
        }
    }

    const auto table = media.sampleTable();
    facts.samples = table.sampleCount();
    facts.chunks = table.chunkCount();
    table.forEachChunk(
        [&](std::uint32_t, const SampleTable::Chunk& chunk) {
            facts.bytes += chunk.size;
            return true;
        },
        media.soundPacking(1));
    facts.smallestSample = facts.largestSample = table.uniformSize();
    if (table.uniformSize() == 0)
        for (std::uint32_t sample = 1; sample <= table.sampleCount(); ++sample) {
            const auto size = table.sampleSize(sample);
            facts.largestSample = std::max(facts.largestSample, size);
            facts.smallestSample = sample == 1 ? size : std::min(facts.smallestSample, size);
        }
    for (const auto& reference : media.dataReferences())
        if (!reference.isSelf
            && std::find(facts.files.begin(), facts.files.end(), reference.name) == facts.files.end())
            facts.files.push_back(reference.name);
    return facts;
}

} // namespace reelwright
