#include "movie/QTTrack.h"

#include "tests/helpers/TestMovie.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <random>

namespace reelwright {
namespace {

    using Edit = EditList::Edit;
    using Edits = std::vector<Edit>;
    using test::addTrack;
    using test::emptyMovie;
    using test::TestTrack;

    constexpr std::int32_t kOne = 1 << 16;
    constexpr std::int32_t kMovieScale = 600;

    constexpr Edit gap(std::uint64_t duration)
    {
        return {duration, -1, kOne};
    }

    constexpr Edit edit(std::uint64_t duration, std::int64_t mediaTime, double rate = 1)
    {
        return {duration, mediaTime, static_cast<std::int32_t>(rate * kOne)};
    }

    std::string text(const Edits& edits)
    {
        std::string result;
        for (const auto& e : edits)
            result += fmt::format("{}@{}x{} ", e.duration, e.mediaTime, e.rate / double {kOne});
        return result;
    }

    /// Two seconds of media at 1200 units a second, in a movie of 600.
    TestTrack trackWith(Edits edits)
    {
        TestTrack track;
        track.mediaScale = 1200;
        track.times = {{50, 48}};
        if (!edits.empty())
            track.edits = EditList {0, 0, std::move(edits), {}};
        return track;
    }

    QTTimeRange rangeOf(std::int64_t start, std::int64_t duration)
    {
        return {{start, kMovieScale}, {duration, kMovieScale}};
    }

    struct RangeFact
    {
        const char* why;
        Edits before; ///< none: no edit list
        std::int64_t start;
        std::int64_t duration;
        Edits after;
    };

    std::vector<RangeFact> rangeFacts()
    {
        return {
            {"a track without a list gets one with a gap", {}, 100, 1200, {gap(100), edit(1200, 0)}},
            {"the gap changes", {gap(100), edit(300, 24)}, 250, 300, {gap(250), edit(300, 24)}},
            {"the gap goes", {gap(100), edit(300, 0), edit(200, 1200)}, 0, 500,
                {edit(300, 0), edit(200, 1200)}},
            {"several gaps become one", {gap(50), gap(50), edit(300, 0)}, 70, 300, {gap(70), edit(300, 0)}},
            {"a gap without a length goes too", {gap(0), edit(300, 0)}, 10, 300, {gap(10), edit(300, 0)}},
            {"a start below zero is zero", {gap(100), edit(300, 0)}, -50, 300, {edit(300, 0)}},
            {"a gap inside stays", {edit(300, 0), gap(50), edit(100, 0)}, 10, 450,
                {gap(10), edit(300, 0), gap(50), edit(100, 0)}},

            {"shorter within the last edit", {edit(300, 0), edit(300, 1200)}, 0, 500,
                {edit(300, 0), edit(200, 1200)}},
            {"shorter across edits", {edit(300, 0), gap(20), edit(300, 1200)}, 0, 250, {edit(250, 0)}},
            {"shorter by exactly an edit", {edit(300, 0), edit(300, 1200)}, 0, 300, {edit(300, 0)}},
            {"shorter within a gap at the end", {edit(300, 0), gap(100)}, 0, 350, {edit(300, 0), gap(50)}},
            {"the leading gap is no part of the duration", {gap(100), edit(300, 0)}, 100, 200,
                {gap(100), edit(200, 0)}},
            {"start and end at once", {gap(100), edit(300, 0), edit(300, 600)}, 40, 310,
                {gap(40), edit(300, 0), edit(10, 600)}},

            {"longer into the media", {edit(300, 0)}, 0, 700, {edit(700, 0)}},
            {"a gap at the end grows", {edit(300, 0), gap(100)}, 0, 1000, {edit(300, 0), gap(700)}},
            {"at half rate the media last twice as long", {edit(300, 0, 0.5)}, 0, 2400, {edit(2400, 0, 0.5)}},
            {"a held picture is held longer", {edit(300, 100, 0)}, 0, 90000, {edit(90000, 100, 0)}},

            {"to nothing, the place in the media is kept", {gap(100), edit(300, 240), edit(300, 1200)}, 100,
                0, {gap(100), edit(0, 240)}},
            {"a duration below zero is zero", {edit(300, 240)}, 0, -1, {edit(0, 240)}},
            {"from nothing back into the media", {gap(100), edit(0, 240)}, 100, 300,
                {gap(100), edit(300, 240)}},
            {"to nothing without a list", {}, 0, 0, {edit(0, 0)}},
            {"a track of gaps alone can be moved", {gap(500)}, 100, 0, {gap(100)}},
            {"a track of gaps alone can begin at once", {gap(500), gap(100)}, 0, 0, {gap(0)}},
            {"a track of gaps alone starts over with its media", {gap(500)}, 500, 200,
                {gap(500), edit(200, 0)}},
            {"an edit without a length keeps two gaps apart", {gap(500), edit(0, 0), gap(200)}, 30, 200,
                {gap(30), edit(0, 0), gap(200)}},
            {"and become shorter", {gap(500), edit(0, 0), gap(200)}, 500, 150,
                {gap(500), edit(0, 0), gap(150)}},
            {"later than 32 bits can say", {edit(300, 0)}, 0x1'0000'0000, 300,
                {gap(0x1'0000'0000), edit(300, 0)}},
        };
    }

