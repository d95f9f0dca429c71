#include "movie/files/Fragments.h"

#include "movie/TrackBuilder.h"
#include "movie/atoms/HeaderAtoms.h"
#include "movie/samples/SampleTable.h"
#include "movie/saving/MovieSaver.h"
#include "tests/helpers/PacketChecksums.h"
#include "tests/helpers/SimulatedStorage.h"
#include "tests/helpers/TestFiles.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

#include <random>

namespace reelwright {
namespace {

    using test::joined;
    using testing::ElementsAre;
    using testing::HasSubstr;
    using testing::IsEmpty;

    MovieFile openFile(ByteSpan bytes)
    {
        MovieFile file;
        file.path = "memory";
        file.file = test::memoryFile(bytes);
        file.layout = FileLayout::scan(*file.file, file.path).value();
        return file;
    }

    Atom headerOf(const MovieFile& file)
    {
        for (const auto& atom : file.layout.atoms)
            if (atom.type == "moov"_cc)
                if (auto bytes = readExactly(*file.file, atom.offset, atom.size, file.path))
                    if (auto moov = Atom::parse(*bytes, atom.offset))
                        return std::move(*moov);
        return Atom::container("moov"_cc);
    }

    struct Gathered
    {
        Atom moov;
        Result<void> result;
        std::vector<MovieWarning> warnings;

        [[nodiscard]] const Atom& track(std::size_t index = 0) const
        {
            for (const auto& child : moov.children)
                if (child->type == "trak"_cc && index-- == 0)
                    return *child;
            ADD_FAILURE() << "no such track";
            return moov;
        }
        [[nodiscard]] const Atom& tables(std::size_t index = 0) const
        {
            return *track(index).find({"mdia"_cc, "minf"_cc, "stbl"_cc});
        }
        [[nodiscard]] std::vector<EditList::Edit> edits(std::size_t index = 0) const
        {
            const auto* list = track(index).find({"edts"_cc, "elst"_cc});
            return list ? EditList::parse(list->head).value().edits : std::vector<EditList::Edit> {};
        }
        [[nodiscard]] std::uint64_t duration(std::size_t index = 0) const
        {
            return TrackHeader::parse(track(index).find("tkhd"_cc)->head).value().duration;
        }
    };

    Gathered gather(const MovieFile& file)
    {
        Gathered gathered {headerOf(file), {}, {}};
        gathered.result = gatherFragments(gathered.moov, file, gathered.warnings);
        return gathered;
    }

    /// Another reader sees the same packets through the fragments and in a copy with ordinary tables.
    void expectSamePackets(const std::string& path)
    {
        SCOPED_TRACE(path);
        const test::TempFolder folder;
        const auto movie = QTMovie::open(path);
        ASSERT_TRUE(movie) << movie.error().message();
        EXPECT_THAT(movie->warnings(), IsEmpty());
        const auto copy = folder.file("ordinary.mov");
        const auto saved = MovieSaver::writeToFile(*movie, copy);
        ASSERT_EQ(saved.has_value(), path.find("encrypted") == std::string::npos);
        if (saved) {
            EXPECT_EQ(test::packetChecksums(copy), test::packetChecksums(path));
        }
    }

