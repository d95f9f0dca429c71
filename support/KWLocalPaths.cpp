#include "support/KWLocalPaths.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace reelwright {
namespace {

    constexpr std::string_view kFolderName = "/reelwright";

    std::string environment(const char* name)
    {
        const char* value = std::getenv(name);
        return value ? value : "";
    }

    /// The base directory rules say: a relative path in such a variable is invalid and has to be ignored.
    std::string absoluteEnvironment(const char* name)
    {
        auto value = environment(name);
        return value.starts_with('/') ? value : std::string {};
    }

    std::string homeDirectory()
    {
        if (auto home = absoluteEnvironment("HOME"); !home.empty())
            return home;
        passwd entry {};
        passwd* found = nullptr;
        std::array<char, 4096> buffer {};
        if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found
            && found->pw_dir)
            return found->pw_dir;
        return "/";
    }

    std::string baseDirectory(const char* variable, std::string_view belowHome)
    {
        auto base = absoluteEnvironment(variable);
        return base.empty() ? homeDirectory().append(belowHome) : base;
    }

} // namespace

std::string KWLocalPaths::libraryDirectory(bool forUser)
{
    if (auto moved = environment("REELWRIGHT_LIBRARY_DIR"); !moved.empty())
        return moved;
    if (!forUser || geteuid() == 0)
        return std::string("/var/log").append(kFolderName);
    return baseDirectory("XDG_STATE_HOME", "/.local/state").append(kFolderName);
}

std::string KWLocalPaths::prefsDirectory(bool forUser)
{
    if (auto moved = environment("REELWRIGHT_PREFS_DIR"); !moved.empty())
        return moved;
    if (!forUser)
        return std::string("/etc/xdg").append(kFolderName);
    return baseDirectory("XDG_CONFIG_HOME", "/.config").append(kFolderName);
}

std::string KWLocalPaths::documentsDirectory()
{
    // user-dirs.dirs holds shell assignments; a value is either absolute or begins with $HOME/.
    constexpr std::string_view kAssignment = "XDG_DOCUMENTS_DIR=\"";
    constexpr std::string_view kHome = "$HOME";
    const auto home = homeDirectory();
    std::ifstream file(baseDirectory("XDG_CONFIG_HOME", "/.config") + "/user-dirs.dirs");
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with(kAssignment))
            continue;
        auto value = line.substr(kAssignment.size());
        value.resize(value.find('"') == std::string::npos ? 0 : value.find('"'));
        if (value.starts_with(kHome))
            value.replace(0, kHome.size(), home);
        if (value.starts_with('/'))
            return value;
    }
    return home + "/Documents";
}

std::string KWLocalPaths::resourceDirectory()
{
    if (auto moved = environment("REELWRIGHT_RESOURCE_DIR"); !moved.empty())
        return moved;
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto prefix = error ? std::filesystem::path("/usr") : program.parent_path().parent_path();
    return (prefix / "share").string().append(kFolderName);
}

} // namespace reelwright
