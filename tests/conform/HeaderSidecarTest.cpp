#include "conform/HeaderSidecar.h"

#include "conform/KWConformController.h"
#include "movie/saving/MovieSaver.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/MovieChecks.h"
#include "tests/helpers/TestFiles.h"
#include "timecode/KWTimecodeController.h"
#include "tracks/KWQuickTime.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using testing::HasSubstr;

    class HeaderSidecarTest : public testing::Test
    {
    protected:
        QTMovie movieOf(const test::MovieBuilder& built, const std::string& name)
        {
            test::writeFile(m_folder.file(name), built.build());
            return QTMovie::open(m_folder.file(name)).value();
        }

        test::TempFolder m_folder;
    };

    TEST_F(HeaderSidecarTest, PutsBackTheHeaderByteForByteWithItsTimecode)
    {
        const test::MovieBuilder built;
        auto movie = movieOf(built, "movie.mov");
        ASSERT_TRUE(KWTimecodeController::insertTimecodeTrack(9, 58, 7, 6, 0, "B002", movie));
        ASSERT_TRUE(MovieSaver::updateMovieFile(movie));
        const auto old = movie.file()->header;
        const auto kept = HeaderSidecar::pathFor(m_folder.path(), movie.fileName());
        EXPECT_EQ(kept, m_folder.file("movie.mov.header"));
        ASSERT_TRUE(HeaderSidecar::keep(movie, kept));
        EXPECT_FALSE(HeaderSidecar::keep(movie, kept)) << "never over another file";
        EXPECT_EQ(HeaderSidecar::besideMovie(movie.fileName()), kept + "-2");

        auto conformed
            = KWConformController::forecast(movie, {25, 24}, SavePreview::Mode::InPlace).value().movie;
        ASSERT_TRUE(MovieSaver::updateMovieFile(conformed));
        auto restored = QTMovie::open(movie.fileName()).value();
        ASSERT_DOUBLE_EQ(KWQuickTime::fpsForMovie(restored), 24);
        const auto done = HeaderSidecar::restore(kept, restored);
        ASSERT_TRUE(done) << done.error().message();
        ASSERT_TRUE(MovieSaver::updateMovieFile(restored));
        const auto again = QTMovie::open(movie.fileName()).value();
        EXPECT_EQ(again.file()->header.toVector(), old.toVector());
        EXPECT_TRUE(test::holdsSamplesOf(again, built));
        EXPECT_EQ(
            KWTimecodeController::timecodeForTrack(again.tracksOfMediaType(QTMediaTypeTimeCode).front()),
            "09:58:07:06");
    }

    TEST_F(HeaderSidecarTest, GoesIntoItsOwnMovieOnly)
    {
        const auto movie = movieOf({}, "movie.mov");
        const auto kept = m_folder.file("kept");
        ASSERT_TRUE(HeaderSidecar::keep(movie, kept));
        auto other = movieOf({.frontSize = 40}, "other.mov");
        const auto header = other.header();
        EXPECT_THAT(
            HeaderSidecar::restore(kept, other).error().detail, HasSubstr("not the header of this movie"));
        for (const std::size_t length : {0U, 10U, 40U, 100U}) {
            test::writeFile(m_folder.file("cut"), ByteSpan {test::readFile(kept)}.first(length));
            EXPECT_THAT(HeaderSidecar::restore(m_folder.file("cut"), other).error().detail,
                HasSubstr("is no header that was kept"))
                << length;
        }
        EXPECT_TRUE(other.header().writesSameAs(header));
    }

} // namespace
} // namespace reelwright