    TEST(Fragments, GatheredTablesGiveOtherReadersTheSamePackets)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffmpeg");
        struct Fact
        {
            const char* name;
            std::vector<std::string> options;
            const char* why;
        };
        const Fact kFacts[] = {
            {"a.mp4", {"-movflags", "frag_keyframe+empty_moov"}, "base data offsets"},
            {"b.mp4", {"-movflags", "frag_keyframe+empty_moov+default_base_moof"},
                "offsets from the fragment"},
            {"c.mp4", {"-movflags", "frag_keyframe+empty_moov+separate_moof"}, "a fragment for each track"},
            {"d.mp4", {"-movflags", "cmaf"}, "signed composition offsets"},
            {"e.mp4", {"-movflags", "dash+delay_moov"}, "an edit list that waits for the first fragment"},
            {"f.mp4", {"-movflags", "frag_keyframe+empty_moov+omit_tfhd_offset"}, "implied offsets"},
            {"g.mp4", {"-movflags", "frag_keyframe"}, "samples in the header before those in fragments"},
            {"h.mov", {"-movflags", "frag_keyframe+empty_moov", "-c:a", "pcm_s16le"}, "uncompressed sound"},
            {"i.mp4", {"-movflags", "empty_moov", "-frag_duration", "300000"},
                "fragments without a key frame"},
            {"j.ismv", {}, "times in atoms of another standard"},
        };
        const test::TempFolder folder;
        for (const auto& fact : kFacts) {
            SCOPED_TRACE(fact.why);
            test::ffmpeg(joined({{"-f", "lavfi", "-i", "testsrc2=size=64x48:rate=30000/1001:duration=3", "-f",
                                     "lavfi", "-i", "sine=frequency=440:duration=3:sample_rate=48000", "-c:v",
                                     "mpeg4", "-bf", "2", "-g", "24", "-c:a", "aac"},
                             fact.options}),
                folder.file(fact.name));
            expectSamePackets(folder.file(fact.name));
        }
    }

    // Files made by hand

    constexpr std::uint32_t kSampleSize = 10; ///< what trex says
    constexpr std::uint32_t kSampleDuration = 100;
    constexpr std::uint32_t kNonSync = 0x10000;
    constexpr std::uint32_t kBaseIsMoof = 0x20000;

    struct TrackSetup
    {
        std::uint32_t timeScale = 600;
        std::optional<EditList::Edit> edit;
    };

    Atom full(FourCC type, std::uint32_t flags, std::initializer_list<std::uint32_t> fields)
    {
        ByteWriter out;
        out.u32(flags);
        for (const auto field : fields)
            out.u32(field);
        return Atom {type, out.toBytes()};
    }

    Atom fragmentedHeader(const std::vector<TrackSetup>& setups)
    {
        Atom moov = Atom::container("moov"_cc);
        moov.append(Atom {"mvhd"_cc, MovieHeader {}.write()});
        Atom extends = Atom::container("mvex"_cc);
        std::uint32_t id = 0;
        for (const auto& setup : setups) {
            auto trak
                = makeTrack({.trackID = ++id, .mediaType = "vide"_cc, .mediaTimeScale = setup.timeScale});
            if (setup.edit) {
                const EditList list {0, 0, {*setup.edit}, {}};
                trak.insertBefore("mdia"_cc, test::box("edts"_cc, {Atom {"elst"_cc, list.write()}}));
            }
            moov.append(std::move(trak));
            extends.append(full("trex"_cc, 0, {id, 1, kSampleDuration, kSampleSize, 0}));
        }
        moov.append(std::move(extends));
        return moov;
    }

    Atom traf(const std::vector<Atom>& children)
    {
        return test::box("traf"_cc, children);
    }

    /// A header and fragments, each with the media data that follow it.
    class FragmentedFile
    {
    public:
        explicit FragmentedFile(const std::vector<TrackSetup>& setups)
        {
            fragmentedHeader(setups).write(m_out);
        }

        /// Answers where the fragment starts.
        std::uint32_t add(std::vector<Atom> children, std::size_t mediaSize = 200)
        {
            const auto start = static_cast<std::uint32_t>(m_out.size());
            children.insert(children.begin(), full("mfhd"_cc, 0, {1}));
            test::box("moof"_cc, children).write(m_out);
            m_out.u32(static_cast<std::uint32_t>(mediaSize + 8)).fourCC("mdat"_cc).zeros(mediaSize);
            return start;
        }

        [[nodiscard]] std::vector<std::byte> bytes() const
        {
            return {m_out.span().begin(), m_out.span().end()};
        }
        [[nodiscard]] Gathered gather() const { return reelwright::gather(openFile(bytes())); }

    private:
        ByteWriter m_out;
    };

    /// A track's fragment of `count` default samples at a decode time.
    Atom samplesAt(std::uint32_t trackID, std::uint32_t time, std::uint32_t count)
    {
        return traf({full("tfhd"_cc, kBaseIsMoof, {trackID}), full("tfdt"_cc, 0, {time}),
            full("trun"_cc, 1, {count, 200})});
    }

