#include "tasks/KWQuickTaskController.h"

#include "movie/TrackBuilder.h"
#include "movie/saving/MovieSaver.h"
#include "tests/helpers/TestFiles.h"
#include "tests/helpers/TestMovie.h"
#include "timecode/KWTimecodeController.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <ctime>

namespace reelwright {
namespace {

    /// The local time zone while it lives.
    class TimeZone
    {
    public:
        explicit TimeZone(const char* name)
        {
            if (const auto* before = std::getenv("TZ"))
                m_before = before;
            ::setenv("TZ", name, 1);
            ::tzset();
        }
        TimeZone(const TimeZone&) = delete;
        TimeZone& operator=(const TimeZone&) = delete;
        ~TimeZone()
        {
            if (m_before)
                ::setenv("TZ", m_before->c_str(), 1);
            else
                ::unsetenv("TZ");
            ::tzset();
        }

    private:
        std::optional<std::string> m_before;
    };

    QTMovie oneSecond()
    {
        auto movie = test::emptyMovie();
        test::TestTrack video;
        video.samples.resize(25);
        test::addTrack(movie, video);
        return movie;
    }

    /// What the timecode tracks say, one after the other.
    std::string starts(const QTMovie& movie)
    {
        std::string text;
        for (const auto& track : movie.tracksOfMediaType(QTMediaTypeTimeCode))
            text += (text.empty() ? "" : " ") + KWTimecodeController::timecodeForTrack(track);
        return text;
    }

    void setCreationTime(QTMovie& movie, std::uint64_t time)
    {
        const EditableScope scope {movie};
        auto header = movie.movieHeader();
        header.creationTime = time;
        header.version = time > UINT32_MAX ? 1 : 0;
        movie.editHeader().setLeaf("mvhd"_cc, header.write());
    }

    constexpr std::uint64_t since1904(std::int64_t since1970)
    {
        return static_cast<std::uint64_t>(since1970 + kSecondsFrom1904To1970);
    }

    struct CreationFact
    {
        const char* zone;
        std::uint64_t time;
        const char* start; ///< "" where there is none
        const char* why;
    };

    TEST(QuickTaskController, TheCreationTimeIsUniversalAndTheTimecodeLocal)
    {
        // 2024-07-01 12:34:56 and 2024-01-01 12:34:56, UTC
        constexpr std::int64_t kSummer = 1719837296;
        constexpr std::int64_t kWinter = 1704112496;
        const CreationFact facts[] = {
            {"UTC0", since1904(kSummer), "12:34:56:00", "no zone at all"},
            {"CET-1CEST,M3.5.0,M10.5.0/3", since1904(kSummer), "14:34:56:00", "summer time then"},
            {"CET-1CEST,M3.5.0,M10.5.0/3", since1904(kWinter), "13:34:56:00", "and none in winter"},
            {"NST3:30", since1904(kSummer), "09:04:56:00", "half hours"},
            {"UTC0", 3600, "01:00:00:00", "in 1904"},
            {"UTC0", 0, "", "no creation time"},
            {"UTC0", UINT64_MAX, "", "beyond all calendars"},
        };
        for (const auto& fact : facts) {
            const TimeZone zone {fact.zone};
            auto movie = oneSecond();
            setCreationTime(movie, fact.time);
            const auto track = KWQuickTaskController::timecodeTrackFromCreationTime(movie);
            EXPECT_EQ(track.has_value(), *fact.start != '\0') << fact.why;
            EXPECT_EQ(starts(movie), fact.start) << fact.why;
        }
    }

    TEST(QuickTaskController, TheFilesOwnTimeComesFirst)
    {
        const TimeZone zone {"UTC0"};
        const test::TempFolder folder;
        const auto path = folder.file("clip.mov");
        {
            auto movie = oneSecond();
            setCreationTime(movie, since1904(3600 * 5));
            EXPECT_TRUE(KWQuickTaskController::timecodeTrackFromFileCreationTime(movie)) << "no file";
            EXPECT_EQ(starts(movie), "05:00:00:00") << "of the header";
            const EditableScope scope {movie};
            ASSERT_TRUE(movie.removeTrack(movie.tracksOfMediaType(QTMediaTypeTimeCode).front()));
            ASSERT_TRUE(MovieSaver::writeToFile(movie, path));
        }
        // A day's distance between birth and last change, so that they cannot be taken for one another.
        const timespec changed[] = {{1719837296, 0}, {1719837296, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), changed, 0), 0);
        auto movie = QTMovie::open(path);
        ASSERT_TRUE(movie);
        EXPECT_TRUE(KWQuickTaskController::timecodeTrackFromFileCreationTime(*movie));
        const auto birth = std::atoll(test::run({"stat", "-c", "%W", path}).c_str()); // 0 where not known
        const std::time_t time = birth > 0 ? birth : changed[0].tv_sec;
        char text[16];
        ASSERT_NE(std::strftime(text, sizeof text, "%H:%M:%S:00", std::gmtime(&time)), 0U);
        EXPECT_EQ(starts(*movie), text);
    }

    struct FieldFact
    {
        FourCC type;
        const char* text;
        const char* start; ///< "" where there is none
        const char* why;
    };

