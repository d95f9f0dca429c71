#include "edits/OptionsFile.h"

#include <fmt/format.h>

#include <cerrno>
#include <fstream>
#include <optional>

namespace reelwright {
namespace {

    constexpr std::string_view kOptionsFrom = "--options-from";
    constexpr std::size_t kMostBytes = 1U << 20U;

    bool isBlank(char character)
    {
        return character == ' ' || character == '\t' || character == '\r';
    }

    /// The words of one line. The error is a sentence.
    Result<std::vector<std::string>> wordsOf(std::string_view line)
    {
        const auto wrong = [](const char* why) { return failure(MovieError::Code::Refused, {}, why); };
        std::vector<std::string> words;
        std::optional<std::string> word; // an empty one can be quoted
        for (std::size_t i = 0; i < line.size(); ++i) {
            const char character = line[i];
            if (isBlank(character)) {
                if (word)
                    words.push_back(std::move(*word));
                word.reset();
            } else if (character == '#' && !word)
                break;
            else if (character == '\'' || character == '"') {
                word = word.value_or("");
                for (++i; i < line.size() && line[i] != character; ++i) {
                    const bool isEscape = character == '"' && line[i] == '\\' && i + 1 < line.size()
                        && (line[i + 1] == '"' || line[i + 1] == '\\');
                    *word += line[isEscape ? ++i : i];
                }
                if (i == line.size())
                    return wrong(character == '"' ? "a \" is not closed on this line"
                                                  : "a ' is not closed on this line");
            } else if (character == '\\') {
                if (i + 1 == line.size() || isBlank(line[i + 1]))
                    return wrong("a \\ stands before nothing");
                word = word.value_or("") + line[++i];
            } else
                word = word.value_or("") + character;
        }
        if (word)
            words.push_back(std::move(*word));
        return words;
    }

} // namespace

Result<std::vector<std::string>> parseOptions(std::string_view text, const std::string& path,
    const std::function<bool(const std::string& name)>& isOption)
{
    std::vector<std::string> all;
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    for (std::size_t number = 1; !text.empty(); ++number) {
        const auto wrong = [&](const std::string& why) {
            return failure(MovieError::Code::Refused, {}, fmt::format("{}:{}: {}", path, number, why));
        };
        const auto end = std::min(text.find('\n'), text.size());
        auto words = wordsOf(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (!words)
            return wrong(words.error().detail);
        if (words->empty())
            continue;
        const auto& first = words->front();
        if (!first.starts_with('-') || first == "-" || first == "--")
            return wrong(fmt::format("\"{}\" is no option; a line begins with one", first));
        for (const auto& word : *words) {
            if (!word.starts_with("--"))
                continue;
            const auto name = word.substr(0, word.find('='));
            if (name == kOptionsFrom)
                return wrong("a file of options cannot read another one");
            // A value may begin with two dashes where an option stands before it on the line.
            if (&word == &words->front() && !isOption(name))
                return wrong(fmt::format("there is no option \"{}\"", name));
        }
        all.insert(all.end(), words->begin(), words->end());
    }
    return all;
}

Result<std::vector<std::string>> readOptionsFile(
    const std::string& path, const std::function<bool(const std::string& name)>& isOption)
{
    std::ifstream file {path, std::ios::binary};
    if (!file)
        return systemFailure(errno, path, "the options cannot be read");
    std::string text(kMostBytes + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (file.bad() || (file.gcount() == 0 && !file.eof()))
        return systemFailure(EIO, path, "the options cannot be read");
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (text.size() > kMostBytes || text.find('\0') != std::string::npos)
        return failure(MovieError::Code::Refused, path, "the file is no text with options");
    return parseOptions(text, path, isOption);
}

Result<std::vector<std::string>> withOptionFiles(
    const std::vector<std::string>& arguments, const std::function<bool(const std::string& name)>& isOption)
{
    std::vector<std::string> all;
    bool takesOptions = true;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const auto& argument = arguments[i];
        takesOptions = takesOptions && argument != "--";
        const bool isNamed = takesOptions && argument == kOptionsFrom;
        const bool isJoined = takesOptions && argument.starts_with(std::string(kOptionsFrom) + '=');
        if (!isNamed && !isJoined) {
            all.push_back(argument);
            continue;
        }
        if (isNamed && i + 1 == arguments.size())
            return failure(MovieError::Code::Refused, {}, "--options-from needs the name of a file");
        const auto path = isNamed ? arguments[++i] : argument.substr(kOptionsFrom.size() + 1);
        RW_TRY(const auto words, readOptionsFile(path, isOption));
        all.insert(all.end(), words.begin(), words.end());
    }
    return all;
}

} // namespace reelwright
