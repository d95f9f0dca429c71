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
            EXPECT_EQ(KWQuickTaskController::addTimecodeTrackFromUserDataField(movie), *fact.start != '\0')
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

} // namespace
} // namespace reelwright
