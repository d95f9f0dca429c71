#include "support/Text.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using testing::ElementsAre;

    TEST(Text, SeparatorsMakeOnePartMoreThanTheyAre)
    {
        EXPECT_THAT(split("01:02;03", ":;"), ElementsAre("01", "02", "03"));
        EXPECT_THAT(split(":a:", ":"), ElementsAre("", "a", "")) << "empty parts count";
        EXPECT_THAT(split("", ":"), ElementsAre(""));
        EXPECT_THAT(split("abc", ":"), ElementsAre("abc"));
    }

    TEST(Text, NumbersAreReadAsFarAsTheyGo)
    {
        struct NumberFact
        {
            const char* text;
            int number;
            const char* why;
        };
        constexpr NumberFact kFacts[] = {
            {"12", 12, "plain"},
            {" \t-07x9", -7, "white space, a sign, leading zeros, and what follows"},
            {"+5", 5, "a plus sign"},
            {"- 5", 0, "no white space behind the sign"},
            {"--5", 0, "one sign"},
            {"", 0, "nothing"},
            {"x5", 0, "no number at the start"},
            {"2147483647", 2147483647, "the largest"},
            {"2147483648", 2147483647, "one more"},
            {"-2147483648", -2147483647 - 1, "the smallest"},
            {"-99999999999999999999999999", -2147483647 - 1, "far less"},
            {"99999999999999999999999999", 2147483647, "far more"},
        };
        for (const auto& fact : kFacts)
            EXPECT_EQ(integerValue(fact.text), fact.number) << fact.why;
    }

} // namespace
} // namespace reelwright
