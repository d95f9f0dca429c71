#include "movie/files/DataReference.h"

#include "movie/atoms/ByteWriter.h"
#include "movie/files/MovieFile.h"
#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

#include <random>

namespace reelwright {
namespace {

    using testing::ElementsAre;
    using testing::IsEmpty;

    Atom dref(FourCC type, std::uint32_t flags, ByteSpan data)
    {
        Atom list = Atom::container("dref"_cc);
        ByteWriter payload;
        payload.u32(flags).bytes(data);
        list.append(Atom {type, payload.toBytes()});
        return list;
    }

    DataReference parse(FourCC type, ByteSpan data, const std::string& folder = "/movies")
    {
        return DataReference::parseAll(dref(type, 0, data), folder).at(0);
    }

    DataReference parseUrl(std::string_view url, const std::string& folder = "/movies")
    {
        return parse("url "_cc, std::as_bytes(std::span {url}), folder);
    }

    struct Tag
    {
        std::int16_t number;
        std::string value;
    };

    void writeTags(ByteWriter& out, const std::vector<Tag>& tags)
    {
        for (const auto& tag : tags) {
            out.i16(tag.number).u16(static_cast<std::uint16_t>(tag.value.size())).text(tag.value);
            out.zeros(tag.value.size() % 2);
        }
        out.i16(-1).u16(0);
    }

    void writeField(ByteWriter& out, std::string_view text, std::size_t size)
    {
        out.u8(static_cast<std::uint8_t>(text.size())).text(text).zeros(size - 1 - text.size());
    }

    std::vector<std::byte> alias2(
        std::string_view volume, std::string_view name, const std::vector<Tag>& tags)
    {
        ByteWriter out;
        out.u32(0).u16(0).u16(2).u16(0);
        writeField(out, volume, 28);
        out.zeros(12);
        writeField(out, name, 64);
        out.zeros(36);
        writeTags(out, tags);
        return out.take();
    }

    std::vector<std::byte> alias3(const std::vector<Tag>& tags)
    {
        ByteWriter out;
        out.u32(0).u16(0).u16(3).zeros(50);
        writeTags(out, tags);
        return out.take();
    }

    TEST(DataReference, SelfReferencesNeedNoCandidates)
    {
        const auto list = DataReference::parseAll(dref("alis"_cc, 1, {}), "/movies");
        ASSERT_EQ(list.size(), 1U);
        EXPECT_TRUE(list[0].isSelf);
        EXPECT_EQ(list[0].type, "alis"_cc);
        EXPECT_THAT(list[0].candidates, IsEmpty());
    }

    TEST(DataReference, UrlsNameFilesOfThisMachineOnly)
    {
        struct Fact
        {
            const char* url;
            const char* first; ///< candidate, or null for none
            const char* why;
        };
        constexpr Fact kFacts[] = {
            {"file:///media/a%20b.mov", "/media/a b.mov", "percent-encoded"},
            {"FILE://localhost/media/a.mov", "/media/a.mov", "with a host, any case"},
            {"file:/media/a.mov", "/media/a.mov", "without a host"},
            {"a.mov", "/movies/a.mov", "relative"},
            {"../take%2F2/a.mov", "/movies/../take/2/a.mov", "relative, out of the folder"},
            {"100%.mov", "/movies/100%.mov", "a percent sign that encodes nothing"},
            {"/media/a.mov", "/media/a.mov", "a plain path"},
            {"http://example.com/a.mov", nullptr, "another machine"},
            {"file:///a%00.mov", "/a%00.mov", "a NUL is in no path; the text may be a plain path"},
            {"file:///", nullptr, "a folder"},
            {"", nullptr, "nothing"},
        };
        for (const auto& fact : kFacts) {
            const auto reference = parseUrl(fact.url);
            EXPECT_EQ(reference.name, fact.url);
            if (!fact.first) {
                EXPECT_THAT(reference.candidates, IsEmpty()) << fact.why;
                continue;
            }
            ASSERT_FALSE(reference.candidates.empty()) << fact.why;
            EXPECT_EQ(reference.candidates.front(), fact.first) << fact.why;
        }
    }

    TEST(DataReference, UrlsAreAlsoLookedForNearTheMovie)
    {
        EXPECT_THAT(parseUrl("file:///old/media/a.mov", "/new/movies").candidates,
            ElementsAre("/old/media/a.mov", "/new/movies/a.mov", "/new/movies/old/media/a.mov",
                "/new/movies/media/a.mov", "/new/old/media/a.mov", "/new/media/a.mov", "/media/a.mov"));
        EXPECT_THAT(parseUrl("media/a.mov", "").candidates,
            ElementsAre("media/a.mov", "a.mov", "../media/a.mov", "../../media/a.mov", "../../../media/a.mov",
                "../../../../media/a.mov"));
    }

    struct AliasFact
    {
        const char* why;
        std::vector<std::byte> record;
        const char* folder;
        const char* name;
        std::vector<std::string> candidates;
    };

