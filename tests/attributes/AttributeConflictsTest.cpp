#include "attributes/AttributeConflicts.h"

#include "movie/Apertures.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    Atom atom(FourCC type, const ByteWriter& payload)
    {
        return Atom {type, payload.toBytes()};
    }

    Atom color(std::uint16_t transfer)
    {
        return atom("colr"_cc, ByteWriter {}.text("nclc").u16(1).u16(transfer).u16(1));
    }

    Atom gamma(double value)
    {
        return atom("gama"_cc, ByteWriter {}.u32(static_cast<std::uint32_t>(value * 65536)));
    }

    Atom clean(std::uint32_t width, std::int32_t offset)
    {
        return atom(
            "clap"_cc, ByteWriter {}.u32(width).u32(1).u32(480).u32(1).i32(offset).u32(1).u32(0).u32(1));
    }

    QTMovie movieOf(const std::vector<Atom>& extensions)
    {
        auto movie = test::emptyMovie();
        test::TestTrack track;
        track.descriptions = {test::videoDescription(720, 480, extensions)};
        test::addTrack(movie, track);
        return movie;
    }

    TEST(AttributeConflicts, FileIsSeenToContradictItself)
    {
        struct Fact
        {
            std::vector<Atom> extensions;
            const char* about; ///< a word of the sentence; null for no conflict
        };
        const Fact facts[] = {
            {{color(1), gamma(2.2)}, nullptr},
            {{color(2), gamma(2.4)}, nullptr},
            {{color(8), gamma(2.2)}, "gamma"},
            {{color(16), gamma(2.2)}, "gamma"},
            {{clean(704, 8)}, nullptr},
            {{clean(704, 10)}, "clean aperture"},
            {{clean(1920, 0)}, "clean aperture"},
        };
        for (const auto& fact : facts) {
            const auto movie = movieOf(fact.extensions);
            const auto sentences = attributeConflicts::withinFile(movie.tracks().front());
            EXPECT_EQ(sentences.size(), fact.about ? 1U : 0U);
            if (fact.about && !sentences.empty()) {
                EXPECT_THAT(sentences.front(), testing::HasSubstr(fact.about));
            }
        }
        auto movie = movieOf({});
        const EditableScope scope {movie};
        ASSERT_TRUE(apertures::generate(movie.tracks().front()));
        EXPECT_TRUE(attributeConflicts::withinFile(movie.tracks().front()).empty());
        ASSERT_TRUE(movie.tracks().front().media().setSampleDescription(
            1, test::videoDescription(720, 480, {atom("pasp"_cc, ByteWriter {}.u32(10).u32(11))})));
        EXPECT_EQ(attributeConflicts::withinFile(movie.tracks().front()).size(), 1U) << "stale apertures";
    }

    TEST(AttributeConflicts, PictureContradictsOnlyWhatItSays)
    {
        const auto movie = movieOf({color(1), atom("pasp"_cc, ByteWriter {}.u32(2).u32(2)),
            atom("fiel"_cc, ByteWriter {}.u8(2).u8(14))});
        const auto track = movie.tracks().front();
        PictureFacts silent {.source = "stream"};
        EXPECT_TRUE(attributeConflicts::withPicture(track, silent).empty());
        PictureFacts same {
            "stream", 720, 480, PixelAspectRatio {1, 1}, ColorParameters {2, 6, 1}, true, true};
        EXPECT_TRUE(attributeConflicts::withPicture(track, same).empty())
            << "the same curve under another number, primaries that are not said, an order that is read both "
               "ways";
        PictureFacts other {"stream", 704, 480, PixelAspectRatio {8, 9}, ColorParameters {9, 16, 9}, false};
        EXPECT_THAT(attributeConflicts::withPicture(track, other),
            testing::ElementsAre("Encoded width: the file says 720, the stream says 704",
                "Pixel aspect ratio: the file says 2:2, the stream says 8:9",
                "Color: the file says 1-1-1, the stream says 9-16-9",
                "Fields: the file says Interlaced, the stream says Progressive"));

        // What is taken over contradicts no more, though the ratio's numbers do not fit what is written.
        PictureFacts wide {.source = "stream", .pixelAspectRatio = PixelAspectRatio {4320, 4739}};
        const auto attributes = KWImageDescriptionController::imageDescriptionExtensionsForTrack(
            KWMovTrack::trackWithQTTrack(track));
        const auto taken = attributeConflicts::toTake(*attributes, wide);
        ASSERT_EQ(taken.size(), 1U);
        const auto text = std::get<std::string>(taken.front().value);
        const auto written = KWImageDescriptionController::writtenPixelAspectRatio(text);
        ASSERT_TRUE(written);
        EXPECT_EQ(text, std::to_string(written->horizontal) + ":" + std::to_string(written->vertical));
        EXPECT_TRUE(attributeConflicts::toTake(taken, wide).empty()) << text;
    }

} // namespace
} // namespace reelwright
