#include "movie/samples/SampleTable.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

namespace reelwright {
namespace {

    using testing::ElementsAre;
    using testing::SizeIs;

    struct Row3
    {
        std::uint32_t firstChunk;
        std::uint32_t samplesPerChunk;
        std::uint32_t description;
    };

    /// What an `stbl` is made of. The counts that the atoms claim can lie.
    struct Tables
    {
        std::vector<SampleTable::TimeRun> times {};
        std::vector<Row3> chunkRuns {};
        std::vector<std::uint64_t> offsets {};
        bool wideOffsets = false;
        std::uint32_t uniformSize = 0;
        std::uint32_t uniformCount = 0;
        std::vector<std::uint32_t> sizes {};
        unsigned sizeBits = 32; ///< below 32: an stz2
        std::optional<std::uint32_t> claimed {}; ///< by every table
    };

    Atom atomOf(const Tables& tables)
    {
        const auto count
            = [&](std::size_t real) { return tables.claimed.value_or(static_cast<std::uint32_t>(real)); };
        auto stbl = Atom::container("stbl"_cc);
        ByteWriter stts;
        stts.u32(0).u32(count(tables.times.size()));
        for (const auto& run : tables.times)
            stts.u32(run.count).u32(run.duration);
        stbl.append(Atom {"stts"_cc, stts.toBytes()});
        ByteWriter stsc;
        stsc.u32(0).u32(count(tables.chunkRuns.size()));
        for (const auto& run : tables.chunkRuns)
            stsc.u32(run.firstChunk).u32(run.samplesPerChunk).u32(run.description);
        stbl.append(Atom {"stsc"_cc, stsc.toBytes()});
        ByteWriter sizes;
        if (tables.sizeBits == 32) {
            sizes.u32(0).u32(tables.uniformSize);
            sizes.u32(tables.uniformSize != 0 ? tables.uniformCount : count(tables.sizes.size()));
            for (const auto size : tables.sizes)
                sizes.u32(size);
        } else {
            sizes.u32(0).u32(tables.sizeBits).u32(count(tables.sizes.size()));
            for (std::size_t i = 0; i < tables.sizes.size(); ++i)
                if (tables.sizeBits == 16)
                    sizes.u16(static_cast<std::uint16_t>(tables.sizes[i]));
                else if (tables.sizeBits == 8)
                    sizes.u8(static_cast<std::uint8_t>(tables.sizes[i]));
                else if (i % 2 == 0) {
                    const auto next = i + 1 < tables.sizes.size() ? tables.sizes[i + 1] : 0;
                    sizes.u8(static_cast<std::uint8_t>(tables.sizes[i] << 4U | next));
                }
        }
        stbl.append(Atom {tables.sizeBits == 32 ? "stsz"_cc : "stz2"_cc, sizes.toBytes()});
        ByteWriter offsets;
        offsets.u32(0).u32(count(tables.offsets.size()));
        for (const auto offset : tables.offsets)
            if (tables.wideOffsets)
                offsets.u64(offset);
            else
                offsets.u32(static_cast<std::uint32_t>(offset));
        stbl.append(Atom {tables.wideOffsets ? "co64"_cc : "stco"_cc, offsets.toBytes()});
        return stbl;
    }

    /// One entry a sample: the plain reading of the tables.
    struct Sample
    {
        std::uint64_t offset;
        std::uint32_t size;
        std::uint32_t description;
    };

    std::vector<Sample> expanded(const Tables& tables)
    {
        std::vector<Sample> samples;
        const auto total = tables.uniformSize != 0 ? tables.uniformCount : tables.sizes.size();
        for (std::size_t chunk = 1; chunk <= tables.offsets.size(); ++chunk) {
            auto offset = tables.offsets[chunk - 1];
            const Row3* row = nullptr;
            for (const auto& candidate : tables.chunkRuns)
                if (candidate.firstChunk <= chunk)
                    row = &candidate;
            for (std::uint32_t i = 0; row && i < row->samplesPerChunk && samples.size() < total; ++i) {
                const auto size = tables.uniformSize != 0 ? tables.uniformSize : tables.sizes[samples.size()];
                samples.push_back({offset, size, row->description});
                offset += size;
            }
        }
        return samples;
    }