    TEST(QTTrackRange, EditsAndDurationsFollowTheRangeAsTheStripShows)
    {
        for (const auto& fact : rangeFacts()) {
            SCOPED_TRACE(fact.why);
            auto movie = emptyMovie(kMovieScale);
            const auto track = addTrack(movie, trackWith(fact.before));
            const auto media = track.media().atom()->toBytes();
            const EditableScope scope {movie};
            ASSERT_TRUE(track.setRange(rangeOf(fact.start, fact.duration)));
            EXPECT_EQ(text(track.editList()->edits), text(fact.after));
            EXPECT_EQ(media, track.media().atom()->toBytes()) << "no media is touched";

            const auto range
                = rangeOf(std::max<std::int64_t>(fact.start, 0), std::max<std::int64_t>(fact.duration, 0));
            EXPECT_EQ(track.range(), range);
            const auto end = static_cast<std::uint64_t>(range.time.value + range.duration.value);
            EXPECT_EQ(track.header().duration, end);
            EXPECT_EQ(movie.movieHeader().duration, end);

            const auto bytes = movie.header().toBytes();
            ASSERT_TRUE(track.setRange(track.range()));
            EXPECT_EQ(movie.header().toBytes(), bytes) << "setting what is set changes nothing";
        }
    }

    TEST(QTTrackRange, ADurationBeyondTheMediaIsRefusedWithTheLongestPossible)
    {
        const RangeFact facts[] = {
            {"past the media", {edit(300, 0)}, 0, 1500, {edit(1200, 0)}},
            {"only the media behind the edit's start is there", {edit(300, 1200)}, 0, 1000,
                {edit(600, 1200)}},
            {"at double rate the media last half as long", {edit(300, 0, 2)}, 0, 900, {edit(600, 0, 2)}},
            {"an edit that plays backward stays as it is", {edit(300, 2400, -1)}, 0, 400, {edit(300, 0)}},
            {"an edit behind the media stays as it is", {edit(300, 9000)}, 0, 400, {edit(300, 0)}},
            {"an edit that runs past the media stays as it is", {edit(2000, 0)}, 0, 2100, {edit(2000, 0)}},
            {"a track without a list", {}, 0, 1300, {edit(1200, 0)}},
            {"a track of gaps alone", {gap(500)}, 30, 1300, {edit(1200, 0)}},
        };
        for (const auto& fact : facts) {
            SCOPED_TRACE(fact.why);
            auto movie = emptyMovie(kMovieScale);
            const auto track = addTrack(movie, trackWith(fact.before));
            const auto bytes = movie.header().toBytes();
            const EditableScope scope {movie};
            const auto done = track.setRange(rangeOf(fact.start, fact.duration));
            ASSERT_FALSE(done);
            EXPECT_THAT(done.error().detail,
                testing::HasSubstr("(" + std::to_string(fact.after.front().duration) + "/"));
            EXPECT_EQ(movie.header().toBytes(), bytes);
        }
    }

    TEST(QTTrackRange, SettingTheRangeThatIsThereKeepsEveryByte)
    {
        const Edits lists[] = {{}, {edit(300, 0)}, {gap(50), gap(50), edit(300, 0)}, {gap(0), edit(300, 0)},
            {edit(300, 0), gap(0)}, {gap(500)}, {gap(0)}, {edit(0, 0)}, {edit(300, 0, 0), edit(0, 5)}};
        for (const auto& list : lists) {
            auto movie = emptyMovie(kMovieScale);
            const auto track = addTrack(movie, trackWith(list));
            const auto bytes = movie.header().toBytes();
            const EditableScope scope {movie};
            ASSERT_TRUE(track.setRange(track.range()));
            EXPECT_EQ(movie.header().toBytes(), bytes) << text(list);
        }
    }

