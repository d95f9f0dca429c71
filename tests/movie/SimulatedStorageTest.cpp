#include "tests/helpers/SimulatedStorage.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <set>

namespace reelwright::test {
namespace {

    using testing::Contains;
    using testing::ElementsAre;
    using testing::IsSupersetOf;
    using testing::SizeIs;
    using testing::UnorderedElementsAre;

    constexpr auto kPath = "/m/a";

    Bytes repeated(char letter, std::size_t count)
    {
        return Bytes::copyOf(std::string(count, letter));
    }

    std::shared_ptr<StorageFile> opened(Storage& storage, const std::string& path = kPath)
    {
        auto file = storage.open(path, Storage::Access::ReadWrite);
        EXPECT_TRUE(file) << path;
        return file ? *file : nullptr;
    }

    std::optional<FileState> stateOf(Storage& storage, const std::string& path)
    {
        const auto file = storage.open(path, Storage::Access::Read);
        const auto state = file ? (*file)->state() : Result<FileState> {tl::unexpected(file.error())};
        return state ? std::optional(*state) : std::nullopt;
    }

    /// The content of the file, runs of one letter as letter and count: "A512 B40"; zero bytes as "0"; "-"
    /// for no file.
    std::string shape(const DiskState& state, const std::string& path = kPath)
    {
        const auto* content = state.find(path);
        if (!content)
            return "-";
        std::string text;
        for (std::size_t i = 0; i < content->size();) {
            auto end = i;
            while (end < content->size() && (*content)[end] == (*content)[i])
                ++end;
            const auto letter = static_cast<char>((*content)[i]);
            text += (text.empty() ? "" : " ") + std::string(1, letter == '\0' ? '0' : letter)
                + std::to_string(end - i);
            i = end;
        }
        return text;
    }

    std::vector<std::string> shapesAfterCrash(
        const SimulatedStorage& storage, const std::string& path = kPath)
    {
        std::mt19937 random {1};
        std::set<std::string> shapes;
        for (const auto& state : storage.crashStates(random, 200))
            shapes.insert(shape(state, path));
        return {shapes.begin(), shapes.end()};
    }

    struct LossFact
    {
        const char* why;
        std::function<void(StorageFile&)> changes;
        std::vector<std::string> shapes; ///< all that a crash can leave
    };

    TEST(SimulatedStorage, CrashLeavesAnyMixtureOfSectorsThatWereNotFlushed)
    {
        const auto write = [](StorageFile& file, std::uint64_t offset, char letter, std::size_t count) {
            EXPECT_TRUE(file.writeAt(offset, repeated(letter, count).span()));
        };
        const LossFact facts[] = {
            {"nothing pending", [](StorageFile&) {}, {"A1024"}},
            {"a flush makes all before it lasting",
                [&](StorageFile& f) {
                    write(f, 0, 'B', 1024);
                    EXPECT_TRUE(f.flush());
                },
                {"B1024"}},
            {"within one sector a write is whole or lost", [&](StorageFile& f) { write(f, 508, 'B', 4); },
                {"A1024", "A508 B4 A512"}},
            {"across two sectors a write tears", [&](StorageFile& f) { write(f, 510, 'B', 4); },
                {"A1024", "A510 B2 A512", "A512 B2 A510", "A510 B4 A510"}},
            {"the later of two writes can arrive alone",
                [&](StorageFile& f) {
                    write(f, 0, 'B', 512);
                    write(f, 512, 'C', 512);
                },
                {"A1024", "B512 A512", "A512 C512", "B512 C512"}},
            {"a sector arrives with all that was in it",
                [&](StorageFile& f) {
                    write(f, 0, 'B', 512);
                    write(f, 0, 'C', 4);
                },
                {"A1024", "B512 A512", "C4 B508 A512"}},
            {"growth: size and sectors arrive apart, and what did not reads as zeros",
                [&](StorageFile& f) { write(f, 1024, 'B', 600); },
                {"A1024", "A1024 0512", "A1024 B512", "A1024 0600", "A1024 B600", "A1024 B512 088",
                    "A1024 0512 B88"}},
            {"a truncation is lost or not", [](StorageFile& f) { EXPECT_TRUE(f.truncate(100)); },
                {"A1024", "A100"}},
            {"growth after a truncation shows nothing of before it",
                [&](StorageFile& f) {
                    EXPECT_TRUE(f.truncate(512));
                    write(f, 1000, 'B', 24);
                },
                {"A1024", "A512", "A512 0512", "A512 0488 B24"}},
        };
        for (const auto& fact : facts) {
            SimulatedStorage storage;
            storage.put(kPath, repeated('A', 1024).span());
            fact.changes(*opened(storage));
            EXPECT_THAT(shapesAfterCrash(storage), testing::UnorderedElementsAreArray(fact.shapes))
                << fact.why;
        }
    }

