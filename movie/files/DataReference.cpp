#include "movie/files/DataReference.h"

#include "movie/atoms/ByteReader.h"
#include "movie/atoms/UserData.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace reelwright {
namespace {

    constexpr std::uint32_t kSelfFlag = 1;
    constexpr std::size_t kMaxReferences = 65535; ///< a sample description's index has 16 bits
    constexpr std::size_t kMaxPathSize = 4096; ///< bytes; the system opens no longer one
    constexpr std::size_t kMaxComponents = 64;
    // Every entry gets a handful of guesses: a list of thousands must stay in proportion to the file.
    constexpr std::size_t kMaxFoldersUp = 4;
    constexpr std::size_t kMaxEnd = 5; ///< components

    // Tags of what follows an alias record's fixed fields.
    constexpr std::int16_t kTagEnd = -1;
    constexpr std::int16_t kTagAbsolutePath = 2; ///< Mac Roman, volume first, colons
    constexpr std::int16_t kTagUnicodeName = 14;
    constexpr std::int16_t kTagUnicodeVolume = 15;
    constexpr std::int16_t kTagPosixPath = 18; ///< UTF-8, from the volume's top
    constexpr std::int16_t kTagPosixMount = 19; ///< UTF-8, where the volume was mounted

    std::string textOf(ByteSpan bytes)
    {
        std::string text;
        for (const auto byte : bytes)
            text += static_cast<char>(byte);
        return text;
    }

    /// The bytes before the first NUL: padding and C strings end there.
    std::string textToNul(ByteSpan bytes)
    {
        return textOf(bytes.first(
            static_cast<std::size_t>(std::find(bytes.begin(), bytes.end(), std::byte {}) - bytes.begin())));
    }

    /// A counted Mac Roman string in a field of `fieldSize` bytes, its length byte included.
    std::string fieldText(ByteReader& in, std::size_t fieldSize)
    {
        const auto length = in.u8();
        const auto field = in.bytes(fieldSize - 1);
        return decodeMacRoman(field.first(std::min<std::size_t>(length, field.size())));
    }

    void appendUtf8(std::string& out, std::uint32_t code)
    {
        const auto tail = [&](unsigned shift) { out += static_cast<char>(0x80U | (code >> shift & 0x3FU)); };
        if (code < 0x80) {
            out += static_cast<char>(code);
        } else if (code < 0x800) {
            out += static_cast<char>(0xC0U | code >> 6U);
            tail(0);
        } else if (code < 0x10000) {
            out += static_cast<char>(0xE0U | code >> 12U);
            tail(6);
            tail(0);
        } else {
            out += static_cast<char>(0xF0U | code >> 18U);
            tail(12);
            tail(6);
            tail(0);
        }
    }

    /// A 16-bit count and as many UTF-16 units; empty when they are not well formed.
    std::string unicodeText(ByteSpan bytes)
    {
        ByteReader in {bytes};
        const auto count = in.u16();
        std::string text;
        for (unsigned i = 0; i < count; ++i) {
            std::uint32_t code = in.u16();
            if (code >= 0xD800 && code < 0xDC00) {
                const std::uint32_t low = in.u16();
                ++i;
                if (low < 0xDC00 || low > 0xDFFF)
                    return {};
                code = 0x10000 + ((code - 0xD800) << 10U) + (low - 0xDC00);
            } else if (code >= 0xDC00 && code <= 0xDFFF) {
                return {};
            }
            if (!in.ok())
                return {};
            appendUtf8(text, code);
        }
        return text;
    }

    using Components = std::vector<std::string>;

    Components split(std::string_view path, char separator)
    {
        Components parts;
        while (!path.empty() && parts.size() <= kMaxComponents) {
            const auto end = std::min(path.find(separator), path.size());
            if (end != 0)
                parts.emplace_back(path.substr(0, end));
            path.remove_prefix(std::min(end + 1, path.size()));
        }
        return parts;
    }

    /// The components of a Macintosh path. A name may hold a slash there, which file systems of this kind
    /// show as a colon.
    Components splitMacPath(std::string_view path)
    {
        auto parts = split(path, ':');
        for (auto& part : parts)
            std::replace(part.begin(), part.end(), '/', ':');
        return parts;
    }

    std::string join(const Components& parts, std::size_t first = 0)
    {
        std::string path;
        for (auto i = first; i < parts.size(); ++i)
            path += (i == first ? "" : "/") + parts[i];
        return path;
    }

    std::string inFolder(const std::string& folder, const std::string& path)
    {
        return folder.empty() || folder.back() == '/' ? folder + path : folder + '/' + path;
    }

