#include "document/MyDocument.h"
#include "movie/saving/FlattenPlan.h"
#include "tests/document/DocumentTest.h"
#include "tests/helpers/SimulatedStorage.h"
#include "tracks/KWQuickTimeEditing.h"

#include <sys/xattr.h>

#include <cerrno>

namespace reelwright::test {
namespace {

    using testing::Contains;
    using testing::ElementsAre;
    using testing::ElementsAreArray;
    using testing::IsEmpty;
    using testing::IsSupersetOf;
    using testing::Not;

    class SavingTest : public DocumentTest
    {
    protected:
        /// Rotates the picture, so that there is something to save.
        static void edit(MyDocument& document) { document.movieSettingsRotateRight(); }

        /// The built movie, opened and edited.
        std::unique_ptr<Open> openEdited()
        {
            auto opened = open(path);
            edit(opened->document);
            return opened;
        }
        void save(Open& opened)
        {
            EXPECT_TRUE(opened.document.saveDocument());
            finish(opened.document);
        }
        void saveAs(Open& opened, const std::string& name)
        {
            opened.window.savePath = name;
            EXPECT_TRUE(opened.document.saveDocumentAs());
            finish(opened.document);
        }
        /// What the file holds now.
        static QTMovie read(const std::string& path)
        {
            auto movie = QTMovie::open(path);
            EXPECT_TRUE(movie) << path << ": " << (movie ? "" : movie.error().message());
            return movie ? *movie : QTMovie {};
        }
        static Matrix matrix(const QTMovie& movie)
        {
            const auto tracks = movie.tracks();
            return tracks.empty() ? Matrix {} : tracks[0].matrix();
        }
        /// Is the picture in the file turned by that many quarters, with all samples there?
        static testing::AssertionResult isTurned(const std::string& path, int quarters)
        {
            const auto movie = read(path);
            if (!(matrix(movie) == Matrix {}.rotated(90.0 * quarters)))
                return testing::AssertionFailure() << path << " has another matrix";
            return holdsSamplesOf(movie, MovieBuilder {});
        }
        /// Does it on the main thread, in the middle of the next writing of that kind.
        void duringSave(TestStorage::Call call, std::function<void()> work)
        {
            storage->before = [this, call, work = std::move(work)](auto now, const std::string&) {
                if (now == call) {
                    const auto self = std::exchange(storage->before, nullptr); // once, and kept alive
                    mainThread.run(work);
                }
                return 0;
            };
        }
        /// The messages of the save itself.
        [[nodiscard]] std::vector<std::string> savingMessages() const
        {
            auto all = messages();
            const auto first = std::find_if(all.begin(), all.end(),
                [](const std::string& line) { return line.starts_with("Saving on main thread: "); });
            all.erase(all.begin(), first);
            return all;
        }

        const std::string path = build({}); ///< "built.mov"
    };

    TEST_F(SavingTest, APlainSaveUpdatesTheFileInPlace)
    {
        const auto opened = open(path);
        auto& [window, document] = *opened;
        const auto inode = document.movie().file()->state.inode;
        window.time = {120, 600};
        edit(document);
        window.calls.clear();
        save(*opened);

        EXPECT_THAT(savingMessages(),
            ElementsAre("Saving on main thread: 0", "Saving to " + path + "...", "Saving movie..."));
        EXPECT_THAT(window.alerts, IsEmpty());
        EXPECT_THAT(window.calls,
            ElementsAre("label Saving...", "showProgress", "setCurrentTime", "undoChanged", "editedChanged",
                "setCurrentTime", "endProgress"));
        EXPECT_EQ(window.time, (QTTime {120, 600}));
        EXPECT_FALSE(document.isEdited());
        EXPECT_FALSE(document.isSaving());
        EXPECT_EQ(document.movie().file()->state.inode, inode);
        EXPECT_TRUE(isTurned(path, 1));
        EXPECT_THAT(filesInFolder(), ElementsAre("built.mov"));
    }

    TEST_F(SavingTest, ASaveKeepsWhatCanBeUndoneInPlaceAndWhereTheFileIsReplaced)
    {
        for (const auto* volume : {"ext4", "vfat"}) {
            SCOPED_TRACE(volume);
            storage->volume = volume;
            const auto file = build({}, std::string(volume) + ".mov");
            const auto opened = open(file);
            auto& document = opened->document;
            edit(document);
            edit(document);
            save(*opened);
            edit(document);
            document.undo();
            EXPECT_FALSE(document.isEdited()) << "back at what was saved";
            document.undo();
            EXPECT_TRUE(document.isEdited());
            save(*opened);
            EXPECT_TRUE(isTurned(file, 1));
            document.redo();
            document.redo();
            save(*opened);
            EXPECT_TRUE(isTurned(file, 3));
            EXPECT_FALSE(document.isEdited());
            if (volume == std::string_view("ext4")) {
                EXPECT_THAT(savingMessages(), Not(Contains("Unable to update movie file"))) << "all in place";
            }
        }
    }