    TEST(QTTrackRange, AnyRangeOnAnyListReadsBack)
    {
        std::mt19937 random {7};
        const auto below
            = [&](int limit) { return static_cast<std::int64_t>(random() % static_cast<unsigned>(limit)); };
        for (int round = 0; round < 2000; ++round) {
            Edits edits;
            for (auto count = below(6); count > 0; --count) {
                constexpr double kRates[] = {1, 1, 1, 2, 0.5, 0, -1, 0.3};
                edits.push_back(below(3) == 0
                        ? gap(static_cast<std::uint64_t>(below(4)) * 100)
                        : edit(static_cast<std::uint64_t>(below(4)) * 100, below(3000), kRates[below(8)]));
            }
            auto movie = emptyMovie(kMovieScale);
            const auto track = addTrack(movie, trackWith(edits));
            const EditableScope scope {movie};
            for (int change = 0; change < 3; ++change) {
                const auto range = rangeOf(below(5) * 100, below(8) * 150);
                const auto before = track.range();
                const bool isPossible = track.setRange(range).has_value();
                ASSERT_EQ(track.range(), isPossible ? range : before) << text(edits);
            }
        }
    }

    TEST(QTTrackRange, TrackWithoutMediaIsAsLongAsItsGapSays)
    {
        auto movie = emptyMovie(kMovieScale);
        auto source = trackWith({});
        source.times = {};
        const auto track = addTrack(movie, source);
        const EditableScope scope {movie};
        for (const auto& range : {rangeOf(0, 100), rangeOf(50, 100), rangeOf(50, 0), rangeOf(0, 70)}) {
            ASSERT_TRUE(track.setRange(range));
            EXPECT_EQ(track.range(), range);
        }
        EXPECT_EQ(text(track.editList()->edits), text({edit(0, 0), gap(70)}));
    }

    TEST(QTTrackRange, TimesOfOtherScalesAreRoundedToTheMovies)
    {
        auto movie = emptyMovie(kMovieScale);
        const auto track = addTrack(movie, trackWith({}));
        const EditableScope scope {movie};
        ASSERT_TRUE(track.setRange({{1001, 30000}, {1, 2}}));
        EXPECT_EQ(text(track.editList()->edits), text({gap(20), edit(300, 0)}));
        EXPECT_EQ(track.range().time.scale, kMovieScale);
    }

    TEST(QTTrackRange, WideListsStayWideAndNarrowOnesNarrow)
    {
        for (const auto version : {std::uint8_t {0}, std::uint8_t {1}}) {
            auto movie = emptyMovie(kMovieScale);
            auto source = trackWith({edit(300, 0)});
            source.edits->version = version;
            source.edits->rest = Bytes::copyOf("kept");
            const auto track = addTrack(movie, source);
            const EditableScope scope {movie};
            ASSERT_TRUE(track.setRange(rangeOf(100, 300)));
            const auto list = track.editList();
            EXPECT_EQ(list->version, version);
            EXPECT_EQ(list->rest, Bytes::copyOf("kept"));
        }
    }

    TEST(QTTrackRange, UnknownDurationsComeFromTheMedia)
    {
        auto movie = emptyMovie(kMovieScale);
        auto source = trackWith({});
        source.trackDuration = kUnknownDuration;
        source.mediaDuration = kUnknownDuration;
        const auto track = addTrack(movie, source);
        EXPECT_EQ(track.range(), rangeOf(0, 1200));
        EXPECT_EQ(movie.duration(), (QTTime {1200, kMovieScale}));

        const EditableScope scope {movie};
        ASSERT_TRUE(track.setRange(rangeOf(0, 1200)));
        EXPECT_EQ(track.header().duration, kUnknownDuration) << "nothing was changed";
        ASSERT_TRUE(track.setRange(rangeOf(60, 1200)));
        EXPECT_EQ(track.header().duration, 1260U);
        EXPECT_EQ(track.media().header().duration, kUnknownDuration) << "the media were not touched";
    }

    TEST(QTTrackRange, DurationOfZeroWithoutAnEditListIsTheMedias)
    {
        auto movie = emptyMovie(kMovieScale);
        auto source = trackWith({});
        source.trackDuration = 0;
        EXPECT_EQ(addTrack(movie, source).range(), rangeOf(0, 1200));
        source.times = {};
        EXPECT_EQ(addTrack(movie, source).range(), rangeOf(0, 0)) << "without media it is nothing";
    }

