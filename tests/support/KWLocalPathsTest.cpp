#include "support/KWLocalPaths.h"

#include "tests/support/SupportTest.h"

#include <unistd.h>

namespace reelwright::test {
namespace {

    class KWLocalPathsTest : public SupportTest
    {
    protected:
        KWLocalPathsTest()
        {
            // The variables that matter; a test's process may have them set.
            for (const char* name :
                {"XDG_STATE_HOME", "XDG_CONFIG_HOME", "REELWRIGHT_LIBRARY_DIR", "REELWRIGHT_PREFS_DIR"})
                unsetenv(name);
            setenv("HOME", "/users/editor", 1);
        }
    };

    TEST_F(KWLocalPathsTest, PreferencesFollowTheDesktopsRules)
    {
        EXPECT_EQ(KWLocalPaths::prefsDirectory(true), "/users/editor/.config/reelwright");
        setenv("XDG_CONFIG_HOME", "/elsewhere", 1);
        EXPECT_EQ(KWLocalPaths::prefsDirectory(true), "/elsewhere/reelwright");
        setenv("XDG_CONFIG_HOME", "relative", 1);
        EXPECT_EQ(KWLocalPaths::prefsDirectory(true), "/users/editor/.config/reelwright")
            << "relative values are void";
        EXPECT_EQ(KWLocalPaths::prefsDirectory(false), "/etc/xdg/reelwright");
    }

    TEST_F(KWLocalPathsTest, LibraryIsTheUsersOrTheSystemsForRoot)
    {
        setenv("XDG_STATE_HOME", "/state", 1);
        EXPECT_EQ(KWLocalPaths::libraryDirectory(true),
            geteuid() == 0 ? "/var/log/reelwright" : "/state/reelwright");
        EXPECT_EQ(KWLocalPaths::libraryDirectory(false), "/var/log/reelwright");
    }

    TEST_F(KWLocalPathsTest, VariablesMoveBothFolders)
    {
        setenv("REELWRIGHT_LIBRARY_DIR", "/a", 1);
        setenv("REELWRIGHT_PREFS_DIR", "/b", 1);
        EXPECT_EQ(KWLocalPaths::libraryDirectory(true), "/a");
        EXPECT_EQ(KWLocalPaths::prefsDirectory(true), "/b");
    }

    TEST_F(KWLocalPathsTest, DocumentsFolderIsTheOneTheDesktopNames)
    {
        EXPECT_EQ(KWLocalPaths::documentsDirectory(), "/users/editor/Documents");
        setenv("XDG_CONFIG_HOME", m_folder.c_str(), 1);
        struct DocumentsFact
        {
            const char* line;
            const char* folder;
        };
        constexpr DocumentsFact kFacts[] = {
            {"# comment\nXDG_MUSIC_DIR=\"$HOME/M\"\nXDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n",
                "/users/editor/Dokumente"},
            {"XDG_DOCUMENTS_DIR=\"/data/docs\"", "/data/docs"},
            {"XDG_DOCUMENTS_DIR=\"relative\"", "/users/editor/Documents"},
            {"XDG_DOCUMENTS_DIR=\"/unfinished", "/users/editor/Documents"},
        };
        for (const auto& fact : kFacts) {
            writeText(m_folder / "user-dirs.dirs", fact.line);
            EXPECT_EQ(KWLocalPaths::documentsDirectory(), fact.folder) << fact.line;
        }
    }

} // namespace
} // namespace reelwright::test