    struct VolumeFact
    {
        const char* volume;
        bool resave;
        std::int64_t autoFlatten;
        std::size_t answer; ///< 0 "Flatten", 1 "Don't Flatten"
        bool isAsked;
        bool isInPlace;
        bool isWritten;
        const char* why;
    };
    constexpr VolumeFact kVolumes[] = {
        {"ext4", true, 0, 1, false, true, true, "a journalled volume is updated in place"},
        {"vfat", true, 1, 1, false, false, true, "flattened without asking"},
        {"vfat", true, 0, 0, true, false, true, "flattened as the user wants"},
        {"vfat", true, 0, 1, true, false, false, "not flattened, so not written"},
        {"vfat", false, 0, 1, false, true, true, "the preference allows updates on every volume"},
    };

    TEST_F(SavingTest, TheVolumeDecidesBetweenInPlaceAndFlattened)
    {
        for (const auto& fact : kVolumes) {
            const auto file = build({}, std::string(fact.volume) + fact.why + ".mov");
            storage->volume = fact.volume;
            preferences.registerDefault("nonHFSResave", fact.resave);
            preferences.registerDefault("autoFlatten", fact.autoFlatten);
            const auto opened = open(file);
            const auto inode = opened->document.movie().file()->state.inode;
            opened->window.answers = {fact.answer};
            edit(opened->document);
            save(*opened);
            EXPECT_EQ(opened->window.alerts.size(), fact.isAsked ? 1U : 0U) << fact.why;
            EXPECT_EQ(
                opened->document.movie().file()->state.inode == inode, fact.isInPlace || !fact.isWritten)
                << fact.why;
            EXPECT_EQ(opened->document.isEdited(), !fact.isWritten) << fact.why;
            EXPECT_TRUE(isTurned(file, fact.isWritten ? 1 : 0)) << fact.why;
        }
    }

    TEST_F(SavingTest, TheFlattenQuestionHasItsWords)
    {
        storage->volume = "vfat";
        preferences.registerDefault("autoFlatten", std::int64_t {0});
        const auto opened = openEdited();
        opened->document.setNeedsFlattening();
        save(*opened);
        ASSERT_EQ(opened->window.alerts.size(), 1U);
        const auto& alert = opened->window.alerts[0];
        EXPECT_EQ(alert.title, "This movie needs flattening. Do you wish to flatten it?");
        EXPECT_EQ(alert.text,
            "If the movie is a reference movie, this will put the referenced data inside the file and "
            "increase "
            "the file size.\n\nIn most cases, you should choose to flatten.");
        EXPECT_THAT(alert.buttons, ElementsAre("Flatten", "Don't Flatten"));
        EXPECT_THAT(savingMessages(),
            ElementsAre("Saving on main thread: 0", "Non-HFS volume detected - forcing a Save As.",
                "Saving to " + path + "...", "Movie needs flattening", "User chose to flatten"));
        EXPECT_FALSE(opened->document.needsFlattening());
    }

    TEST_F(SavingTest, SaveAsNeverAsksAndGoesOnWithTheNewFile)
    {
        preferences.registerDefault("autoFlatten", std::int64_t {0});
        const auto before = readFile(path);
        const auto opened = openEdited();
        auto& [window, document] = *opened;
        window.time = {120, 600};
        saveAs(*opened, folder.file("new.mov"));
        EXPECT_THAT(window.alerts, IsEmpty());
        EXPECT_EQ(document.path(), folder.file("new.mov"));
        EXPECT_THAT(window.calls, IsSupersetOf({"titleChanged", "movieReplaced"}));
        EXPECT_EQ(window.time, (QTTime {120, 600}));
        EXPECT_FALSE(document.isEdited());
        EXPECT_TRUE(isTurned(document.path(), 1));
        EXPECT_EQ(readFile(path), before);
        EXPECT_EQ(document.movie().fileName(), document.path());
        edit(document);
        save(*opened);
        EXPECT_TRUE(isTurned(document.path(), 2));
        EXPECT_EQ(savingMessages().back(), "Saving movie...") << "the new file is updated in place";
    }

    TEST_F(SavingTest, UndoReachesBackBeyondASaveAs)
    {
        const auto before = readFile(path);
        const auto opened = openEdited();
        auto& document = opened->document;
        saveAs(*opened, folder.file("new.mov"));
        document.undo();
        EXPECT_TRUE(document.isEdited());
        save(*opened);
        EXPECT_TRUE(isTurned(folder.file("new.mov"), 0));
        EXPECT_EQ(readFile(path), before) << "a save never goes into another file than the document's";
        document.redo();
        save(*opened);
        EXPECT_TRUE(isTurned(folder.file("new.mov"), 1));
    }

