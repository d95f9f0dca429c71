#include "movie/files/Importer.h"

#include "movie/atoms/HeaderAtoms.h"
#include "movie/samples/SampleDescription.h"
#include "movie/samples/SampleTable.h"
#include "tests/helpers/SimulatedStorage.h"
#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

#include <random>
#include <sstream>

namespace reelwright {
namespace {

    using test::littleEndian;
    using test::waveFormat;
    using testing::HasSubstr;
    using testing::IsEmpty;

    using FileBytes = std::vector<std::byte>;

    Result<std::optional<Atom>> importBytes(const FileBytes& bytes)
    {
        return importMediaFile(*test::memoryFile(bytes), "memory");
    }

    /// The one track of an imported movie, read the way the rest of the engine does.
    struct Track
    {
        explicit Track(const Atom& moov)
            : trak(*moov.find("trak"_cc))
            , tables(*trak.find({"mdia"_cc, "minf"_cc, "stbl"_cc}))
            , table(SampleTable::parse(tables))
            , media(MediaHeader::parse(trak.find({"mdia"_cc, "mdhd"_cc})->head).value())
            , description(*tables.find("stsd"_cc)->children.at(0))
        {
        }

        /// The media of all chunks.
        [[nodiscard]] FileBytes mediaOf(const FileBytes& file, SoundPacking packing) const
        {
            FileBytes result;
            table.forEachChunk(
                [&](std::uint32_t, const SampleTable::Chunk& chunk) {
                    const auto place = ByteSpan {file}.subspan(
                        static_cast<std::size_t>(chunk.offset), static_cast<std::size_t>(chunk.size));
                    result.insert(result.end(), place.begin(), place.end());
                    return true;
                },
                packing);
            return result;
        }

        const Atom& trak;
        const Atom& tables;
        SampleTable table;
        MediaHeader media;
        SampleDescription description;
    };

    FileBytes toBytes(const std::string& text)
    {
        const auto bytes = std::as_bytes(std::span {text});
        return {bytes.begin(), bytes.end()};
    }

    /// The imported header behind the file's own bytes, whose first eight become the start of an `mdat`.
    void writeAsMovie(FileBytes bytes, const Atom& moov, const std::string& path)
    {
        ByteWriter start;
        start.u32(static_cast<std::uint32_t>(bytes.size())).fourCC("mdat"_cc);
        std::copy(start.span().begin(), start.span().end(), bytes.begin());
        const auto header = moov.toBytes();
        bytes.insert(bytes.end(), header.span().begin(), header.span().end());
        test::writeFile(path, bytes);
    }

    /// Another reader decodes the file and the movie made of it to the same sound.
    void expectSameSound(const std::string& path)
    {
        SCOPED_TRACE(path);
        const auto bytes = test::readFile(path);
        const auto moov = importBytes(bytes);
        ASSERT_TRUE(moov) << moov.error().message();
        ASSERT_TRUE(*moov);
        const Track track {**moov};
        const auto sound = track.description.sound().value();
        EXPECT_EQ(sound.sampleRate, track.media.timeScale);
        EXPECT_EQ(track.table.duration(), track.media.duration);

        std::istringstream fields {test::run({"ffprobe", "-v", "fatal", "-select_streams", "a",
            "-show_entries", "stream=sample_rate,channels,duration_ts", "-of", "csv=p=0:s=\\ ", path})};
        double rate = 0;
        std::uint32_t channels = 0;
        std::uint64_t duration = 0;
        fields >> rate >> channels >> duration;
        EXPECT_EQ(sound.sampleRate, rate);
        EXPECT_EQ(sound.channels, channels);
        EXPECT_EQ(track.media.duration, duration);

        const auto packets = [](const std::string& source, const std::vector<std::string>& options) {
            return toBytes(test::run(test::joined({{"ffmpeg", "-v", "fatal", "-i", source}, options})));
        };
        EXPECT_TRUE(track.mediaOf(bytes, sound.packing)
            == packets(path, {"-c", "copy", "-f", "data", "-map", "0:a", "-"}))
            << "the chunks hold the stream's bytes";
        const test::TempFolder folder;
        writeAsMovie(bytes, **moov, folder.file("movie.mov"));
        EXPECT_TRUE(
            packets(folder.file("movie.mov"), {"-f", "f64le", "-"}) == packets(path, {"-f", "f64le", "-"}))
            << "the description says how they are stored";
    }

