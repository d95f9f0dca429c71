// Every real file that opens: an edit that is saved keeps all media and every atom that it did not concern.

#include "movie/QTTrack.h"
#include "movie/saving/MovieSaver.h"
#include "tests/helpers/PacketChecksums.h"
#include "tests/helpers/Process.h"
#include "tests/helpers/TestFiles.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>

namespace reelwright {
namespace {

    using test::TempFolder;

    /// Names of the corpus's files in these folders, "movies/x.mov"; one that stands for them where the
    /// corpus is not.
    std::vector<std::string> realFiles(std::initializer_list<const char*> folders)
    {
        std::vector<std::string> names;
        if (test::corpusFolder().empty())
            return {"none"};
        for (const char* folder : folders)
            for (const auto& path : test::corpusFiles(folder))
                names.push_back(
                    fmt::format("{}/{}", folder, std::filesystem::path(path).filename().string()));
        return names;
    }

    class RealFile : public testing::TestWithParam<std::string>
    {
    protected:
        void SetUp() override
        {
            REELWRIGHT_NEEDS_CORPUS();
            m_source = test::corpusFolder() + "/" + GetParam();
            m_path = m_folder.file(std::filesystem::path(GetParam()).filename().string());
            std::filesystem::copy_file(m_source, m_path);
        }

        /// Every atom of the header as "path: bytes", in order.
        static std::vector<std::string> atoms(const Atom& atom, const std::string& path = {})
        {
            const auto here = path + "/" + atom.type.text();
            std::string bytes;
            for (const auto& part : {atom.head, atom.tail})
                for (const auto byte : part.span())
                    bytes += static_cast<char>(byte);
            std::vector<std::string> lines {here + ": " + bytes};
            for (const auto& child : atom.children)
                for (auto& line : atoms(*child, here))
                    lines.push_back(std::move(line));
            return lines;
        }

        std::string m_source;
        std::string m_path;
        TempFolder m_folder;
    };

    /// Those that ought to open, for the tests that ask another program.
    class RealMovie : public RealFile
    {
    protected:
        void SetUp() override
        {
            RealFile::SetUp();
            if (IsSkipped() || HasFatalFailure())
                return;
            REELWRIGHT_NEEDS_PROGRAM("ffprobe");
            if (test::runProcess({"ffprobe", "-v", "quiet", "-show_packets", m_path}).exitCode != 0)
                GTEST_SKIP() << "ffprobe cannot read the file as it is";
        }
    };

    void addSetting(QTMovie& movie)
    {
        const EditableScope scope {movie};
        ASSERT_TRUE(movie.setUserDataItem("play"_cc, ByteWriter {}.u8(1).toBytes()));
    }

    /// Do all chunks lie in the file? Some files of the corpus are headers without their media.
    bool hasAllMedia(const QTMovie& movie)
    {
        bool all = true;
        for (const auto& track : movie.tracks())
            track.media().sampleTable().forEachChunk(
                [&](std::uint32_t, const SampleTable::Chunk& chunk) {
                    all = chunk.offset + chunk.size <= movie.file()->layout.fileSize;
                    return all;
                },
                track.media().soundPacking(1));
        return all;
    }

    TEST_P(RealFile, OpensOrSaysPreciselyWhyNot)
    {
        if (const auto movie = QTMovie::open(m_path)) {
            for (const auto& track : movie->tracks())
                EXPECT_GE(track.range().duration.value, 0);
            return;
        } else {
            EXPECT_FALSE(movie.error().detail.empty());
            EXPECT_NE(movie.error().message().find(m_path), std::string::npos) << movie.error().message();
        }
    }

    TEST_P(RealFile, SavingWithoutAnEditWritesNothing)
    {
        auto movie = QTMovie::open(m_path);
        if (!movie || !MovieSaver::canUpdateMovieFile(*movie))
            GTEST_SKIP() << "not to be updated in place";
        if (GetParam() == "bad/bad-two-moovs.mp4")
            GTEST_SKIP() << "the save finishes the retirement of its second header";
        const auto report = MovieSaver::updateMovieFile(*movie);
        ASSERT_TRUE(report) << report.error().message();
        EXPECT_EQ(report->bytesWritten, 0U);
        EXPECT_TRUE(test::readFile(m_path) == test::readFile(m_source));
    }