    TEST_F(SavingTest, SaveToWritesNothingUnlessTheMovieNeedsFlattening)
    {
        const auto opened = openEdited();
        auto& [window, document] = *opened;
        window.savePath = folder.file("copy.mov");
        EXPECT_TRUE(document.saveDocumentTo());
        finish(document);
        EXPECT_THAT(filesInFolder(), ElementsAre("built.mov"));
        EXPECT_TRUE(document.isEdited());

        preferences.registerDefault("autoFlatten", std::int64_t {0});
        document.setNeedsFlattening();
        window.answers = {1, 0};
        EXPECT_TRUE(document.saveDocumentTo());
        finish(document);
        EXPECT_EQ(window.alerts.size(), 1U);
        EXPECT_THAT(filesInFolder(), ElementsAre("built.mov")) << "declined";
        document.setNeedsFlattening();
        EXPECT_TRUE(document.saveDocumentTo());
        finish(document);
        EXPECT_TRUE(isTurned(folder.file("copy.mov"), 1));
        EXPECT_TRUE(isTurned(path, 0));
    }

    TEST_F(SavingTest, ACopyIsTheMovieAsItStandsAndTheDocumentStaysAtItsFile)
    {
        const auto before = readFile(path);
        const auto opened = openEdited();
        auto& [window, document] = *opened;
        window.savePath = folder.file("copy.mov");
        EXPECT_TRUE(document.saveCopy());
        finish(document);
        EXPECT_EQ(window.suggestedPath, folder.file("built copy.mov"));
        EXPECT_TRUE(isTurned(folder.file("copy.mov"), 1));
        EXPECT_EQ(readFile(path), before);
        EXPECT_EQ(document.path(), path);
        EXPECT_TRUE(document.isEdited());

        window.savePath = path;
        window.alerts.clear();
        EXPECT_TRUE(document.saveCopy());
        finish(document);
        ASSERT_EQ(window.alerts.size(), 1U) << "its own file is no place for a copy";
        EXPECT_EQ(readFile(path), before);
    }

    TEST_F(SavingTest, ANewDocumentIsSavedUnderAName)
    {
        Open opened {*this};
        opened.document.windowControllerDidLoadNib(opened.window);
        EXPECT_FALSE(opened.document.saveDocument()) << "no name was chosen";
        opened.window.savePath = folder.file("new");
        EXPECT_TRUE(opened.document.saveDocument());
        finish(opened.document);
        EXPECT_EQ(opened.document.path(), folder.file("new.mov"));
        EXPECT_TRUE(read(folder.file("new.mov")).tracks().empty());
    }

    struct NameFact
    {
        const char* typed;
        const char* saved;
    };
    constexpr NameFact kNames[] = {
        {"/m/clip", "/m/clip.mov"},
        {"/m/clip.qt", "/m/clip.qt"},
        {"/m.old/clip", "/m.old/clip.mov"},
        {"/m/.clip", "/m/.clip.mov"},
        {"clip", "clip.mov"},
    };

    TEST_F(SavingTest, ANameWithoutExtensionGetsOne)
    {
        for (const auto& fact : kNames)
            EXPECT_EQ(MyDocument::prepareSavePath(fact.typed), fact.saved);
    }

    TEST_F(SavingTest, AnAddedExtensionReplacesNoFileWithoutAsking)
    {
        const auto other = build({}, "other.mov");
        const auto before = readFile(other);
        const auto opened = open(path);
        opened->window.savePath = folder.file("other");
        opened->window.answers = {1};
        EXPECT_FALSE(opened->document.saveDocumentAs());
        EXPECT_EQ(readFile(other), before);
        EXPECT_EQ(opened->window.alerts.at(0).title, "Replace \"other.mov\"?");
        EXPECT_TRUE(opened->document.saveDocumentAs());
        finish(opened->document);
        EXPECT_EQ(opened->document.path(), other);
    }

    TEST_F(SavingTest, ASecondSaveIsRefusedWhileOneIsWritten)
    {
        const auto opened = openEdited();
        auto& [window, document] = *opened;
        duringSave(TestStorage::Call::OpenForWriting, [&, &document = document] {
            EXPECT_TRUE(document.isWriting());
            EXPECT_FALSE(document.saveDocument());
            EXPECT_FALSE(document.isSaving());
        });
        save(*opened);
        ASSERT_EQ(window.alerts.size(), 1U);
        EXPECT_EQ(window.alerts[0].title, "Unable to save");
        EXPECT_EQ(window.alerts[0].text, "A save operation is already in progress.");
        EXPECT_TRUE(isTurned(path, 1)) << "the first save goes on";
    }

