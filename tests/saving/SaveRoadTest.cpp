#include "saving/SaveRoad.h"

#include "edits/SettingsEdits.h"
#include "movie/QTTrack.h"
#include "tests/helpers/ForwardingStorage.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace reelwright {
namespace {

    using ::testing::ElementsAre;
    using ::testing::HasSubstr;
    namespace fs = std::filesystem;

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

    class SaveRoad : public ::testing::Test
    {
    protected:
        SaveRoad()
        {
            m_builder.headerPlace = test::MovieBuilder::HeaderPlace::Last;
            test::writeFile(m_path, m_builder.build());
        }

        SaveOutcome save(const Progress& progress = {})
        {
            SaveRequest request;
            request.movie = QTMovie::open(m_path, m_storage).value();
            EXPECT_TRUE(edits::setAutoPlay(true).apply(request.movie));
            request.output = m_output;
            request.rules = m_rules;
            request.makesFolder = true;
            request.transform = m_transform;
            return saving::save(std::move(request), progress);
        }

        test::TempFolder m_folder;
        const std::string m_path = m_folder.file("clip.mov");
        test::MovieBuilder m_builder;
        SaveRules m_rules;
        std::string m_output;
        std::function<Result<QTMovie>(const QTMovie&, SaveMode)> m_transform;
        std::shared_ptr<OddStorage> m_storage = std::make_shared<OddStorage>();
    };

    TEST_F(SaveRoad, VerifyingFailsTheFileWhenTheMediaReadBackAreOthers)
    {
        const auto movie = QTMovie::open(m_path).value();
        m_storage->damagedOffset = movie.tracks()[1].media().sampleTable().chunkOffset(2);
        m_storage->damagesMedia = true;
        m_rules.verify = true;
        const auto outcome = save();
        ASSERT_TRUE(outcome.error);
        EXPECT_THAT(outcome.error->detail, HasSubstr("media read back"));
        ASSERT_TRUE(outcome.media.has_value());
        EXPECT_EQ(outcome.media->at(0).before, outcome.media->at(0).after);
        EXPECT_NE(outcome.media->at(1).before, outcome.media->at(1).after);
    }

    TEST_F(SaveRoad, VerifyingReadsTheMediaThatWereSaved)
    {
        m_storage->damagedOffset = 4; // of the file's first atom: no media
        m_storage->damagesMedia = true;
        m_rules.verify = true;
        EXPECT_FALSE(save().error);
    }

    TEST_F(SaveRoad, AVolumeWithoutAJournalHasTheFileWrittenAnew)
    {
        m_storage->volume = "vfat";
        const auto outcome = save();
        EXPECT_FALSE(outcome.error);
        EXPECT_EQ(outcome.mode, SaveMode::Flattened);
        EXPECT_THAT(outcome.warnings, ElementsAre(HasSubstr("vfat")));
    }

    TEST_F(SaveRoad, CancelledBeforeTheSaveTheFileIsAsItWas)
    {
        for (const bool verify : {false, true})
            for (const bool force : {false, true}) {
                m_rules.verify = verify;
                m_rules.forceResave = force;
                const auto outcome = save([](double) { return false; });
                ASSERT_TRUE(outcome.error);
                EXPECT_EQ(outcome.error->code, MovieError::Code::Cancelled);
                EXPECT_EQ(outcome.mode, SaveMode::None);
                EXPECT_EQ(test::readFile(m_path), m_builder.build());
            }
    }

    TEST_F(SaveRoad, ADryRunRefusesWhereTheRunWould)
    {
        std::shared_ptr<StorageFile> theirs;
        struct Row
        {
            const char* what;
            std::function<void()> prepare;
            bool isRefused = true;
        };
        const auto cutMedia = [&] {
            m_builder.headerPlace = test::MovieBuilder::HeaderPlace::First;
            auto bytes = m_builder.build();
            bytes.resize(bytes.size() - 100);
            test::writeFile(m_path, bytes);
        };
        const Row rows[] = {
            {"nothing in the way", [] {}, false},
            {"a copy", [&] { m_output = m_folder.file("copy.mov"); }, false},
            {"a copy in a folder to be made", [&] { m_output = m_folder.file("new/deep/clip.mov"); }, false},
            {"a copy over a file", [&] { test::writeFile(m_output = m_folder.file("there.mov"), {}); }},
            {"a copy below a file", [&] { m_output = m_path + "/copy.mov"; }},
            {"lock held",
                [&] {
                    theirs = *Storage::posix()->open(m_path, Storage::Access::Read);
                    EXPECT_TRUE(theirs->lock());
                }},
            {"lock held by somebody, file to be written anew", [&] { m_rules.forceResave = true; }},
            {"media missing",
                [&] {
                    theirs.reset();
                    cutMedia();
                }},
            {"media missing, to be copied", [&] { m_output = m_folder.file("copy2.mov"); }},
        };
        for (const auto& row : rows) {
            SCOPED_TRACE(row.what);
            m_output.clear();
            row.prepare();
            const auto before = test::readFile(m_path);
            m_rules.dryRun = true;
            const auto dry = save();
            EXPECT_EQ(test::readFile(m_path), before);
            EXPECT_FALSE(fs::exists(m_folder.file("new")));
            m_rules.dryRun = false;
            const auto wet = save();
            EXPECT_EQ(dry.error.has_value(), row.isRefused);
            EXPECT_EQ(wet.error.has_value(), row.isRefused) << (wet.error ? wet.error->message() : "");
            EXPECT_EQ(dry.mode, wet.mode);
            EXPECT_EQ(dry.bytesWritten, wet.bytesWritten);
            EXPECT_EQ(dry.warnings, wet.warnings);
            fs::remove_all(m_folder.file("new"));
            if (!row.isRefused)
                test::writeFile(m_path, m_builder.build());
        }
    }

    TEST_F(SaveRoad, AChangeThatDependsOnTheWayOfSavingIsMadeBeforeTheSave)
    {
        for (const bool dryRun : {true, false})
            for (const bool force : {true, false}) {
                m_rules = {.forceResave = force, .dryRun = dryRun};
                m_transform = [&](const QTMovie& movie, SaveMode mode) -> Result<QTMovie> {
                    EXPECT_EQ(mode, force ? SaveMode::Flattened : SaveMode::InPlace);
                    auto other = movie;
                    RW_CHECK(edits::setAutoQuit(true).apply(other));
                    return other;
                };
                const auto outcome = save();
                EXPECT_FALSE(outcome.error);
                EXPECT_TRUE(outcome.movie.userDataItem("aqui"_cc));
                EXPECT_EQ(QTMovie::open(m_path)->userDataItem("aqui"_cc).has_value(), !dryRun);
                m_transform = [](const QTMovie&, SaveMode) -> Result<QTMovie> {
                    return failure(MovieError::Code::Refused, {}, "not this one");
                };
                const auto before = test::readFile(m_path);
                EXPECT_TRUE(save().error);
                EXPECT_EQ(test::readFile(m_path), before);
                test::writeFile(m_path, m_builder.build());
            }
    }

} // namespace
} // namespace reelwright
