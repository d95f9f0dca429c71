#include "movie/atoms/HeaderOutline.h"

#include "movie/QTTrack.h"
#include "movie/samples/TimecodeMedia.h"
#include "movie/saving/FlattenPlan.h"
#include "movie/saving/MovieSaver.h"
#include "tests/helpers/ForwardingStorage.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/SimulatedStorage.h"
#include "tests/helpers/TestFiles.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using test::BuiltTrack;
    using test::MovieBuilder;
    using testing::ElementsAre;
    using testing::IsEmpty;

    /// Pictures and sound, a chunk a sample: three tables of 36 kB, as the sound's samples are of one size.
    MovieBuilder manySamples()
    {
        MovieBuilder builder;
        builder.tracks = {BuiltTrack {"vide"_cc, 9'000, 1}, BuiltTrack {"soun"_cc, 9'000, 1}};
        return builder;
    }

    class CountingFile : public test::ForwardingFile
    {
    public:
        using ForwardingFile::ForwardingFile;
        Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) override
        {
            bytesRead += out.size();
            return ForwardingFile::readAt(offset, out);
        }

        std::uint64_t bytesRead = 0;
    };

    struct ReadOutline
    {
        HeaderOutline outline;
        Bytes header; ///< as it is in the file
        std::uint64_t headerOffset = 0;
        std::uint64_t bytesRead = 0;
    };

    ReadOutline outlineOf(const std::vector<std::byte>& file)
    {
        CountingFile counting {test::memoryFile(file)};
        const auto layout = FileLayout::scan(counting, "movie");
        ReadOutline result;
        for (const auto& atom : layout->atoms) {
            if (atom.type != "moov"_cc)
                continue;
            counting.bytesRead = 0;
            auto outline = HeaderOutline::read(counting, atom);
            EXPECT_TRUE(outline.has_value());
            result = {std::move(*outline),
                Bytes::copyOf(ByteSpan {file}.subspan(
                    static_cast<std::size_t>(atom.offset), static_cast<std::size_t>(atom.size))),
                atom.offset, counting.bytesRead};
        }
        return result;
    }

    Result<QTMovie> openOutline(const std::string& path)
    {
        return QTMovie::open(path, Storage::posix(), HeaderReading::Outline);
    }

    std::vector<std::string> cutTypes(const Atom& atom)
    {
        std::vector<std::string> types;
        if (atom.isCut)
            types.push_back(atom.type.text());
        for (const auto& child : atom.children)
            for (auto& type : cutTypes(*child))
                types.push_back(std::move(type));
        return types;
    }

    /// What a report says of a movie.
    std::string report(const QTMovie& movie)
    {
        auto text = fmt::format("{} {}x{} {}\n", QTStringFromTime(movie.duration()),
            movie.naturalSize().width, movie.naturalSize().height, movie.isFragmented());
        for (const auto& warning : movie.warnings())
            text += fmt::format("{} {} {}\n", warning.offset, warning.where, warning.detail);
        for (const auto& track : movie.tracks()) {
            const auto media = track.media();
            const auto table = media.sampleTable();
            text += fmt::format("{} {} {} {} {} samples, {} long, first {}, {} runs\n", track.trackID(),
                track.mediaType().text(), QTStringFromTime(track.range().duration),
                QTStringFromTime(media.duration()), media.sampleCount(), table.duration(),
                table.firstDuration(), table.timeRunCount());
            for (std::size_t i = 1; i <= media.sampleDescriptionCount(); ++i)
                text += media.sampleDescription(i)->format().text();
            if (track.mediaType() == QTMediaTypeTimeCode)
                if (const auto reading = timecodeMedia::atMediaTime(track, 0))
                    text += reading->text;
        }
        return text;
    }

    TEST(HeaderOutline, InsideOfLargeTablesIsNotRead)
    {
        const auto read = outlineOf(manySamples().build());
        ASSERT_GT(read.header.size(), 108'000U);
        EXPECT_LT(read.bytesRead, read.header.size() - 3 * 16'384U);
        auto moov = Atom::parse(read.outline.bytes, read.headerOffset);
        ASSERT_TRUE(moov);
        read.outline.markCut(*moov);
        EXPECT_THAT(cutTypes(*moov), ElementsAre("stsz", "stco", "stco"));
    }

    TEST(HeaderOutline, SmallHeadersAreReadWhole)
    {
        const auto read = outlineOf(MovieBuilder {}.build());
        EXPECT_THAT(read.outline.cutAtoms, IsEmpty());
        EXPECT_EQ(read.outline.bytes, read.header);
    }

    TEST(HeaderOutline, ReportsAreThoseOfTheWholeHeader)
    {
        const test::TempFolder folder;
        auto wide = manySamples();
        wide.hasWideOffsets = true;
        auto unknown = manySamples();
        unknown.hasUnknownAtoms = true;
        for (const auto& builder : {MovieBuilder {}, manySamples(), wide, unknown}) {
            const auto path = folder.file("movie.mov");
            test::writeFile(path, builder.build());
            const auto whole = QTMovie::open(path);
            const auto outline = openOutline(path);
            ASSERT_TRUE(whole && outline);
            EXPECT_EQ(report(*outline), report(*whole));
            EXPECT_TRUE(MovieSaver::canUpdateMovieFile(*outline))
                << "the file can, though not from an outline";
        }
    }

    TEST(HeaderOutline, ReportsOnRealFilesAreThoseOfTheWholeHeader)
    {
        REELWRIGHT_NEEDS_CORPUS();
        std::size_t cut = 0;
        for (const auto* name : {"movies", "bad"})
            for (const auto& path : test::corpusFiles(name)) {
                const auto whole = QTMovie::open(path);
                const auto outline = openOutline(path);
                ASSERT_EQ(whole.has_value(), outline.has_value()) << path;
                if (!whole) {
                    EXPECT_EQ(whole.error().message(), outline.error().message());
                    continue;
                }
                EXPECT_EQ(report(*outline), report(*whole)) << path;
                cut += cutTypes(outline->header()).size();
            }
        EXPECT_GT(cut, 0U) << "some of the files have large tables";
    }

    TEST(HeaderOutline, NothingIsLeftOutOfTablesThatClaimMoreThanTheyHold)
    {
        auto file = manySamples().build();
        const auto before = outlineOf(file);
        // The first table that is cut is the stsz of the pictures; its count stands behind version and size.
        const auto count = static_cast<std::size_t>(before.outline.cutAtoms.at(0)) + 16;
        file[count] = std::byte {0x7F};
        const auto read = outlineOf(file);
        EXPECT_EQ(read.outline.cutAtoms.size(), before.outline.cutAtoms.size() - 1);

        const test::TempFolder folder;
        const auto path = folder.file("movie.mov");
        test::writeFile(path, file);
        EXPECT_EQ(report(*openOutline(path)), report(*QTMovie::open(path)));
    }

    TEST(HeaderOutline, TracksWithinTracksEndTheSearchForTables)
    {
        constexpr std::size_t kDepth = 200'000;
        ByteWriter nested;
        for (std::size_t i = 0; i < kDepth; ++i)
            nested.u32(static_cast<std::uint32_t>((kDepth - i) * 8)).fourCC("trak"_cc);
        const auto file = test::atomBytes("moov"_cc, nested.span());
        EXPECT_EQ(outlineOf(file).outline.bytes, Bytes::copyOf(file));
    }

    TEST(HeaderOutline, OutlinesAreNeitherEditedNorSaved)
    {
        const test::TempFolder folder;
        const auto path = folder.file("movie.mov");
        const auto file = manySamples().build();
        test::writeFile(path, file);
        auto movie = openOutline(path);
        ASSERT_TRUE(movie);
        ASSERT_TRUE(movie->isOutline());

        const EditableScope scope {*movie};
        const auto track = movie->tracks().front();
        EXPECT_FALSE(movie->isEditable());
        EXPECT_EQ(track.setEnabled(false).error().code, MovieError::Code::Refused);
        EXPECT_EQ(movie->setUserDataItem("play"_cc, {}).error().code, MovieError::Code::Refused);
        EXPECT_EQ(MovieSaver::updateMovieFile(*movie).error().code, MovieError::Code::Refused);
        EXPECT_EQ(
            MovieSaver::writeToFile(*movie, folder.file("copy.mov")).error().code, MovieError::Code::Refused);
        EXPECT_EQ(MovieStream::open(*movie).error().code, MovieError::Code::Refused);
        EXPECT_EQ(track.media().sampleData(1).error().code, MovieError::Code::Corrupt);
        EXPECT_EQ(track.media().sampleTable().sampleSize(1), 0U);
        EXPECT_EQ(test::readFile(path), file);
    }

} // namespace
} // namespace reelwright
