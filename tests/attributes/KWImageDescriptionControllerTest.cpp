#include "attributes/KWImageDescriptionController.h"

#include "attributes/NamedColorSpaces.h"
#include "tests/helpers/LogTest.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using Controller = KWImageDescriptionController;
    using testing::ElementsAre;

    using KWImageDescriptionControllerTest = test::LogTest; // every operation logs

    Atom atom(FourCC type, const ByteWriter& payload)
    {
        return Atom {type, payload.toBytes()};
    }

    Atom nclc(std::uint16_t primaries, std::uint16_t transfer, std::uint16_t matrix)
    {
        return atom("colr"_cc, ByteWriter {}.text("nclc").u16(primaries).u16(transfer).u16(matrix));
    }

    const Atom kUnknown = atom("qZx7"_cc, ByteWriter {}.text("kept"));

    struct Clip
    {
        QTMovie movie = test::emptyMovie();

        explicit Clip(const std::vector<Atom>& extensions = {}, std::uint16_t width = 720)
        {
            test::TestTrack track;
            track.width = width;
            track.height = 480;
            track.descriptions = {test::videoDescription(width, 480, extensions)};
            test::addTrack(movie, track);
        }
        KWMovTrack track() const { return *KWMovTrack::firstTrackOfType(KWMovTrack::kVideo, movie); }
        SampleDescription description() const { return *movie.tracks().front().media().sampleDescription(1); }
        std::vector<AttributeEntry> attributes() const
        {
            return Controller::imageDescriptionExtensionsForTrack(track()).value();
        }
        Result<void> set(std::string_view name, AttributeValue value)
        {
            return Controller::imageDescriptionExtension(Controller::attributeNamed(name), value, track());
        }
        Result<void> remove(std::string_view name)
        {
            return Controller::removeAttribute(Controller::attributeNamed(name), track());
        }
    };

    std::vector<std::string> shown(const Clip& clip)
    {
        std::vector<std::string> texts;
        for (const auto& entry : clip.attributes()) {
            const auto* text = std::get_if<std::string>(&entry.value);
            texts.push_back(entry.description + "="
                + (text ? *text : entry.popupvalues.at(std::size_t(std::get<int>(entry.value))).name));
        }
        return texts;
    }

    struct ReadFact
    {
        std::vector<Atom> extensions;
        std::vector<std::string> shown; ///< behind the encoded size
        const char* why;
    };

    TEST_F(KWImageDescriptionControllerTest, ListsWhatTheDescriptionSays)
    {
        const auto fields = [](std::uint8_t count, std::uint8_t detail) {
            return atom("fiel"_cc, ByteWriter {}.u8(count).u8(detail));
        };
        const auto srgb = ByteWriter {}.text("prof").bytes(namedColorSpaces::profile(5)->span()).toBytes();
        const ReadFact facts[] = {
            {{}, {}, "nothing but the size"},
            {{atom("pasp"_cc, ByteWriter {}.u32(40).u32(33))}, {"Pixel aspect ratio=40:33"}, "aspect"},
            {{atom("pasp"_cc, ByteWriter {}.u32(40).u32(0))}, {}, "no aspect with a 0"},
            {{atom("gama"_cc, ByteWriter {}.u32(144179))}, {"Gamma=2.20"}, "gamma"},
            {{atom("gama"_cc, ByteWriter {}.u32(0))}, {}, "no gamma of 0"},
            {{nclc(6, 1, 6)}, {"Color=NTSC"}, "NTSC"},
            {{nclc(5, 1, 6)}, {"Color=PAL"}, "PAL"},
            {{nclc(1, 1, 1)}, {"Color=HD"}, "HD"},
            {{nclc(1, 2, 1)}, {"Color=Custom..."}, "other codes"},
            {{atom("colr"_cc, ByteWriter {}.text("nclx").u16(6).u16(1).u16(6).u8(0x80))}, {"Color=NTSC"},
                "codes of an nclx tag"},
            {{Atom {"colr"_cc, srgb}, nclc(1, 1, 1)}, {"Color=HD", "Color Space=sRGB"},
                "a profile and codes, in the order of the list"},
            {{atom("colr"_cc, ByteWriter {}.text("profxxxx"))}, {}, "a profile of another name"},
            {{fields(2, 9)}, {"Fields=Interlaced", "Field Dominance=First Line Early (Spatial)"}, "2, 9"},
            {{fields(1, 7)}, {"Fields=Progressive", "Field Dominance=Unknown"}, "unknown detail"},
        };
        for (const auto& fact : facts) {
            auto expected = fact.shown;
            expected.insert(expected.begin(), {"Encoded width=720", "Encoded height=480"});
            EXPECT_THAT(shown(Clip {fact.extensions}), testing::ElementsAreArray(expected)) << fact.why;
        }
        const auto color = Clip {{nclc(9, 16, 9)}}.attributes().back();
        EXPECT_THAT((std::array {color.primaries, color.transfer, color.matrix}), ElementsAre(9, 16, 9));
        auto movie = test::emptyMovie();
        test::addTrack(movie, {.mediaType = QTMediaTypeSound});
        EXPECT_FALSE(Controller::imageDescriptionExtensionsForTrack(
            *KWMovTrack::firstTrackOfType(KWMovTrack::kAudio, movie)));
    }

    struct WriteFact
    {
        std::string_view name;
        AttributeValue value;
        std::string shown; ///< "" for a value that is refused
        const char* why;
    };

    TEST_F(KWImageDescriptionControllerTest, WritesOneValueAndKeepsAllElse)
    {
        const WriteFact facts[] = {
            {kEncodedWidth, "640", "Encoded width=640", "width"},
            {kEncodedWidth, "0", "", "no width"},
            {kEncodedHeight, "65536", "", "more than the field holds"},
            {kPixelAspectRatio, "40:33", "Pixel aspect ratio=40:33", "aspect"},
            {kPixelAspectRatio, "1:1", "Pixel aspect ratio=1:1", "square"},
            {kPixelAspectRatio, "296:289", "Pixel aspect ratio=40:33", "low 8 bits"},
            {kPixelAspectRatio, "256:1", "", "256 is cut to 0"},
            {kPixelAspectRatio, "10:11:12", "", "three parts"},
            {kPixelAspectRatio, "10", "", "one part"},
            {kGamma, "2.2", "Gamma=2.20", "gamma"},
            {kGamma, "0", "", "0"},
            {kGamma, "-1", "", "negative"},
            {kGamma, "nan", "", "no number"},
            {kGamma, "99999999", "Gamma=32768.00", "saturates"},
            {kColor, 0, "Color=NTSC", "NTSC"},
            {kColor, 1, "Color=PAL", "PAL"},
            {kColorSpace, 4, "Color Space=Adobe RGB 1998", "profile"},
            {kColorSpace, 7, "", "no such profile"},
            {kFields, 1, "Fields=Interlaced", "fields"},
            {kFields, 2, "", "no such choice"},
            {kFieldDominance, 4, "Field Dominance=First Line Late (Spatial)", "dominance"},
            {kBitDepth, "0", "", "no depth"},
            {"Reel", "1", "", "no attribute"},
        };
        for (const auto& fact : facts) {
            Clip clip {{kUnknown}};
            const auto before = clip.movie.header().toBytes();
            const auto done = clip.set(fact.name, fact.value);
            EXPECT_EQ(done.has_value(), !fact.shown.empty()) << fact.why;
            EXPECT_FALSE(clip.movie.isEditable());
            if (fact.shown.empty()) {
                EXPECT_EQ(clip.movie.header().toBytes(), before) << fact.why;
                continue;
            }
            EXPECT_THAT(shown(clip), testing::Contains(fact.shown)) << fact.why;
            EXPECT_EQ(clip.description().extension("vide"_cc, kUnknown.type), kUnknown.head) << fact.why;
            const auto after = clip.movie.header().toBytes();
            EXPECT_TRUE(clip.set(fact.name, fact.value));
            EXPECT_EQ(clip.movie.header().toBytes(), after) << fact.why << ": again";
        }
        Clip gamma;
        EXPECT_TRUE(gamma.set(kGamma, "2.2"));
        EXPECT_EQ(gamma.description().gamma(), 144179U);
        EXPECT_TRUE(gamma.set(kBitDepth, "10"));
        EXPECT_EQ(gamma.description().video()->depth, 10);
        // A color table of its own is read from the description at that depth, and there is none.
        auto entry = gamma.description().entry();
        auto bytes = entry.head.toVector();
        bytes[76] = bytes[77] = std::byte {0};
        entry.head = Bytes::adopt(std::move(bytes));
        {
            const EditableScope scope {gamma.movie};
            ASSERT_TRUE(gamma.movie.tracks().front().media().setSampleDescription(1, entry));
        }
        EXPECT_FALSE(gamma.set(kBitDepth, "8"));
    }

    TEST_F(KWImageDescriptionControllerTest, ColorKeepsTheFormOfItsTag)
    {
        auto custom = Controller::attributeNamed(kColor);
        custom.primaries = 9;
        custom.transfer = 16;
        custom.matrix = 9;
        Clip quickTime;
        EXPECT_TRUE(Controller::imageDescriptionExtension(custom, kColorCustom, quickTime.track()));
        EXPECT_EQ(quickTime.description().extension("vide"_cc, "colr"_cc), nclc(9, 16, 9).head);
        Clip ranged {{atom("colr"_cc, ByteWriter {}.text("nclx").u16(6).u16(1).u16(6).u8(0x80))}};
        EXPECT_TRUE(Controller::imageDescriptionExtension(custom, kColorHd, ranged.track()));
        EXPECT_EQ(ranged.description().color(), (ColorParameters {1, 1, 1, true})) << "the range stays";
    }

    struct ApertureFact
    {
        const char* mode; ///< stored before, or ""
        const char* modeAfter;
        double trackWidth;
    };

    TEST_F(KWImageDescriptionControllerTest, PixelAspectRenewsAperturesAndTheTracksSize)
    {
        const ApertureFact facts[] = {{"", "clea", 640}, {"clas", "clea", 640}, {"enco", "clea", 640},
            {"prod", "prod", 720 * 10 / 11.0}};
        const auto clap
            = atom("clap"_cc, ByteWriter {}.u32(704).u32(1).u32(480).u32(1).u32(0).u32(1).u32(0).u32(1));
        for (const auto& fact : facts) {
            Clip clip {{clap}};
            if (*fact.mode != '\0') {
                const EditableScope scope {clip.movie};
                ASSERT_TRUE(clip.movie.setUserDataItem("apmd"_cc, Bytes::copyOf(fact.mode)));
            }
            ASSERT_TRUE(Controller::setPixelAspectRatio("10:11", clip.movie));
            EXPECT_EQ(clip.movie.userDataItem("apmd"_cc), Bytes::copyOf(fact.modeAfter));
            EXPECT_NEAR(clip.movie.naturalSize().width, fact.trackWidth, 1 / 65536.0) << fact.mode;
            const auto* clef = clip.movie.tracks().front().atom().find({"tapt"_cc, "clef"_cc});
            ASSERT_NE(clef, nullptr);
            EXPECT_EQ(clef->head, ByteWriter {}.u32(0).u32(640U << 16U).u32(480U << 16U).toBytes());
            ASSERT_TRUE(clip.remove(kPixelAspectRatio));
            EXPECT_EQ(clip.movie.naturalSize().width, *fact.modeAfter == 'c' ? 704 : 720)
                << "nothing of the ratio stays behind";
        }
        auto soundOnly = test::emptyMovie();
        EXPECT_TRUE(Controller::setPixelAspectRatio("1:1", soundOnly)) << "nothing to do";
        EXPECT_FALSE(Controller::imageDescriptionExtension(
            Controller::attributeNamed(kPixelAspectRatio), "1:1", soundOnly));
    }

    TEST_F(KWImageDescriptionControllerTest, RemovalTakesOneExtensionAndSaysWhatItCannot)
    {
        const std::vector<Atom> all {atom("pasp"_cc, ByteWriter {}.u32(1).u32(1)),
            atom("gama"_cc, ByteWriter {}.u32(144179)), kUnknown, nclc(1, 1, 1),
            atom("fiel"_cc, ByteWriter {}.u16(0x0209)), atom("colr"_cc, ByteWriter {}.text("profxxxx"))};
        struct RemoveFact
        {
            std::string_view name;
            std::size_t removed; ///< index into `all`
        };
        for (const RemoveFact& fact : {RemoveFact {kPixelAspectRatio, 0}, {kGamma, 1}, {kColor, 3},
                 {kFields, 4}, {kFieldDominance, 4}, {kColorSpace, 5}}) {
            Clip clip {all};
            auto left = all;
            left.erase(left.begin() + static_cast<std::ptrdiff_t>(fact.removed));
            EXPECT_TRUE(clip.remove(fact.name));
            EXPECT_TRUE(clip.description().entry().writesSameAs(Clip {left}.description().entry()))
                << fact.name;
        }
        EXPECT_THAT(messages(), ElementsAre()) << "nothing failed";
        Clip bare;
        const auto before = bare.movie.header().toBytes();
        EXPECT_FALSE(bare.remove(kColor));
        EXPECT_FALSE(bare.remove(kEncodedWidth));
        EXPECT_TRUE(bare.remove(kBitDepth)) << "has no extension";
        EXPECT_EQ(bare.movie.header().toBytes(), before);
        EXPECT_THAT(messages(),
            ElementsAre("Can't remove Color attribute - resetting to 0 instead",
                testing::StartsWith("Error removing attribute: "),
                testing::StartsWith("Error removing attribute: ")));
    }

    TEST_F(KWImageDescriptionControllerTest, ReadingSaysWhatItReads)
    {
        Clip clip {{atom("pasp"_cc, ByteWriter {}.u32(40).u32(33)), nclc(6, 1, 6)}};
        clip.attributes();
        EXPECT_THAT(messages(),
            ElementsAre("ImageDescription count: 1", "encoded width: 720", "encoded height: 480",
                "par: 40:33", "gamma: 0.000000", "color: 6 1 6"));
    }

} // namespace
} // namespace reelwright
