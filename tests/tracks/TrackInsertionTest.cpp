#include "tracks/TrackInsertion.h"

#include "movie/saving/MovieSaver.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/PacketChecksums.h"
#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    class TrackInsertionTest : public testing::Test
    {
    protected:
        std::string sample(const std::string& name) const
        {
            const auto path = folder.file(name);
            test::writeFile(path, test::readFile(std::string(REELWRIGHT_SOURCE_DIR) + "/samples/" + name));
            return path;
        }

        test::TempFolder folder;
        std::string destination = sample("pal-25.mov");
        std::string source = sample("two-audio.mov");
    };

    TEST_F(TrackInsertionTest, InsertedPacketsAreTheSourcesAndTheSavedFileStandsAlone)
    {
        const auto wanted = test::packetChecksums(source);
        const auto own = test::packetChecksums(destination);
        auto movie = QTMovie::open(destination).value();
        ASSERT_TRUE(TrackInsertion::insertTrackFromFile(KWMovTrack::kAudio, source, 2, {}, movie));
        ASSERT_TRUE(TrackInsertion::insertTrackFromFile(KWMovTrack::kVideo, source, 1, {}, movie));
        EXPECT_FALSE(MovieSaver::canUpdateMovieFile(movie, VolumeRule::Any))
            << "it would depend on the source";
        ASSERT_TRUE(MovieSaver::writeToFile(movie, destination));
        ASSERT_EQ(std::remove(source.c_str()), 0);
        const auto saved = test::packetChecksums(destination);
        ASSERT_EQ(saved.size(), 3U);
        EXPECT_EQ(saved.at(0), own.at(0));
        EXPECT_EQ(saved.at(1), wanted.at(2));
        EXPECT_EQ(saved.at(2), wanted.at(0));
        auto alone = QTMovie::open(destination).value();
        EXPECT_TRUE(MovieSaver::canUpdateMovieFile(alone, VolumeRule::Any));
    }

    TEST_F(TrackInsertionTest, MediaAreAddedBehindThoseOfTheTrack)
    {
        auto movie = QTMovie::open(destination).value();
        const auto track = movie.tracksOfMediaType(QTMediaTypeVideo).front();
        const auto before = track.media().sampleCount();
        const auto length = track.range().duration;
        ASSERT_TRUE(TrackInsertion::addMediaFromFile(source, 1, track, movie));
        EXPECT_EQ(track.media().sampleCount(), before + 25);
        EXPECT_EQ(track.range().duration, length + (QTTime {1, 1}));
        const auto added = QTMovie::open(source).value();
        EXPECT_EQ(track.media().sampleData(before + 1).value().span().size(),
            added.tracks().front().media().sampleData(1).value().span().size());
    }

    TEST_F(TrackInsertionTest, ASourceThatChangesBeforeTheSaveIsRefused)
    {
        auto movie = QTMovie::open(destination).value();
        ASSERT_TRUE(TrackInsertion::insertTrackFromFile(KWMovTrack::kAudio, source, 1, {}, movie));
        auto bytes = test::readFile(source);
        bytes.push_back({});
        test::writeFile(source, bytes);
        const auto done = MovieSaver::writeToFile(movie, folder.file("out.mov"));
        ASSERT_FALSE(done);
        EXPECT_THAT(done.error().detail, testing::HasSubstr("was changed after its media were added"));
    }

    TEST_F(TrackInsertionTest, WrongSourcesAreRefusedInWordsAndTheMovieIsAsItWas)
    {
        const auto text = folder.file("text.mov");
        test::writeFile(text, test::readFile(std::string(REELWRIGHT_SOURCE_DIR) + "/README.md"));
        struct Fact
        {
            int type;
            std::string path;
            std::size_t place;
            const char* words;
        };
        const Fact facts[] = {
            {KWMovTrack::kAudio, text, 1, "Could not initialize file"},
            {KWMovTrack::kAudio, folder.file("missing.mov"), 1, "no such file"},
            {KWMovTrack::kAudio, sample("rotated.mp4"), 1, "No audio tracks found"},
            {KWMovTrack::kAudio, source, 3, "no number 3"},
        };
        auto movie = QTMovie::open(destination).value();
        for (const auto& fact : facts) {
            const auto done
                = TrackInsertion::insertTrackFromFile(fact.type, fact.path, fact.place, {}, movie);
            ASSERT_FALSE(done) << fact.words;
            EXPECT_THAT(done.error().message(), testing::HasSubstr(fact.words));
        }
        EXPECT_FALSE(movie.isChanged());
    }

    TEST_F(TrackInsertionTest, AnEmptiedTrackKeepsItsIdItsKindAndTheMoviesLength)
    {
        auto movie = QTMovie::open(source).value();
        const auto track = movie.tracks()[1];
        ASSERT_TRUE(TrackInsertion::removeAllMedia(track, movie));
        EXPECT_EQ(track.trackID(), 2U);
        EXPECT_EQ(track.mediaType(), QTMediaTypeSound);
        EXPECT_EQ(track.media().sampleCount(), 0U);
        EXPECT_EQ(track.range().time.value, 0);
        EXPECT_EQ(track.range().duration, movie.duration());
        ASSERT_TRUE(TrackInsertion::insertEmptyTrack(KWMovTrack::kText, {}, movie));
        ASSERT_TRUE(TrackInsertion::insertEmptyTrack(KWMovTrack::kVideo, QTSize {320, 240}, movie));
        ASSERT_TRUE(MovieSaver::writeToFile(movie, folder.file("out.mov")));
        // The judge opens what is empty too.
        EXPECT_EQ(test::packetChecksums(folder.file("out.mov")).at(0), test::packetChecksums(source).at(0));
        const auto types = test::run({"ffprobe", "-v", "error", "-show_entries", "stream=codec_type", "-of",
            "default=noprint_wrappers=1:nokey=1", folder.file("out.mov")});
        EXPECT_EQ(types, "video\naudio\naudio\nsubtitle\nvideo\n");
    }

} // namespace
} // namespace reelwright