    TEST_F(SavingTest, EditsDuringASaveStayUnsaved)
    {
        for (const auto* volume : {"ext4", "vfat"}) {
            storage->volume = volume;
            const auto file = build({}, std::string(volume) + ".mov");
            const auto opened = open(file);
            auto& document = opened->document;
            edit(document);
            const auto call = volume == std::string("ext4") ? TestStorage::Call::OpenForWriting
                                                            : TestStorage::Call::CreateSibling;
            duringSave(call, [&] { edit(document); });
            save(*opened);
            EXPECT_TRUE(isTurned(file, 1)) << volume;
            EXPECT_TRUE(document.isEdited()) << volume;
            EXPECT_EQ(matrix(document.movie()), Matrix {}.rotated(180)) << volume;
            document.undo();
            EXPECT_FALSE(document.isEdited()) << volume;
            document.redo();
            save(*opened);
            EXPECT_TRUE(isTurned(file, 2)) << volume;
            EXPECT_FALSE(document.isEdited()) << volume;
        }
    }

    TEST_F(SavingTest, EditingAndShowingGoOnWhileASaveIsWritten)
    {
        MovieBuilder builder;
        builder.tracks[0].samples = 2000;
        const auto file = build(builder);
        storage->volume = "vfat";
        const auto opened = open(file);
        auto& document = opened->document;
        for (int i = 0; i < 3; ++i) {
            edit(document);
            bool isWriting = false;
            duringSave(TestStorage::Call::CreateSibling, [&] { isWriting = true; });
            EXPECT_TRUE(document.saveDocument());
            mainThread.runUntil([&] { return isWriting; });
            // The save thread writes its copy while this one changes and reads its own.
            for (int step = 0; step < 20; ++step) {
                document.movieSettingsFlip();
                document.undo();
                const auto stream = MovieStream::open(document.movie());
                ASSERT_TRUE(stream);
                std::vector<std::byte> bytes(512);
                EXPECT_TRUE(stream->readAt(0, bytes));
            }
            finish(document);
            EXPECT_FALSE(document.isEdited());
            EXPECT_EQ(matrix(read(file)), Matrix {}.rotated(90.0 * (i + 1)));
            EXPECT_TRUE(holdsSamplesOf(read(file), builder));
        }
    }

    TEST_F(SavingTest, CancelLeavesTheFileAndTheEdit)
    {
        storage->volume = "vfat";
        const auto before = readFile(path);
        const auto opened = openEdited();
        auto& [window, document] = *opened;
        window.duringProgress = [&document = document](double) { document.cancelProgress(); };
        save(*opened);
        EXPECT_EQ(readFile(path), before);
        EXPECT_THAT(filesInFolder(), ElementsAre("built.mov"));
        EXPECT_TRUE(document.isEdited());
        EXPECT_THAT(window.alerts, IsEmpty()) << "who cancels knows";
        EXPECT_EQ(window.calls.back(), "endProgress");
        window.duringProgress = nullptr;
        save(*opened);
        EXPECT_TRUE(isTurned(path, 1)) << "the next save is not cancelled";
        EXPECT_EQ(window.fractions.back(), 1.0);
    }

    // The way round by a temporary file

    class TemporaryFileTest : public SavingTest
    {
    protected:
        TemporaryFileTest()
        {
            storage->volume = "vfat";
            // The target cannot be written directly, once.
            storage->before = [this](TestStorage::Call call, const std::string&) {
                if (call != TestStorage::Call::Rename)
                    return 0;
                storage->before = nullptr;
                return EXDEV;
            };
            opened = openEdited();
        }
        [[nodiscard]] std::string hidden() const { return folder.file(".built.mov"); }
        [[nodiscard]] std::string aside() const { return folder.file("built-1.mov"); }
        [[nodiscard]] std::vector<std::string> firstMessages() const
        {
            return {"Saving on main thread: 0", "Non-HFS volume detected - forcing a Save As.",
                "Saving to " + path + "...", "User chose to flatten",
                "Unable to save - creating temp file...",
                "Moving existing file at " + path + " to temp filename " + aside()};
        }
        void expectAlert(const std::string& title, const std::string& text)
        {
            ASSERT_EQ(opened->window.alerts.size(), 1U);
            EXPECT_EQ(opened->window.alerts[0].title, title);
            EXPECT_EQ(opened->window.alerts[0].text, text);
            EXPECT_GE(opened->window.count("endProgress"), 1U);
            EXPECT_FALSE(opened->document.isSaving());
            EXPECT_TRUE(opened->document.isEdited());
        }

        const std::vector<std::byte> before = readFile(path);
        std::unique_ptr<Open> opened;
    };

