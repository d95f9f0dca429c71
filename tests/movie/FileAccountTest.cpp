// Files of odd shapes, saved: nothing that only the file knew is lost, at any step, or the save is refused.

#include "movie/QTTrack.h"
#include "movie/atoms/ByteReader.h"
#include "movie/files/MediaSources.h"
#include "movie/saving/MovieSaver.h"
#include "tests/helpers/MovieChecks.h"
#include "tests/helpers/SimulatedStorage.h"
#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

namespace reelwright::test {
namespace {

    using Content = std::vector<std::byte>;
    using HeaderPlace = MovieBuilder::HeaderPlace;

    constexpr auto kPath = "/m/a.mov";

    Content marked(std::size_t size, char mark)
    {
        return Bytes::copyOf(std::string(size, mark)).toVector();
    }

    Content operator+(Content a, const Content& b)
    {
        a.insert(a.end(), b.begin(), b.end());
        return a;
    }

    bool contains(const Content& all, const Content& part)
    {
        return !std::ranges::search(all, part).empty();
    }

    std::size_t find(const Content& bytes, std::string_view type, std::size_t from = 0)
    {
        const auto part = Bytes::copyOf(type);
        const auto place = std::search(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.end(),
            part.span().begin(), part.span().end());
        EXPECT_NE(place, bytes.end()) << type;
        return static_cast<std::size_t>(place - bytes.begin());
    }

    void put32(Content& bytes, std::size_t at, std::uint64_t value)
    {
        const auto field = ByteWriter {}.u32(static_cast<std::uint32_t>(value)).take();
        std::ranges::copy(field, bytes.begin() + static_cast<std::ptrdiff_t>(at));
    }

    MovieBuilder small(HeaderPlace place = HeaderPlace::First)
    {
        MovieBuilder built;
        built.headerPlace = place;
        built.tracks = {{.samples = 6}, {"soun"_cc, 60, 25}};
        return built;
    }

    /// A file, and what must be in it whatever becomes of it.
    struct Shape
    {
        const char* why;
        MovieBuilder built;
        Content bytes;
        std::vector<Content> kept;
        bool inPlace = true; ///< can it be updated so?
        bool anew = true; ///< and written anew, keeping all?
    };

    Shape otherHeaderInFront()
    {
        auto built = small();
        built.frontSize = 8 + 108;
        auto bytes = built.build();
        const auto at = find(bytes, MovieBuilder::kUnknown.text()) - 4;
        const auto mvhd = find(bytes, "mvhd") - 4;
        put32(bytes, at + 4, "moov"_cc.value);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(mvhd), 108,
            bytes.begin() + static_cast<std::ptrdiff_t>(at + 8));
        const Content header(bytes.begin() + static_cast<std::ptrdiff_t>(at),
            bytes.begin() + static_cast<std::ptrdiff_t>(at + 116));
        return {"a header of no tracks stands in front", built, bytes, {header}, true, false};
    }

    Shape twoMovies(const char* why, MovieBuilder first, const MovieBuilder& second)
    {
        const auto other = second.build();
        // The changed header must not come to lie behind the other movie's, which would be shown then.
        return {why, first, first.build() + other, {other}, first.freeAfter > 0, false};
    }

