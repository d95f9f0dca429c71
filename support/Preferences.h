#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <variant>

namespace reelwright {

using PreferenceValue = std::variant<bool, std::int64_t, double, std::string>;

/// A property list file of settings, text or binary, with registered defaults for keys that it does not have.
/// Safe to use from several threads. Keys and kinds of values that this program does not know stay in the
/// file when it is written. A file that cannot be read as a property list counts as empty; it is kept aside
/// under another name when a setting is saved.
class Preferences
{
public:
    /// The file is read at the first use and again before each change.
    explicit Preferences(std::string path);
    Preferences(const Preferences&) = delete;
    Preferences& operator=(const Preferences&) = delete;
    ~Preferences();

    /// The program's own settings, "reelwright.plist" in the preferences folder, with its defaults
    /// registered.
    static Preferences& standard();
    /// Path of the file shared by all applications of the maker.
    static std::string sharedFilePath();

    void registerDefault(const std::string& key, PreferenceValue value);

    /// What the file has, else the registered default. Nothing for dictionaries, arrays, data and dates.
    [[nodiscard]] std::optional<PreferenceValue> value(const std::string& key) const;
    /// Numbers other than 0, and texts beginning with Y, y, T, t or a digit other than 0, are true. Absent:
    /// false.
    [[nodiscard]] bool boolean(const std::string& key) const;
    /// Reals are cut to whole numbers, texts read up to their first character that is no digit. Absent: 0.
    [[nodiscard]] std::int64_t integer(const std::string& key) const;
    /// Numbers in decimal form, true as "1". Absent: "".
    [[nodiscard]] std::string text(const std::string& key) const;

    /// Saves at once. After an error the new value still holds for this process.
    std::error_code set(const std::string& key, PreferenceValue value);
    /// Removes the key from the file, so that its default holds again.
    std::error_code remove(const std::string& key);

    [[nodiscard]] const std::string& path() const { return m_path; }

private:
    class Store;

    void loadIfNeeded() const;
    std::error_code change(const std::string& key, const std::optional<PreferenceValue>& value);

    const std::string m_path;
    std::mutex m_changing; ///< changes come one after the other; taken before the other one
    mutable std::mutex m_mutex; ///< of what follows; never held while a file is written
    mutable std::unique_ptr<Store> m_store; ///< null until the file was read
    std::map<std::string, PreferenceValue> m_defaults;
};

} // namespace reelwright