    TEST_F(TemporaryFileTest, TakesThePlaceOfTheOldOne)
    {
        save(*opened);
        auto expected = firstMessages();
        expected.push_back("Moving " + hidden() + " to " + path + "...");
        EXPECT_THAT(savingMessages(), ElementsAreArray(expected));
        EXPECT_TRUE(isTurned(path, 1));
        EXPECT_THAT(filesInFolder(), ElementsAre("built.mov"));
        EXPECT_FALSE(opened->document.isEdited());
        EXPECT_THAT(opened->window.alerts, IsEmpty());
    }

    TEST_F(TemporaryFileTest, IsNotNeededForANameThatIsFree)
    {
        saveAs(*opened, folder.file("new.mov"));
        EXPECT_EQ(savingMessages().back(),
            "Moving " + folder.file(".new.mov") + " to " + folder.file("new.mov") + "...");
        EXPECT_TRUE(isTurned(folder.file("new.mov"), 1));
        EXPECT_EQ(readFile(path), before);
    }

    TEST_F(TemporaryFileTest, ThatCannotBeWrittenEitherLeavesTheOldFile)
    {
        storage->before = [](TestStorage::Call call, const std::string&) {
            return call == TestStorage::Call::CreateSibling ? ENOSPC : 0;
        };
        save(*opened);
        expectAlert("Error writing movie", opened->window.alerts.at(0).text);
        EXPECT_THAT(opened->window.alerts[0].text, testing::HasSubstr("the test does not want it"));
        EXPECT_EQ(readFile(path), before);
        EXPECT_THAT(filesInFolder(), ElementsAre("built.mov"));
        storage->before = nullptr;
        save(*opened);
        EXPECT_TRUE(isTurned(path, 1)) << "the next save can succeed";
    }

    /// Fails the moves whose turn it is.
    SaveFiles movesThatFail(std::vector<bool> fails)
    {
        auto files = SaveFiles::real();
        files.move = [turn = std::size_t {0}, fails = std::move(fails), real = files.move](
                         const auto& from, const auto& to, auto timeout) mutable -> std::error_code {
            if (turn < fails.size() && fails[turn++])
                return std::make_error_code(std::errc::permission_denied);
            return real(from, to, timeout);
        };
        return files;
    }

    class FailingMoveTest : public TemporaryFileTest
    {
    protected:
        void saveWith(std::vector<bool> fails)
        {
            files = movesThatFail(std::move(fails));
            opened = openEdited();
            save(*opened);
        }
    };

    TEST_F(FailingMoveTest, OfTheOldFileLeavesItAndTheNewOneBesideIt)
    {
        saveWith({true});
        expectAlert("Unable to save", "Failed to move existing file.");
        auto expected = firstMessages();
        expected.emplace_back("Failed to move old file");
        EXPECT_THAT(savingMessages(), ElementsAreArray(expected));
        EXPECT_EQ(readFile(path), before);
        EXPECT_TRUE(isTurned(hidden(), 1));
    }

    TEST_F(FailingMoveTest, OfTheNewFileLeavesItUnderItsHiddenName)
    {
        saveWith({false, true});
        expectAlert("Unable to save", "Failed to move file.");
        auto expected = firstMessages();
        expected.push_back("Moving " + hidden() + " to " + path + "...");
        expected.emplace_back("Failed to move file - restoring old version...");
        EXPECT_THAT(savingMessages(), ElementsAreArray(expected));
        EXPECT_THAT(filesInFolder(), ElementsAre(".built.mov")) << "the old file is gone by then";
        EXPECT_TRUE(isTurned(hidden(), 1));
        save(*opened);
        EXPECT_TRUE(isTurned(path, 1)) << "the document can still be saved";
    }

    TEST_F(FailingMoveTest, WithinAQuitKeepsTheApplication)
    {
        bool isAbandoned = false;
        const auto observation
            = notifications.observe(KWDocumentAbandonedWriting, [&] { isAbandoned = true; });
        files = movesThatFail({true});
        opened = openEdited();
        EXPECT_FALSE(opened->document.documentCanQuit());
        save(*opened);
        EXPECT_TRUE(isAbandoned);
    }

    // Failures of the engine

