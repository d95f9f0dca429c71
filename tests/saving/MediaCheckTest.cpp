#include "saving/MediaCheck.h"

#include "tests/helpers/ForwardingStorage.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace reelwright {
namespace {

    /// A disk on which some bytes cannot be read.
    class FailingDisk : public test::ForwardingStorage
    {
    public:
        std::uint64_t begin = 0;
        std::uint64_t end = 0;

        Result<std::shared_ptr<StorageFile>> open(const std::string& path, Access access) override
        {
            RW_TRY(auto file, ForwardingStorage::open(path, access));
            return std::shared_ptr<StorageFile>(std::make_shared<File>(*this, std::move(file)));
        }

    private:
        class File : public test::ForwardingFile
        {
        public:
            File(FailingDisk& disk, std::shared_ptr<StorageFile> real)
                : ForwardingFile(std::move(real))
                , m_disk(disk)
            {
            }
            Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) override
            {
                if (offset < m_disk.end && m_disk.begin < offset + out.size())
                    return systemFailure(EIO, "disk", "cannot be read");
                return ForwardingFile::readAt(offset, out);
            }

        private:
            FailingDisk& m_disk;
        };
    };

    class MediaCheck : public ::testing::Test
    {
    protected:
        std::vector<TrackCheck> check(const std::vector<std::byte>& file)
        {
            test::writeFile(m_path, file);
            const auto movie = QTMovie::open(m_path, m_disk).value();
            if (m_damaged) {
                const auto place = movie.tracks()[0].media().sampleTable().locate(*m_damaged).value();
                m_disk->begin = place.offset + place.size / 2;
                m_disk->end = m_disk->begin + 1;
            }
            const auto checks = checkMedia(movie, [] { return true; });
            m_disk->begin = m_disk->end = 0;
            return checks.value();
        }

        test::TempFolder m_folder;
        const std::string m_path = m_folder.file("clip.mov");
        std::shared_ptr<FailingDisk> m_disk = std::make_shared<FailingDisk>();
        std::optional<std::uint32_t> m_damaged; ///< a sample of the first track
    };

    TEST_F(MediaCheck, NamesTheSampleOnABadSectorAndReadsTheOthers)
    {
        const auto file = test::MovieBuilder {}.build();
        const auto sound = check(file);
        ASSERT_FALSE(sound.empty());
        for (const auto& track : sound)
            EXPECT_EQ(track.unreadableCount, 0U);
        m_damaged = 2;
        const auto tracks = check(file);
        ASSERT_EQ(tracks[0].unreadable.size(), 1U);
        const auto& stretch = tracks[0].unreadable[0];
        EXPECT_EQ(stretch.first, 2U);
        EXPECT_EQ(stretch.count, 1U);
        EXPECT_EQ(stretch.source, m_path);
        EXPECT_THAT(stretch.reason, ::testing::HasSubstr("cannot be read"));
        EXPECT_LT(tracks[0].bytes, sound[0].bytes);
        for (std::size_t i = 1; i < tracks.size(); ++i)
            EXPECT_EQ(tracks[i].bytes, sound[i].bytes) << "other tracks are read all the same";
    }

    TEST_F(MediaCheck, TellsFromWhichSampleOnTheFileIsTooShort)
    {
        auto file = test::MovieBuilder {}.build(); // the header stands before the media
        file.resize(file.size() - 1);
        const auto tracks = check(file);
        std::uint32_t unreadable = 0;
        for (const auto& track : tracks)
            if (track.unreadableCount != 0) {
                unreadable += track.unreadableCount;
                EXPECT_EQ(track.unreadable.back().last(), track.samples);
                EXPECT_EQ(track.unreadable.back().reason, "the file ends before");
            }
        EXPECT_EQ(unreadable, 1U);
    }

    TEST_F(MediaCheck, StopsWhenItIsToldTo)
    {
        test::writeFile(m_path, test::MovieBuilder {}.build());
        const auto stopped = checkMedia(QTMovie::open(m_path).value(), [] { return false; });
        ASSERT_FALSE(stopped);
        EXPECT_EQ(stopped.error().code, MovieError::Code::Cancelled);
    }

} // namespace
} // namespace reelwright
