#include "movie/saving/MovieSaver.h"
#include "tests/helpers/ForwardingStorage.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/TestFiles.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace reelwright::test {
namespace {

    namespace fs = std::filesystem;
    using Code = MovieError::Code;

    /// The moments of a save at which another program can come in between.
    enum class Moment { Never, Opened, Locked, Begun, Renaming };

    /// The real file system, on which another program does something, once.
    class SharedStorage : public ForwardingStorage
    {
    public:
        Moment moment = Moment::Never;
        std::function<void()> otherProgram;

        void at(Moment now)
        {
            if (now == moment && otherProgram)
                std::exchange(otherProgram, nullptr)();
        }
        Result<std::shared_ptr<StorageFile>> open(const std::string& path, Access access) override
        {
            RW_TRY(auto file, ForwardingStorage::open(path, access));
            if (access == Access::ReadWrite)
                at(Moment::Opened);
            return std::shared_ptr<StorageFile>(std::make_shared<File>(*this, std::move(file)));
        }
        Result<std::shared_ptr<StorageFile>> createSibling(
            const std::string& path, std::string& sibling) override
        {
            auto file = ForwardingStorage::createSibling(path, sibling);
            at(Moment::Begun);
            return file;
        }
        Result<void> rename(const std::string& from, const std::string& to,
            const std::optional<FileState>& replaced, const Disposal& dispose) override
        {
            at(Moment::Renaming);
            return ForwardingStorage::rename(from, to, replaced, dispose);
        }

    private:
        class File : public ForwardingFile
        {
        public:
            File(SharedStorage& storage, std::shared_ptr<StorageFile> real)
                : ForwardingFile(std::move(real))
                , m_storage(storage)
            {
            }
            Result<void> lock() override
            {
                RW_CHECK(ForwardingFile::lock());
                m_storage.at(Moment::Locked);
                return {};
            }
            Result<void> writeAt(std::uint64_t offset, ByteSpan bytes) override
            {
                RW_CHECK(ForwardingFile::writeAt(offset, bytes));
                m_storage.at(Moment::Begun);
                return {};
            }

        private:
            SharedStorage& m_storage;
        };
    };

    class OtherPrograms : public ::testing::Test
    {
    protected:
        /// The built movie with a name in it.
        QTMovie openEdited()
        {
            auto movie = QTMovie::open(m_path, m_storage).value();
            const EditableScope scope {movie};
            EXPECT_TRUE(movie.setUserDataItem("\xA9nam"_cc, Bytes::copyOf("a name that is new")));
            return movie;
        }
        Result<SaveReport> save(QTMovie& movie, bool inPlace, const SaveOptions& options = {})
        {
            return inPlace ? MovieSaver::updateMovieFile(movie, options)
                           : MovieSaver::writeToFile(movie, m_path, options);
        }
        [[nodiscard]] std::size_t files() const
        {
            return static_cast<std::size_t>(
                std::distance(fs::directory_iterator(m_folder.path()), fs::directory_iterator {}));
        }

        TempFolder m_folder;
        const std::string m_path = m_folder.file("clip.mov");
        MovieBuilder m_builder {.headerPlace = MovieBuilder::HeaderPlace::Last};
        std::shared_ptr<SharedStorage> m_storage = std::make_shared<SharedStorage>();
    };

    TEST_F(OtherPrograms, AFileThatComesInBetweenIsLeftAlone)
    {
        const std::vector<std::byte> theirs(100, std::byte {7});
        for (const bool inPlace : {true, false})
            for (const auto moment : {Moment::Opened, Moment::Locked, Moment::Begun, Moment::Renaming}) {
                if (inPlace ? moment == Moment::Renaming : moment == Moment::Opened)
                    continue; // no such moment
                SCOPED_TRACE(testing::Message() << (inPlace ? "in place, " : "anew, ") << int(moment));
                writeFile(m_path, m_builder.build());
                auto movie = openEdited();
                m_storage->moment = moment;
                m_storage->otherProgram = [&] {
                    writeFile(m_folder.file("theirs"), theirs);
                    fs::rename(m_folder.file("theirs"), m_path);
                };
                const auto saved = save(movie, inPlace);
                ASSERT_FALSE(saved);
                EXPECT_EQ(saved.error().code, Code::Changed) << saved.error().message();
                EXPECT_EQ(readFile(m_path), theirs);
                EXPECT_EQ(files(), 1U);
            }
    }