    TEST(DataReference, AliasesTryTheMoviesFolderThenItsSurroundingsThenTheOldPlace)
    {
        const std::string unicode {"\0\4\0N\xD8\x3C\xDF\xAC\0\xE9", 10}; // N, a clapper board, e acute
        const std::string half {"\0\1\xD8\x3C", 4};
        const std::string newer {"\0\5\0b\0.\0m\0o\0v", 12};
        const AliasFact facts[] = {
            {"with all its paths",
                alias2("Disk", "clip.mov",
                    {{0, "media"}, {2, "Disk:job:media:clip.mov"}, {18, "/job/media/clip.mov"},
                        {19, "/Volumes/Disk"}}),
                "/users/me", "clip.mov",
                {"/users/me/clip.mov", "/users/me/job/media/clip.mov", "/users/me/media/clip.mov",
                    "/users/job/media/clip.mov", "/users/media/clip.mov", "/job/media/clip.mov",
                    "/media/clip.mov", "/Volumes/Disk/job/media/clip.mov"}},
            {"names in Mac Roman and in Unicode",
                alias2("Disk", "N_\x8E#1", {{14, unicode}, {2, "Disk:N_\x8E#1"}}), "/m", "N\U0001F3AC\u00E9",
                {"/m/N\U0001F3AC\u00E9", "/m/N_\u00E9#1", "/Volumes/Disk/N_\u00E9#1", "/N_\u00E9#1"}},
            {"half a character of Unicode is no name", alias2("Disk", "a", {{14, half}}), "/m", "a",
                {"/m/a"}},
            {"version 3 has its names in tags", alias3({{14, newer}, {18, "Users/me/b.mov"}, {19, "/"}}),
                "/m", "b.mov",
                {"/m/b.mov", "/m/Users/me/b.mov", "/m/me/b.mov", "/Users/me/b.mov", "/me/b.mov"}},
            {"a slash is an ordinary character in a Macintosh name", alias2("Disk", "../x", {}), "/m", "..:x",
                {"/m/..:x"}},
            {"a path that walks up is not followed from the movie", alias2("D", "x", {{18, "/a/../x"}}), "/m",
                "x", {"/m/x", "/Volumes/D/a/../x", "/a/../x"}},
        };
        for (const auto& fact : facts) {
            const auto reference = parse("alis"_cc, fact.record, fact.folder);
            EXPECT_EQ(reference.name, fact.name) << fact.why;
            EXPECT_EQ(reference.candidates, fact.candidates) << fact.why;
        }
    }

    TEST(DataReference, ResourceReferencesEndWithTheResourceWhichIsNoTag)
    {
        ByteWriter record;
        record.bytes(alias2("Disk", "a.snd", {}));
        auto bytes = record.take();
        bytes[4] = static_cast<std::byte>(bytes.size() >> 8U);
        bytes[5] = static_cast<std::byte>(bytes.size() & 0xFFU);
        ByteWriter out;
        out.bytes(bytes).text("snd ").u16(128);
        EXPECT_THAT(parse("rsrc"_cc, out.span(), "/m").candidates, ElementsAre("/m/a.snd"));
    }

    TEST(DataReference, NamesCannotLeaveTheMoviesFolder)
    {
        constexpr std::string_view kNames[] = {"..", ".", "", {"a\0b", 3}};
        for (const auto name : kNames)
            EXPECT_THAT(parse("alis"_cc, alias2("Disk", name, {}), "/m").candidates, testing::Each("/m/a"))
                << name;
    }

    TEST(DataReference, DamagedRecordsGiveNoBadPaths)
    {
        const std::string unicode {"\0\5\0b\0.\0m\0o\0v", 12};
        const auto whole = alias2(
            "Disk", "clip.mov", {{2, "Disk:job:clip.mov"}, {14, unicode}, {18, "/job/b"}, {19, "/"}});
        const auto newer = alias3({{14, unicode}, {18, "Users/me/b.mov"}, {19, "/"}});
        std::mt19937 random {7}; // NOLINT: the same damage each time
        for (int round = 0; round < 4000; ++round) {
            auto bytes = round % 2 == 0 ? whole : newer;
            for (int i = 0; i < 3; ++i)
                bytes[random() % bytes.size()] = static_cast<std::byte>(random());
            bytes.resize(random() % (bytes.size() + 1));
            for (const auto type : {"alis"_cc, "rsrc"_cc, "url "_cc, "urn "_cc})
                for (const auto& path : parse(type, bytes, "/m").candidates) {
                    EXPECT_FALSE(path.empty());
                    EXPECT_EQ(path.find('\0'), std::string::npos);
                }
        }
    }

    TEST(DataReference, OpensTheAliasesOfAnOldReferenceMovie)
    {
        REELWRIGHT_NEEDS_CORPUS();
        const auto path = test::corpusFolder() + "/movies/refmovie-external-aliases.mov";
        const auto file = Storage::posix()->open(path, Storage::Access::Read).value();
        const auto layout = FileLayout::scan(*file, path).value();
        const auto& header = layout.atoms.at(1);
        const auto moov
            = Atom::parse(readExactly(*file, header.offset, header.size, path).value(), header.offset)
                  .value();
        const auto* list = moov.find({"trak"_cc, "mdia"_cc, "minf"_cc, "dinf"_cc, "dref"_cc});
        ASSERT_TRUE(list);
        const auto references = DataReference::parseAll(*list, "/stills");
        ASSERT_EQ(references.size(), 500U);
        EXPECT_EQ(references.back().name, "up500.jpg");
        EXPECT_FALSE(references.back().isSelf);
        EXPECT_EQ(references.back().candidates.front(), "/stills/up500.jpg");
        EXPECT_THAT(references.back().candidates,
            testing::Contains(testing::AllOf(
                testing::StartsWith("/Volumes/NONAME/"), testing::EndsWith("/cavity_flow/up500.jpg"))));
    }

} // namespace
} // namespace reelwright