    TEST_F(SavingTest, AnUpdateThatFailsAnywhereIsMadeUpForByAFlattenedWrite)
    {
        const std::string file = "/m/clip.mov";
        const auto clip = MovieBuilder {}.build();
        for (std::size_t failing = 1;; ++failing) {
            const auto volume = std::make_shared<SimulatedStorage>();
            volume->put(file, clip);
            Open opened {*this, volume};
            ASSERT_TRUE(opened.document.readFromURL(file));
            opened.document.windowControllerDidLoadNib(opened.window);
            edit(opened.document);
            edit(opened.document);
            opened.document.undo();
            const auto steps = volume->steps().size();
            volume->failStep(steps + failing, EIO);
            save(opened);
            EXPECT_THAT(opened.window.alerts, IsEmpty()) << failing;
            EXPECT_FALSE(opened.document.isEdited()) << failing;
            auto saved = QTMovie::open(file, volume);
            ASSERT_TRUE(saved) << failing;
            EXPECT_EQ(matrix(*saved), Matrix {}.rotated(90)) << failing;
            EXPECT_TRUE(holdsSamplesOf(*saved, MovieBuilder {})) << failing;
            // What can be undone and redone has survived the change of files.
            opened.document.redo();
            save(opened);
            saved = QTMovie::open(file, volume);
            ASSERT_TRUE(saved) << failing;
            EXPECT_EQ(matrix(*saved), Matrix {}.rotated(180)) << failing;
            EXPECT_TRUE(holdsSamplesOf(*saved, MovieBuilder {})) << failing;
            if (volume->steps().size() < steps + failing)
                break;
            ASSERT_LT(failing, 100U);
        }
    }

    TEST_F(SavingTest, AFileThatAnotherProgramReplacedIsNotOverwritten)
    {
        const auto opened = openEdited();
        auto& [window, document] = *opened;
        MovieBuilder other;
        other.tracks.pop_back();
        std::filesystem::rename(build(other, "other.mov"), path);
        save(*opened);
        ASSERT_EQ(window.alerts.size(), 1U);
        EXPECT_EQ(window.alerts[0].title, "File changed by another application");
        EXPECT_THAT(window.alerts[0].text, testing::HasSubstr("another program changed the file"));
        EXPECT_THAT(window.alerts[0].buttons, ElementsAre("Save As...", "Reload", "Cancel"));
        EXPECT_EQ(window.count("chooseSavePath"), 1U);
        EXPECT_EQ(readFile(path), other.build());
        EXPECT_TRUE(document.isEdited());
        saveAs(*opened, folder.file("mine.mov"));
        EXPECT_TRUE(isTurned(folder.file("mine.mov"), 1)) << "under another name nothing is lost";
    }

    TEST_F(SavingTest, AFileThatAnotherProgramReplacedCanBeLoadedInstead)
    {
        const auto opened = openEdited();
        auto& [window, document] = *opened;
        MovieBuilder other;
        other.tracks.pop_back();
        std::filesystem::rename(build(other, "other.mov"), path);
        window.answers = {1};
        save(*opened);
        EXPECT_EQ(document.movie().tracks().size(), other.tracks.size());
        EXPECT_FALSE(document.isEdited());
        EXPECT_FALSE(document.history().canUndo());
        window.alerts.clear();
        edit(document);
        save(*opened);
        EXPECT_THAT(window.alerts, IsEmpty()) << "from now on it is this document's file";
    }

    TEST_F(SavingTest, AFileThatIsOpenInAnotherWindowIsNotOverwrittenByAnyName)
    {
        const auto mine = open(path);
        MovieBuilder other;
        other.tracks.pop_back();
        const auto theirPath = build(other, "their.mov");
        const auto theirs = open(theirPath);
        openDocuments = {&mine->document, &theirs->document};
        edit(mine->document);
        std::filesystem::create_symlink(theirPath, folder.file("symbolic.mov"));
        std::filesystem::create_directory_symlink(folder.path(), folder.file("link"));
        std::filesystem::create_hard_link(theirPath, folder.file("hard.mov"));
        const auto names = filesInFolder();
        for (const auto* name :
            {"their.mov", "symbolic.mov", "hard.mov", "./their.mov", "link/their.mov", "link/hard.mov"}) {
            mine->window.alerts.clear();
            saveAs(*mine, folder.file(name));
            ASSERT_EQ(mine->window.alerts.size(), 1U) << name;
            EXPECT_EQ(mine->window.alerts[0].title, "File open in another window");
            EXPECT_THAT(mine->window.alerts[0].text, testing::StartsWith(folder.file(name) + ": "));
            EXPECT_THAT(mine->window.alerts[0].text, testing::HasSubstr("under another name"));
            EXPECT_EQ(readFile(theirPath), other.build()) << name;
            EXPECT_EQ(filesInFolder(), names) << name;
            EXPECT_TRUE(mine->document.isEdited()) << name;
            EXPECT_EQ(mine->document.displayName(), "built.mov") << name;
        }
        edit(theirs->document);
        save(*theirs);
        EXPECT_THAT(theirs->window.alerts, IsEmpty()) << "its own window may";
    }

