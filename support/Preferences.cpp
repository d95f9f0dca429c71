#include "support/Preferences.h"

#include "support/FileDescriptor.h"
#include "support/FileHelper.h"
#include "support/FolderLock.h"
#include "support/KWLocalPaths.h"
#include "support/PropertyListParser.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <plist/plist.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string_view>
#include <tuple>
#include <utility>

namespace reelwright {
namespace {

    /// What tells one state of a file from the next: inode, size, time of the last change.
    using FileStamp = std::tuple<ino_t, off_t, time_t, long>;

    FileStamp stampOf(const struct stat& info)
    {
        return {info.st_ino, info.st_size, info.st_mtim.tv_sec, info.st_mtim.tv_nsec};
    }

    FileStamp stampOf(const std::string& path)
    {
        struct stat info
        {
        };
        return ::stat(path.c_str(), &info) == 0 ? stampOf(info) : FileStamp {};
    }

    /// The dictionary in these bytes, or null.
    plist_t parseDictionary(const std::string& bytes)
    {
        plist_t root = parsePropertyList(bytes);
        if (root && plist_get_node_type(root) != PLIST_DICT) {
            plist_free(root);
            root = nullptr;
        }
        return root;
    }

    plist_t makeNode(const PreferenceValue& value)
    {
        struct Maker
        {
            plist_t operator()(bool flag) const { return plist_new_bool(flag ? 1 : 0); }
            plist_t operator()(std::int64_t number) const
            {
                return plist_new_uint(static_cast<std::uint64_t>(number));
            }
            plist_t operator()(double number) const { return plist_new_real(number); }
            plist_t operator()(const std::string& text) const { return plist_new_string(text.c_str()); }
        };
        return std::visit(Maker {}, value);
    }

    std::optional<PreferenceValue> valueOf(plist_t node)
    {
        switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN: {
            std::uint8_t flag = 0;
            plist_get_bool_val(node, &flag);
            return flag != 0;
        }
        case PLIST_UINT: {
            std::uint64_t number = 0;
            plist_get_uint_val(node, &number);
            return static_cast<std::int64_t>(number);
        }
        case PLIST_REAL: {
            double number = 0;
            plist_get_real_val(node, &number);
            return number;
        }
        case PLIST_STRING: {
            std::uint64_t length = 0;
            const char* text = plist_get_string_ptr(node, &length);
            return text ? std::string(text, length) : std::string {};
        }
        default:
            return std::nullopt;
        }
    }

    bool isSame(plist_t a, plist_t b)
    {
        const auto first = valueOf(a);
        const auto second = valueOf(b);
        const auto* real = first ? std::get_if<double>(&*first) : nullptr;
        const bool bothNaN = real && std::isnan(*real) && second && std::holds_alternative<double>(*second);
        return plist_get_node_type(a) == plist_get_node_type(b) && (bothNaN || first == second);
    }

    template <class Visit> void forEachItem(plist_t dictionary, Visit visit)
    {
        plist_dict_iter position = nullptr;
        plist_dict_new_iter(dictionary, &position);
        for (;;) {
            char* key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(dictionary, position, &key, &value);
            if (!value)
                break;
            visit(std::string(key ? key : ""), value);
            std::free(key);
        }
        std::free(position);
    }

    /// Do two dictionaries have the same keys, with the same values and kinds of values?
    bool haveSameSettings(plist_t a, plist_t b)
    {
        bool same = plist_dict_get_size(a) == plist_dict_get_size(b);
        forEachItem(a, [&](const std::string& key, plist_t value) {
            plist_t other = plist_dict_get_item(b, key.c_str());
            same = same && other
                && (isSame(value, other) || isSame(plist_dict_get_item(a, key.c_str()), other));
        });
        return same;
    }

    /// Files in which a key stands several times occur; the first one counts.
    void removeRepetitions(plist_t dictionary, const std::string& key)
    {
        int count = 0;
        forEachItem(dictionary, [&](const std::string& one, plist_t) { count += one == key ? 1 : 0; });
        for (; count > 1; --count)
            plist_dict_remove_item(dictionary, key.c_str());
    }

