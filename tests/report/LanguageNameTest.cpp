#include "report/LanguageName.h"

#include <gtest/gtest.h>

namespace reelwright::test {
namespace {

    struct Row
    {
        std::uint16_t code;
        const char* name;
    };

    constexpr Row kRows[] = {
        {0, "English"},
        {2, "German"},
        {11, "Japanese"},
        {19, "Traditional Chinese"},
        {32, "Russian"},
        {45, "Ukrainian"},
        {61, "Kashmiri"},
        {80, "Vietnamese"},
        {94, "Esperanto"},
        {95, "Macintosh 95"},
        {127, "Macintosh 127"},
        {128, "Welsh"},
        {141, "Afrikaans"},
        {150, "Azerbaijani (Roman)"},
        {151, "Macintosh 151"},
        {0x3FF, "Macintosh 1023"},
        {0x15C7, "eng"},
        {0x400, "Macintosh 1024"}, // no letters
        {0x6B5A, "zzz"},
        {0x6F5A, "Macintosh 28506"}, // 27, 26, 26
        {0x6B5F, "Macintosh 27487"},
        {0x55C4, ""}, // "und"
        {0x7FFF, ""},
    };

    TEST(LanguageName, IsThatOfTheMacintoshLanguageOrTheLettersThatArePacked)
    {
        for (const auto& row : kRows)
            EXPECT_EQ(languageName(row.code), row.name) << row.code;
    }

} // namespace
} // namespace reelwright::test