    class Random
    {
    public:
        explicit Random(unsigned seed)
            : m_engine(seed)
        {
        }
        std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(m_engine() % limit); }

    private:
        std::mt19937 m_engine;
    };

    Tables randomTables(Random& random)
    {
        Tables tables;
        std::uint32_t count = 0;
        const auto chunks = random.below(12);
        for (std::uint32_t chunk = 1; chunk <= chunks; ++chunk) {
            if (tables.chunkRuns.empty() || random.below(3) == 0)
                tables.chunkRuns.push_back({chunk, random.below(6), random.below(3) + 1});
            count += tables.chunkRuns.back().samplesPerChunk;
            tables.offsets.push_back(random.below(1'000'000));
        }
        tables.wideOffsets = random.below(2) == 0;
        if (tables.wideOffsets)
            for (auto& offset : tables.offsets)
                offset += 0x1'0000'0000;
        // The chunks may hold more samples than there are sizes for, or fewer.
        const auto sizes = count == 0 ? random.below(3) : count + random.below(5) - std::min(count, 2U);
        constexpr unsigned kBits[] = {32, 32, 16, 8, 4};
        tables.sizeBits = kBits[random.below(5)];
        if (random.below(3) == 0) {
            tables.sizeBits = 32;
            tables.uniformSize = random.below(50) + 1;
            tables.uniformCount = sizes;
        } else {
            for (std::uint32_t i = 0; i < sizes; ++i)
                tables.sizes.push_back(random.below(tables.sizeBits == 4 ? 16 : 200));
        }
        for (auto runs = random.below(6); runs > 0; --runs)
            tables.times.push_back({random.below(5), random.below(4) * 10});
        return tables;
    }

    TEST(SampleTable, SamplesAndChunksLieWhereTheExpandedTablesSay)
    {
        Random random {11};
        for (int round = 0; round < 3000; ++round) {
            SCOPED_TRACE(round);
            const auto tables = randomTables(random);
            const auto table = SampleTable::parse(atomOf(tables));
            const auto samples = expanded(tables);
            ASSERT_EQ(
                table.sampleCount(), tables.uniformSize != 0 ? tables.uniformCount : tables.sizes.size());
            ASSERT_EQ(table.chunkCount(), tables.offsets.size());
            for (std::uint32_t number = 1; number <= table.sampleCount() + 1; ++number) {
                const auto place = table.locate(number);
                ASSERT_EQ(place.has_value(), number <= samples.size()) << "sample " << number;
                if (!place)
                    continue;
                const auto& sample = samples[number - 1];
                ASSERT_EQ(place->offset, sample.offset);
                ASSERT_EQ(place->size, sample.size);
                ASSERT_EQ(place->description, sample.description);
                ASSERT_EQ(table.sampleSize(number), sample.size);
            }
            std::size_t seen = 0;
            std::uint32_t previous = 0;
            table.forEachChunk([&](std::uint32_t number, const SampleTable::Chunk& chunk) {
                EXPECT_EQ(number, ++previous);
                EXPECT_EQ(chunk.offset, tables.offsets[number - 1]);
                EXPECT_EQ(chunk.firstSample, seen + 1);
                std::uint64_t size = 0;
                for (std::uint32_t i = 0; i < chunk.sampleCount; ++i)
                    size += samples.at(seen++).size;
                EXPECT_EQ(chunk.size, size);
                return true;
            });
            ASSERT_EQ(seen, samples.size());
        }
    }

