#include "report/Printable.h"

#include <gtest/gtest.h>

namespace reelwright {
namespace {

    struct PrintableFact
    {
        const char* text;
        const char* shown;
        const char* why;
    };

    constexpr PrintableFact kPrintable[] = {
        {"clip 1.mov", "clip 1.mov", "plain text stays"},
        {"Grüße 東京.mov", "Grüße 東京.mov", "so do other languages"},
        {"a\nb\tc", "a\\nb\\tc", "a name cannot begin a new line"},
        {"\x1b[2J", "\\x1b[2J", "or clear the screen"},
        {"\x7f\xc2\x9b", "\\x7f\\x9b", "DEL and the 8-bit control characters do the same"},
        {"\xff\xfe", "\\xff\\xfe", "bytes that are no UTF-8"},
        {"\xc3(", "\\xc3(", "a sequence that breaks off"},
        {"\xc0\xaf", "\\xc0\\xaf", "an overlong form"},
        {"\xed\xa0\x80", "\\xed\\xa0\\x80", "a surrogate"},
        {"a\xe2\x80\xaevom.exe", "a\\u{202e}vom.exe", "reversed writing hides the end of a name"},
    };

    TEST(Printable, ShowsOddNamesWithoutLettingThemAct)
    {
        for (const auto& fact : kPrintable)
            EXPECT_EQ(printable(fact.text), fact.shown) << fact.why;
    }

    TEST(Printable, CountsColumnsNotBytes)
    {
        EXPECT_EQ(displayWidth("Grüße"), 5U);
        EXPECT_EQ(displayWidth("東京"), 4U);
        EXPECT_EQ(displayWidth("e\u0301"), 1U); // e and a combining accent
    }

} // namespace
} // namespace reelwright
