// Reads any text as a timecode, as a time and as what a user typed, at any rate; counts frames there and
// back.

#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzTarget.h"
#include "movie/samples/TimecodeMedia.h"
#include "support/Text.h"
#include "times/KWTimecode.h"
#include "tracks/KWQuickTime.h"

namespace reelwright::fuzz {
namespace {

    void readTexts(std::string_view text, int timebase, bool ntsc, bool dropFrame, int startFrame)
    {
        static_cast<void>(KWTimecode::frameRateFromTimebase(timebase, ntsc));
        const auto frames = KWTimecode::frameCountFromTimecode(text, timebase, ntsc, dropFrame, startFrame);
        static_cast<void>(KWTimecode::timecodeFromFrameCount(frames, timebase, ntsc, dropFrame, startFrame));
        static_cast<void>(KWTimecode::timecode(text, frames, timebase, ntsc, dropFrame));
        static_cast<void>(KWTimecode::timecode(text, startFrame, timebase, ntsc, dropFrame));
        const auto full = KWTimecode::timecodeFromUserString(text, dropFrame, "01:02:03:04");
        require(text.size() == 11 || KWTimecode::timecodeFromUserString(full, dropFrame, "") == full
                || full.size() != 11,
            "a full timecode stays as it is");
        static_cast<void>(KWTimecode::timecodeFromUserString("1", dropFrame, text));
        static_cast<void>(KWTimecode::timecodeInRange(text, full, text));
        require(KWTimecode::timecodeInRange(full, full, full), "a timecode lies between itself and itself");
        static_cast<void>(KWQuickTime::qtTimeStringFromFormatString(text, timebase, startFrame));
        static_cast<void>(integerValue(text));
        static_cast<void>(trimmed(text));
    }

    void readTime(std::string_view text)
    {
        const auto time = QTTimeFromString(text);
        if (!time)
            return;
        require(time->scale > 0, "a time that was read has a scale");
        const auto written = QTStringFromTime(*time);
        const auto again = QTTimeFromString(written);
        require(again && sameFields(*again, *time), "a time reads as it was written");
    }

    void countFrames(FuzzInput& input)
    {
        TimecodeDefinition definition;
        definition.flags = input.number<std::uint8_t>();
        definition.timeScale = input.number<std::uint32_t>();
        definition.frameDuration = input.number<std::uint32_t>();
        definition.numberOfFrames = input.number<std::uint8_t>();
        const auto frame = input.number<std::int64_t>();
        const auto record = timecodeMedia::record(frame, definition);
        static_cast<void>(timecodeMedia::text(record, definition));
        static_cast<void>(timecodeMedia::label(frame, definition));
        const bool counts = definition.numberOfFrames > 0
            && (definition.flags & (TimecodeDefinition::k24HourMax | TimecodeDefinition::kCounter)) == 0;
        constexpr std::int64_t kYear = 366LL * 24 * 3600 * 60;
        if (counts && frame >= 0 && frame < kYear)
            require(timecodeMedia::frameNumber(record, definition) == frame,
                "a frame's number comes back from its timecode");
        const bool negative = input.number<std::uint8_t>() % 2 == 1;
        const auto positive = [&] { return input.number<std::int64_t>() & INT64_MAX; };
        const TimecodeRecord any {negative, positive(), positive(), positive(), positive()};
        static_cast<void>(timecodeMedia::text(any, definition));
        static_cast<void>(timecodeMedia::frameNumber(any, definition));
    }

    void countTimes(FuzzInput& input)
    {
        const QTTime time {input.number<std::int64_t>(), input.number<std::int32_t>()};
        const QTTime other {input.number<std::int64_t>(), input.number<std::int32_t>()};
        const auto scale = input.number<std::int32_t>();
        static_cast<void>(atScale(time, scale));
        static_cast<void>(time + other);
        static_cast<void>(time - other);
        require((time < other) == (other > time), "two times have one order");
        static_cast<void>(rescale(time.value, time.scale, scale));
        static_cast<void>(QTStringFromTime(time));
        static_cast<void>(KWQuickTime::frameCountForTimeValue(scale, time.scale, 29.97));
        static_cast<void>(KWQuickTime::qtTimeFromFrame(scale, time.scale, 23.976));
        static_cast<void>(KWQuickTime::formattedQTTime(time, static_cast<double>(scale) / 1001));
    }

} // namespace

void readTimes(ByteSpan input)
{
    FuzzInput in {input};
    const auto kind = in.number<std::uint8_t>();
    if (kind % 4 == 0) {
        countFrames(in);
    } else if (kind % 4 == 1) {
        countTimes(in);
    } else {
        const int timebase = kind % 4 == 2 ? in.number<std::int8_t>() : in.number<std::int32_t>();
        const auto startFrame = in.number<std::int32_t>();
        const auto text = in.text();
        readTexts(text, timebase, (kind & 4U) != 0, (kind & 8U) != 0, startFrame);
        readTime(text);
    }
}

} // namespace reelwright::fuzz
