#include "cli/FileEdit.h"

#include "edits/EditCatalogue.h"
#include "tests/helpers/ForwardingStorage.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

namespace reelwright::cli {
namespace {

    using ::testing::ElementsAre;
    using ::testing::HasSubstr;

    /// The real file system, but for one thing at a time that a test asks for.
    class OddStorage : public test::ForwardingStorage
    {
    public:
        std::string volume; ///< not empty: the type that every volume has
        bool damagesMedia = false; ///< after the first write, reads of `damagedOffset` give another byte
        std::uint64_t damagedOffset = 0;

        Result<std::shared_ptr<StorageFile>> open(const std::string& path, Access access) override
        {
            RW_TRY(auto file, ForwardingStorage::open(path, access));
            return std::shared_ptr<StorageFile>(std::make_shared<File>(*this, std::move(file)));
        }
        std::string volumeType(const std::string& path) override
        {
            return volume.empty() ? ForwardingStorage::volumeType(path) : volume;
        }

    private:
        class File : public test::ForwardingFile
        {
        public:
            File(OddStorage& storage, std::shared_ptr<StorageFile> real)
                : ForwardingFile(std::move(real))
                , m_storage(storage)
            {
            }
            Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) override
            {
                RW_TRY(const auto count, ForwardingFile::readAt(offset, out));
                const auto place = m_storage.damagedOffset - offset;
                if (m_storage.damagesMedia && m_storage.m_wasWritten && m_storage.damagedOffset >= offset
                    && place < count)
                    out[static_cast<std::size_t>(place)] ^= std::byte {1};
                return count;
            }
            Result<void> writeAt(std::uint64_t offset, ByteSpan bytes) override
            {
                m_storage.m_wasWritten = true;
                return ForwardingFile::writeAt(offset, bytes);
            }

        private:
            OddStorage& m_storage;
        };

        bool m_wasWritten = false;
    };

    class FileEditTest : public ::testing::Test
    {
    protected:
        FileEditTest()
        {
            m_builder.headerPlace = test::MovieBuilder::HeaderPlace::Last;
            test::writeFile(m_path, m_builder.build());
            EditSteps steps;
            EXPECT_TRUE(editKinds().front().parse("on", steps)); // --autoplay on
            m_options.plan = steps.finish().value();
        }

        EditResult run(const Progress& progress = {})
        {
            return FileEdit(m_options, m_storage, progress).run(m_path, {});
        }

        test::TempFolder m_folder;
        const std::string m_path = m_folder.file("clip.mov");
        test::MovieBuilder m_builder;
        EditOptions m_options;
        std::shared_ptr<OddStorage> m_storage = std::make_shared<OddStorage>();
    };

    TEST_F(FileEditTest, VerifyingFailsTheFileWhenTheMediaReadBackAreOthers)
    {
        const auto movie = QTMovie::open(m_path).value();
        m_storage->damagedOffset = movie.tracks()[1].media().sampleTable().chunkOffset(2);
        m_storage->damagesMedia = true;
        m_options.verify = true;
        const auto result = run();
        EXPECT_EQ(result.status, EditStatus::Failed);
        EXPECT_THAT(result.error, HasSubstr("media read back"));
        ASSERT_TRUE(result.media.has_value());
        EXPECT_EQ(result.media->at(0).before, result.media->at(0).after);
        EXPECT_NE(result.media->at(1).before, result.media->at(1).after);
    }

    TEST_F(FileEditTest, VerifyingReadsTheMediaThatWereSaved)
    {
        m_storage->damagedOffset = 4; // of the file's first atom: no media
        m_storage->damagesMedia = true;
        m_options.verify = true;
        EXPECT_EQ(run().status, EditStatus::Updated);
    }

    TEST_F(FileEditTest, AVolumeWithoutAJournalHasTheFileWrittenAnew)
    {
        m_storage->volume = "vfat";
        const auto result = run();
        EXPECT_EQ(result.status, EditStatus::Updated) << result.error;
        EXPECT_EQ(result.mode, SaveMode::Flattened);
        EXPECT_THAT(result.warnings, ElementsAre(HasSubstr("vfat")));
    }

    TEST_F(FileEditTest, CancelledBeforeTheSaveTheFileIsAsItWas)
    {
        for (const bool verify : {false, true})
            for (const bool force : {false, true}) {
                m_options.verify = verify;
                m_options.forceResave = force;
                const auto result = run([](double) { return false; });
                EXPECT_EQ(result.status, EditStatus::Failed);
                EXPECT_TRUE(result.cancelled);
                EXPECT_EQ(result.mode, SaveMode::None);
                EXPECT_EQ(test::readFile(m_path), m_builder.build());
            }
    }

    TEST_F(FileEditTest, AChangeThatNoReportKnowsIsStillAChange)
    {
        m_options.plan.edits = {makeEdit("test", "Test", "Test", [](QTMovie& movie) {
            const EditableScope scope {movie};
            return movie.setUserDataItem("\xA9nam"_cc, Bytes::copyOf("name"));
        })};
        const auto result = run();
        EXPECT_EQ(result.status, EditStatus::Updated);
        ASSERT_EQ(result.changes.size(), 1U);
        EXPECT_EQ(result.changes[0].path, "header/size");
        EXPECT_LT(result.changes[0].before, result.changes[0].after);
    }

} // namespace
} // namespace reelwright::cli