    TEST(QTTrackRange, LongestTrackMakesTheMoviesDuration)
    {
        auto movie = emptyMovie(kMovieScale);
        const auto first = addTrack(movie, trackWith({edit(300, 0)}));
        auto other = trackWith({gap(100), edit(500, 0)});
        other.trackID = 2;
        addTrack(movie, other);
        EXPECT_EQ(movie.duration(), (QTTime {600, kMovieScale}));
        const EditableScope scope {movie};
        ASSERT_TRUE(first.setRange(rangeOf(500, 300)));
        EXPECT_EQ(movie.duration(), (QTTime {800, kMovieScale}));
        ASSERT_TRUE(first.setRange(rangeOf(0, 10)));
        EXPECT_EQ(movie.duration(), (QTTime {600, kMovieScale})) << "the other track is the longest again";
    }

    TEST(QTTrackRange, DurationsBeyondAllMeasureAreSurvived)
    {
        const auto most = UINT64_MAX;
        const Edits lists[] = {{edit(most, 0)}, {gap(most), edit(most, 0)}, {edit(most, 0), edit(most, 0)},
            {gap(most), gap(most), edit(most - 5, INT64_MAX)}, {edit(0, INT64_MAX)}, {edit(1, INT64_MIN)},
            {edit(1, 0, 1.0 / kOne), edit(1, INT64_MAX, -2)}};
        for (const auto& list : lists)
            for (const std::int64_t start : {INT64_MIN, std::int64_t {0}, INT64_MAX})
                for (const std::int64_t duration :
                    {INT64_MIN, std::int64_t {0}, std::int64_t {50}, INT64_MAX}) {
                    auto movie = emptyMovie(kMovieScale);
                    const auto track = addTrack(movie, trackWith(list));
                    const EditableScope scope {movie};
                    const auto before = track.range();
                    const auto wanted
                        = rangeOf(std::max<std::int64_t>(start, 0), std::max<std::int64_t>(duration, 0));
                    const bool isPossible = track.setRange(rangeOf(start, duration)).has_value();
                    EXPECT_EQ(track.range(), isPossible ? wanted : before) << text(list);
                }
    }

    struct RefusedFact
    {
        const char* why;
        bool editable;
        std::function<void(QTMovie&)> damage;
    };

    TEST(QTTrack, EditsThatCannotBeMadeChangeNothing)
    {
        const auto damageTrack = [](FourCC type, const char* payload) {
            return [=](QTMovie& movie) {
                auto* trak = movie.editHeader().edit("trak"_cc);
                (type == "elst"_cc ? trak->edit("edts"_cc) : trak)->setLeaf(type, Bytes::copyOf(payload));
            };
        };
        const RefusedFact facts[] = {
            {"the movie is not editable", false, [](QTMovie&) {}},
            {"the edit list claims more than it holds", true, damageTrack("elst"_cc, "\1\1\1\1\1\1\1\1\1")},
            {"the edit list is of an unknown kind", true, damageTrack("elst"_cc, "\7not known yet")},
            {"the track header is cut short", true, damageTrack("tkhd"_cc, "short")},
            {"the track header is of an unknown kind", true,
                [](QTMovie& movie) {
                    auto* trak = movie.editHeader().edit("trak"_cc);
                    auto bytes = trak->find("tkhd"_cc)->head.toVector();
                    bytes[0] = std::byte {9};
                    trak->setLeaf("tkhd"_cc, Bytes::copyOf(bytes));
                }},
            {"there is no track header", true,
                [](QTMovie& movie) { movie.editHeader().edit("trak"_cc)->remove("tkhd"_cc); }},
            {"the movie has no time scale", true,
                [](QTMovie& movie) {
                    auto header = movie.movieHeader();
                    header.timeScale = 0;
                    movie.editHeader().setLeaf("mvhd"_cc, header.write());
                }},
        };
        for (const auto& fact : facts) {
            SCOPED_TRACE(fact.why);
            auto movie = emptyMovie(kMovieScale);
            const auto track = addTrack(movie, trackWith({edit(300, 0)}));
            movie.setEditable(true);
            fact.damage(movie);
            movie.setEditable(fact.editable);
            const auto bytes = movie.header().toBytes();
            EXPECT_FALSE(track.setRange(rangeOf(10, 20)));
            EXPECT_EQ(movie.header().toBytes(), bytes);
            (void)track.setEnabled(!track.isEnabled());
            (void)track.setMatrix(track.matrix().rotated(90));
            EXPECT_EQ(movie.header().toBytes().size(), bytes.size()) << "a header is never made up";
        }
    }