    Shape behindZeros()
    {
        return {"data behind a long tail of zeros", small(),
            small().build() + Content(100'000) + marked(500, 'd'), {marked(500, 'd')}, false};
    }

    Shape cutFree()
    {
        auto bytes = small().build();
        const auto media = find(bytes, "mdat");
        put32(bytes, media, "free"_cc.value);
        put32(bytes, media - 4, bytes.size() + 1000);
        return {"media in a last free atom that claims more than is there", small(), bytes, {}, false};
    }

    Shape mediaInHeader(HeaderPlace place)
    {
        // The samples of the second track stand in an item of the user data.
        const auto built = small(place);
        SimulatedStorage volume;
        volume.put(kPath, built.build());
        const auto storage = SimulatedStorage::fromState(volume.now());
        const auto media = MovieBuilder::media(built.tracks[1], 2);
        if (auto movie = QTMovie::open(kPath, storage)) {
            const EditableScope scope {*movie};
            EXPECT_TRUE(movie->setUserDataItem("MEDI"_cc, Bytes::copyOf(media)));
            EXPECT_TRUE(MovieSaver::updateMovieFile(*movie));
        }
        auto bytes = *storage->now().find(kPath);
        const auto item = find(bytes, "MEDI") + 4;
        const auto table = find(bytes, "stco", find(bytes, "stco") + 4) + 8;
        ByteReader in {std::span {bytes}.subspan(table)};
        const auto count = in.u32();
        for (std::uint32_t chunk = 0; chunk < count; ++chunk)
            put32(bytes, table + 4 + 4 * chunk, item + chunk * 25 * built.tracks[1].sampleSize(1));
        return {"media inside of the header", built, bytes, {media}};
    }

    /// 3000 bytes that no chunk refers to behind the last media, and a skip atom of something.
    Shape unusedMedia(bool sizeless)
    {
        const auto built = small();
        auto bytes = built.build();
        const auto at = find(bytes, "mdat") - 4;
        auto skip = atomBytes("skip"_cc, marked(200, 's'));
        bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at), skip.begin(), skip.end());
        for (std::size_t track = 0, table = 0; track < 2; ++track) { // the media have moved
            table = find(bytes, "stco", table + 4);
            ByteReader in {std::span {bytes}.subspan(table + 8)};
            const auto count = in.u32();
            for (std::uint32_t i = 0; i < count; ++i)
                put32(bytes, table + 12 + 4 * i, in.u32() + skip.size());
        }
        bytes = bytes + marked(3000, 'u');
        const auto media = at + skip.size();
        put32(bytes, media, sizeless ? 0 : bytes.size() - media);
        return {sizeless ? "unused bytes in media without a size" : "unused bytes in media", built, bytes,
            {marked(3000, 'u'), marked(200, 's')}};
    }

    std::vector<Shape> shapes()
    {
        auto plain = small(HeaderPlace::Last);
        auto plainFirst = small();
        plain.brand = plainFirst.brand = "";
        auto other = small(HeaderPlace::Last);
        other.tracks[0].samples = 9;
        other.commentSize = 40;
        auto roomy = small();
        roomy.freeAfter = 16'000;
        return {otherHeaderInFront(), twoMovies("two movies", small(), other),
            twoMovies("two movies, and room", roomy, other),
            twoMovies("the same movie twice", small(), small()),
            twoMovies("the same movie twice, without a file type", plain, plain),
            twoMovies("the same again, headers in front", plainFirst, plainFirst), behindZeros(), cutFree(),
            mediaInHeader(HeaderPlace::First), mediaInHeader(HeaderPlace::Last), unusedMedia(false),
            unusedMedia(true)};
    }

    void grow(QTMovie& movie)
    {
        const EditableScope scope {movie};
        ASSERT_TRUE(movie.setUserDataItem("TEST"_cc, Bytes::copyOf(std::string(700, 'g'))));
    }

    std::shared_ptr<SimulatedStorage> volumeWith(const Content& bytes)
    {
        SimulatedStorage volume;
        volume.put(kPath, bytes);
        return SimulatedStorage::fromState(volume.now());
    }

    void expectWhole(const Shape& shape, const DiskState& state)
    {
        SCOPED_TRACE(state.story);
        const auto movie = QTMovie::open(kPath, SimulatedStorage::fromState(state));
        ASSERT_TRUE(movie) << movie.error().message();
        EXPECT_TRUE(holdsSamplesOf(*movie, shape.built));
        for (const auto& part : shape.kept)
            EXPECT_TRUE(contains(*state.find(kPath), part)) << part.size() << " bytes are lost";
    }

    TEST(OddFile, SavedInPlaceLosesNothingAtAnyStep)
    {
        std::mt19937 random {5};
        for (const auto& shape : shapes()) {
            SCOPED_TRACE(shape.why);
            for (std::size_t stop = 0;; ++stop) {
                const auto storage = volumeWith(shape.bytes);
                storage->stopAfter(stop);
                auto movie = QTMovie::open(kPath, storage);
                ASSERT_TRUE(movie && holdsSamplesOf(*movie, shape.built));
                grow(*movie);
                const auto planned = MovieSaver::plan(*movie, SaveWay::InPlace);
                EXPECT_EQ(planned.has_value(), shape.inPlace);
                const auto saved = MovieSaver::updateMovieFile(*movie);
                if (!shape.inPlace) {
                    ASSERT_FALSE(saved);
                    EXPECT_EQ(saved.error().code, MovieError::Code::Refused);
                    EXPECT_EQ(*storage->now().find(kPath), shape.bytes);
                    break;
                }
                for (const auto& state : storage->crashStates(random, 10))
                    expectWhole(shape, state);
                if (!saved)
                    continue;
                EXPECT_EQ(planned->bytesWritten, saved->bytesWritten);
                storage->stopAfter(SIZE_MAX);
                for (int again = 0; again < 3; ++again) {
                    ASSERT_TRUE(movie->tracks().front().isValid());
                    const EditableScope scope {*movie};
                    const auto track = movie->tracks().front();
                    ASSERT_TRUE(track.setEnabled(!track.isEnabled()));
                    ASSERT_TRUE(MovieSaver::updateMovieFile(*movie));
                    expectWhole(shape, storage->now());
                }
                break;
            }
        }
    }

