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

} // namespace

Result<std::vector<std::string>> readFileList(const std::string& list, NameSeparator separator)
{
    RW_TRY(const auto text, readList(list));
    const char end = separator == NameSeparator::Nul ? '\0' : '\n';
    std::vector<std::string> names;
    for (std::string_view rest = text; !rest.empty();) {
        const auto length = std::min(rest.find(end), rest.size());
        if (length != 0)
            names.emplace_back(rest.substr(0, length));
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    return names;
}

} // namespace reelwright::cli
