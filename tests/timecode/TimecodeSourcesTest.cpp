#include "movie/saving/MovieSaver.h"
#include "tests/helpers/TestFiles.h"
#include "tests/helpers/TestMovie.h"
#include "timecode/KWTimecodeController.h"
#include "timecode/StillImage.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace reelwright {
namespace {

    using test::TempFolder;

    /// A movie in a file of that path, without timecode or with one.
    QTMovie movieAt(const std::string& path, const std::string& timecode = {}, std::uint32_t flags = 0)
    {
        auto movie = test::emptyMovie(30000);
        test::TestTrack video;
        video.mediaScale = 30000;
        video.times = {{30, 1001}};
        video.samples.resize(30);
        test::addTrack(movie, video);
        if (!timecode.empty()) {
            const auto [hours, mins, secs, frames] = KWTimecodeController::fourFields(timecode).value();
            EXPECT_TRUE(KWTimecodeController::insertTimecodeTrack(
                hours, mins, secs, frames, flags, "R" + timecode.substr(0, 2), movie));
        }
        const auto saved = MovieSaver::writeToFile(movie, path);
        EXPECT_TRUE(saved) << saved.error().message();
        auto opened = QTMovie::open(path);
        EXPECT_TRUE(opened);
        return std::move(*opened);
    }

    std::string start(const QTMovie& movie)
    {
        const auto tracks = movie.tracksOfMediaType(QTMediaTypeTimeCode);
        return tracks.empty() ? "none" : KWTimecodeController::timecodeForTrack(tracks.front());
    }

    /// A still image as a camera leaves it beside a clip.
    void makeStill(const std::string& path, const std::string& date)
    {
        test::ffmpeg(
            {"-f", "lavfi", "-i", "testsrc2=s=32x32:d=1:r=1", "-frames:v", "1", "-f", "mjpeg"}, path);
        if (!date.empty())
            test::run({"exiftool", "-q", "-n", "-overwrite_original", "-DateTimeOriginal=" + date, path});
    }

    TEST(TimecodeSources, AnExifDateIsAWholeDateAndTimeOrNone)
    {
        struct DateFact
        {
            const char* text;
            std::optional<StillImage::ClockTime> time;
        };
        const DateFact facts[] = {
            {"2024:07:01 12:34:56", StillImage::ClockTime {12, 34, 56}},
            {"2024:02:29 23:59:59", StillImage::ClockTime {23, 59, 59}},
            {"2023:02:29 23:59:59", {}},
            {"2024:07:01", {}},
            {"2024:07:01 12:34", {}},
            {"2024-07-01 12:34:56", {}},
            {"2024:07:01 12:34:56Z", {}},
            {"2024:07:01 24:00:00", {}},
            {"2024:13:01 12:00:00", {}},
            {"0000:00:00 00:00:00", {}},
            {"    :  :     :  :  ", {}},
            {"", {}},
        };
        for (const auto& fact : facts)
            EXPECT_EQ(StillImage::timeFromExif(fact.text), fact.time) << fact.text;
    }