    TEST(OddFile, WrittenAnewKeepsAllOrSaysWhatItLeavesOut)
    {
        for (const auto& shape : shapes()) {
            SCOPED_TRACE(shape.why);
            const auto storage = volumeWith(shape.bytes);
            auto movie = QTMovie::open(kPath, storage);
            ASSERT_TRUE(movie);
            SaveOptions options;
            options.unused = UnusedBytes::LeaveOut;
            const auto planned = MovieSaver::plan(*movie, SaveWay::Flattened, options);
            ASSERT_TRUE(planned) << planned.error().message();
            const auto copied = MovieSaver::writeToFile(*movie, "/m/copy.mov", options);
            ASSERT_TRUE(copied);
            EXPECT_EQ(copied->bytesLeftOut, planned->bytesLeftOut);
            EXPECT_EQ(copied->bytesWritten, planned->bytesWritten);
            const bool leavesOut = std::ranges::any_of(shape.kept,
                [&](const Content& part) { return !contains(*storage->now().find("/m/copy.mov"), part); });
            EXPECT_EQ(copied->bytesLeftOut > 0, leavesOut);

            const auto saved = MovieSaver::writeToFile(*movie, kPath);
            EXPECT_EQ(saved.has_value(), shape.anew);
            if (saved)
                expectWhole(shape, storage->now());
            else
                EXPECT_EQ(*storage->now().find(kPath), shape.bytes);
        }
    }

    TEST(OddFile, PositionRecordsComeAlong)
    {
        const auto record = atomBytes("free"_cc, marked(300, 'p'));
        const auto movieBytes = small().build();
        const auto storage = volumeWith(movieBytes + record + atomBytes("free"_cc, marked(50, 'x')));
        auto movie = QTMovie::open(kPath, storage);
        ASSERT_TRUE(movie);
        {
            const EditableScope scope {*movie};
            ByteWriter list;
            list.u32(0x101).u32(1).u32(static_cast<std::uint32_t>(movieBytes.size())).u32(308);
            movie->editHeader().append(Atom {"gps "_cc, list.toBytes()});
        }
        ASSERT_TRUE(MovieSaver::updateMovieFile(*movie));
        ASSERT_TRUE(MovieSaver::writeToFile(*movie, kPath));
        const auto flat = QTMovie::open(kPath, storage);
        ASSERT_TRUE(flat);
        ByteReader in {flat->header().find("gps "_cc)->head.span()};
        in.skip(8);
        const auto place = in.u32();
        const auto& content = *storage->now().find(kPath);
        EXPECT_TRUE(std::ranges::equal(std::span {content}.subspan(place, 308), record));
        EXPECT_FALSE(contains(content, marked(50, 'x'))) << "free space that nothing refers to stays behind";
    }

    /// A zlib stream of one block that is not compressed.
    Content storedStream(const Content& data)
    {
        std::uint32_t a = 1;
        std::uint32_t b = 0;
        for (const auto byte : data) {
            a = (a + std::to_integer<std::uint32_t>(byte)) % 65521;
            b = (b + a) % 65521;
        }
        const auto size = static_cast<std::uint32_t>(data.size());
        ByteWriter out;
        out.u8(0x78).u8(1).u8(1);
        for (const auto field : {size, ~size & 0xFFFFU})
            out.u8(static_cast<std::uint8_t>(field & 0xFFU)).u8(static_cast<std::uint8_t>(field >> 8U));
        return out.bytes(data).u32(b << 16U | a).take();
    }

