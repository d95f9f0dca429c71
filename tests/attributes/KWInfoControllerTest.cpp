#include "attributes/KWInfoController.h"

#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    TEST(KWInfoController, SaysTheLinesOfMovieAndTracks)
    {
        auto movie = test::emptyMovie();
        test::TestTrack video;
        video.samples.resize(25);
        video.descriptions = {test::videoDescription(160, 90)};
        test::addTrack(movie, video);
        test::TestTrack text;
        text.mediaType = QTMediaTypeText;
        text.trackID = 7;
        text.enabled = false;
        test::addTrack(movie, text);
        {
            const EditableScope editable {movie};
            ASSERT_TRUE(movie.tracks().front().addReference("chap"_cc, 7));
        }
        const auto format = KWInfoController::formatSummary(movie.tracks().front());
        EXPECT_THAT(format, testing::EndsWith(", 160 x 90"));
        const auto textFormat = KWInfoController::formatSummary(movie.tracks().back());
        // Four bytes a sample.
        EXPECT_EQ(KWInfoController::infoForMovie(movie),
            "Filename: \nDisplay Name: \nCopyright: \nCreation Time: \nModification Time: \n"
            "File Creation Time: \nFile Modification Time: \nData Size: 200 bytes\nFrame Size: 160x90\n"
            "Aspect Ratio: 1.78:1\nDuration: 00:00:01:00\nAverage bitrate: 0.00 Mbps\n"
            "\n\nTrack 1:\nDisplay Name: Video Track\nFormat: "
                + format
                + "\nTrack ID: 1\nCreation Time: \nModification Time: \nEnabled: Yes\nHas Chapters: No\n"
                  "Duration: 00:00:01:00\nFrame / Sample Rate: 25.00\n"
                  "\n\nTrack 2:\nDisplay Name: Text Track\nFormat: "
                + textFormat
                + "\nTrack ID: 7\nCreation Time: \nModification Time: \nEnabled: No\nHas Chapters: Yes\n"
                  "Duration: 00:00:01:00\nFrame / Sample Rate: 25.00\n");
        EXPECT_EQ(KWInfoController::infoForTrack(movie.tracks().back()).substr(0, 26),
            "Display Name: Text Track\nF");
    }

} // namespace
} // namespace reelwright
