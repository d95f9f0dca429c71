#include "conform/KWConformController.h"

#include "movie/saving/MovieSaver.h"
#include "tests/conform/ConformTest.h"
#include "tests/helpers/LogTest.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/MovieChecks.h"
#include "timecode/KWTimecodeController.h"
#include "tracks/KWQuickTime.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace reelwright {
namespace {

    using test::OffRateMovie;
    using testing::Contains;
    using testing::HasSubstr;
    using Mode = SavePreview::Mode;

    /// Before any test of this program logs, also those that do not look at the log.
    [[maybe_unused]] const auto& kLogFolder = test::logFolder();

    class ConformFileTest : public test::LogTest
    {
    protected:
        std::string write(const QTMovie& movie) { return write(test::headerFile(movie).span()); }
        std::string write(ByteSpan bytes)
        {
            const auto path = m_folder.file("movie.mov");
            test::writeFile(path, bytes);
            return path;
        }
        static double rateOf(const std::string& path)
        {
            return KWQuickTime::fpsForMovie(QTMovie::open(path).value());
        }

        test::TempFolder m_folder;
    };

    TEST_F(ConformFileTest, BecomesVisibleAtOnceInTheSameFile)
    {
        const auto path = write(test::offRateMovie({.movieScale = 2997, .mediaScale = 2997, .rate = 29.97}));
        const auto before = QTMovie::open(path).value();
        const auto size = std::filesystem::file_size(path);
        ASSERT_TRUE(KWConformController::conformFile(path, 29.97, 25));
        const auto after = QTMovie::open(path).value();
        EXPECT_EQ(after.timeScale(), 2500);
        EXPECT_EQ(after.tracks()[0].media().timeScale(), 2500);
        EXPECT_EQ(after.tracks()[1].media().timeScale(), 40040) << "48000 × 25 ÷ 29.97";
        EXPECT_EQ(after.tracks()[1].media().sampleDescription(1)->sound()->sampleRate, 40040);
        EXPECT_EQ(after.duration().value, before.duration().value);
        EXPECT_EQ(after.file()->state.inode, before.file()->state.inode);
        EXPECT_EQ(std::filesystem::file_size(path), size);
        EXPECT_DOUBLE_EQ(rateOf(path), 25);
        EXPECT_THAT(messages(), Contains("Conforming file from 29.970000 to 25.000000..."));
    }

    TEST_F(ConformFileTest, StrippedEditListsAreSkippedAndTheFileWalksOn)
    {
        const auto path = write(test::offRateMovie({.rate = 25}));
        ASSERT_TRUE(
            KWConformController::conformFile(path, KWConformController::Request {25, 24, true, false}));
        const auto offsets = KWQuickTimeParser::offsetsForFile(path, {"edts", "elst", "stts"}).value();
        EXPECT_FALSE(offsets.contains("edts"));
        EXPECT_EQ(offsets.at("stts").size(), 2U);
        EXPECT_TRUE(QTMovie::open(path)->tracks()[0].atom().find("skip"_cc));
    }

    struct Refusal
    {
        const char* why;
        std::function<void(QTMovie&)> damage;
        const char* says;
    };

    TEST_F(ConformFileTest, WhatItCannotDoIsRefusedBeforeTheFirstWrite)
    {
        const auto setByte = [](Bytes& bytes, std::size_t at, unsigned value) {
            auto copy = bytes.toVector();
            copy[at] = static_cast<std::byte>(value);
            bytes = Bytes::adopt(std::move(copy));
        };
        const auto widen = [](QTMovie& movie) {
            auto header = movie.movieHeader();
            header.version = 1;
            movie.editHeader().setLeaf("mvhd"_cc, header.write());
        };
        const auto sound = [](QTMovie& movie) {
            return movie.tracks()[1].editAtom()->edit({"mdia"_cc, "minf"_cc, "stbl"_cc, "stsd"_cc});
        };
        const Refusal refusals[] = {
            {"64-bit times", widen, "version 1"},
            {"an atom that stalls the walk in front of the tracks",
                [](QTMovie& movie) {
                    movie.editHeader().insertBefore(
                        "trak"_cc, Atom {"qZx7"_cc, ByteWriter {}.zeros(8).toBytes()});
                },
                "came to a standstill"},
            {"an atom that sends the walk past the end",
                [](QTMovie& movie) {
                    movie.editHeader().insertBefore("trak"_cc,
                        Atom {"load"_cc, ByteWriter {}.u32(1U << 30U).text("roll").zeros(4).toBytes()});
                },
                "ended at byte"},
            {"a sound description of version 2",
                [&](QTMovie& movie) { setByte(sound(movie)->children[0].edit().head, 9, 2); }, "version 2"},
            {"a table that claims more than it holds",
                [&](QTMovie& movie) {
                    setByte(movie.tracks()[0]
                                .editAtom()
                                ->edit({"mdia"_cc, "minf"_cc, "stbl"_cc, "stts"_cc})
                                ->head,
                        7, 9);
                },
                "does not hold them"},
            {"a track header cut short",
                [&](QTMovie& movie) {
                    auto& head = movie.tracks()[1].editAtom()->edit("tkhd"_cc)->head;
                    head = head.slice(0, 16);
                },
                "too short"},
        };
        for (const auto& refusal : refusals) {
            auto movie = test::offRateMovie({.rate = 25});
            movie.setEditable(true);
            refusal.damage(movie);
            const auto bytes = test::headerFile(movie);
            const auto path = write(bytes.span());
            const auto done = KWConformController::conformFile(path, 25, 24);
            ASSERT_FALSE(done) << refusal.why;
            EXPECT_THAT(done.error().message(), HasSubstr(refusal.says)) << refusal.why;
            EXPECT_EQ(test::readFile(path), bytes.toVector()) << refusal.why;
            EXPECT_THAT(messages(), Contains(HasSubstr("Error: unable to conform file"))) << refusal.why;
        }
    }