    std::vector<std::pair<std::uint32_t, std::uint32_t>> timeRuns(const Atom& stbl)
    {
        const auto table = SampleTable::parse(stbl);
        std::vector<std::pair<std::uint32_t, std::uint32_t>> runs;
        for (std::size_t i = 0; i < table.timeRunCount(); ++i)
            runs.emplace_back(table.timeRun(i).count, table.timeRun(i).duration);
        return runs;
    }

    std::vector<std::uint64_t> chunkOffsets(const Atom& stbl)
    {
        std::vector<std::uint64_t> offsets;
        SampleTable::parse(stbl).forEachChunk([&](std::uint32_t, const SampleTable::Chunk& chunk) {
            offsets.push_back(chunk.offset);
            return true;
        });
        return offsets;
    }

    std::vector<std::uint8_t> bytesOf(const Atom* leaf)
    {
        std::vector<std::uint8_t> values;
        if (leaf)
            for (const auto byte : leaf->head.span())
                values.push_back(std::to_integer<std::uint8_t>(byte));
        return values;
    }

    TEST(Fragments, TheSampleBeforeAGapLastsUntilTheGapEnds)
    {
        FragmentedFile file {{{}}};
        file.add({samplesAt(1, 0, 2)});
        file.add({samplesAt(1, 500, 2)});
        file.add({samplesAt(1, 660, 1)}); // 40 units before the sample before it would end
        const auto gathered = file.gather();
        ASSERT_TRUE(gathered.result);
        EXPECT_THAT(timeRuns(gathered.tables()),
            ElementsAre(std::pair(1, 100), std::pair(1, 400), std::pair(1, 100), std::pair(1, 60),
                std::pair(1, 100)));
        EXPECT_EQ(gathered.duration(), 760U);
        EXPECT_EQ(MovieHeader::parse(gathered.moov.find("mvhd"_cc)->head).value().duration, 760U);
        EXPECT_EQ(gathered.moov.find("mvex"_cc), nullptr);
        EXPECT_THAT(gathered.edits(), IsEmpty());
    }

    TEST(Fragments, AnEmptyDurationIsAGapToo)
    {
        FragmentedFile file {{{}}};
        file.add({samplesAt(1, 0, 1)});
        file.add({traf({full("tfhd"_cc, kBaseIsMoof | 0x10008, {1, 250})})});
        file.add({traf({full("tfhd"_cc, kBaseIsMoof, {1}), full("trun"_cc, 1, {1, 200})})});
        EXPECT_THAT(timeRuns(file.gather().tables()), ElementsAre(std::pair(1, 350), std::pair(1, 100)));
    }

    TEST(Fragments, AMovieThatStartsLateStartsWithItsFirstTrack)
    {
        FragmentedFile file {{{600, {}}, {1200, {}}}}; // starts after 10 and after 10.5 seconds
        file.add({samplesAt(1, 6000, 6), samplesAt(2, 12600, 6)});
        const auto gathered = file.gather();
        ASSERT_TRUE(gathered.result);
        EXPECT_THAT(gathered.edits(0), IsEmpty());
        EXPECT_THAT(gathered.edits(1),
            ElementsAre(EditList::Edit {300, -1, 1 << 16}, EditList::Edit {300, 0, 1 << 16}));
        EXPECT_EQ(gathered.duration(0), 600U);
        EXPECT_EQ(gathered.duration(1), 600U);
    }

    TEST(Fragments, AnEditWithoutADurationReachesToTheEnd)
    {
        FragmentedFile file {
            {{600, EditList::Edit {0, 50, 1 << 16}}, {600, EditList::Edit {0, 1000, 1 << 16}}}};
        file.add({samplesAt(1, 0, 6), samplesAt(2, 1000, 3)});
        const auto gathered = file.gather();
        EXPECT_THAT(gathered.edits(0), ElementsAre(EditList::Edit {550, 50, 1 << 16}));
        EXPECT_THAT(gathered.edits(1), ElementsAre(EditList::Edit {300, 0, 1 << 16}));
        EXPECT_EQ(gathered.duration(0), 550U);
    }