    TEST(SampleTable, TimesAreThoseOfTheExpandedTables)
    {
        Random random {13};
        for (int round = 0; round < 3000; ++round) {
            const auto tables = randomTables(random);
            const auto table = SampleTable::parse(atomOf(tables));
            std::vector<SampleTable::TimedSample> samples;
            std::uint64_t start = 0;
            for (const auto& run : tables.times)
                for (std::uint32_t i = 0; i < run.count; ++i, start += run.duration)
                    samples.push_back({static_cast<std::uint32_t>(samples.size() + 1), start, run.duration});
            ASSERT_EQ(table.duration(), start);
            ASSERT_EQ(table.firstDuration(), samples.empty() ? 0 : samples.front().duration);
            samples.resize(std::min<std::size_t>(samples.size(), table.sampleCount()));
            for (std::uint64_t time = 0; time <= start + 5; time += 5) {
                const auto held = std::find_if(samples.begin(), samples.end(),
                    [&](const auto& sample) { return time < sample.start + sample.duration; });
                const auto found = table.sampleAt(time);
                ASSERT_EQ(found.has_value(), !samples.empty());
                if (samples.empty())
                    continue;
                const auto& expected = held == samples.end() ? samples.back() : *held;
                ASSERT_EQ(found->sample, expected.sample) << "time " << time << ", round " << round;
                ASSERT_EQ(found->start, expected.start);
                ASSERT_EQ(found->duration, expected.duration);
            }
        }
    }

    TEST(SampleTable, WalkAndLookupAgreeOnTablesThatMakeNoSense)
    {
        Random random {14};
        for (int round = 0; round < 3000; ++round) {
            auto tables = randomTables(random);
            for (auto& run : tables.chunkRuns)
                run.firstChunk
                    = random.below(10) == 0 ? UINT32_MAX : random.below(14); // out of order, 0, beyond
            const auto table = SampleTable::parse(atomOf(tables));
            std::uint32_t next = 1;
            table.forEachChunk([&](std::uint32_t number, const SampleTable::Chunk& chunk) {
                for (std::uint32_t i = 0; i < chunk.sampleCount; ++i, ++next) {
                    const auto place = table.locate(next);
                    EXPECT_TRUE(place && place->offset >= table.chunkOffset(number)
                        && place->description == chunk.description)
                        << "sample " << next << ", round " << round;
                }
                return true;
            });
            EXPECT_FALSE(table.locate(next)) << "round " << round;
        }
    }

    TEST(SampleTable, ChunksStopWhenTheVisitorDoes)
    {
        Tables tables;
        tables.chunkRuns = {{1, 2, 1}};
        tables.offsets = {10, 20, 30};
        tables.sizes = {1, 1, 1, 1, 1, 1};
        std::vector<std::uint32_t> seen;
        SampleTable::parse(atomOf(tables)).forEachChunk([&](std::uint32_t number, const SampleTable::Chunk&) {
            seen.push_back(number);
            return number < 2;
        });
        EXPECT_THAT(seen, ElementsAre(1, 2));
    }

    struct PackingFact
    {
        std::uint32_t sample;
        std::uint64_t offset;
        std::uint64_t size;
        const char* why;
    };

    TEST(SampleTable, PackedSoundLiesWhereItsPacketsBegin)
    {
        Tables tables;
        tables.uniformSize = 1;
        tables.uniformCount = 64 * 3 + 10;
        tables.chunkRuns = {{1, 128, 1}};
        tables.offsets = {1000, 5000};
        const auto table = SampleTable::parse(atomOf(tables));
        constexpr SoundPacking kPacking {64, 34};
        constexpr PackingFact kFacts[] = {
            {1, 1000, 34, "the first of the first packet"},
            {2, 1000, 34, "the second"},
            {64, 1000, 34, "the last"},
            {65, 1034, 34, "the next packet"},
            {129, 5000, 34, "the next chunk"},
            {202, 5034, 34, "within the last packet, which is stored whole"},
        };
        for (const auto& fact : kFacts) {
            const auto place = table.locate(fact.sample, kPacking);
            ASSERT_TRUE(place) << fact.why;
            EXPECT_EQ(place->offset, fact.offset) << fact.why;
            EXPECT_EQ(place->size, fact.size) << fact.why;
        }
        std::vector<std::uint64_t> sizes;
        table.forEachChunk(
            [&](std::uint32_t, const SampleTable::Chunk& chunk) {
                sizes.push_back(chunk.size);
                return true;
            },
            kPacking);
        EXPECT_THAT(sizes, ElementsAre(68, 68));
    }