    TEST_F(OtherPrograms, ANameThatIsTakenMeanwhileIsNotReplaced)
    {
        writeFile(m_path, m_builder.build());
        const auto movie = openEdited();
        const auto copy = m_folder.file("copy.mov");
        m_storage->moment = Moment::Begun;
        m_storage->otherProgram = [&] { writeFile(copy, {}); };
        for (const bool overwrite : {true, false}) { // the first meets it at the end, the other at the start
            const auto saved = MovieSaver::writeToFile(movie, copy, {.overwrite = overwrite});
            ASSERT_FALSE(saved);
            EXPECT_EQ(saved.error().code, Code::Refused);
            EXPECT_TRUE(readFile(copy).empty());
            EXPECT_EQ(files(), 2U);
        }
        EXPECT_TRUE(MovieSaver::writeToFile(movie, copy, {}));
    }

    TEST_F(OtherPrograms, BytesThatAreAppendedDuringASaveStay)
    {
        const std::string tail = "appended by somebody";
        const auto append = [&] { std::ofstream(m_path, std::ios::app) << tail; };
        for (const auto place : {MovieBuilder::HeaderPlace::Last, MovieBuilder::HeaderPlace::First})
            for (const bool inPlace : {true, false}) {
                SCOPED_TRACE(inPlace ? "in place" : "anew");
                m_builder.headerPlace = place;
                writeFile(m_path, m_builder.build());
                auto movie = openEdited();
                m_storage->moment = Moment::Begun;
                m_storage->otherProgram = append;
                static_cast<void>(save(movie, inPlace)); // done or refused, as it came
                const auto bytes = readFile(m_path);
                const std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
                EXPECT_NE(text.find(tail), std::string::npos);
                EXPECT_TRUE(QTMovie::open(m_path));
                EXPECT_EQ(files(), 1U);
            }
    }

    TEST_F(OtherPrograms, OfTwoRewritesAtOnceTheSecondIsRefused)
    {
        writeFile(m_path, m_builder.build());
        const auto first = openEdited();
        const auto second = openEdited();
        EXPECT_TRUE(MovieSaver::writeToFile(first, m_path, {}));
        const auto after = readFile(m_path);
        auto other = second;
        const EditableScope scope {other};
        EXPECT_TRUE(other.setUserDataItem("\xA9nam"_cc, Bytes::copyOf("another name")));
        const auto saved = MovieSaver::writeToFile(other, m_path, {});
        ASSERT_FALSE(saved);
        EXPECT_EQ(saved.error().code, Code::Changed);
        EXPECT_EQ(readFile(m_path), after);
        EXPECT_TRUE(MovieSaver::writeToFile(other, m_folder.file("copy.mov"), {})) << "nothing is lost";
    }

    TEST_F(OtherPrograms, ANewDateAloneIsNoChange)
    {
        for (const bool inPlace : {true, false}) {
            writeFile(m_path, m_builder.build());
            auto movie = openEdited();
            fs::last_write_time(m_path, fs::last_write_time(m_path) - std::chrono::hours(1));
            EXPECT_TRUE(MovieSaver::canUpdateMovieFile(movie, VolumeRule::Any));
            const auto saved = save(movie, inPlace);
            EXPECT_TRUE(saved) << saved.error().message();
        }
    }

    TEST_F(OtherPrograms, ARehearsalRefusesWhatTheSaveWouldAndWritesNothing)
    {
        writeFile(m_path, m_builder.build());
        const auto before = readFile(m_path);
        const auto date = fs::last_write_time(m_path);
        for (const bool inPlace : {true, false}) {
            auto movie = openEdited();
            const auto rehearsed = save(movie, inPlace, {.rehearse = true});
            ASSERT_TRUE(rehearsed);
            EXPECT_EQ(readFile(m_path), before);
            EXPECT_EQ(fs::last_write_time(m_path), date);
            EXPECT_EQ(files(), 1U);

            const int theirs = ::open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
            ASSERT_EQ(::flock(theirs, LOCK_SH), 0);
            EXPECT_FALSE(save(movie, inPlace, {.rehearse = true}));
            ::close(theirs);
            const auto saved = save(movie, inPlace);
            ASSERT_TRUE(saved);
            EXPECT_EQ(saved->bytesWritten, rehearsed->bytesWritten);
            writeFile(m_path, before);
            fs::last_write_time(m_path, date);
        }
    }

