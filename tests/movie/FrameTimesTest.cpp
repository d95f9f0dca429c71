#include "movie/samples/FrameTimes.h"

#include "movie/TrackBuilder.h"
#include "movie/atoms/ByteWriter.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/SimulatedStorage.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

namespace reelwright::test {
namespace {

    using testing::ElementsAre;
    using testing::ElementsAreArray;
    using testing::Optional;

    using Edits = std::vector<EditList::Edit>;

    /// A row of `ctts` or `stts`.
    struct Row
    {
        std::uint32_t count = 0;
        std::int32_t value = 0;
    };

    Bytes tableOf(const std::vector<Row>& rows)
    {
        ByteWriter out;
        out.u32(0).u32(static_cast<std::uint32_t>(rows.size()));
        for (const auto& row : rows)
            out.u32(row.count).u32(static_cast<std::uint32_t>(row.value));
        return out.toBytes();
    }

    /// What a track is made of: pictures at media scale 600, 24 units each unless told otherwise.
    struct TrackShape
    {
        std::uint32_t samples = 5;
        Edits edits {};
        std::vector<Row> offsets {};
        std::vector<Row> durations {};
        std::uint32_t mediaScale = 600;
    };

    QTMovie movieOf(const TrackShape& shape)
    {
        const auto storage = std::make_shared<SimulatedStorage>();
        storage->put(
            "/m/a.mov", MovieBuilder {.tracks = {{.samples = shape.samples, .edits = shape.edits}}}.build());
        auto movie = QTMovie::open("/m/a.mov", storage);
        EXPECT_TRUE(movie);
        const EditableScope scope {*movie};
        auto* media = movie->editHeader().edit("trak"_cc)->edit("mdia"_cc);
        auto* stbl = media->edit({"minf"_cc, "stbl"_cc});
        if (!shape.offsets.empty())
            stbl->setLeaf("ctts"_cc, tableOf(shape.offsets));
        if (!shape.durations.empty())
            stbl->setLeaf("stts"_cc, tableOf(shape.durations));
        auto header = MediaHeader::parse(media->find("mdhd"_cc)->head);
        EXPECT_TRUE(header);
        header->timeScale = shape.mediaScale;
        media->setLeaf("mdhd"_cc, header->write());
        return *movie;
    }

    FrameTimes timesOf(const TrackShape& shape)
    {
        const auto movie = movieOf(shape);
        return FrameTimes {movie.tracks().front()};
    }

    /// Every picture's start, walked forward from 0.
    std::vector<std::int64_t> walkForward(const FrameTimes& times)
    {
        std::vector<std::int64_t> starts;
        const auto first = times.at({0, times.timeScale()});
        if (first && !first->isGap)
            starts.push_back(first->start.value);
        for (auto time = times.next({0, times.timeScale()}); time && starts.size() < 100;
             time = times.next(*time))
            starts.push_back(time->value);
        return starts;
    }

    /// The same, walked back from the end.
    std::vector<std::int64_t> walkBack(const FrameTimes& times)
    {
        std::vector<std::int64_t> starts;
        for (auto time = times.last(); time && starts.size() < 100; time = times.previous(*time))
            starts.insert(starts.begin(), time->value);
        return starts;
    }

    struct WalkFact
    {
        const char* why;
        TrackShape shape;
        std::vector<std::int64_t> starts; ///< at scale 600
    };