    /// The folder that holds this one. Nothing above the root.
    std::optional<std::string> folderAbove(std::string folder)
    {
        while (folder.size() > 1 && folder.back() == '/')
            folder.pop_back();
        if (folder == "/")
            return std::nullopt;
        const auto slash = folder.rfind('/');
        const auto last = slash == std::string::npos ? folder : folder.substr(slash + 1);
        if (last.empty() || last == "." || last == "..")
            return inFolder(folder, "..");
        if (slash == std::string::npos)
            return std::string {};
        return slash == 0 ? "/" : folder.substr(0, slash);
    }

    /// Gathers the paths to try for one entry: no path twice, none empty, too long, or with a NUL.
    class Candidates
    {
    public:
        Candidates(DataReference& reference, const std::string& movieFolder)
            : m_reference(reference)
            , m_folder(movieFolder)
        {
        }

        void add(const std::string& path)
        {
            auto& list = m_reference.candidates;
            if (path.empty() || path.back() == '/' || path.size() > kMaxPathSize
                || path.find('\0') != std::string::npos
                || std::find(list.begin(), list.end(), path) != list.end())
                return;
            list.push_back(path);
        }

        void addBeside(const std::string& name)
        {
            if (isName(name))
                add(inFolder(m_folder, name));
        }

        /// Ends of the path under the movie's folder and the folders that hold it: movie and media were often
        /// moved together. Longer ends are surer, so they come first.
        void addEndsOf(const Components& parts)
        {
            if (parts.size() < 2 || parts.size() > kMaxComponents
                || !std::all_of(parts.begin(), parts.end(), isName))
                return;
            std::optional<std::string> folder = m_folder;
            for (std::size_t up = 0; up <= kMaxFoldersUp && folder; ++up) {
                for (auto first = parts.size() - std::min(parts.size(), kMaxEnd); first + 1 < parts.size();
                     ++first)
                    add(inFolder(*folder, join(parts, first)));
                folder = folderAbove(std::move(*folder));
            }
        }

    private:
        /// Is it one component of a path, and no way out of a folder?
        static bool isName(const std::string& name)
        {
            return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
        }

        DataReference& m_reference;
        const std::string& m_folder;
    };

    // URLs

    int hexDigit(char digit)
    {
        if (digit >= '0' && digit <= '9')
            return digit - '0';
        const auto lower = static_cast<char>(digit | 0x20);
        return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
    }

