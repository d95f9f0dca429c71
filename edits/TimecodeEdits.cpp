#include "edits/TimecodeEdits.h"

#include "edits/TimecodeEdit.h"

namespace reelwright::edits {
namespace {

    template <Result<void> (TimecodeEdit::*set)(std::string_view)>
    Result<void> value(std::string_view text, EditSteps& steps)
    {
        return (steps.compound<TimecodeEdit>().*set)(text);
    }

    template <std::uint32_t flag> Result<void> withFlag(std::string_view, EditSteps& steps)
    {
        steps.compound<TimecodeEdit>().addFlag(flag);
        return {};
    }

    constexpr EditKind kKinds[] = {
        {"--timecode", "TEXT",
            "Let the first timecode track start with this timecode;\na movie without one gets it",
            value<&TimecodeEdit::setTimecode>},
        {"--timecode-from", "SOURCE",
            "Take the start from elsewhere: creation, file, now, udta,\nthm:PATH, thm-folder:DIR or "
            "movies:DIR; see below",
            value<&TimecodeEdit::setSource>},
        {"--counter", "N", "Let it count from N (0 to 255) instead", value<&TimecodeEdit::setCounter>},
        {"--reel", "TEXT", "Its reel name; without --timecode and --counter the\nstart stays",
            value<&TimecodeEdit::setReel>},
        {"--drop-frame", "", "It counts in drop frame, as a \";\" in the timecode says too",
            withFlag<TimecodeDefinition::kDropFrame>},
        {"--negative", "", "It may count below zero", withFlag<TimecodeDefinition::kNegativeTimesOK>},
        {"--limit-24h", "", "It starts again at zero after 24 hours",
            withFlag<TimecodeDefinition::k24HourMax>},
    };

} // namespace

std::span<const EditKind> timecodeKinds()
{
    return kKinds;
}

} // namespace reelwright::edits