    TEST(Fragments, DataWithoutAnOffsetFollowTheDataBefore)
    {
        FragmentedFile file {{{}, {}}};
        file.add({samplesAt(1, 0, 1)});
        const auto start = file.add({traf({full("tfhd"_cc, 0, {1}), full("trun"_cc, 1, {2, 180}),
                                         full("trun"_cc, 0, {1}), full("trun"_cc, 1, {1, 300})}),
                                        traf({full("tfhd"_cc, 0, {2}), full("trun"_cc, 0, {3})})},
            400);
        const auto gathered = file.gather();
        EXPECT_THAT(
            chunkOffsets(gathered.tables(0)), testing::IsSupersetOf({start + 180, start + 200, start + 300}));
        EXPECT_THAT(chunkOffsets(gathered.tables(1)), ElementsAre(start + 310));
    }

    TEST(Fragments, SampleFlagsBecomeSyncSamplesAndDependencies)
    {
        FragmentedFile file {{{}}};
        file.add({traf({full("tfhd"_cc, kBaseIsMoof | 0x20, {1, kNonSync | 0x1000000}),
            full("trun"_cc, 5, {4, 200, 0x2000000})})});
        const auto plain = file.gather();
        EXPECT_THAT(bytesOf(plain.tables().find("stss"_cc)), ElementsAre(0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1));
        EXPECT_EQ(plain.tables().find("sdtp"_cc), nullptr) << "it would say no more than stss";

        Atom dependencies {"sdtp"_cc, Bytes::copyOf(std::string_view {"\0\0\0\0\x26\x18", 6})};
        file.add({traf(
            {full("tfhd"_cc, kBaseIsMoof, {1}), std::move(dependencies), full("trun"_cc, 1, {2, 200})})});
        EXPECT_THAT(bytesOf(file.gather().tables().find("sdtp"_cc)),
            ElementsAre(0, 0, 0, 0, 0x20, 0x10, 0x10, 0x10, 0x26, 0x18));
    }

    TEST(Fragments, HeadersThatOnlyAnnounceFragmentsStayAsTheyAre)
    {
        const FragmentedFile file {{{}}};
        const auto before = headerOf(openFile(file.bytes())).toBytes();
        const auto gathered = file.gather();
        EXPECT_FALSE(isFragmented(openFile(file.bytes()).layout));
        EXPECT_TRUE(gathered.moov.toBytes() == before);
    }

    TEST(Fragments, DamagedFragmentsAreLeftOutWithAWarning)
    {
        struct Fact
        {
            std::vector<Atom> children;
            std::size_t samples; ///< of the three there would be without it
            const char* warning;
            const char* why;
        };
        const Fact kFacts[] = {
            {{traf({full("tfhd"_cc, kBaseIsMoof, {1}), full("trun"_cc, 0x301, {3, 200, 1, 1})})}, 3,
                "3 samples claimed, room for 1", "a count beyond the atom"},
            {{traf({full("trun"_cc, 0, {1})})}, 3, "no track fragment header", "nobody's samples"},
            {{samplesAt(9, 0, 1)}, 3, "track 9", "a track that the header does not have"},
            {{traf({full("tfhd"_cc, kBaseIsMoof, {1}), full("trun"_cc, 1, {3, 0x7FFFFFFF})})}, 3,
                "3 samples lie outside", "data behind the file's end"},
            {{traf({full("tfhd"_cc, 1, {1, 0xFFFFFFFF, 0xFFFFFFFF}), full("trun"_cc, 0, {3})})}, 3,
                "3 samples lie outside", "an offset that overflows"},
            {{traf({full("tfhd"_cc, kBaseIsMoof | 0x10, {1})})}, 3, "more bytes expected",
                "a header cut short"},
            {{traf({full("tfhd"_cc, kBaseIsMoof, {1}), full("tfdt"_cc, 1 << 24, {0xFFFFFFFF, 0})})}, 3,
                "out of range", "a time nobody reaches"},
        };
        for (const auto& fact : kFacts) {
            SCOPED_TRACE(fact.why);
            FragmentedFile file {{{}}};
            file.add({samplesAt(1, 0, 2)});
            file.add(fact.children);
            file.add({samplesAt(1, 200, 1)});
            const auto gathered = file.gather();
            ASSERT_TRUE(gathered.result);
            EXPECT_EQ(SampleTable::parse(gathered.tables()).sampleCount(), fact.samples);
            ASSERT_THAT(gathered.warnings, testing::SizeIs(1));
            EXPECT_THAT(gathered.warnings[0].detail, HasSubstr(fact.warning));
        }
    }