    TEST(QTTrack, EnablingChangesOneBitAndBack)
    {
        auto movie = emptyMovie(kMovieScale);
        const auto track = addTrack(movie, trackWith({}));
        const auto bytes = movie.header().toBytes();
        const EditableScope scope {movie};
        ASSERT_TRUE(track.setEnabled(true));
        EXPECT_EQ(movie.header().toBytes(), bytes);
        ASSERT_TRUE(track.setEnabled(false));
        EXPECT_FALSE(track.isEnabled());
        EXPECT_EQ(track.header().flags, TrackHeader::kInMovie | TrackHeader::kInPreview);
        ASSERT_TRUE(track.setEnabled(true));
        EXPECT_EQ(movie.header().toBytes(), bytes);
    }

    TEST(QTTrack, ViewOfARemovedTrackIsNotValid)
    {
        auto movie = emptyMovie(kMovieScale);
        const auto track = addTrack(movie, trackWith({}));
        const auto before = movie;
        const EditableScope scope {movie};
        movie.editHeader().remove("trak"_cc);
        EXPECT_FALSE(track.isValid());
        EXPECT_EQ(track.trackID(), 0U);
        EXPECT_FALSE(track.media().isValid());
        EXPECT_EQ(track.media().sampleCount(), 0U);
        EXPECT_FALSE(track.setEnabled(false));
        movie = before; // undone
        EXPECT_TRUE(track.isValid()) << "tracks are found by identity";
    }

    TEST(QTTrack, BoundsAreTheBoxAfterTheMatrix)
    {
        struct BoundsFact
        {
            Matrix matrix;
            QTRect box;
            const char* why = nullptr;
        };
        Matrix moved;
        moved.values[6] = 10 * kOne;
        moved.values[7] = -20 * kOne;
        const BoundsFact facts[] = {
            {{}, {0, 0, 160, 90}, "as it is"},
            {Matrix {}.rotated(90), {-90, 0, 0, 160}, "clockwise about the upper left corner"},
            {Matrix {}.rotated(-90), {0, -160, 90, 0}, "the other way"},
            {Matrix {}.rotated(180), {-160, -90, 0, 0}, "half a turn"},
            {Matrix {}.scaled(-1, 1), {-160, 0, 0, 90}, "mirrored"},
            {Matrix {}.scaled(2, 0.5), {0, 0, 320, 45}, "stretched"},
            {moved, {10, -20, 170, 70}, "moved"},
            {moved.rotated(90), {-70, 10, 20, 170}, "moved, then turned: the place turns too"},
        };
        for (const auto& fact : facts) {
            auto movie = emptyMovie(kMovieScale);
            TestTrack source;
            source.matrix = fact.matrix;
            const auto box = addTrack(movie, source).bounds();
            EXPECT_EQ(std::tuple(box.left, box.top, box.right, box.bottom),
                std::tuple(fact.box.left, fact.box.top, fact.box.right, fact.box.bottom))
                << fact.why;
        }
    }

    TEST(Matrix, QuarterTurnsAreExactAndCloseTheCircle)
    {
        Matrix odd;
        odd.values = {12345, -67890, 7, 54321, 98765, -3, -1234567, 7654321, 1 << 30};
        for (const auto& start : {Matrix {}, odd}) {
            auto right = start;
            auto left = start;
            for (int turn = 0; turn < 4; ++turn) {
                right = right.rotated(90);
                left = left.rotated(-90);
                EXPECT_EQ(right == start, turn == 3);
            }
            EXPECT_EQ(left, start);
            EXPECT_EQ(start.rotated(90).rotated(90), start.rotated(180));
            EXPECT_EQ(start.rotated(-90), start.rotated(270));
            EXPECT_EQ(start.rotated(180).rotated(180), start);
            EXPECT_EQ(start.scaled(-1, 1).scaled(-1, 1), start);
            EXPECT_EQ(start.scaled(-1, 1).scaled(1, -1), start.rotated(180));
        }
    }

    TEST(Matrix, ProductsPastTheFieldsStopAtTheirLimits)
    {
        Matrix large;
        large.values.fill(INT32_MAX);
        const auto more = large.scaled(4, -4);
        EXPECT_EQ(more.values[0], INT32_MAX);
        EXPECT_EQ(more.values[1], INT32_MIN);
        EXPECT_EQ(more.values[2], INT32_MAX) << "the perspective column is left alone";
    }

} // namespace
} // namespace reelwright
