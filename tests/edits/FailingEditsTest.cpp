#include "edits/EditCatalogue.h"
#include "movie/QTTrack.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/TestFiles.h"

#include <gtest/gtest.h>

namespace reelwright {
namespace {

    /// Applies an option to the movie as the command line does.
    Result<void> apply(const std::string& option, const std::string& value, QTMovie& movie)
    {
        for (const auto& kind : editKinds())
            if (kind.option == option) {
                EditSteps steps;
                RW_CHECK(kind.parse(value, steps));
                RW_TRY(const auto plan, steps.finish());
                return plan.apply(movie);
            }
        return failure(MovieError::Code::Unsupported, option, "there is no such option");
    }

    TEST(FailingEdits, WhatCannotBeAppliedSaysSoAndChangesNothing)
    {
        const test::TempFolder folder;
        const auto path = folder.file("clip.mov");
        test::writeFile(path, test::MovieBuilder {}.build());
        const auto whole = QTMovie::open(path).value();
        auto damaged = whole;
        {
            const EditableScope scope {damaged};
            damaged.editHeader().edit("trak"_cc)->setLeaf("tkhd"_cc, Bytes::copyOf("damaged"));
        }
        const std::pair<const char*, const char*> options[] = {{"--rotate", "left"}, {"--rotate", "right"},
            {"--flip", ""}, {"--flop", ""}, {"--track", "*:enabled=off"}, {"--track", "*:in=10"},
            {"--track", "*:duration=2"}, {"--track", "*:layer=3"}, {"--track", "*:group=3"},
            {"--remove-track", "v9"}, {"--track", "v9:enabled=on"}};
        for (const auto& [option, value] : options) {
            auto movie = damaged;
            const auto done = apply(option, value, movie);
            ASSERT_FALSE(done) << option << ' ' << value;
            EXPECT_NE(done.error().code, MovieError::Code::Unsupported) << done.error().message();
            EXPECT_FALSE(done.error().detail.empty());
            EXPECT_EQ(movie.header().toBytes(), damaged.header().toBytes()) << option;
        }
    }

} // namespace
} // namespace reelwright