    TEST(Fragments, AFileCutShortKeepsTheSamplesItHolds)
    {
        FragmentedFile file {{{}}};
        file.add({samplesAt(1, 0, 2)});
        const auto second = file.add({samplesAt(1, 200, 5)}, 200);
        for (const auto size : {second + 20U, second + 225U}) {
            auto bytes = file.bytes();
            bytes.resize(size);
            const auto gathered = gather(openFile(bytes));
            ASSERT_TRUE(gathered.result);
            EXPECT_EQ(SampleTable::parse(gathered.tables()).sampleCount(), size == second + 20U ? 2U : 4U);
            EXPECT_THAT(gathered.warnings, testing::SizeIs(1));
        }
    }

    TEST(Fragments, CountsThatNoByteStandsForAreRefused)
    {
        FragmentedFile file {{{}}};
        file.add(
            {traf({full("tfhd"_cc, kBaseIsMoof | 0x10, {1, 0}), full("trun"_cc, 1, {0xFFFFFFFF, 200})})});
        const auto gathered = file.gather();
        ASSERT_FALSE(gathered.result);
        EXPECT_EQ(gathered.result.error().code, MovieError::Code::Corrupt);
    }

    TEST(Fragments, FlatteningIsHinderedByWhatTablesCannotHold)
    {
        for (const auto type : {"senc"_cc, "saiz"_cc, "sbgp"_cc, "subs"_cc, "uuid"_cc}) {
            FragmentedFile file {{{}}};
            file.add({traf(
                {full("tfhd"_cc, kBaseIsMoof, {1}), full("trun"_cc, 1, {1, 200}), full(type, 0, {0})})});
            const auto opened = openFile(file.bytes());
            EXPECT_TRUE(gather(opened).result);
            const auto hindrance = hindranceToFlattening(headerOf(opened), opened);
            ASSERT_TRUE(hindrance) << type.text();
            EXPECT_THAT(*hindrance, HasSubstr(type.text()));
        }
    }

    TEST(Fragments, RandomDamageIsSurvived)
    {
        FragmentedFile file {{{600, EditList::Edit {0, 50, 1 << 16}}, {1200, {}}}};
        file.add({samplesAt(1, 0, 3), samplesAt(2, 70, 4)});
        file.add({traf({full("tfhd"_cc, 0x39, {1, 0, 900, 100, 10, kNonSync}), full("tfdt"_cc, 0, {400}),
                      full("trun"_cc, 0xF05, {2, 200, 0, 90, 8, 0, 20, 110, 9, kNonSync, 0xFFFFFFF0})}),
            samplesAt(2, 500, 2)});
        file.add({samplesAt(1, 900, 1)});
        std::mt19937 random {11}; // NOLINT: the same damage each time
        for (int round = 0; round < 3000; ++round) {
            auto bytes = file.bytes();
            for (int i = 0; i < 1 + round % 4; ++i) {
                const auto value = random() % 4 == 0 ? 0xFFU : random();
                bytes[random() % bytes.size()] = static_cast<std::byte>(value);
            }
            if (round % 5 == 0)
                bytes.resize(random() % bytes.size());
            const auto opened = openFile(std::move(bytes));
            const auto gathered = gather(opened);
            hindranceToFlattening(gathered.moov, opened);
            EXPECT_LT(gathered.moov.size(), 100000U) << "memory in proportion";
        }
    }

    TEST(Fragments, RealFilesGiveTheSamePackets)
    {
        REELWRIGHT_NEEDS_CORPUS();
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        int count = 0;
        for (const auto& path : test::corpusFiles("movies")) {
            if (!isFragmented(openFile(test::readFile(path)).layout))
                continue;
            ++count;
            expectSamePackets(path);
        }
        EXPECT_GE(count, 8);
    }

} // namespace
} // namespace reelwright