    TEST_F(ConformFileTest, AStallBehindTheLastTimingAtomIsNoHindrance)
    {
        auto movie = test::offRateMovie({.rate = 25});
        movie.setEditable(true);
        movie.editHeader().append(Atom {"qZx7"_cc, ByteWriter {}.zeros(8).toBytes()});
        const auto path = write(test::headerFile(movie).span());
        ASSERT_TRUE(KWConformController::conformFile(path, 25, 24));
        EXPECT_DOUBLE_EQ(rateOf(path), 24);
    }

    TEST_F(ConformFileTest, WhatIsNoFrameRateIsRefused)
    {
        const auto path = write(test::offRateMovie({}));
        const auto before = test::readFile(path);
        for (const double rate : {0.0, -25.0, std::nan("")}) {
            EXPECT_FALSE(KWConformController::conformFile(path, 25, rate)) << rate;
            EXPECT_FALSE(KWConformController::conformFile(path, rate, 25)) << rate;
        }
        EXPECT_EQ(test::readFile(path), before);
    }

    TEST_F(ConformFileTest, EditsPatchesAndTimecodeAreOneSave)
    {
        struct Case
        {
            test::MovieBuilder::HeaderPlace place;
            Mode mode;
        };
        using Place = test::MovieBuilder::HeaderPlace;
        for (const auto& each : {Case {Place::First, Mode::InPlace}, Case {Place::Last, Mode::InPlace},
                 Case {Place::BetweenMedia, Mode::InPlace}, Case {Place::Last, Mode::Flattened}}) {
            test::MovieBuilder built;
            built.headerPlace = each.place;
            const auto path = write(built.build());
            auto movie = QTMovie::open(path).value();
            // Two edits that wait for a save: media in memory, and a header of another size.
            ASSERT_TRUE(KWTimecodeController::insertTimecodeTrack(10, 0, 0, 0, 0, "A001", movie));
            const auto edited = movie;
            const auto forecast = KWConformController::forecast(movie, {25, 24, false, true}, each.mode);
            ASSERT_TRUE(forecast) << forecast.error().message();
            EXPECT_TRUE(movie.header().writesSameAs(edited.header())) << "a forecast changes nothing";
            auto conformed = forecast->movie;
            if (each.mode == Mode::InPlace)
                ASSERT_TRUE(MovieSaver::updateMovieFile(conformed));
            else
                ASSERT_TRUE(MovieSaver::writeToFile(conformed, path));
            const auto saved = QTMovie::open(path).value();
            EXPECT_DOUBLE_EQ(KWQuickTime::fpsForMovie(saved), 24);
            EXPECT_TRUE(test::holdsSamplesOf(saved, built));
            const auto timecode = saved.tracksOfMediaType(QTMediaTypeTimeCode);
            ASSERT_EQ(timecode.size(), 1U);
            TimecodeDefinition definition;
            EXPECT_EQ(KWTimecodeController::timecodeForTrack(timecode[0], &definition), "10:00:00:00");
            EXPECT_EQ(definition.numberOfFrames, 24);
        }
    }