    TEST_P(RealFile, AnEditSavedInPlaceKeepsEveryOtherAtom)
    {
        auto movie = QTMovie::open(m_path);
        if (!movie || !MovieSaver::canUpdateMovieFile(*movie))
            GTEST_SKIP() << "not to be updated in place";
        auto atomsBefore = atoms(movie->header());
        std::erase_if(atomsBefore, [](const auto& line) { return line.starts_with("/moov/udta/play:"); });
        const auto layoutBefore = movie->file()->layout;
        const auto bytesBefore = test::readFile(m_path);

        addSetting(*movie);
        const auto report = MovieSaver::updateMovieFile(*movie);
        if (!report && report.error().code == MovieError::Code::Refused) {
            EXPECT_THAT(report.error().message(), testing::HasSubstr("media of the movie are missing"));
            EXPECT_TRUE(test::readFile(m_path) == bytesBefore) << "refused, and yet written to";
            return;
        }
        ASSERT_TRUE(report) << report.error().message();
        const auto headerSize = movie->header().size();
        EXPECT_LE(report->bytesWritten, 2 * headerSize + 256);

        const auto again = QTMovie::open(m_path);
        ASSERT_TRUE(again) << again.error().message();
        // The setting, and the list that holds it, are all that the header has more.
        std::vector<std::string> added;
        auto atomsAfter = atoms(again->header());
        std::vector<std::string> rest;
        std::size_t next = 0;
        for (const auto& line : atomsAfter) {
            if (next < atomsBefore.size() && line == atomsBefore[next])
                ++next;
            else
                added.push_back(line.substr(0, line.find(':')));
        }
        EXPECT_EQ(next, atomsBefore.size());
        for (const auto& path : added)
            EXPECT_TRUE(path == "/moov/udta" || path == "/moov/udta/play") << path;
        // Every other atom of the file lies where it lay, as it was.
        const auto bytesAfter = test::readFile(m_path);
        for (const auto& atom : layoutBefore.atoms) {
            if (atom.type == "moov"_cc || atom.type == "free"_cc || atom.type == "skip"_cc)
                continue;
            ASSERT_LE(atom.end(), bytesAfter.size()) << atom.type.text();
            // A last atom without a size is given one.
            const bool getsSize
                = layoutBefore.ending == FileLayout::Ending::ToEnd && &atom == &layoutBefore.atoms.back();
            const auto begin = static_cast<std::ptrdiff_t>(atom.offset + (getsSize ? 4 : 0));
            EXPECT_TRUE(std::equal(bytesBefore.begin() + begin,
                bytesBefore.begin() + static_cast<std::ptrdiff_t>(atom.end()), bytesAfter.begin() + begin))
                << atom.type.text();
        }
    }

    TEST_P(RealMovie, AFlattenedCopyHoldsTheSameMedia)
    {
        auto movie = QTMovie::open(m_path);
        if (!movie || !movie->file()->headerAtom())
            GTEST_SKIP() << "no movie file";
        addSetting(*movie);
        const auto copy = m_folder.file("flat.mov");
        const auto report = MovieSaver::writeToFile(*movie, copy);
        if (!report) {
            EXPECT_FALSE(std::filesystem::exists(copy));
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder.path()), {}), 1)
                << "something was left";
            GTEST_SKIP() << report.error().message();
        }
        const auto flat = QTMovie::open(copy);
        ASSERT_TRUE(flat) << flat.error().message();
        EXPECT_EQ(test::packetChecksums(copy), test::packetChecksums(m_path));
        EXPECT_TRUE(test::readFile(m_path) == test::readFile(m_source));
    }

    TEST_P(RealMovie, AnEditSavedInPlaceChangesNothingElseForFfprobe)
    {
        auto movie = QTMovie::open(m_path);
        if (!movie || !MovieSaver::canUpdateMovieFile(*movie) || !hasAllMedia(*movie))
            GTEST_SKIP() << "not to be updated in place, or without its media";
        const auto probe = [&] {
            // Where the header lies changes offsets in the file, never anything else.
            const auto text = test::run({"ffprobe", "-v", "quiet", "-show_streams", "-show_format",
                "-show_chapters", "-of", "flat", m_path});
            return std::regex_replace(text, std::regex("format\\.(size|bit_rate|probe_score)=[^\n]*\n"), "");
        };
        const auto before = probe();
        const auto packetsBefore = test::packetChecksums(m_path);
        addSetting(*movie);
        ASSERT_TRUE(MovieSaver::updateMovieFile(*movie));
        std::istringstream beforeLines(before);
        std::istringstream afterLines(probe());
        std::string a;
        std::string b;
        while (std::getline(beforeLines, a)) {
            std::getline(afterLines, b);
            EXPECT_EQ(a, b);
        }
        EXPECT_EQ(test::packetChecksums(m_path), packetsBefore);
    }

    std::string testName(const testing::TestParamInfo<std::string>& file)
    {
        std::string name = file.param;
        std::replace_if(
            name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
        return name;
    }

    INSTANTIATE_TEST_SUITE_P(
        Corpus, RealFile, testing::ValuesIn(realFiles({"movies", "bad", "audio"})), testName);
    INSTANTIATE_TEST_SUITE_P(Corpus, RealMovie, testing::ValuesIn(realFiles({"movies"})), testName);

} // namespace
} // namespace reelwright
