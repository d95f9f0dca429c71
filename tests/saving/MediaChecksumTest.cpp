#include "saving/MediaChecksum.h"

#include "movie/saving/MovieSaver.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/TestFiles.h"

#include <gtest/gtest.h>

#include <random>

namespace reelwright {
namespace {

    std::vector<std::byte> randomBytes(std::size_t count)
    {
        std::minstd_rand random {1}; // NOLINT: the same bytes each time
        std::vector<std::byte> bytes(count);
        for (auto& byte : bytes)
            byte = static_cast<std::byte>(random() >> 7U);
        return bytes;
    }

    std::uint64_t hashOf(ByteSpan bytes)
    {
        StreamHash hash;
        hash.update(bytes);
        return hash.value();
    }

    TEST(StreamHash, DoesNotDependOnHowTheBytesCome)
    {
        const auto bytes = randomBytes(1000);
        for (const std::size_t step : {1U, 7U, 31U, 32U, 33U, 999U}) {
            StreamHash hash;
            for (std::size_t at = 0; at < bytes.size(); at += step)
                hash.update(ByteSpan(bytes).subspan(at, std::min(step, bytes.size() - at)));
            EXPECT_EQ(hash.value(), hashOf(bytes)) << step;
        }
    }

    TEST(StreamHash, ChangesWithEveryBitAndWithTheLength)
    {
        auto bytes = randomBytes(100);
        const auto whole = hashOf(bytes);
        for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
            const auto mask = static_cast<std::byte>(1U << bit % 8);
            bytes[bit / 8] ^= mask;
            EXPECT_NE(hashOf(bytes), whole) << bit;
            bytes[bit / 8] ^= mask;
        }
        EXPECT_NE(hashOf(std::vector<std::byte>(10)), hashOf(std::vector<std::byte>(11)));
    }

    class MediaChecksum : public ::testing::Test
    {
    protected:
        std::vector<TrackChecksum> checksums(const std::vector<std::byte>& file)
        {
            test::writeFile(m_folder.file("m.mov"), file);
            return checksums(QTMovie::open(m_folder.file("m.mov")).value());
        }
        static std::vector<TrackChecksum> checksums(const QTMovie& movie)
        {
            return mediaChecksums(movie, [] { return true; }).value();
        }

        test::TempFolder m_folder;
    };

    TEST_F(MediaChecksum, IsTheSameWhereverTheMediaLie)
    {
        test::MovieBuilder builder;
        const auto first = checksums(builder.build());
        builder.headerPlace = test::MovieBuilder::HeaderPlace::Last;
        builder.hasWideOffsets = true;
        EXPECT_EQ(checksums(builder.build()), first);
        builder.tracks[0].samplesPerChunk = 3;
        EXPECT_EQ(checksums(builder.build()), first) << "chunks are a matter of place too";
        ASSERT_EQ(first.size(), 2U);
        EXPECT_NE(first[0].text, first[1].text);
    }

    TEST_F(MediaChecksum, TellsEachChangedByteOfTheMedia)
    {
        test::MovieBuilder builder;
        builder.headerPlace = test::MovieBuilder::HeaderPlace::Last;
        auto file = builder.build();
        const auto before = checksums(file);
        const auto movie = QTMovie::open(m_folder.file("m.mov")).value();
        const auto place = movie.tracks()[1].media().sampleTable().locate(600);
        file[static_cast<std::size_t>(place->offset) + 1] ^= std::byte {1};
        const auto after = checksums(file);
        EXPECT_EQ(after[0], before[0]);
        EXPECT_NE(after[1], before[1]);
    }

    TEST_F(MediaChecksum, StopsWhenAsked)
    {
        test::writeFile(m_folder.file("m.mov"), test::MovieBuilder {}.build());
        const auto movie = QTMovie::open(m_folder.file("m.mov")).value();
        const auto stopped = mediaChecksums(movie, [] { return false; });
        ASSERT_FALSE(stopped.has_value());
        EXPECT_EQ(stopped.error().code, MovieError::Code::Cancelled);
    }

} // namespace
} // namespace reelwright
