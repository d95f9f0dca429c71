#include "cli/FileList.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>

namespace reelwright::cli {
namespace {

    Result<std::string> readAll(std::FILE* stream, const std::string& name)
    {
        std::string text;
        std::array<char, 65536> buffer; // NOLINT: filled by the read
        while (const auto count = std::fread(buffer.data(), 1, buffer.size(), stream))
            text.append(buffer.data(), count);
        if (std::ferror(stream) != 0)
            return systemFailure(errno, name, "cannot be read");
        return text;
    }

    Result<std::string> readList(const std::string& list)
    {
        if (list == "-")
            return readAll(stdin, "standard input");
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file {
            std::fopen(list.c_str(), "rbe"), &std::fclose};
        if (!file)
            return systemFailure(errno, list, "cannot be opened");
        return readAll(file.get(), list);
    }

    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

    bool isUtf16(std::string_view text)
    {
        return text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF");
    }

    /// Does every line end in CR and LF, as other systems write it? A name may end in CR, but not all of them.
    bool hasCarriageReturns(std::string_view text)
    {
        bool isThere = false;
        for (std::size_t at = 0; (at = text.find('\n', at)) != std::string_view::npos; ++at) {
            isThere = at > 0 && text[at - 1] == '\r';
            if (!isThere)
                return false;
        }
        return isThere;
    }

} // namespace

Result<std::vector<std::string>> readFileList(const std::string& list, NameSeparator separator)
{
    RW_TRY(const auto text, readList(list));
    const bool isLines = separator == NameSeparator::LineEnd;
    const char end = isLines ? '\n' : '\0';
    std::string_view rest = text;
    if (isLines && isUtf16(rest))
        return failure(MovieError::Code::Unsupported, list == "-" ? "standard input" : list,
            "the list is text in UTF-16; save it as UTF-8");
    if (isLines && rest.starts_with(kByteOrderMark))
        rest.remove_prefix(kByteOrderMark.size());
    const bool hasReturns = isLines && hasCarriageReturns(rest);
    std::vector<std::string> names;
    while (!rest.empty()) {
        const auto length = std::min(rest.find(end), rest.size());
        auto name = rest.substr(0, length);
        if (hasReturns && name.ends_with('\r'))
            name.remove_suffix(1);
        if (!name.empty())
            names.emplace_back(name);
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    return names;
}

} // namespace reelwright::cli
