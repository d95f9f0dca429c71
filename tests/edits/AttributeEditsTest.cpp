#include "edits/AttributeEdits.h"

#include "edits/EditCatalogue.h"
#include "tests/helpers/LogTest.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    struct OptionFact
    {
        const char* option;
        const char* value;
        const char* label; ///< in a queue; null for wrong usage
        const char* why;
    };

    using AttributeEditsTest = test::LogTest;

    TEST_F(AttributeEditsTest, OptionsReadTheirValuesAndNoOthers)
    {
        const OptionFact facts[] = {
            {"--pixel-aspect", "40:33", "Set pixel aspect ratio to 40:33", "a ratio"},
            {"--pixel-aspect", "296:289", "Set pixel aspect ratio to 296:289",
                "cut to 8 bits, with a warning"},
            {"--pixel-aspect", "256:1", nullptr, "would be 0:1"},
            {"--pixel-aspect", "4:3:2", nullptr, "three numbers"},
            {"--pixel-aspect", "-4:3", nullptr, "negative"},
            {"--pixel-aspect", "none", "Remove pixel aspect ratio", "removal"},
            {"--gamma", "2.2", "Set gamma to 2.2", "a gamma"},
            {"--gamma", "0", nullptr, "zero"},
            {"--gamma", "2.2x", nullptr, "more than a number"},
            {"--gamma", "nan", nullptr, "no number"},
            {"--color", "pal", "Set color to pal", "a name"},
            {"--color", "9-16-9", "Set color to 9-16-9", "codes"},
            {"--color", "9-16", nullptr, "two codes"},
            {"--color", "9-16-65536", nullptr, "more than a code holds"},
            {"--color-space", "Adobe RGB 1998", "Set color space to adobe-rgb-1998", "as shown"},
            {"--color-space", "generic-gray-2.2-gamma", "Set color space to generic-gray-2.2-gamma",
                "hyphens"},
            {"--color-space", "rec2020", nullptr, "unknown"},
            {"--fields", "interlaced", "Set fields to interlaced", "fields"},
            {"--fields", "2", nullptr, "a code"},
            {"--field-dominance", "14", "Set field dominance to 14", "a code"},
            {"--field-dominance", "2", nullptr, "no such code"},
            {"--encoded-width", "1440", "Set encoded width to 1440", "pixels"},
            {"--encoded-width", "none", nullptr, "cannot be removed"},
            {"--bit-depth", "65536", nullptr, "more than the field holds"},
        };
        for (const auto& fact : facts) {
            EditSteps steps;
            for (const auto& kind : edits::attributeKinds())
                if (kind.option == std::string_view(fact.option)) {
                    const auto parsed = kind.parse(fact.value, steps);
                    EXPECT_EQ(parsed.has_value(), fact.label != nullptr) << fact.option << ": " << fact.why;
                }
            const auto plan = steps.finish().value();
            ASSERT_EQ(plan.edits.size(), fact.label ? 1U : 0U) << fact.option << ": " << fact.why;
            if (fact.label) {
                EXPECT_EQ(plan.edits.front().queueLabel, fact.label);
                EXPECT_EQ(
                    plan.edits.front().performAndTell != nullptr, std::string_view(fact.value) == "296:289");
            }
        }
    }

    TEST_F(AttributeEditsTest, FieldsOfATrackChangeThatTrackAlone)
    {
        auto movie = test::emptyMovie();
        test::addTrack(movie, {.trackID = 1});
        test::addTrack(movie, {.trackID = 2});
        test::addTrack(movie, {.mediaType = QTMediaTypeSound, .trackID = 3});
        const auto gammaOf
            = [&](std::size_t track) { return movie.tracks()[track].media().sampleDescription(1)->gamma(); };
        const auto apply = [&](const char* value) {
            EditSteps steps;
            EXPECT_TRUE(edits::trackKinds().front().parse(value, steps));
            return steps.finish()->apply(movie);
        };
        EXPECT_TRUE(apply("v2:gamma=2.2"));
        EXPECT_FALSE(gammaOf(0));
        EXPECT_EQ(gammaOf(1), 144179U);
        EXPECT_FALSE(apply("a1:gamma=2.2")) << "sound has none";
        EXPECT_TRUE(apply("v*:gamma=none"));
        EXPECT_FALSE(gammaOf(1));
        EXPECT_TRUE(apply("v*:gamma=none")) << "nothing is left to remove";
        EXPECT_FALSE(movie.isEditable());
    }

} // namespace
} // namespace reelwright