    std::string percentDecoded(std::string_view text)
    {
        std::string result;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] == '%' && i + 2 < text.size() && hexDigit(text[i + 1]) >= 0
                && hexDigit(text[i + 2]) >= 0) {
                result += static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2]));
                i += 2;
            } else {
                result += text[i];
            }
        }
        return result;
    }

    /// Is there a scheme ("http:") in front? One letter is a drive of another system, not a scheme.
    std::size_t schemeLength(std::string_view url)
    {
        const auto colon = url.find(':');
        if (colon == std::string_view::npos || colon < 2)
            return 0;
        const auto isSchemeCharacter = [](char c) {
            return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') || c == '+' || c == '-'
                || c == '.';
        };
        const auto scheme = url.substr(0, colon);
        return std::all_of(scheme.begin(), scheme.end(), isSchemeCharacter) ? colon : 0;
    }

    void readUrl(const std::string& url, DataReference& reference, const std::string& movieFolder)
    {
        reference.name = decodeText(std::as_bytes(std::span {url}));
        if (url.size() > 3 * kMaxPathSize)
            return;
        std::string_view path = url;
        if (const auto scheme = schemeLength(path); scheme != 0) {
            std::string name {path.substr(0, scheme)};
            std::transform(name.begin(), name.end(), name.begin(),
                [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
            if (name != "file")
                return; // media on another machine
            path.remove_prefix(scheme + 1);
            if (path.starts_with("//")) { // the host, which is this one whatever it is called
                path.remove_prefix(2);
                path.remove_prefix(std::min(path.find('/'), path.size()));
            }
        }
        Candidates candidates {reference, movieFolder};
        const auto decoded = percentDecoded(path);
        // Some writers store a plain path, in which a percent sign is a percent sign.
        for (const auto& form : {decoded, std::string(path)}) {
            if (form.starts_with('/'))
                candidates.add(form);
            else if (!form.empty())
                candidates.add(inFolder(movieFolder, form));
        }
        const auto parts = split(decoded, '/');
        if (!parts.empty())
            candidates.addBeside(parts.back());
        candidates.addEndsOf(parts);
    }

    // Alias records

    /// What an alias record says about its file.
    struct Alias
    {
        std::string volumeName;
        std::string fileName; ///< as Mac Roman had it: at most 31 characters, longer names were shortened
        std::string unicodeName;
        std::string macPath; ///< volume:folder:name
        std::string posixPath;
        std::string posixMount;
    };

    /// Reads a record of version 2 or 3 (fields as the Alias Manager writes them; their layout is known from
    /// files). Damage ends the reading; what came before it counts.
    std::optional<Alias> readAlias(ByteSpan payload)
    {
        ByteReader header {payload};
        header.skip(4); // creator
        const std::size_t size = header.u16();
        const auto version = header.u16();
        if (!header.ok() || (version != 2 && version != 3))
            return std::nullopt;
        // A resource's type and number follow the record in an `rsrc` entry.
        ByteReader in {size > 8 && size < payload.size() ? payload.first(size) : payload};
        in.skip(8);
        Alias alias;
        if (version == 2) {
            in.skip(2); // file or folder
            alias.volumeName = fieldText(in, 28);
            in.skip(12); // volume's date, signature and kind, folder number
            alias.fileName = fieldText(in, 64);
            in.skip(36); // numbers, dates, type, creator, levels, attributes, reserved
        } else {
            in.skip(50); // the same without the names, which are tagged
        }
        while (in.ok() && in.left() >= 4) {
            const auto tag = in.i16();
            const std::size_t length = in.u16();
            if (tag == kTagEnd)
                break;
            const auto value = in.bytes(length);
            if (length % 2 != 0)
                in.skip(in.left() != 0 ? 1 : 0);
            if (!in.ok())
                break;
            switch (tag) {
            case kTagAbsolutePath:
                alias.macPath = decodeMacRoman(value);
                break;
            case kTagUnicodeName:
                alias.unicodeName = unicodeText(value);
                break;
            case kTagUnicodeVolume:
                if (auto name = unicodeText(value); !name.empty())
                    alias.volumeName = std::move(name);
                break;
            case kTagPosixPath:
                alias.posixPath = textToNul(value);
                break;
            case kTagPosixMount:
                alias.posixMount = textToNul(value);
                break;
            default:
                break;
            }
        }
        return alias;
    }

    std::string withoutNul(std::string text)
    {
        text.erase(std::find(text.begin(), text.end(), '\0'), text.end());
        return text;
    }

    void readAliasInto(ByteSpan payload, DataReference& reference, const std::string& movieFolder)
    {
        auto alias = readAlias(payload);
        if (!alias)
            return;
        for (auto* text : {&alias->fileName, &alias->unicodeName, &alias->macPath, &alias->volumeName})
            *text = withoutNul(std::move(*text));
        auto macParts = splitMacPath(alias->macPath);
        const auto posixParts = split(alias->posixPath, '/');
        if (!macParts.empty()) {
            if (alias->volumeName.empty())
                alias->volumeName = macParts.front();
            macParts.erase(macParts.begin());
        }
        // The full name first; the short one is another's when a long name was cut.
        Components names = {alias->unicodeName, alias->fileName};
        for (auto& name : names)
            std::replace(name.begin(), name.end(), '/', ':');
        if (!posixParts.empty())
            names.insert(names.begin(), posixParts.back());
        if (!macParts.empty())
            names.push_back(macParts.back());
        Candidates candidates {reference, movieFolder};
        for (const auto& name : names) {
            if (reference.name.empty())
                reference.name = decodeText(std::as_bytes(std::span {name}));
            candidates.addBeside(name);
        }
        candidates.addEndsOf(posixParts);
        candidates.addEndsOf(macParts);
        for (const Components* parts : std::initializer_list<const Components*> {&posixParts, &macParts}) {
            if (parts->empty() || parts->size() > kMaxComponents)
                continue;
            const auto path = join(*parts);
            if (alias->posixMount.starts_with('/'))
                candidates.add(inFolder(alias->posixMount, path));
            if (!alias->volumeName.empty() && alias->volumeName.find('/') == std::string::npos)
                candidates.add("/Volumes/" + alias->volumeName + '/' + path);
            candidates.add('/' + path);
        }
    }

    DataReference parseEntry(const Atom& entry, const std::string& movieFolder)
    {
        DataReference reference;
        reference.type = entry.type;
        ByteReader in {entry.head.span()};
        in.skip(1); // version
        reference.isSelf = (in.u24() & kSelfFlag) != 0;
        if (reference.isSelf || !in.ok())
            return reference;
        switch (entry.type.value) {
        case "url "_cc.value:
            readUrl(textToNul(in.rest()), reference, movieFolder);
            break;
        case "urn "_cc.value: {
            // The name, then where it may be found.
            const auto name = textToNul(in.rest());
            in.skip(std::min(name.size() + 1, in.left()));
            readUrl(textToNul(in.rest()), reference, movieFolder);
            if (reference.name.empty())
                reference.name = decodeText(std::as_bytes(std::span {name}));
            break;
        }
        case "alis"_cc.value:
        case "rsrc"_cc.value:
            readAliasInto(in.rest(), reference, movieFolder);
            break;
        default:
            break;
        }
        return reference;
    }

} // namespace

std::vector<DataReference> DataReference::parseAll(const Atom& dref, const std::string& movieFolder)
{
    std::vector<DataReference> references;
    for (const auto& entry : dref.children) {
        if (references.size() == kMaxReferences)
            break;
        references.push_back(parseEntry(*entry, movieFolder));
    }
    return references;
}

} // namespace reelwright