    TEST_F(SavingTest, TheOwnFileCanBeSavedAsUnderEachOfItsNames)
    {
        const auto mine = open(path);
        const auto theirs = open(build({}, "their.mov"));
        openDocuments = {&mine->document, &theirs->document};
        std::filesystem::create_symlink(path, folder.file("symbolic.mov"));
        int quarters = 0;
        for (const auto& name : {path, folder.file("symbolic.mov"), folder.file("./built.mov")}) {
            edit(mine->document);
            saveAs(*mine, name);
            EXPECT_THAT(mine->window.alerts, IsEmpty()) << name;
            EXPECT_TRUE(isTurned(path, ++quarters)) << name;
        }
    }

    TEST_F(SavingTest, TwoWindowsDoNotSaveToTheSameNewFileAtOnce)
    {
        const auto mine = open(path);
        const auto theirs = open(build({}, "their.mov"));
        openDocuments = {&mine->document, &theirs->document};
        edit(theirs->document);
        std::filesystem::create_directory_symlink(folder.path(), folder.file("link"));
        duringSave(TestStorage::Call::CreateSibling, [&] {
            theirs->window.savePath = folder.file("link/new.mov");
            EXPECT_TRUE(theirs->document.saveDocumentAs());
        });
        saveAs(*mine, folder.file("new.mov"));
        finish(theirs->document);
        EXPECT_THAT(mine->window.alerts, IsEmpty());
        ASSERT_EQ(theirs->window.alerts.size(), 1U);
        EXPECT_EQ(theirs->window.alerts[0].title, "File open in another window");
        EXPECT_TRUE(theirs->document.isEdited());
        EXPECT_EQ(matrix(read(folder.file("new.mov"))), Matrix {}) << "as the first one wrote it";
    }

    TEST_F(SavingTest, ACopyIsNotSavedOverTheFileOfAnotherWindowEither)
    {
        const auto mine = openEdited();
        const auto theirs = open(build({}, "their.mov"));
        openDocuments = {&mine->document, &theirs->document};
        const auto before = readFile(folder.file("their.mov"));
        mine->document.setNeedsFlattening();
        mine->window.savePath = folder.file("their.mov");
        EXPECT_TRUE(mine->document.saveDocumentTo());
        finish(mine->document);
        ASSERT_EQ(mine->window.alerts.size(), 1U);
        EXPECT_EQ(mine->window.alerts[0].title, "File open in another window");
        EXPECT_EQ(readFile(folder.file("their.mov")), before);
    }

    TEST_F(SavingTest, ANameIsFreeAgainWhenTheSaveToItCameToNothingOrItsWindowIsGone)
    {
        const auto name = folder.file("wanted.mov");
        struct Row
        {
            const char* how;
            TestStorage::Call failing;
            int failures;
            const char* title; ///< of what the user is told; null for nothing
            std::function<void(Open&)> before {};
            std::function<void(Open&)> after {};
        };
        const Row rows[] = {
            {"failed", TestStorage::Call::CreateSibling, 2, "Error writing movie"},
            {"abandoned", TestStorage::Call::Rename, 1, "Unable to save"},
            {"cancelled", TestStorage::Call::Rename, 0, nullptr,
                [](Open& theirs) {
                    theirs.window.duringProgress = [&](double) { theirs.document.cancelProgress(); };
                }},
            {"closed", TestStorage::Call::Rename, 0, nullptr, {},
                [&](Open& theirs) {
                    EXPECT_EQ(theirs.document.path(), name);
                    theirs.window.onClose = [&] { openDocuments.pop_back(); };
                    theirs.document.close();
                }},
        };
        files = movesThatFail({true});
        for (const auto& row : rows) {
            SCOPED_TRACE(row.how);
            std::filesystem::remove(name);
            const auto mine = open(path);
            const auto theirs = open(build({}, "their.mov"));
            openDocuments = {&mine->document, &theirs->document};
            storage->before = [&, left = row.failures](auto call, const auto&) mutable {
                return call == row.failing && left-- > 0 ? EIO : 0;
            };
            if (row.before)
                row.before(*theirs);
            saveAs(*theirs, name);
            EXPECT_EQ(theirs->window.alerts.size(), row.title ? 1U : 0U);
            for (const auto& alert : theirs->window.alerts)
                EXPECT_EQ(alert.title, row.title);
            if (row.after)
                row.after(*theirs);
            storage->before = nullptr;
            saveAs(*mine, name);
            EXPECT_THAT(mine->window.alerts, IsEmpty());
            EXPECT_EQ(mine->document.path(), name);
        }
    }

    TEST_F(SavingTest, AMovieWhoseFileWasRemovedCanBeSaved)
    {
        const auto opened = open(path);
        std::filesystem::remove(path);
        edit(opened->document);
        save(*opened);
        EXPECT_TRUE(isTurned(path, 1));
        EXPECT_THAT(opened->window.alerts, IsEmpty());
    }

