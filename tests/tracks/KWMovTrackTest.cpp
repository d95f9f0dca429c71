#include "tracks/KWMovTrack.h"

#include "tests/helpers/LogTest.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using test::addTrack;
    using test::emptyMovie;
    using test::TestTrack;

    TestTrack trackOf(FourCC mediaType, std::uint32_t trackID = 1)
    {
        TestTrack track;
        track.mediaType = mediaType;
        track.trackID = trackID;
        return track;
    }

    struct TypeFact
    {
        FourCC mediaType;
        std::optional<int> code;
        const char* name;
    };

    constexpr TypeFact kTypes[] = {
        {"vide"_cc, 1, "Video"},
        {"soun"_cc, 2, "Audio"},
        {"tmcd"_cc, 3, "Timecode"},
        {"text"_cc, 4, "Text"},
        {"sprt"_cc, 5, "Sprite"},
        {"clcp"_cc, 6, "Captions"},
        {"meta"_cc, std::nullopt, "Unknown"},
        {"sbtl"_cc, std::nullopt, "Unknown"},
        {FourCC {}, std::nullopt, "Unknown"},
    };

    TEST(KWMovTrack, TypeCodeAndNameFollowTheMediaType)
    {
        for (const auto& fact : kTypes) {
            auto movie = emptyMovie();
            const auto record = KWMovTrack::trackWithQTTrack(addTrack(movie, trackOf(fact.mediaType)));
            EXPECT_EQ(record.trackType(), fact.code) << fact.mediaType.text();
            EXPECT_EQ(KWMovTrack::typeName(record.trackType()), fact.name) << fact.mediaType.text();
        }
        EXPECT_EQ(KWMovTrack::typeName(0), "Movie");
        EXPECT_EQ(KWMovTrack::typeName(7), "Unknown");
        EXPECT_EQ(KWMovTrack::typeName(-1), "Unknown");
    }

    TEST(KWMovTrack, StoredFieldsAreAsTheTrackWasAndTimesAsItIs)
    {
        auto movie = emptyMovie();
        auto source = trackOf(QTMediaTypeVideo, 42);
        source.edits = EditList {0, 0, {{100, -1, 1 << 16}, {300, 0, 1 << 16}}, {}};
        const auto track = addTrack(movie, source);
        const auto record = KWMovTrack::trackWithQTTrack(track);
        EXPECT_EQ(record.trackID(), 42U);
        EXPECT_TRUE(record.enabled());
        EXPECT_EQ(record.track(), track);
        EXPECT_EQ(record.timescale(), 600);
        EXPECT_EQ(record.inPoint(), (QTTime {100, 600}));
        EXPECT_EQ(record.duration(), (QTTime {300, 600}));
        EXPECT_EQ(record.trackBounds().width(), 160);
        EXPECT_EQ(record.trackBounds().height(), 90);

        const EditableScope scope {movie};
        ASSERT_TRUE(track.setEnabled(false));
        ASSERT_TRUE(track.setRange({{50, 600}, {200, 600}}));
        ASSERT_TRUE(track.setMatrix(track.matrix().rotated(90)));
        EXPECT_TRUE(record.enabled()) << "when the record was made";
        EXPECT_EQ(record.timeRange(), (QTTimeRange {{50, 600}, {200, 600}}));
        EXPECT_EQ(record.trackBounds().width(), 90);
        EXPECT_FALSE(KWMovTrack::trackWithQTTrack(track).enabled());
    }

    struct SoundFact
    {
        const char* why;
        FourCC mediaType;
        Atom description;
        std::uint32_t channels;
        std::uint32_t label;
    };

    TEST(KWMovTrack, ChannelsOfSoundComeFromItsDescriptionAndLayout)
    {
        const auto layoutTag
            = Atom {"chan"_cc, ByteWriter {}.u32(0).u32(101U << 16U | 2U).u32(0).u32(0).toBytes()};
        const auto lying = Atom {"chan"_cc, ByteWriter {}.u32(0).u32(0).u32(0).u32(0x0CCC'CCCD).toBytes()};
        const auto stereo = test::soundDescription(2, {test::channelLayout({1, 2})});
        const SoundFact facts[] = {
            {"stereo that lists its channels", QTMediaTypeSound, stereo, 2, 1},
            {"a lone centre", QTMediaTypeSound, test::soundDescription(1, {test::channelLayout({3})}), 1, 3},
            {"a layout named by its number lists none", QTMediaTypeSound,
                test::soundDescription(2, {layoutTag}), 2, 0},
            {"no layout", QTMediaTypeSound, test::soundDescription(6), 6, 0},
            {"a layout that claims more than there is", QTMediaTypeSound, test::soundDescription(2, {lying}),
                2, 0},
            {"half a description", QTMediaTypeSound, Atom {"sowt"_cc, Bytes::copyOf("too short")}, 0, 0},
            {"only sound has channels", QTMediaTypeText, stereo, 0, 0},
        };
        for (const auto& fact : facts) {
            auto movie = emptyMovie();
            auto source = trackOf(fact.mediaType);
            source.descriptions = {fact.description};
            const auto record = KWMovTrack::trackWithQTTrack(addTrack(movie, source));
            EXPECT_EQ(record.channels(), fact.channels) << fact.why;
            EXPECT_EQ(record.audioChannelDescription().mChannelLabel, fact.label) << fact.why;
        }
    }

    TEST(KWMovTrack, FirstTrackOfATypeIsTheFirstInTheMovie)
    {
        auto movie = emptyMovie();
        std::uint32_t id = 30;
        for (const auto& fact : kTypes) {
            addTrack(movie, trackOf(fact.mediaType, id--));
            addTrack(movie, trackOf(fact.mediaType, id--));
        }
        for (int code = 1; code <= 5; ++code) {
            const auto record = KWMovTrack::firstTrackOfType(code, movie);
            ASSERT_TRUE(record) << code;
            EXPECT_EQ(record->trackType(), code);
            EXPECT_EQ(record->trackID(), 32U - 2U * static_cast<unsigned>(code));
        }
        for (const int code : {0, 6, 7, -1})
            EXPECT_FALSE(KWMovTrack::firstTrackOfType(code, movie)) << code;
        EXPECT_FALSE(KWMovTrack::firstTrackOfType(1, emptyMovie()));
    }

    using KWMovTrackLog = test::LogTest;

    TEST_F(KWMovTrackLog, ViewThatLostItsTrackGivesNoRecord)
    {
        auto movie = emptyMovie();
        const auto track = addTrack(movie, trackOf(QTMediaTypeVideo, 5));
        const auto record = KWMovTrack::trackWithQuickTimeTrack(track);
        ASSERT_TRUE(record);
        EXPECT_EQ(record->trackID(), 5U);
        EXPECT_THAT(messages(), testing::IsEmpty());

        const EditableScope scope {movie};
        movie.editHeader().remove("trak"_cc);
        EXPECT_FALSE(KWMovTrack::trackWithQuickTimeTrack(track));
        EXPECT_THAT(messages(), testing::ElementsAre("Error adding track: the movie has no such track"));
    }

} // namespace
} // namespace reelwright