    TEST(SimulatedStorage, FolderChangesArriveInOrderAndWaitForNoData)
    {
        SimulatedStorage storage;
        storage.put(kPath, repeated('A', 512).span(), "rw-r-----");
        std::string hidden;
        const auto file = *storage.createSibling(kPath, hidden);
        EXPECT_TRUE(file->writeAt(0, repeated('B', 512).span()));
        EXPECT_TRUE(storage.copyPermissions(kPath, hidden, Storage::Likeness::Replacement));
        EXPECT_TRUE(storage.rename(hidden, kPath, stateOf(storage, kPath), {}));
        EXPECT_THAT(shapesAfterCrash(storage), UnorderedElementsAre("A512", "", "0512", "B512"))
            << "the name is there, its data or even its size need not be";
        EXPECT_THAT(shapesAfterCrash(storage, hidden), UnorderedElementsAre("-", "", "0512", "B512"));
        std::mt19937 random {1};
        for (const auto& state : storage.crashStates(random, 0))
            EXPECT_EQ(state.files.at(kPath)->attributes, "rw-r-----") << state.story;

        EXPECT_TRUE(file->flush());
        EXPECT_THAT(shapesAfterCrash(storage), UnorderedElementsAre("A512", "B512"));
        EXPECT_TRUE(storage.flushFolder("/other/x"));
        EXPECT_THAT(shapesAfterCrash(storage), SizeIs(2)) << "another folder's flush";
        EXPECT_TRUE(storage.flushFolder(kPath));
        EXPECT_THAT(shapesAfterCrash(storage), ElementsAre("B512"));
    }

    TEST(SimulatedStorage, FlushAfterAFailedOnePromisesNothingAboutWhatWasLost)
    {
        SimulatedStorage storage;
        storage.put(kPath, repeated('A', 1024).span());
        storage.failStep(2, EIO);
        const auto file = opened(storage);
        EXPECT_TRUE(file->writeAt(0, repeated('B', 512).span()));
        EXPECT_FALSE(file->flush());
        EXPECT_TRUE(file->writeAt(512, repeated('C', 512).span()));
        EXPECT_TRUE(file->flush());
        EXPECT_THAT(shapesAfterCrash(storage), UnorderedElementsAre("A512 C512", "B512 C512"));
        EXPECT_TRUE(file->writeAt(0, repeated('D', 512).span()));
        EXPECT_TRUE(file->flush());
        EXPECT_THAT(shapesAfterCrash(storage), ElementsAre("D512 C512")) << "written again, it is sure";
    }

    /// Saves by which a file of As is to become one of Bs.
    using Save = std::function<Result<void>(SimulatedStorage&)>;

    Result<void> overwrite(SimulatedStorage& storage)
    {
        RW_TRY(const auto file, storage.open(kPath, Storage::Access::ReadWrite));
        RW_CHECK(file->writeAt(0, repeated('B', 1500).span()));
        return file->flush();
    }

    Result<void> replace(SimulatedStorage& storage, bool flush)
    {
        std::string hidden;
        RW_TRY(const auto file, storage.createSibling(kPath, hidden));
        RW_CHECK(file->writeAt(0, repeated('B', 1500).span()));
        if (flush)
            RW_CHECK(file->flush());
        RW_CHECK(storage.rename(hidden, kPath, stateOf(storage, kPath), {}));
        return storage.flushFolder(kPath);
    }

    /// Everything that a crash at any step of the save can leave.
    std::set<std::string> leftByCrashes(const Save& save)
    {
        std::set<std::string> all;
        for (std::size_t stop = 0;; ++stop) {
            SimulatedStorage storage;
            storage.put(kPath, repeated('A', 1500).span());
            storage.stopAfter(stop);
            const bool done = save(storage).has_value();
            for (auto& one : shapesAfterCrash(storage))
                all.insert(one);
            if (done)
                return all;
        }
    }

    TEST(SimulatedStorage, TellsASafeSaveFromUnsafeOnes)
    {
        EXPECT_THAT(leftByCrashes(overwrite), Contains("B512 A988")) << "half a header is found";
        EXPECT_THAT(
            leftByCrashes([](auto& storage) { return replace(storage, false); }), IsSupersetOf({"", "01500"}))
            << "renamed before its data were there";
        EXPECT_THAT(leftByCrashes([](auto& storage) { return replace(storage, true); }),
            UnorderedElementsAre("A1500", "B1500"));
    }

} // namespace
} // namespace reelwright::test