    TEST(TimecodeSources, AStillGivesItsTimeOfRecording)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffmpeg");
        REELWRIGHT_NEEDS_PROGRAM("exiftool");
        const TempFolder folder;
        auto movie = movieAt(folder.file("clip.mov"));
        makeStill(folder.file("clip.THM"), "");
        EXPECT_FALSE(KWTimecodeController::addTimecodeFromTHMFile(folder.file("clip.THM"), movie))
            << "no EXIF";
        EXPECT_FALSE(KWTimecodeController::addTimecodeFromTHMFile(folder.file("clip.mov"), movie))
            << "no image";
        EXPECT_FALSE(KWTimecodeController::addTimecodeFromTHMFile(folder.file("missing.THM"), movie));
        EXPECT_FALSE(KWTimecodeController::addTimecodeFromTHMFile(folder.path(), movie)) << "a folder";
        EXPECT_EQ(start(movie), "none");
        makeStill(folder.file("clip.THM"), "2024:03:31 02:30:15"); // an hour that many time zones leave out
        ASSERT_TRUE(KWTimecodeController::addTimecodeFromTHMFile(folder.file("clip.THM"), movie));
        EXPECT_EQ(start(movie), "02:30:15:00");
    }

    TEST(TimecodeSources, AFolderOfStillsIsAskedForTheMoviesName)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffmpeg");
        REELWRIGHT_NEEDS_PROGRAM("exiftool");
        const TempFolder folder;
        const TempFolder stills;
        auto movie = movieAt(folder.file("a.b.mov"));
        makeStill(stills.file("other.THM"), "2024:01:01 01:01:01");
        EXPECT_FALSE(KWTimecodeController::addTimecodeFromTHMFolder(stills.path(), movie));
        makeStill(stills.file("A.B.thm"), "2024:01:01 10:20:30");
        ASSERT_TRUE(KWTimecodeController::addTimecodeFromTHMFolder(stills.path(), movie))
            << "in any case of letters";
        EXPECT_EQ(start(movie), "10:20:30:00");
        auto another = movieAt(folder.file("a.b.mov"));
        makeStill(stills.file("a.b.THM"), "2024:01:01 11:20:30");
        ASSERT_TRUE(KWTimecodeController::addTimecodeFromTHMFolder(stills.path(), another));
        EXPECT_EQ(start(another), "11:20:30:00") << "the very name comes first";
        QTMovie untitled;
        EXPECT_FALSE(KWTimecodeController::addTimecodeFromTHMFolder(stills.path(), untitled));
        EXPECT_FALSE(KWTimecodeController::addTimecodeFromTHMFolder("/nowhere", movie));
    }

    struct FolderFact
    {
        const char* destination;
        std::vector<std::string>
            there; ///< movies in the folder, the first from 01:00:00;00, the next from 02:
        const char* start;
        const char* why;
    };

    TEST(TimecodeSources, AMovieOfTheSameNameGivesStartFlagsAndReel)
    {
        const FolderFact facts[] = {
            {"clip.mov", {"clip.mov"}, "01:00:00;00", "the same name"},
            {"clip.mov", {"clip.mp4"}, "01:00:00;00", "mp4 where there is no mov"},
            {"clip.mov", {"clip.mp4", "clip.mov"}, "02:00:00;00", "mov first"},
            {"clip.qt", {"clip.mp4", "clip.mov"}, "02:00:00;00", "mov first for others too"},
            {"clip.qt", {"clip.mp4"}, "01:00:00;00", "then mp4"},
            {"clip.qt", {"clip.mov", "clip.qt"}, "02:00:00;00", "the own extension before both"},
            {"clip.MOV", {"clip.mov"}, "01:00:00;00", "in any case of letters"},
            {"clip.mov", {"other.mov"}, "none", "another name"},
            {"clip.mp4", {"clip.mov"}, "none", "an mp4 file gets none"},
        };
        for (const auto& fact : facts) {
            const TempFolder folder;
            const TempFolder sources;
            auto hour = 0;
            for (const auto& name : fact.there) {
                // Only a QuickTime name is given a timecode; the name it is to have comes after.
                movieAt(sources.file("source.mov"), "0" + std::to_string(++hour) + ":00:00:00",
                    TimecodeDefinition::kDropFrame);
                std::filesystem::rename(sources.file("source.mov"), sources.file(name));
            }
            auto movie = movieAt(folder.file(fact.destination));
            const auto track = KWTimecodeController::addTimecodeFromMovieInFolder(sources.path(), movie);
            EXPECT_EQ(start(movie), fact.start) << fact.why;
            EXPECT_EQ(track.has_value(), start(movie) != "none") << fact.why;
            if (track) {
                std::string reel;
                KWTimecodeController::timecodeForTrack(track->track(), nullptr, &reel);
                EXPECT_EQ(reel, "R" + start(movie).substr(0, 2)) << fact.why;
            }
        }
    }

    TEST(TimecodeSources, AMovieWithoutTimecodeOrWithACounterGivesNone)
    {
        const TempFolder folder;
        const TempFolder sources;
        auto movie = movieAt(folder.file("clip.mov"));
        movieAt(sources.file("clip.mov"));
        EXPECT_FALSE(KWTimecodeController::addTimecodeFromMovieInFolder(sources.path(), movie));
        movieAt(sources.file("clip.mov"), "00:00:00:07", TimecodeDefinition::kCounter);
        EXPECT_FALSE(KWTimecodeController::addTimecodeFromMovieInFolder(sources.path(), movie));
        EXPECT_EQ(start(movie), "none");
    }

} // namespace
} // namespace reelwright
