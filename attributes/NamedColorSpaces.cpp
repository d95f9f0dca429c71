#include "attributes/NamedColorSpaces.h"

#include "attributes/ColorProfileData.h"

#include <string>

namespace reelwright::namedColorSpaces {
namespace {

    std::uint32_t digit(char letter)
    {
        if (letter >= 'A' && letter <= 'Z')
            return static_cast<std::uint32_t>(letter - 'A');
        if (letter >= 'a' && letter <= 'z')
            return static_cast<std::uint32_t>(letter - 'a' + 26);
        if (letter >= '0' && letter <= '9')
            return static_cast<std::uint32_t>(letter - '0' + 52);
        return letter == '+' ? 62 : 63;
    }

    Bytes decoded(std::string_view base64)
    {
        const auto padding = base64.size() - std::min(base64.size(), base64.find('='));
        std::vector<std::byte> bytes;
        bytes.reserve(base64.size() / 4 * 3);
        for (std::size_t i = 0; i + 4 <= base64.size(); i += 4) {
            std::uint32_t group = 0;
            for (std::size_t k = 0; k < 4; ++k)
                group = group << 6U | (base64[i + k] == '=' ? 0U : digit(base64[i + k]));
            for (unsigned shift = 24; shift > 0; shift -= 8)
                bytes.push_back(static_cast<std::byte>(group >> (shift - 8) & 0xFFU));
        }
        bytes.resize(bytes.size() - padding);
        return Bytes::adopt(std::move(bytes));
    }

    /// Decoded when the first is asked for.
    const std::array<Bytes, kNames.size()>& profiles()
    {
        static const auto all = [] {
            std::array<Bytes, kNames.size()> made;
            for (std::size_t i = 0; i < made.size(); ++i)
                made[i] = decoded(kColorProfiles[i].base64);
            return made;
        }();
        return all;
    }

    std::string hyphenated(std::string_view name)
    {
        std::string text {name};
        for (auto& letter : text) {
            if (letter == ' ')
                letter = '-';
            else if (letter >= 'A' && letter <= 'Z')
                letter = static_cast<char>(letter - 'A' + 'a');
        }
        return text;
    }

} // namespace

std::optional<Bytes> profile(std::size_t index)
{
    if (index >= kNames.size())
        return std::nullopt;
    return profiles()[index];
}

std::optional<std::size_t> indexOf(const Bytes& profile)
{
    for (std::size_t i = 0; i < kNames.size(); ++i)
        if (profiles()[i] == profile)
            return i;
    return std::nullopt;
}

std::optional<std::size_t> indexNamed(std::string_view name)
{
    for (std::size_t i = 0; i < kNames.size(); ++i)
        if (name == kNames[i] || name == hyphenated(kNames[i]))
            return i;
    return std::nullopt;
}

} // namespace reelwright::namedColorSpaces