    TEST(OddFile, AtomsBesideACompressedHeaderSurviveAnEdit)
    {
        const auto bytes = small(HeaderPlace::Last).build();
        const auto at = find(bytes, "moov") - 4;
        const Content header(bytes.begin() + static_cast<std::ptrdiff_t>(at), bytes.end());
        ByteWriter data;
        data.u32(static_cast<std::uint32_t>(header.size())).bytes(storedStream(header));
        const auto packed = atomBytes("cmov"_cc,
            atomBytes("dcom"_cc, Bytes::copyOf("zlib").span()) + atomBytes("cmvd"_cc, data.span()));
        const auto beside = atomBytes("wXyZ"_cc, marked(30, 'w'));
        const auto storage
            = volumeWith(Content(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(at))
                + atomBytes("moov"_cc, packed + beside));
        auto movie = QTMovie::open(kPath, storage);
        ASSERT_TRUE(movie) << movie.error().message();
        grow(*movie);
        ASSERT_TRUE(MovieSaver::updateMovieFile(*movie));
        EXPECT_TRUE(contains(*storage->now().find(kPath), beside));
        EXPECT_TRUE(holdsSamplesOf(*QTMovie::open(kPath, storage), small()));
    }

    /// Does the auxiliary data's offset lead to what it should?
    bool isAuxiliaryTrue(const DiskState& state)
    {
        const auto movie = QTMovie::open(kPath, SimulatedStorage::fromState(state));
        if (!movie)
            return false;
        const auto* stbl = movie->tracks().front().atom().find({"mdia"_cc, "minf"_cc, "stbl"_cc});
        ByteReader in {stbl->find("saio"_cc)->head.span()};
        in.skip(8);
        const auto& content = *state.find(kPath);
        const auto place = in.u32();
        return place + 64 <= content.size()
            && std::ranges::equal(std::span {content}.subspan(place, 64), marked(64, 'e'));
    }

    TEST(OddFile, AuxiliaryDataInTheHeaderMoveWithIt)
    {
        std::mt19937 random {3};
        for (const auto place : {HeaderPlace::First, HeaderPlace::Last, HeaderPlace::BetweenMedia})
            for (const std::uint32_t room : {0U, 2000U}) {
                auto built = small(place);
                built.freeAfter = room;
                const auto made = volumeWith(built.build());
                auto movie = QTMovie::open(kPath, made);
                ASSERT_TRUE(movie);
                {
                    const EditableScope scope {*movie};
                    auto* stbl = movie->tracks().front().editAtom()->edit({"mdia"_cc, "minf"_cc, "stbl"_cc});
                    stbl->append(Atom {"senc"_cc, Bytes::copyOf(marked(64, 'e'))});
                    stbl->append(Atom {"saio"_cc, ByteWriter {}.u32(0).u32(1).u32(0).toBytes()});
                }
                ASSERT_TRUE(MovieSaver::updateMovieFile(*movie));
                auto bytes = *made->now().find(kPath);
                put32(bytes, find(bytes, "saio") + 12, find(bytes, "senc") + 4);
                for (std::size_t stop = 0;; ++stop) {
                    const auto storage = volumeWith(bytes);
                    ASSERT_TRUE(isAuxiliaryTrue(storage->now()));
                    storage->stopAfter(stop);
                    auto edited = QTMovie::open(kPath, storage);
                    ASSERT_TRUE(edited);
                    grow(*edited);
                    const auto saved = MovieSaver::updateMovieFile(*edited);
                    for (const auto& state : storage->crashStates(random, 10))
                        ASSERT_TRUE(isAuxiliaryTrue(state)) << stop << ": " << state.story;
                    if (!saved)
                        continue;
                    storage->stopAfter(SIZE_MAX);
                    // Undone behind the save, the older header is true where it is put next.
                    auto undone = QTMovie::open(kPath, volumeWith(bytes))->overFileOf(*edited);
                    ASSERT_TRUE(MovieSaver::updateMovieFile(undone));
                    EXPECT_TRUE(isAuxiliaryTrue(storage->now()));
                    break;
                }
            }
    }

    /// Gives the movie a last track of one sample in memory, instead of the one it had.
    void replaceLastTrack(QTMovie& movie, char mark, std::size_t size)
    {
        const EditableScope scope {movie};
        if (movie.tracks().size() > 2) {
            ASSERT_TRUE(movie.removeTrack(movie.tracks().back()));
        }
        const auto offset = movie.sources().addMemory(Bytes::copyOf(std::string(size, mark)));
        const BuiltTrack one {.samples = 1, .samplesPerChunk = 1};
        auto track = Atom::parse(Bytes::copyOf(MovieBuilder::buildTrack(one, 7, {offset}, true)), 0);
        ASSERT_TRUE(track);
        ASSERT_TRUE(movie.addTrack(std::move(*track)));
    }

    std::byte firstByteOfLastTrack(const QTMovie& movie)
    {
        const auto data = movie.tracks().back().media().sampleData(1);
        return data ? data->span().front() : std::byte {};
    }

