#include "report/LanguageName.h"

#include <fmt/format.h>

#include <iterator>
#include <string_view>

namespace reelwright {
namespace {

    /// The Macintosh languages from 0 on.
    constexpr std::string_view kNames[] = {"English", "French", "German", "Italian", "Dutch", "Swedish",
        "Spanish", "Danish", "Portuguese", "Norwegian", "Hebrew", "Japanese", "Arabic", "Finnish", "Greek",
        "Icelandic", "Maltese", "Turkish", "Croatian", "Traditional Chinese", "Urdu", "Hindi", "Thai",
        "Korean", "Lithuanian", "Polish", "Hungarian", "Estonian", "Latvian", "Sami", "Faroese", "Farsi",
        "Russian", "Simplified Chinese", "Flemish", "Irish", "Albanian", "Romanian", "Czech", "Slovak",
        "Slovenian", "Yiddish", "Serbian", "Macedonian", "Bulgarian", "Ukrainian", "Belarusian", "Uzbek",
        "Kazakh", "Azerbaijani (Cyrillic)", "Azerbaijani (Arabic)", "Armenian", "Georgian", "Moldavian",
        "Kirghiz", "Tajiki", "Turkmen", "Mongolian", "Mongolian (Cyrillic)", "Pashto", "Kurdish", "Kashmiri",
        "Sindhi", "Tibetan", "Nepali", "Sanskrit", "Marathi", "Bengali", "Assamese", "Gujarati", "Punjabi",
        "Oriya", "Malayalam", "Kannada", "Tamil", "Telugu", "Sinhalese", "Burmese", "Khmer", "Lao",
        "Vietnamese", "Indonesian", "Tagalog", "Malay (Roman)", "Malay (Arabic)", "Amharic", "Tigrinya",
        "Oromo", "Somali", "Swahili", "Kinyarwanda", "Rundi", "Nyanja", "Malagasy", "Esperanto"};

    /// And those from there on.
    constexpr std::uint16_t kFirstLater = 128;
    constexpr std::string_view kLaterNames[] = {"Welsh", "Basque", "Catalan", "Latin", "Quechua", "Guarani",
        "Aymara", "Tatar", "Uighur", "Dzongkha", "Javanese (Roman)", "Sundanese (Roman)", "Galician",
        "Afrikaans", "Breton", "Inuktitut", "Scottish Gaelic", "Manx Gaelic", "Irish Gaelic (with dot above)",
        "Tongan", "Greek (polytonic)", "Greenlandic", "Azerbaijani (Roman)"};

    std::string macintoshName(std::uint16_t code)
    {
        if (code < std::size(kNames))
            return std::string {kNames[code]};
        if (code >= kFirstLater && code - kFirstLater < std::ssize(kLaterNames))
            return std::string {kLaterNames[code - kFirstLater]};
        return fmt::format("Macintosh {}", code);
    }

} // namespace

std::string languageName(std::uint16_t code)
{
    constexpr std::uint16_t kFirstPacked = 0x400;
    constexpr std::uint16_t kUnspecified = 0x7FFF;
    if (code == kUnspecified)
        return {};
    if (code < kFirstPacked)
        return macintoshName(code);
    // Three letters of five bits each, which count from 1.
    std::string letters;
    for (const int shift : {10, 5, 0}) {
        const int letter = (code >> shift) & 0x1F;
        if (letter < 1 || letter > 26)
            return macintoshName(code);
        letters += static_cast<char>('a' - 1 + letter);
    }
    return letters == "und" ? std::string {} : letters;
}

} // namespace reelwright