    TEST(Importer, SoundFilesPlayTheSameAsMovies)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffmpeg");
        struct Fact
        {
            const char* name;
            std::vector<std::string> options;
            const char* format;
        };
        const Fact kFacts[] = {
            {"u8.wav", {"-c:a", "pcm_u8"}, "raw "},
            {"s16.wav", {"-c:a", "pcm_s16le"}, "sowt"},
            {"s24.wav", {"-c:a", "pcm_s24le"}, "in24"},
            {"s32.wav", {"-c:a", "pcm_s32le"}, "in32"},
            {"f32.wav", {"-c:a", "pcm_f32le"}, "fl32"},
            {"f64.wav", {"-c:a", "pcm_f64le"}, "fl64"},
            {"alaw.wav", {"-c:a", "pcm_alaw"}, "alaw"},
            {"ulaw.wav", {"-c:a", "pcm_mulaw"}, "ulaw"},
            {"5.1.wav", {"-c:a", "pcm_s24le", "-ac", "6"}, "lpcm"},
            {"6u8.wav", {"-c:a", "pcm_u8", "-ac", "6"}, "lpcm"},
            {"96k.wav", {"-c:a", "pcm_s16le", "-ar", "96000"}, "lpcm"},
            {"wide.wav", {"-c:a", "pcm_s16le", "-rf64", "always"}, "sowt"},
            {"s8.aiff", {"-c:a", "pcm_s8"}, "twos"},
            {"s16.aiff", {"-c:a", "pcm_s16be"}, "twos"},
            {"s24.aiff", {"-c:a", "pcm_s24be"}, "in24"},
            {"s32.aiff", {"-c:a", "pcm_s32be", "-ac", "4"}, "lpcm"},
            {"f32.aiff", {"-c:a", "pcm_f32be"}, "fl32"},
            {"f64.aiff", {"-c:a", "pcm_f64be", "-ac", "3"}, "lpcm"},
            {"le.aiff", {"-c:a", "pcm_s16le"}, "sowt"},
            {"alaw.aiff", {"-c:a", "pcm_alaw"}, "alaw"},
            {"ulaw.aiff", {"-c:a", "pcm_mulaw"}, "ulaw"},
            {"ima.aiff", {"-c:a", "adpcm_ima_qt"}, "ima4"},
        };
        const test::TempFolder folder;
        for (const auto& fact : kFacts) {
            const auto path = folder.file(fact.name);
            test::ffmpeg(test::joined({{"-f", "lavfi", "-i",
                                           "sine=frequency=440:duration=1.3:sample_rate=44100", "-ac", "2"},
                             fact.options}),
                path);
            expectSameSound(path);
            const auto moov = importBytes(test::readFile(path)).value().value();
            const Track track {moov};
            EXPECT_EQ(track.description.format().text(), fact.format) << fact.name;
            EXPECT_GE(track.table.chunkCount(), 2U) << "about half a second each";
        }
    }

    TEST(Importer, RealSoundFilesPlayTheSameAsMovies)
    {
        REELWRIGHT_NEEDS_CORPUS();
        REELWRIGHT_NEEDS_PROGRAM("ffmpeg");
        for (const auto& path : test::corpusFiles("audio")) {
            if (path.ends_with("aiff-tiny.aif"))
                continue; // its sound was cut off, which the other reader does not notice
            expectSameSound(path);
        }
    }