    TEST_F(SavingTest, AFileThatIsNoMovieIsNotOverwrittenByOne)
    {
        const auto sound = folder.file("sound.wav");
        writeSilence(sound, 8);
        const auto before = readFile(sound);
        const auto opened = open(sound);
        opened->document.movieSettingsAutoplayToggle(true);
        EXPECT_FALSE(opened->document.saveDocument()) << "no name was chosen";
        EXPECT_EQ(opened->window.suggestedPath, folder.file("sound.mov"));
        opened->window.savePath = opened->window.suggestedPath;
        save(*opened);
        EXPECT_EQ(opened->document.displayName(), "sound.mov");
        EXPECT_TRUE(read(folder.file("sound.mov")).userDataItem("play"_cc));
        EXPECT_EQ(readFile(sound), before);
    }

    TEST_F(SavingTest, WrittenFilesCarryTypeAndCreator)
    {
        constexpr const char* kAttribute = "user.com.apple.FinderInfo";
        if (::setxattr(path.c_str(), kAttribute, "oldtype.rest of the information", 32, 0) != 0)
            GTEST_SKIP() << "the temporary folder's volume takes no extended attributes";
        const auto opened = open(path);
        saveAs(*opened, folder.file("new.mov"));
        std::array<char, 32> info {};
        ASSERT_EQ(::getxattr(folder.file("new.mov").c_str(), kAttribute, info.data(), info.size()), 32);
        EXPECT_EQ(std::string(info.data()), "MooVTVODrest of the information");
    }

    // Closing and quitting

    TEST_F(SavingTest, AWindowThatIsClosedDuringASaveClosesAtItsEnd)
    {
        const auto opened = openEdited();
        auto& [window, document] = *opened;
        duringSave(TestStorage::Call::OpenForWriting, [&, &window = window, &document = document] {
            document.close();
            EXPECT_EQ(window.count("closeWindow"), 0U);
        });
        save(*opened);
        EXPECT_EQ(window.count("closeWindow"), 1U);
        EXPECT_THAT(window.alerts, IsEmpty());
        EXPECT_TRUE(isTurned(path, 1));
        document.windowWillClose();
        EXPECT_EQ(window.count("movieReleased"), 1U);
    }

    TEST_F(SavingTest, AWindowDoesNotCloseOverASaveThatFailed)
    {
        const auto opened = openEdited();
        auto& [window, document] = *opened;
        storage->volume = "vfat";
        storage->before = [this, &document = document](TestStorage::Call call, const std::string&) {
            mainThread.run([&] { document.windowShouldClose(); });
            return call == TestStorage::Call::CreateSibling ? ENOSPC : 0;
        };
        save(*opened);
        EXPECT_EQ(window.count("closeWindow"), 0U);
        EXPECT_EQ(window.alerts.size(), 1U);
        EXPECT_TRUE(document.isEdited());
    }

    TEST_F(SavingTest, AWindowDoesNotTakeEditsMadeDuringTheSaveWithIt)
    {
        const auto opened = openEdited();
        auto& [window, document] = *opened;
        duringSave(TestStorage::Call::OpenForWriting, [&document = document] {
            document.close();
            edit(document);
        });
        window.answers = {2};
        save(*opened);
        EXPECT_EQ(window.count("closeWindow"), 0U) << "the user was asked, and cancelled";
        EXPECT_EQ(window.alerts.size(), 1U);
    }

    TEST_F(SavingTest, ClosingAsksAboutUnsavedChanges)
    {
        const auto opened = openEdited();
        auto& [window, document] = *opened;
        window.answers = {2, 1, 0};
        document.close();
        EXPECT_EQ(window.count("closeWindow"), 0U) << "cancelled";
        ASSERT_EQ(window.alerts.size(), 1U);
        EXPECT_EQ(window.alerts[0].title, "Save the changes to \"built.mov\"?");
        EXPECT_THAT(window.alerts[0].buttons, ElementsAre("Save", "Don't Save", "Cancel"));
        document.close();
        EXPECT_EQ(window.count("closeWindow"), 1U) << "not saved";
        EXPECT_TRUE(isTurned(path, 0));
        document.close();
        EXPECT_EQ(window.count("closeWindow"), 1U) << "waits for the save";
        finish(document);
        EXPECT_EQ(window.count("closeWindow"), 2U);
        EXPECT_TRUE(isTurned(path, 1));
        EXPECT_THAT(savingMessages(), Contains("Saving on main thread: 0"));
    }

    TEST_F(SavingTest, TheDocumentMayGoWithItsWindow)
    {
        auto opened = openEdited();
        bool isGone = false;
        opened->window.onClose = [&] {
            opened->document.windowWillClose();
            opened.reset();
            isGone = true;
        };
        opened->document.close();
        mainThread.runUntil([&] { return isGone; });
        EXPECT_TRUE(isTurned(path, 1));
    }

} // namespace
} // namespace reelwright::test