    TEST(SavingMediaAgainAndAgain, ReclaimsWhatEditsTookAwayAndUndoingBringsItBack)
    {
        const auto size = BuiltTrack {}.sampleSize(1);
        for (const auto place : {HeaderPlace::First, HeaderPlace::Last}) {
            const auto storage = volumeWith(small(place).build());
            std::size_t second = 0;
            for (int round = 0; round < 12; ++round) {
                auto movie = QTMovie::open(kPath, storage);
                ASSERT_TRUE(movie);
                replaceLastTrack(*movie, static_cast<char>('a' + round), size);
                ASSERT_TRUE(MovieSaver::updateMovieFile(*movie));
                if (round == 3)
                    second = storage->now().find(kPath)->size();
            }
            EXPECT_LE(storage->now().find(kPath)->size(), second + 64) << "it does not grow without end";

            auto movie = *QTMovie::open(kPath, storage);
            std::vector<QTMovie> steps;
            for (const char mark : {'1', '2', '3', '4'}) {
                replaceLastTrack(movie, mark, size);
                ASSERT_TRUE(MovieSaver::updateMovieFile(movie));
                steps.push_back(movie);
            }
            for (const std::size_t step : {2U, 0U, 1U}) {
                movie = steps[step].overFileOf(movie);
                ASSERT_TRUE(MovieSaver::updateMovieFile(movie));
                const auto again = QTMovie::open(kPath, storage);
                EXPECT_EQ(firstByteOfLastTrack(*again), static_cast<std::byte>('1' + step));
                EXPECT_TRUE(holdsSamplesOf(*again, small()));
            }
        }
    }

    TEST(OddFile, MediaBesideASymbolicLinkAreNotThoseBesideItsTarget)
    {
        const TempFolder folder;
        std::filesystem::create_directories(folder.file("real"));
        const auto built = small();
        const auto media = built.build();
        writeFile(folder.file("real/media.bin"), media);
        writeFile(folder.file("media.bin"), Content(media.size()));
        const auto storage = volumeWith(media);
        auto movie = QTMovie::open(kPath, storage);
        ASSERT_TRUE(movie);
        {
            const EditableScope scope {*movie};
            for (const auto& track : movie->tracks())
                track.editAtom()->edit({"mdia"_cc, "minf"_cc, "dinf"_cc, "dref"_cc})->children
                    = {Cow<Atom>(Atom {"url "_cc, ByteWriter {}.u32(0).text("media.bin").u8(0).toBytes()})};
        }
        writeFile(folder.file("real/a.mov"), movie->header().toBytes().span());
        std::filesystem::create_symlink("real/a.mov", folder.file("a.mov"));
        const auto linked = QTMovie::open(folder.file("a.mov"));
        ASSERT_TRUE(linked) << linked.error().message();
        EXPECT_TRUE(holdsSamplesOf(*linked, built));
    }

    TEST(WritingAnew, KeepsHolesAndThePlaceOfMediaWithinABlock)
    {
        const TempFolder folder;
        const auto path = folder.file("a.mov");
        const auto built = small(HeaderPlace::Last);
        auto bytes = built.build();
        const auto header = find(bytes, "moov") - 4;
        constexpr std::uint64_t kHole = 64U << 20U; // not used by any chunk
        const auto media = find(bytes, "mdat") - 4;
        put32(bytes, media, header - media + kHole);
        {
            const auto storage = Storage::posix(Storage::Sync::Off);
            writeFile(path, std::span {bytes}.first(header));
            const auto file = storage->open(path, Storage::Access::ReadWrite);
            ASSERT_TRUE((*file)->writeAt(header + kHole, std::span {bytes}.subspan(header)));
        }
        const auto used = [](const std::string& name) {
            return std::stoull(run({"stat", "-c", "%b", name})) * 512;
        };
        ASSERT_LT(used(path), kHole / 4) << "the file system has no holes";
        const auto movie = QTMovie::open(path);
        ASSERT_TRUE(movie);
        ASSERT_TRUE(MovieSaver::writeToFile(*movie, path));
        EXPECT_LT(used(path), kHole / 4);
        const auto flat = QTMovie::open(path);
        ASSERT_TRUE(flat && holdsSamplesOf(*flat, built));
        const auto placeOf
            = [](const QTMovie& one) { return one.tracks().front().media().sampleTable().chunkOffset(1); };
        EXPECT_EQ(placeOf(*flat) % 4096, placeOf(*movie) % 4096);
    }

} // namespace
} // namespace reelwright::test