    // Whose file it is

    TEST_F(OtherPrograms, NobodyElseMayReadAFileUnderItsHiddenName)
    {
        writeFile(m_path, m_builder.build());
        fs::permissions(m_path, fs::perms(0640));
        auto movie = openEdited();
        m_storage->moment = Moment::Begun;
        mode_t hidden = 0;
        m_storage->otherProgram = [&] {
            for (const auto& entry : fs::directory_iterator(m_folder.path()))
                if (entry.path() != m_path)
                    hidden = static_cast<mode_t>(entry.status().permissions());
        };
        EXPECT_TRUE(save(movie, false));
        EXPECT_EQ(hidden, mode_t {0600});
        EXPECT_EQ(fs::status(m_path).permissions(), fs::perms(0640));
    }

    TEST_F(OtherPrograms, AProtectedFileWithAttributesIsCopiedAsItIs)
    {
        writeFile(m_path, m_builder.build());
        if (::setxattr(m_path.c_str(), "user.reel", "A001", 4, 0) != 0)
            GTEST_SKIP() << "the temporary folder's volume takes no extended attributes";
        fs::permissions(m_path, fs::perms(0444));
        const auto movie = openEdited();
        const auto copy = m_folder.file("copy.mov");
        const auto saved = MovieSaver::writeToFile(movie, copy, {});
        ASSERT_TRUE(saved) << saved.error().message();
        char value[4];
        EXPECT_EQ(::getxattr(copy.c_str(), "user.reel", value, 4), 4);
        EXPECT_EQ(fs::status(copy).permissions(), fs::perms(0444));
    }

    TEST_F(OtherPrograms, AFileThatWouldLoseItsOwnerOrIsProtectedIsNotReplaced)
    {
        if (::geteuid() != 0)
            GTEST_SKIP() << "only the superuser can give files away to see it";
        fs::permissions(m_folder.path(), fs::perms(0777));
        struct Row
        {
            uid_t owner;
            gid_t group;
            unsigned mode;
            bool isReplaced;
        };
        constexpr uid_t kUser = 65534;
        for (const Row& row : {Row {kUser, kUser, 0644, true}, Row {kUser, kUser, 0444, false},
                 Row {0, kUser, 0664, false}, Row {kUser, 12345, 0666, false}}) {
            SCOPED_TRACE(testing::Message() << row.owner << ' ' << row.group << ' ' << row.mode);
            writeFile(m_path, m_builder.build());
            ASSERT_EQ(::chown(m_path.c_str(), row.owner, row.group), 0);
            fs::permissions(m_path, fs::perms(row.mode));
            const auto before = readFile(m_path);
            auto movie = openEdited();
            ASSERT_EQ(::setegid(kUser), 0);
            ASSERT_EQ(::seteuid(kUser), 0);
            const bool isRehearsed = save(movie, false, {.rehearse = true}).has_value();
            const bool isReplaced = save(movie, false).has_value();
            ASSERT_EQ(::seteuid(0), 0);
            ASSERT_EQ(::setegid(0), 0);
            EXPECT_EQ(isReplaced, row.isReplaced);
            EXPECT_EQ(isRehearsed, row.isReplaced);
            EXPECT_EQ(readFile(m_path) == before, !row.isReplaced);
            struct stat info = {};
            ASSERT_EQ(::stat(m_path.c_str(), &info), 0);
            EXPECT_EQ(info.st_uid, row.owner);
            EXPECT_EQ(info.st_gid, row.group);
            EXPECT_EQ(files(), 1U);
        }
    }

} // namespace
} // namespace reelwright::test