    TEST(QuickTaskController, TheTimecodeOfTheUserDataIsTaken)
    {
        const FieldFact facts[] = {
            {"\xA9TIM"_cc, "01:02:03;04", "01:02:03:04", "without the drop-frame flag"},
            {"\xA9TIM"_cc, " 23;59;59;24\n", "23:59:59:24", "white space round it"},
            {"MIT\xA9"_cc, "01:02:03:04", "", "binary data under the key in file order"},
            {"\xA9TIM"_cc, "01:02:03", "", "three fields"},
            {"\xA9TIM"_cc, "01:02:03:04:05", "", "five fields"},
            {"\xA9TIM"_cc, "", "", "nothing"},
            {"\xA9TSC"_cc, "01:02:03:04", "", "another key"},
        };
        for (const auto& fact : facts) {
            auto movie = oneSecond();
            {
                const EditableScope scope {movie};
                const std::string_view text = fact.text;
                ASSERT_TRUE(movie.setUserDataItem(fact.type,
                    ByteWriter {}.u16(static_cast<std::uint16_t>(text.size())).u16(0).text(text).toBytes()));
            }
            EXPECT_EQ(KWQuickTaskController::addTimecodeTrackFromUserDataField(movie).has_value(),
                *fact.start != '\0')
                << fact.why;
            EXPECT_EQ(starts(movie), fact.start) << fact.why;
        }
    }

    TEST(QuickTaskController, EachTaskAddsATrackBehindThoseThereAre)
    {
        const TimeZone zone {"UTC0"};
        auto movie = oneSecond();
        ASSERT_TRUE(KWTimecodeController::insertBlankTimecodeTrack(movie));
        setCreationTime(movie, 7200);
        ASSERT_TRUE(KWQuickTaskController::timecodeTrackFromCreationTime(movie));
        EXPECT_EQ(starts(movie), "01:00:00:00 02:00:00:00");
    }

    /// A movie of one picture and sound tracks, "1" for one that is enabled, "0" for one that is not.
    QTMovie withSound(const std::string& tracks)
    {
        auto movie = oneSecond();
        std::uint32_t id = 10;
        for (const char enabled : tracks) {
            test::TestTrack sound;
            sound.mediaType = QTMediaTypeSound;
            sound.trackID = id++;
            sound.enabled = enabled == '1';
            test::addTrack(movie, sound);
        }
        return movie;
    }

    /// As withSound has them.
    std::string soundOf(const QTMovie& movie)
    {
        std::string text;
        for (const auto& track : movie.tracksOfMediaType(QTMediaTypeSound))
            text += track.isEnabled() ? '1' : '0';
        return text;
    }

    struct RangeFact
    {
        const char* before;
        AudioTrackRange range;
        std::size_t count;
        const char* removed; ///< what is left after a removal
        const char* disabled; ///< and after a disabling
    };

    TEST(QuickTaskController, ARangeKeepsTheFirstSoundTracksUpToItsEnd)
    {
        const RangeFact facts[] = {
            {"011", {0, 4}, 0, "011", "111"},
            {"011", {0, 3}, 0, "011", "111"},
            {"011", {0, 1}, 2, "0", "100"},
            {"1010", {1, 1}, 2, "10", "1100"},
            {"11", {0, 0}, 2, "", "00"},
            {"", {0, 0}, 0, "", ""},
        };
        for (const auto& fact : facts) {
            auto movie = withSound(fact.before);
            const auto first = movie.tracksOfMediaType(QTMediaTypeSound);
            EXPECT_EQ(KWQuickTaskController::removeAllAudioTracks(movie, fact.range), fact.count)
                << fact.before;
            EXPECT_EQ(soundOf(movie), fact.removed);
            EXPECT_FALSE(movie.isEditable());
            auto other = withSound(fact.before);
            EXPECT_EQ(KWQuickTaskController::disableAllAudioTracks(other, fact.range), fact.count);
            EXPECT_EQ(soundOf(other), fact.disabled) << fact.before;
            EXPECT_EQ(other.tracksOfMediaType(QTMediaTypeVideo).size(), 1U);
        }
    }

    TEST(QuickTaskController, EmptyAndTimecodeTracksAreRemovedWhereverTheyStand)
    {
        auto movie = withSound("1");
        test::TestTrack empty;
        empty.mediaType = QTMediaTypeText;
        empty.trackID = 30;
        empty.times = {};
        test::addTrack(movie, empty);
        empty.mediaType = QTMediaTypeVideo;
        empty.trackID = 31;
        test::addTrack(movie, empty);
        EXPECT_EQ(KWQuickTaskController::removeEmptyTracks(movie), 2U);
        EXPECT_EQ(movie.tracks().size(), 2U);
        EXPECT_EQ(KWQuickTaskController::removeEmptyTracks(movie), 0U);

        KWTimecodeController::insertBlankTimecodeTrack(movie);
        KWTimecodeController::insertBlankTimecodeTrack(movie);
        EXPECT_EQ(KWQuickTaskController::removeAllTimecodeTracks(movie), 2U);
        EXPECT_EQ(starts(movie), "");
        for (const auto& track : movie.tracks())
            EXPECT_TRUE(track.references().empty());
    }

} // namespace
} // namespace reelwright