    const WalkFact kWalks[] = {
        {"no edit list: every sample", {}, {0, 24, 48, 72, 96}},
        {"a leading gap moves all", {.edits = {{100, -1}, {120, 0}}}, {100, 124, 148, 172, 196}},
        {"an edit that starts and ends inside samples", {.edits = {{40, 30}}}, {0, 18}},
        {"a gap between", {.edits = {{48, 0}, {10, -1}, {48, 48}}}, {0, 24, 58, 82}},
        {"the same media twice", {.edits = {{48, 24}, {48, 24}}}, {0, 24, 48, 72}},
        {"half speed", {.edits = {{96, 0, 1 << 15}}}, {0, 48}},
        {"double speed", {.edits = {{60, 0, 2 << 16}}}, {0, 12, 24, 36, 48}},
        {"a picture that is held", {.edits = {{24, 0}, {100, 48, 0}, {24, 72}}}, {0, 24, 124}},
        {"a last gap has no picture", {.edits = {{24, 0}, {100, -1}}}, {0}},
        {"one edit without a length is all media", {.edits = {{0, 48}}}, {0, 24, 48}},
        {"only a gap", {.edits = {{100, -1}}}, {}},
        {"pictures in another order than they are decoded in",
            {.offsets = {{1, 24}, {1, 72}, {2, 0}, {1, 24}}}, {0, 48, 72, 96}},
        {"the delay of reordering cut away by an edit",
            {.edits = {{120, 24}}, .offsets = {{1, 24}, {1, 72}, {2, 0}, {1, 24}}}, {0, 24, 48, 72, 96}},
        {"offsets for the first samples only", {.offsets = {{1, 10}}}, {0, 24, 48, 72, 96}},
        {"durations differ", {.durations = {{1, 10}, {2, 20}, {2, 5}}}, {0, 10, 30, 50, 55}},
        {"a row of no samples", {.durations = {{1, 10}, {0, 7}, {4, 5}}}, {0, 10, 15, 20, 25}},
    };

    TEST(FrameTimes, WalksEveryPictureForwardAndBack)
    {
        for (const auto& fact : kWalks) {
            SCOPED_TRACE(fact.why);
            const auto times = timesOf(fact.shape);
            EXPECT_EQ(times.timeScale(), 600);
            EXPECT_THAT(walkForward(times), ElementsAreArray(fact.starts));
            EXPECT_THAT(walkBack(times), ElementsAreArray(fact.starts));
        }
    }

    TEST(FrameTimes, TellsGapsFromPictures)
    {
        const auto times = timesOf({.edits = {{100, -1}, {120, 0}, {30, -1}}});
        struct GapFact
        {
            std::int64_t time;
            bool isGap;
            std::int64_t start;
            std::int64_t end;
        };
        for (const auto& fact :
            std::initializer_list<GapFact> {{0, true, 0, 100}, {99, true, 0, 100}, {100, false, 100, 124},
                {219, false, 196, 220}, {220, true, 220, 250}, {9000, true, 220, 250}, {-5, true, 0, 100}}) {
            const auto frame = times.at({fact.time, 600});
            ASSERT_TRUE(frame);
            EXPECT_EQ(frame->isGap, fact.isGap) << fact.time;
            EXPECT_EQ(frame->start.value, fact.start) << fact.time;
            EXPECT_EQ(frame->end.value, fact.end) << fact.time;
        }
    }

    TEST(FrameTimes, TimeRoundedToACoarserScaleNamesTheFrameItCameFrom)
    {
        // 29.97 pictures a second in a movie of 600 units a second: no frame after the first has a whole
        // start.
        const auto times = timesOf(
            {.samples = 3000, .edits = {{60060, 0}}, .durations = {{3000, 1001}}, .mediaScale = 30000});
        ASSERT_EQ(times.timeScale(), 30000);
        for (std::int64_t frame = 0; frame < 3000; ++frame) {
            const QTTime exact {frame * 1001, 30000};
            for (const auto scale : {600, 1000, 30000, 90000, 1000000}) {
                const auto found = times.at(atScale(exact, scale));
                ASSERT_TRUE(found);
                ASSERT_EQ(found->start, exact) << "frame " << frame << " at scale " << scale;
            }
        }
        EXPECT_EQ(times.at({10, 1})->start, (QTTime {299 * 1001, 30000}))
            << "whole seconds are no rounded frames";
    }