    std::int64_t wholeNumber(double number)
    {
        constexpr double kLimit = 9223372036854775808.0; // 2 to the 63rd
        if (!(std::abs(number) < kLimit)) { // also true for NaN
            if (std::isnan(number))
                return 0;
            return number < 0 ? std::numeric_limits<std::int64_t>::min()
                              : std::numeric_limits<std::int64_t>::max();
        }
        return static_cast<std::int64_t>(number);
    }

    std::int64_t wholeNumber(const std::string& text)
    {
        const auto start = std::min(text.find_first_not_of(" \t\n"), text.size());
        std::int64_t number = 0;
        const auto result = std::from_chars(text.data() + start, text.data() + text.size(), number);
        if (result.ec == std::errc::result_out_of_range)
            return text[start] == '-' ? std::numeric_limits<std::int64_t>::min()
                                      : std::numeric_limits<std::int64_t>::max();
        return number;
    }

} // namespace

/// The file's contents in memory.
class Preferences::Store
{
public:
    explicit Store(const std::string& path)
    {
        const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        m_damaged = !file && errno != ENOENT;
        if (file && !read(file.get()))
            m_damaged = true;
        if (!m_root)
            m_root = plist_new_dict();
    }
    /// The same settings, to be changed.
    [[nodiscard]] std::unique_ptr<Store> copy() const
    {
        auto made = std::unique_ptr<Store>(new Store);
        made->m_root = plist_copy(m_root);
        made->m_stamp = m_stamp;
        made->m_damaged = m_damaged;
        made->m_binary = m_binary;
        return made;
    }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;
    ~Store() { plist_free(m_root); }

    [[nodiscard]] std::optional<PreferenceValue> value(const std::string& key) const
    {
        plist_t node = plist_dict_get_item(m_root, key.c_str());
        return node ? valueOf(node) : std::nullopt;
    }

    void change(const std::string& key, const std::optional<PreferenceValue>& value)
    {
        removeRepetitions(m_root, key);
        if (value)
            plist_dict_set_item(m_root, key.c_str(), makeNode(*value));
        else if (plist_dict_get_item(m_root, key.c_str()))
            plist_dict_remove_item(m_root, key.c_str());
    }

    std::error_code save(const std::string& path)
    {
        if (m_damaged) {
            if (const auto error = FileHelper::moveFile(path, FileHelper::uniqueFilename(path + ".damaged")))
                return error;
            m_damaged = false;
        }
        const auto bytes = serialized();
        if (bytes.empty())
            return std::make_error_code(std::errc::not_enough_memory);
        const auto error = FileHelper::writeAtomically(path, bytes);
        if (!error)
            m_stamp = stampOf(path);
        return error;
    }

    [[nodiscard]] const FileStamp& stamp() const { return m_stamp; }

private:
    Store() = default;

    bool read(int descriptor)
    {
        constexpr off_t kMaxSize = 1'000'000;
        struct stat info
        {
        };
        if (::fstat(descriptor, &info) != 0)
            return false;
        m_stamp = stampOf(info);
        if (!S_ISREG(info.st_mode) || info.st_size > kMaxSize)
            return false;
        std::string bytes(static_cast<std::size_t>(info.st_size), '\0');
        const auto count = ::pread(descriptor, bytes.data(), bytes.size(), 0);
        if (count < 0)
            return false;
        bytes.resize(static_cast<std::size_t>(count));
        m_root = parseDictionary(bytes);
        m_binary = m_root && plist_is_binary(bytes.data(), static_cast<std::uint32_t>(bytes.size())) != 0;
        if (m_root && !canBeWritten()) {
            plist_free(m_root);
            m_root = nullptr;
        }
        return m_root != nullptr;
    }

    /// The library reads some texts that are no UTF-8, and what it then writes it cannot read, or reads as
    /// something else.
    [[nodiscard]] bool canBeWritten() const
    {
        plist_t again = parseDictionary(serialized());
        const bool same = again && haveSameSettings(m_root, again);
        plist_free(again);
        return same;
    }

    /// Empty when memory runs out.
    [[nodiscard]] std::string serialized() const
    {
        char* text = nullptr;
        std::uint32_t length = 0;
        (m_binary ? plist_to_bin : plist_to_xml)(m_root, &text, &length);
        if (!text)
            return {};
        std::string bytes(text, length);
        (m_binary ? plist_to_bin_free : plist_to_xml_free)(text);
        return bytes;
    }