    const Tables kThreeSamples {
        .times = {{3, 10}}, .chunkRuns = {{1, 3, 1}}, .offsets = {100}, .sizes = {5, 6, 7}};

    TEST(SampleTable, MoreEntriesClaimedThanThereAreAreCutWithAWarning)
    {
        Tables tables = kThreeSamples;
        const auto whole = SampleTable::parse(atomOf(tables));
        for (const std::uint32_t claimed : {4U, 0x2000'0001U, UINT32_MAX}) {
            tables.claimed = claimed;
            std::vector<MovieWarning> warnings;
            const auto table = SampleTable::parse(atomOf(tables), &warnings);
            EXPECT_THAT(warnings, SizeIs(4)) << "one a table";
            EXPECT_EQ(table.sampleCount(), 3U);
            EXPECT_EQ(table.duration(), 30U);
            EXPECT_EQ(table.chunkCount(), 1U);
            EXPECT_EQ(table.locate(3)->offset, whole.locate(3)->offset);
        }
    }

    TEST(SampleTable, UniformSizesOfBillionsOfSamplesCostNothing)
    {
        Tables tables;
        tables.times = {{UINT32_MAX, UINT32_MAX}, {UINT32_MAX, UINT32_MAX}};
        tables.chunkRuns = {{1, UINT32_MAX, 1}};
        tables.offsets = {0, UINT32_MAX};
        tables.uniformSize = UINT32_MAX;
        tables.uniformCount = UINT32_MAX;
        const auto table = SampleTable::parse(atomOf(tables));
        EXPECT_EQ(table.sampleCount(), UINT32_MAX);
        EXPECT_EQ(table.sampleSize(UINT32_MAX), UINT32_MAX);
        EXPECT_EQ(table.locate(UINT32_MAX)->offset, (UINT32_MAX - 1ULL) * UINT32_MAX);
        EXPECT_EQ(table.sampleAt(UINT64_MAX)->sample, UINT32_MAX);
        EXPECT_EQ(table.sampleAt(UINT32_MAX)->sample, 2U);
        int chunks = 0;
        table.forEachChunk([&](std::uint32_t, const SampleTable::Chunk& chunk) {
            EXPECT_EQ(chunk.sampleCount, UINT32_MAX);
            return ++chunks < 5;
        });
        EXPECT_EQ(chunks, 1) << "the second chunk has nothing left to hold";
        EXPECT_GE(table.duration(), (UINT32_MAX - 1ULL) * UINT32_MAX);
    }

    TEST(SampleTable, TablesThatAreMissingOrCutShortCountAsEmpty)
    {
        const auto empty = SampleTable::parse(Atom::container("stbl"_cc));
        EXPECT_EQ(empty.sampleCount(), 0U);
        EXPECT_EQ(empty.chunkCount(), 0U);
        EXPECT_FALSE(empty.sampleAt(0));
        EXPECT_FALSE(empty.locate(1));

        Tables tables = kThreeSamples;
        for (const auto bits : {32U, 16U, 4U}) {
            tables.sizeBits = bits;
            const auto whole = atomOf(tables);
            for (std::size_t child = 0; child < whole.children.size(); ++child)
                for (std::size_t length = 0; length < whole.children[child]->head.size(); ++length) {
                    auto cut = whole;
                    auto& atom = cut.children[child].edit();
                    atom.head = atom.head.slice(0, length);
                    const auto table = SampleTable::parse(cut);
                    EXPECT_LE(table.sampleCount(), 3U + (bits == 4 ? 1 : 0));
                    for (std::uint32_t sample = 0; sample < 5; ++sample) {
                        (void)table.locate(sample);
                        (void)table.sampleSize(sample);
                    }
                    (void)table.sampleAt(15);
                }
        }
    }

} // namespace
} // namespace reelwright
