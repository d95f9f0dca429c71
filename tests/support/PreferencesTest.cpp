#include "support/Preferences.h"

#include "support/FolderLock.h"
#include "tests/support/SupportTest.h"

#include <sys/stat.h>

#include <chrono>
#include <future>
#include <thread>

namespace reelwright::test {
namespace {

    using testing::HasSubstr;
    using testing::Optional;
    using testing::StartsWith;
    using testing::VariantWith;

    class PreferencesTest : public SupportTest
    {
    protected:
        [[nodiscard]] std::string path() const { return m_folder / "deep/er/settings.plist"; }
        void write(const std::string& contents) const
        {
            std::filesystem::create_directories(m_folder / "deep/er");
            writeText(path(), contents);
        }
    };

    TEST_F(PreferencesTest, ProgramsOwnSettingsHaveTheirDefaults)
    {
        const auto& settings = Preferences::standard();
        EXPECT_EQ(settings.integer("autoFlatten"), 1);
        EXPECT_TRUE(settings.boolean("nonHFSResave"));
        EXPECT_EQ(settings.integer("batchUpdateType"), 0);
        EXPECT_EQ(settings.text("batchExtension"), "-processed");
        EXPECT_THAT(settings.text("batchDirectory"), StartsWith("/"));
        for (const char* key : {"selectedExportComponentName", "startupType", "conformStripEDTS",
                 "suppressConformWarning", "batchForceResave", "rawMetadataKeys"}) {
            EXPECT_EQ(settings.value(key), std::nullopt) << key;
            EXPECT_FALSE(settings.boolean(key)) << key;
            EXPECT_EQ(settings.integer(key), 0) << key;
            EXPECT_EQ(settings.text(key), "") << key;
        }
    }

    TEST_F(PreferencesTest, SettingsComeBackFromTheFileAsTheyWereSet)
    {
        {
            Preferences settings(path());
            EXPECT_FALSE(settings.set("yes", true));
            EXPECT_FALSE(settings.set("no", false));
            EXPECT_FALSE(settings.set("negative", std::int64_t {-5}));
            EXPECT_FALSE(settings.set("large", std::int64_t {1} << 62));
            EXPECT_FALSE(settings.set("real", 29.97));
            EXPECT_FALSE(settings.set("text", std::string("a <b> & \"c\" \u00E9\n")));
            EXPECT_FALSE(settings.set("gone", true));
            EXPECT_FALSE(settings.remove("gone"));
            EXPECT_FALSE(settings.remove("never there"));
        }
        Preferences settings(path());
        EXPECT_THAT(settings.value("yes"), Optional(VariantWith<bool>(true)));
        EXPECT_THAT(settings.value("no"), Optional(VariantWith<bool>(false)));
        EXPECT_THAT(settings.value("negative"), Optional(VariantWith<std::int64_t>(-5)));
        EXPECT_THAT(settings.value("large"), Optional(VariantWith<std::int64_t>(std::int64_t {1} << 62)));
        EXPECT_THAT(settings.value("real"), Optional(VariantWith<double>(29.97)));
        EXPECT_THAT(settings.value("text"), Optional(VariantWith<std::string>("a <b> & \"c\" \u00E9\n")));
        EXPECT_EQ(settings.value("gone"), std::nullopt);
    }

    TEST_F(PreferencesTest, StoredValueHidesTheDefaultUntilRemoved)
    {
        Preferences settings(path());
        settings.registerDefault("key", std::int64_t {7});
        EXPECT_EQ(settings.integer("key"), 7);
        EXPECT_FALSE(settings.set("key", std::int64_t {0}));
        EXPECT_EQ(settings.integer("key"), 0);
        EXPECT_FALSE(settings.remove("key"));
        EXPECT_EQ(settings.integer("key"), 7);
    }

    TEST_F(PreferencesTest, KindsOfValuesConvert)
    {
        struct ConversionFact
        {
            const char* stored;
            bool boolean;
            std::int64_t integer;
            const char* text;
        };
        constexpr ConversionFact kFacts[] = {
            {"<true/>", true, 1, "1"},
            {"<false/>", false, 0, "0"},
            {"<integer>2</integer>", true, 2, "2"},
            {"<integer>-3</integer>", true, -3, "-3"},
            {"<real>-1.75</real>", true, -1, "-1.75"},
            {"<real>1e300</real>", true, INT64_MAX, "1e+300"},
            {"<string>YES</string>", true, 0, "YES"},
            {"<string>no</string>", false, 0, "no"},
            {"<string>12 files</string>", true, 12, "12 files"},
            {"<string>-99999999999999999999</string>", false, INT64_MIN, "-99999999999999999999"},
            {"<string></string>", false, 0, ""},
            {"<array><true/></array>", false, 0, ""},
        };
        for (const auto& fact : kFacts) {
            write(plist(std::string("<key>key</key>") + fact.stored));
            const Preferences settings(path());
            EXPECT_EQ(settings.boolean("key"), fact.boolean) << fact.stored;
            EXPECT_EQ(settings.integer("key"), fact.integer) << fact.stored;
            EXPECT_EQ(settings.text("key"), fact.text) << fact.stored;
        }
    }

    TEST_F(PreferencesTest, BinaryFileIsReadAndStaysBinary)
    {
        write(binaryPlist("frames", "\x10\x2A"));
        Preferences settings(path());
        EXPECT_EQ(settings.integer("frames"), 42);
        EXPECT_FALSE(settings.set("more", std::string("text")));
        EXPECT_THAT(readText(path()), StartsWith("bplist00"));
        EXPECT_EQ(Preferences(path()).integer("frames"), 42);
        EXPECT_EQ(Preferences(path()).text("more"), "text");
    }