    TEST_F(ConformFileTest, APreviewHoldsTheBytesThatTheSaveThenMakes)
    {
        for (const auto mode : {Mode::InPlace, Mode::Flattened}) {
            test::MovieBuilder built;
            built.headerPlace = test::MovieBuilder::HeaderPlace::BetweenMedia;
            built.freeAfter = 64;
            const auto path = write(built.build());
            auto movie = QTMovie::open(path).value();
            ASSERT_TRUE(KWTimecodeController::insertBlankTimecodeTrack(movie));
            const auto preview = SavePreview::make(movie, mode);
            ASSERT_TRUE(preview) << preview.error().message();
            std::vector<std::byte> shown((*preview)->size());
            ASSERT_EQ((*preview)->readAt(0, shown).value_or(0), shown.size());
            if (mode == Mode::InPlace)
                ASSERT_TRUE(MovieSaver::updateMovieFile(movie));
            else
                ASSERT_TRUE(MovieSaver::writeToFile(movie, path));
            EXPECT_EQ(shown, test::readFile(path));
        }
    }

    TEST_F(ConformFileTest, WhatWillNotFollowIsSaidBeforehand)
    {
        struct Fact
        {
            double from;
            double to;
            FourCC format;
            const char* says;
        };
        const Fact facts[] = {
            {25, 24, "mp4a"_cc, "AAC"},
            {25, 24, "sowt"_cc, nullptr},
            {23.976, 29.97, "sowt"_cc, "23.976 frames a second, not 29.970"},
            {25, 50, "sowt"_cc, "96000 samples a second"},
        };
        for (const auto& fact : facts) {
            auto movie = test::offRateMovie({.movieScale = 24000, .mediaScale = 24000, .rate = fact.from});
            movie.setEditable(true);
            movie.tracks()[1]
                .editAtom()
                ->edit({"mdia"_cc, "minf"_cc, "stbl"_cc, "stsd"_cc})
                ->children[0]
                .edit()
                .type
                = fact.format;
            const auto forecast = KWConformController::forecast(
                QTMovie::open(write(movie)).value(), {fact.from, fact.to}, Mode::InPlace);
            ASSERT_TRUE(forecast);
            if (fact.says)
                EXPECT_THAT(forecast->warnings, testing::ElementsAre(HasSubstr(fact.says)));
            else
                EXPECT_THAT(forecast->warnings, testing::IsEmpty());
        }
    }

    TEST_F(ConformFileTest, OpenMoviesAreRescaled)
    {
        auto movie = test::offRateMovie({.movieScale = 600, .mediaScale = 600, .rate = 25});
        EXPECT_FALSE(KWConformController::conformMovie(movie, 25));
        EXPECT_FALSE(KWConformController::conformMovie(movie, 0.5));
        ASSERT_TRUE(KWConformController::conformMovie(movie, 24));
        EXPECT_DOUBLE_EQ(KWQuickTime::fpsForMovie(movie), 24);
        EXPECT_EQ(movie.tracks()[1].media().timeScale(), 46080);
        EXPECT_EQ(movie.tracks()[1].media().sampleDescription(1)->sound()->sampleRate, 46080);
        EXPECT_EQ(movie.duration().value, 1250) << "two seconds of 25 at 24";
        EXPECT_FALSE(movie.isEditable());
        EXPECT_THAT(messages(), Contains("Old video media timescale: 600, new video media timescale: 576"));
    }

    TEST_F(ConformFileTest, SlowMotionShotsAreRetimed)
    {
        const auto movie = test::offRateMovie({.movieScale = 2997, .mediaScale = 2997, .rate = 59.94});
        EXPECT_TRUE(KWConformController::shouldRetimeVideoTrackSamplesForMovie(movie, 100));
        EXPECT_FALSE(KWConformController::shouldRetimeVideoTrackSamplesForMovie(movie, 50));
        EXPECT_FALSE(KWConformController::shouldRetimeVideoTrackSamplesForMovie(
            test::offRateMovie({.movieScale = 600, .mediaScale = 600, .rate = 24}), 100));
        const auto path = write(movie);
        EXPECT_TRUE(KWConformController::retimeVideoTrackSamplesForMovieFile(path, 100));
        EXPECT_EQ(QTMovie::open(path)->tracks()[0].media().sampleTable().firstDuration(), 100U);
        EXPECT_TRUE(KWConformController::retimeVideoTrackSamplesForMovieFile(m_folder.file("none"), 100));
        EXPECT_EQ(KWConformController::positionOfAtom(
                      {"moov", "none"}, BytesReader {ByteWriter {}.u32(0).text("junk").toBytes()}),
            0U)
            << "an atom without a size is no circle";
    }

} // namespace
} // namespace reelwright