    TEST(FrameTimes, ScalesWithoutACommonOneStayInTheMediaScale)
    {
        const auto times
            = timesOf({.edits = {{600, 0}}, .durations = {{5, 1'000'000}}, .mediaScale = 2'000'000'011});
        EXPECT_EQ(times.timeScale(), 2'000'000'011);
        EXPECT_THAT(walkForward(times), ElementsAre(0, 1'000'000, 2'000'000, 3'000'000, 4'000'000));
    }

    TEST(FrameTimes, DamagedTablesAreAnsweredAtOnce)
    {
        const TrackShape kDamaged[] = {
            {.samples = 5, .offsets = {{5, INT32_MIN}}},
            {.samples = 5, .offsets = {{1, INT32_MAX}, {1, INT32_MIN}, {UINT32_MAX, 7}}},
            {.samples = 5, .durations = {{UINT32_MAX, -1}}},
            {.samples = 5, .durations = {{5, 0}}},
            {.samples = 5, .edits = {{UINT64_MAX, INT64_MAX, INT32_MAX}, {UINT64_MAX, -2, INT32_MIN}}},
            {.samples = 5, .edits = {{1, INT64_MIN, 1}}},
            {.samples = 0},
        };
        for (const auto& shape : kDamaged) {
            const auto times = timesOf(shape);
            for (const auto value :
                {INT64_MIN, std::int64_t {-1}, std::int64_t {0}, std::int64_t {100}, INT64_MAX}) {
                const auto frame = times.at({value, 600});
                EXPECT_TRUE(!frame || frame->start.value < frame->end.value);
                const auto next = times.next({value, 600});
                EXPECT_TRUE(!next || next->value > frame->start.value);
                const auto previous = times.previous({value, 600});
                EXPECT_TRUE(!previous || previous->value < frame->start.value);
            }
            EXPECT_LE(walkBack(times).size(), 100U);
        }
        EXPECT_TRUE(FrameTimes {}.empty());
        EXPECT_FALSE(FrameTimes {}.at({0, 600}));
        EXPECT_FALSE(FrameTimes {}.last());
    }

    TEST(FrameTimes, PicturesAreCountedAsTheyAreShown)
    {
        auto movie = test::emptyMovie(600);
        test::TestTrack video;
        video.times = {{10, 24}, {1, 600}, {10, 48}}; // held once, then half as many
        video.edits.emplace().edits
            = {{60, -1, 1 << 16}, {1320, 0, 1 << 16}, {48, 480, 0}, {96, 48, 1 << 16}};
        const FrameTimes times {test::addTrack(movie, video)};
        const std::int64_t starts[] = {60, 84, 108, 132, 156, 180, 204, 228, 252, 276, 300, 900, 948, 996,
            1044, 1092, 1140, 1188, 1236, 1284, 1332, 1380, 1428, 1452, 1476, 1500};
        for (std::size_t i = 0; i < std::size(starts); ++i) {
            const auto number = static_cast<std::int64_t>(i);
            ASSERT_EQ(times.startOf(number), (std::optional<QTTime> {{starts[i], 600}})) << i;
            EXPECT_EQ(times.countBefore({starts[i], 600}), number);
        }
        EXPECT_FALSE(times.startOf(std::size(starts)));
    }

    TEST(FrameTimes, PicturesStoredInAnotherOrderAreCountedAsShown)
    {
        auto movie = test::emptyMovie(600);
        test::TestTrack video;
        video.times = {{7, 24}};
        const auto track = test::addTrack(movie, video);
        const EditableScope scope {movie};
        ByteWriter offsets; // I P B B P B B: decoded 0 1 2 3 4 5 6, shown 0 3 1 2 6 4 5, a frame later
        offsets.u32(0).u32(7);
        for (const std::uint32_t frames : {1U, 3U, 0U, 0U, 3U, 0U, 0U})
            offsets.u32(1).u32(frames * 24);
        editSampleTables(*track.editAtom())->setLeaf("ctts"_cc, offsets.toBytes());
        const EditList list {0, 0, {{144, 24, 1 << 16}}, {}};
        ASSERT_TRUE(track.setEditList(list));
        const FrameTimes times {track};
        for (std::int64_t i = 0; i < 6; ++i)
            EXPECT_EQ(times.startOf(i), (std::optional<QTTime> {{i * 24, 600}})) << i;
        EXPECT_FALSE(times.startOf(6));
    }

} // namespace
} // namespace reelwright::test
