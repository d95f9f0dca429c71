#include "edits/TimecodeEdits.h"

#include "edits/TimecodeEdit.h"

namespace reelwright::edits {
namespace {

    template <Result<void> (TimecodeEdit::*set)(std::string_view)>
    Result<void> value(std::string_view text, EditSteps& steps)
    {
        return (steps.latest<TimecodeEdit>().*set)(text);
    }

    template <std::uint32_t flag> Result<void> withFlag(std::string_view, EditSteps& steps)
    {
        steps.latest<TimecodeEdit>().addFlag(flag);
        return {};
    }

    /// Names the track of the options that follow; what was said before was meant for another one.
    Result<void> track(std::string_view text, EditSteps& steps)
    {
        auto* present = &steps.latest<TimecodeEdit>();
        if (present->isBegun())
            present = &steps.begin<TimecodeEdit>();
        return present->setTrack(text);
    }

    Result<void> relink(std::string_view, EditSteps& steps)
    {
        steps.latest<TimecodeEdit>().relink();
        return {};
    }

    constexpr EditKind kKinds[] = {
        {"--timecode-track", "SELECTOR",
            "The timecode options that follow are for this track (tc2)\nand not for the first one", track},
        {"--timecode", "TEXT",
            "Let the first timecode track start with this timecode;\na movie without one gets it",
            value<&TimecodeEdit::setTimecode>},
        {"--timecode-from", "SOURCE",
            "Take the start from elsewhere: creation, file, now, udta,\nthm:PATH, thm-folder:DIR or "
            "movies:DIR; see below",
            value<&TimecodeEdit::setSource>},
        {"--counter", "N", "Let it count from N instead", value<&TimecodeEdit::setCounter>},
        {"--timecode-offset", "±TIMECODE", "Move every timecode of the track by as much: +01:00:00:00",
            value<&TimecodeEdit::setOffset>},
        {"--reel", "TEXT", "Its reel name; without --timecode and --counter the\nstart stays",
            value<&TimecodeEdit::setReel>},
        {"--drop-frame", "", "It counts in drop frame, as a \";\" in the timecode says too",
            withFlag<TimecodeDefinition::kDropFrame>},
        {"--negative", "", "It may count below zero", withFlag<TimecodeDefinition::kNegativeTimesOK>},
        {"--limit-24h", "", "It starts again at zero after 24 hours",
            withFlag<TimecodeDefinition::k24HourMax>},
        {"--relink-timecode", "",
            "Add what other programs need to find the track: the\nreference of the picture, gmhd and tcmi",
            relink},
    };

} // namespace

std::span<const EditKind> timecodeKinds()
{
    return kKinds;
}

} // namespace reelwright::edits