    TEST_F(PreferencesTest, ForeignEntriesSurviveAChange)
    {
        write(plist("<key>list</key><array><string>kept</string></array><key>raw</key><data>AAEC</data>"));
        Preferences settings(path());
        EXPECT_EQ(settings.value("list"), std::nullopt);
        EXPECT_FALSE(settings.set("own", true));
        EXPECT_THAT(readText(path()), testing::AllOf(HasSubstr("<string>kept</string>"), HasSubstr("AAEC")));
    }

    TEST_F(PreferencesTest, SettingsOfAnotherProcessAreNotTakenBack)
    {
        Preferences here(path());
        Preferences there(path());
        EXPECT_FALSE(here.set("a", std::int64_t {1}));
        EXPECT_FALSE(there.set("b", std::int64_t {2}));
        EXPECT_FALSE(here.set("c", std::int64_t {3}));
        const Preferences later(path());
        EXPECT_EQ(later.integer("a") + later.integer("b") + later.integer("c"), 6);
    }

    TEST_F(PreferencesTest, DamagedFileMeansDefaultsAndIsKeptAside)
    {
        const std::string deep = "<plist><dict><key>k</key>" + [] {
            std::string text;
            for (int i = 0; i < 100'000; ++i)
                text += "<array>";
            for (int i = 0; i < 100'000; ++i)
                text += "</array>";
            return text;
        }() + "</dict></plist>";
        const std::string files[] = {"", "x", "not a property list", plist("<key>a</key>").substr(0, 60),
            plist("").replace(plist("").find("<dict>"), 6, "<array>"), "bplist00",
            std::string(2'000'000, ' '), "bplist00" + std::string(40, '\xFF'), deep};
        for (const auto& file : files) {
            std::filesystem::remove_all(m_folder / "deep");
            write(file);
            Preferences settings(path());
            settings.registerDefault("key", std::string("default"));
            EXPECT_EQ(settings.text("key"), "default") << file.substr(0, 40);
            EXPECT_EQ(readText(path()), file) << "reading leaves it alone";
            EXPECT_FALSE(settings.set("key", std::string("new")));
            EXPECT_EQ(readText(path() + ".damaged"), file) << "writing moves it aside";
            EXPECT_EQ(Preferences(path()).text("key"), "new");
        }
    }

    TEST_F(PreferencesTest, FileThatCannotBeWrittenIsAnErrorAndTheValueStillHolds)
    {
        writeText(m_folder / "deep", "a file where the folder would be");
        Preferences settings(path());
        EXPECT_TRUE(settings.set("key", std::int64_t {5}));
        EXPECT_TRUE(settings.set("other", std::int64_t {6}));
        EXPECT_EQ(settings.integer("key"), 5);
    }

    TEST_F(PreferencesTest, SavingKeepsPermissionsAndLinksAndLeavesNoOtherFile)
    {
        write(plist(""));
        chmod(path().c_str(), 0640);
        std::filesystem::create_symlink(path(), m_folder / "link.plist");
        Preferences settings(m_folder / "link.plist");
        EXPECT_FALSE(settings.set("key", true));
        struct stat info
        {
        };
        EXPECT_EQ(lstat((m_folder / "link.plist").c_str(), &info), 0);
        EXPECT_TRUE(S_ISLNK(info.st_mode));
        EXPECT_EQ(stat(path().c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777U, 0640U);
        EXPECT_TRUE(Preferences(path()).boolean("key"));
        const std::filesystem::directory_iterator entries(m_folder / "deep/er");
        EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
    }

    TEST_F(PreferencesTest, ReadingDoesNotWaitForAChangeThatIsBeingWritten)
    {
        using Clock = std::chrono::steady_clock;
        Preferences settings(path());
        ASSERT_FALSE(settings.set("key", std::int64_t {1}));
        const FolderLock otherProcess(m_folder / "deep/er"); // a change waits a second for it
        const auto begin = Clock::now();
        auto change = std::async(std::launch::async, [&] { return settings.set("key", std::int64_t {2}); });
        auto longest = Clock::duration::zero();
        while (change.wait_for(std::chrono::seconds {0}) != std::future_status::ready) {
            const auto asked = Clock::now();
            EXPECT_THAT(settings.integer("key"), testing::AnyOf(1, 2));
            longest = std::max(longest, Clock::now() - asked);
        }
        EXPECT_LT(longest * 2, Clock::now() - begin);
        EXPECT_EQ(settings.integer("key"), 2);
    }

    TEST_F(PreferencesTest, ThreadsMayReadAndChangeAtOnce)
    {
        Preferences settings(path());
        constexpr int kThreads = 4;
        std::vector<std::thread> threads;
        threads.reserve(kThreads);
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&, thread] {
                for (int i = 0; i < 20; ++i) {
                    EXPECT_FALSE(settings.set("key" + std::to_string(thread), std::int64_t {i}));
                    EXPECT_EQ(settings.integer("key" + std::to_string(thread)), i);
                }
            });
        }
        for (auto& thread : threads)
            thread.join();
        for (int thread = 0; thread < kThreads; ++thread)
            EXPECT_EQ(Preferences(path()).integer("key" + std::to_string(thread)), 19);
    }

} // namespace
} // namespace reelwright::test