    plist_t m_root = nullptr;
    FileStamp m_stamp;
    bool m_damaged = false;
    bool m_binary = false;
};

Preferences::Preferences(std::string path)
    : m_path(std::move(path))
{
}

Preferences::~Preferences() = default;

Preferences& Preferences::standard()
{
    // Never destroyed: other static objects may read a setting while the process ends.
    static Preferences* const instance = [] {
        auto* made = new Preferences(KWLocalPaths::prefsDirectory(true) + "/reelwright.plist");
        made->registerDefault("autoFlatten", std::int64_t {1});
        made->registerDefault("nonHFSResave", true);
        made->registerDefault("batchUpdateType", std::int64_t {0});
        made->registerDefault("batchExtension", std::string("-processed"));
        made->registerDefault("batchDirectory", KWLocalPaths::documentsDirectory());
        return made;
    }();
    return *instance;
}

std::string Preferences::sharedFilePath()
{
    return KWLocalPaths::prefsDirectory(true) + "/com.kestrelwick.global.plist";
}

void Preferences::registerDefault(const std::string& key, PreferenceValue value)
{
    const std::lock_guard lock(m_mutex);
    m_defaults.insert_or_assign(key, std::move(value));
}

void Preferences::loadIfNeeded() const
{
    if (!m_store)
        m_store = std::make_unique<Store>(m_path);
}

std::optional<PreferenceValue> Preferences::value(const std::string& key) const
{
    const std::lock_guard lock(m_mutex);
    loadIfNeeded();
    if (auto found = m_store->value(key))
        return found;
    const auto fallback = m_defaults.find(key);
    return fallback == m_defaults.end() ? std::nullopt : std::optional(fallback->second);
}

bool Preferences::boolean(const std::string& key) const
{
    struct Reader
    {
        bool operator()(bool flag) const { return flag; }
        bool operator()(std::int64_t number) const { return number != 0; }
        bool operator()(double number) const { return number != 0; }
        bool operator()(const std::string& text) const
        {
            return !text.empty()
                && std::string_view("YyTt123456789").find(text.front()) != std::string_view::npos;
        }
    };
    const auto found = value(key);
    return found && std::visit(Reader {}, *found);
}

std::int64_t Preferences::integer(const std::string& key) const
{
    struct Reader
    {
        std::int64_t operator()(bool flag) const { return flag ? 1 : 0; }
        std::int64_t operator()(std::int64_t number) const { return number; }
        std::int64_t operator()(double number) const { return wholeNumber(number); }
        std::int64_t operator()(const std::string& text) const { return wholeNumber(text); }
    };
    const auto found = value(key);
    return found ? std::visit(Reader {}, *found) : 0;
}

std::string Preferences::text(const std::string& key) const
{
    struct Reader
    {
        std::string operator()(bool flag) const { return flag ? "1" : "0"; }
        std::string operator()(std::int64_t number) const { return fmt::format("{}", number); }
        std::string operator()(double number) const { return fmt::format("{}", number); }
        std::string operator()(const std::string& text) const { return text; }
    };
    const auto found = value(key);
    return found ? std::visit(Reader {}, *found) : std::string {};
}

std::error_code Preferences::set(const std::string& key, PreferenceValue value)
{
    return change(key, std::move(value));
}

std::error_code Preferences::remove(const std::string& key)
{
    return change(key, std::nullopt);
}

std::error_code Preferences::change(const std::string& key, const std::optional<PreferenceValue>& value)
{
    const std::lock_guard turn(m_changing);
    const auto folder = std::filesystem::path(m_path).parent_path();
    std::error_code folderError;
    std::filesystem::create_directories(folder, folderError);
    const FolderLock otherProcesses(folder.string());
    // The disk is waited for without the lock of those who read.
    auto next = [this] {
        const std::lock_guard lock(m_mutex);
        return m_store ? m_store->copy() : nullptr;
    }();
    // Another process may have saved since; its settings must not be taken back.
    if (!next || next->stamp() != stampOf(m_path))
        next = std::make_unique<Store>(m_path);
    next->change(key, value);
    const auto error = next->save(m_path);
    const std::lock_guard lock(m_mutex);
    m_store = std::move(next);
    return error;
}

} // namespace reelwright