    TEST(Importer, SpeakerMasksBecomeChannelLayouts)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffmpeg");
        const test::TempFolder folder;
        test::ffmpeg({"-f", "lavfi", "-i", "anullsrc=channel_layout=5.1:duration=0.1", "-c:a", "pcm_s16le"},
            folder.file("a.wav"));
        const auto moov = importBytes(test::readFile(folder.file("a.wav"))).value().value();
        std::vector<std::uint32_t> labels;
        const auto sound = Track {moov}.description.sound().value();
        for (const auto& channel : sound.channelList)
            labels.push_back(channel.mChannelLabel);
        EXPECT_THAT(labels, testing::ElementsAre(1, 2, 3, 4, 5, 6));
    }

    // Files made by hand

    std::string chunk(const std::string& type, const std::string& payload)
    {
        return type + littleEndian(payload.size(), 4) + payload;
    }

    FileBytes wave(const std::string& chunks)
    {
        return toBytes("RIFF" + littleEndian(0, 4) + "WAVE" + chunks);
    }

    TEST(Importer, WaveDataEndWhereTheSizeOrTheFileSays)
    {
        struct Fact
        {
            std::uint32_t size;
            std::size_t written;
            std::string behind; ///< what follows the data
            std::uint32_t samples;
            const char* why;
        };
        const Fact kFacts[] = {
            {20, 20, "", 10, "as it should be"},
            {20, 22, "", 10, "bytes behind the data are not sound"},
            {21, 21, "", 10, "half a sample is none"},
            {0, 20, "", 10, "the size was never filled in"},
            {0xFFFFFFFF, 20, "", 10, "the size is not known"},
            {0x7FFFFFFF, 20, "", 10, "the file was cut short"},
            {0, 0, chunk("LIST", "abcd"), 0, "no sound, but another chunk"},
            {0, 0, "", 0, "no sound at all"},
        };
        for (const auto& fact : kFacts) {
            const auto moov
                = importBytes(wave("JUNK" + littleEndian(3, 4) + littleEndian(0, 4) // an odd size is padded
                    + waveFormat() + "data" + littleEndian(fact.size, 4) + std::string(fact.written, '\0')
                    + fact.behind));
            ASSERT_TRUE(moov && *moov) << fact.why;
            EXPECT_EQ(Track {**moov}.table.sampleCount(), fact.samples) << fact.why;
        }
    }

    TEST(Importer, WaveFilesThatSayTooLittleAreRefused)
    {
        struct Fact
        {
            std::string chunks;
            MovieError::Code code;
            const char* detail;
        };
        const auto data = chunk("data", "1234");
        const Fact kFacts[] = {
            {"", MovieError::Code::Corrupt, "no format chunk"},
            {data, MovieError::Code::Corrupt, "no format chunk"},
            {waveFormat(), MovieError::Code::Corrupt, "no data chunk"},
            {std::string(8 * 10'001, '\0'), MovieError::Code::Corrupt, "too many chunks"},
            {waveFormat(0) + data, MovieError::Code::Corrupt, "no channels"},
            {waveFormat(2, 16, 0x55) + data, MovieError::Code::Unsupported, "format 0x0055"},
        };
        for (const auto& fact : kFacts) {
            const auto moov = importBytes(wave(fact.chunks));
            ASSERT_FALSE(moov) << fact.detail;
            EXPECT_EQ(moov.error().code, fact.code) << fact.detail;
            EXPECT_THAT(moov.error().detail, HasSubstr(fact.detail));
        }
    }

    /// An AIFF file at 22254.5454 Hz, the rate of the first sound hardware of its platform.
    FileBytes aiff(std::uint32_t frames, std::uint32_t skip, std::size_t written)
    {
        ByteWriter out;
        out.text("FORM").u32(0).text("AIFF");
        out.text("COMM").u32(18).u16(1).u32(frames).u16(16);
        out.u16(0x400D).u64(0xADDD'1745'D174'5D17);
        out.text("SSND").u32(static_cast<std::uint32_t>(8 + written)).u32(skip).u32(0).zeros(written);
        return out.take();
    }

    TEST(Importer, AiffSoundStartsBehindItsOffsetAndIsAsLongAsItIs)
    {
        struct Fact
        {
            std::uint32_t frames;
            std::uint32_t skip;
            std::uint32_t samples;
            const char* why;
        };
        constexpr Fact kFacts[] = {
            {10, 0, 10, "as it should be"},
            {8, 0, 8, "padding behind the sound"},
            {10, 4, 8, "an offset moves the start"},
            {1000, 0, 10, "the file was cut short"},
            {0, 0, 10, "the count was never filled in"},
            {10, 0xFFFFFFFF, 0, "an offset past the end"},
        };
        for (const auto& fact : kFacts) {
            const auto moov = importBytes(aiff(fact.frames, fact.skip, 20));
            ASSERT_TRUE(moov && *moov) << fact.why;
            const Track track {**moov};
            EXPECT_EQ(track.table.sampleCount(), fact.samples) << fact.why;
            EXPECT_EQ(track.media.timeScale, 22255U);
            EXPECT_NEAR(track.description.sound().value().sampleRate, 22254.5454, 0.001);
            if (fact.samples != 0) {
                EXPECT_EQ(track.table.chunkOffset(1), 54 + fact.skip) << fact.why;
            }
        }
    }

    TEST(Importer, DvStreamsBecomeAVideoTrackOfFrames)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffmpeg");
        struct Fact
        {
            const char* target;
            std::vector<std::string> options;
            const char* format;
            std::uint16_t height;
            std::uint32_t frameSize;
            std::uint32_t duration; ///< of 12 frames
        };
        const Fact kFacts[] = {
            {"ntsc-dv", {}, "dvc ", 480, 120000, 12012},
            {"pal-dv", {}, "dvcp", 576, 144000, 1200},
            {"pal-dv", {"-pix_fmt", "yuv411p"}, "dvpp", 576, 144000, 1200},
            {"ntsc-dv50", {}, "dv5n", 480, 240000, 12012},
            {"pal-dv50", {}, "dv5p", 576, 288000, 1200},
        };
        const test::TempFolder folder;
        for (const auto& fact : kFacts) {
            SCOPED_TRACE(fact.format);
            const auto path = folder.file("clip.dv");
            test::ffmpeg(test::joined({{"-f", "lavfi", "-i", "testsrc2=size=720x576:rate=25", "-target",
                                           fact.target, "-frames:v", "12"},
                             fact.options}),
                path);
            const auto bytes = test::readFile(path);
            const auto moov = importBytes(bytes);
            ASSERT_TRUE(moov && *moov);
            const Track track {**moov};
            EXPECT_EQ(track.description.format().text(), fact.format);
            EXPECT_EQ(track.description.video().value().height, fact.height);
            EXPECT_EQ(track.table.uniformSize(), fact.frameSize);
            EXPECT_EQ(track.table.sampleCount(), 12U);
            EXPECT_EQ(track.media.duration, fact.duration);
            EXPECT_TRUE(track.mediaOf(bytes, {}) == bytes);
        }
    }

    TEST(Importer, RealDvFilesOpen)
    {
        REELWRIGHT_NEEDS_CORPUS();
        const auto folder = test::corpusFolder() + "/movies/";
        const auto frame = importBytes(test::readFile(folder + "dv-ntsc-one-frame.dv")).value().value();
        EXPECT_EQ(Track {frame}.table.sampleCount(), 1U);
        const auto header = importBytes(test::readFile(folder + "dv-header.dv")).value().value();
        EXPECT_EQ(Track {header}.table.sampleCount(), 0U) << "not even one frame is whole";
        const auto aspect = Track {header}.description.extension("vide"_cc, "pasp"_cc).value();
        EXPECT_EQ(readBigEndian(aspect.span().data(), 8), 118ULL << 32U | 81U) << "16:9";
    }

    TEST(Importer, OtherFilesAreNotTaken)
    {
        REELWRIGHT_NEEDS_CORPUS();
        for (const char* folder : {"movies", "bad", "stills", "projects"})
            for (const auto& path : test::corpusFiles(folder)) {
                const auto moov = importBytes(test::readFile(path));
                const bool ours = path.ends_with(".dv") || path.ends_with(".aif");
                EXPECT_TRUE(ours || (moov && !*moov)) << path;
            }
    }

    TEST(Importer, RandomDamageIsSurvived)
    {
        auto wide = wave(chunk("ds64", std::string(28, '\0')) + waveFormat(2) + "data"
            + littleEndian(0xFFFFFFFF, 4) + std::string(400, '\0'));
        const std::string_view kWide = "RF64";
        std::ranges::copy(std::as_bytes(std::span {kWide}), wide.begin());
        const auto extensible = wave(
            chunk("fmt ",
                littleEndian(0xFFFE, 2) + littleEndian(6, 2) + littleEndian(48000, 4) + littleEndian(0, 4)
                    + littleEndian(18, 2) + littleEndian(24, 2) + littleEndian(22, 2) + littleEndian(24, 2)
                    + littleEndian(0x3F, 4) + littleEndian(1, 2)
                    + std::string {"\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 14})
            + chunk("data", std::string(180, '\0')));
        FileBytes dv(121000);
        for (std::size_t block = 0; block < 8; ++block)
            dv[block * 80]
                = static_cast<std::byte>(std::array {0x1F, 0x3F, 0x3F, 0x5F, 0x5F, 0x5F, 0x7F, 0x9F}[block]);
        dv[162] = dv[322] = std::byte {1};
        dv[402] = std::byte {2};
        const FileBytes wholes[] = {wide, extensible, aiff(100, 0, 200), dv};
        std::mt19937 random {5}; // NOLINT: the same damage each time
        for (int round = 0; round < 4000; ++round) {
            auto bytes = wholes[round % 4];
            ASSERT_TRUE(round > 3 || importBytes(bytes).value()) << round;
            const auto reach = std::min<std::size_t>(bytes.size(), 700);
            for (int i = 0; i < 1 + round % 3; ++i) {
                const auto value = random() % 4 == 0 ? 0xFFU : random();
                bytes[random() % reach] = static_cast<std::byte>(value);
            }
            if (round % 7 == 0)
                bytes.resize(random() % reach);
            const auto moov = importBytes(bytes);
            if (!moov || !*moov)
                continue;
            EXPECT_LT((*moov)->size(), 20000U) << "memory in proportion";
            const Track track {**moov};
            const auto sound = track.description.sound();
            track.table.forEachChunk(
                [&](std::uint32_t, const SampleTable::Chunk& chunk) {
                    EXPECT_LE(chunk.offset + chunk.size, bytes.size());
                    return true;
                },
                track.trak.find({"mdia"_cc, "minf"_cc, "smhd"_cc}) && sound ? sound->packing
                                                                            : SoundPacking {});
        }
    }

} // namespace
} // namespace reelwright
