// Reads any bytes as a file of settings, changes one and reads it again.

#include "fuzz/FuzzTarget.h"
#include "support/Preferences.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace reelwright::fuzz {
namespace {

    /// A folder of this process, in memory where there is such a place; removed at the end.
    class Folder
    {
    public:
        Folder()
        {
            const bool memory = ::access("/dev/shm", W_OK) == 0;
            auto pattern
                = (memory ? std::string("/dev/shm") : std::filesystem::temp_directory_path().string())
                + "/reelwright-fuzz-XXXXXX";
            require(::mkdtemp(pattern.data()) != nullptr, "there is room for temporary files");
            m_path = pattern;
        }
        Folder(const Folder&) = delete;
        Folder& operator=(const Folder&) = delete;
        ~Folder()
        {
            std::error_code ignored;
            std::filesystem::remove_all(m_path, ignored);
        }
        /// Empty but for this file.
        [[nodiscard]] std::string holding(ByteSpan content) const
        {
            for (const auto& entry : std::filesystem::directory_iterator(m_path))
                std::filesystem::remove(entry.path());
            auto path = m_path + "/settings.plist";
            auto* file = std::fopen(path.c_str(), "wb");
            require(file, "there is room for a temporary file");
            const bool isWritten
                = content.empty() || std::fwrite(content.data(), 1, content.size(), file) == content.size();
            require(std::fclose(file) == 0 && isWritten, "there is room for a temporary file");
            return path;
        }

    private:
        std::string m_path;
    };

    constexpr const char* kKeys[] = {"a", "key", "PrefDefaultFrameRate", "name"};

} // namespace

void readPropertyList(ByteSpan input)
{
    static const Folder folder;
    const auto path = folder.holding(input);
    Preferences settings {path};
    settings.registerDefault("name", std::string("default"));
    for (const auto* key : kKeys) {
        static_cast<void>(settings.value(key));
        static_cast<void>(settings.boolean(key));
        static_cast<void>(settings.integer(key));
        static_cast<void>(settings.text(key));
    }
    const auto kept = settings.value("a");
    require(!settings.set("key", std::string("new")), "a setting can be saved whatever was there");
    Preferences again {path};
    require(again.text("key") == "new", "a saved setting is read again");
    // NaN is not equal to itself.
    const auto* real = kept ? std::get_if<double>(&*kept) : nullptr;
    require(again.value("a").has_value() == kept.has_value() && (real || again.value("a") == kept),
        "other settings stay");
    require(!again.remove("key") && again.text("key").empty(), "a setting can be removed");
}

} // namespace reelwright::fuzz
