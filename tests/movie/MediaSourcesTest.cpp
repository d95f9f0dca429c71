#include "movie/MediaSources.h"

#include <gtest/gtest.h>

namespace reelwright {
namespace {

    TEST(MediaSources, MediaInMemoryAreFoundAtTheOffsetsThatWereAnswered)
    {
        MediaSources sources {nullptr};
        const auto empty = sources.addMemory({});
        const auto first = sources.addMemory(Bytes::copyOf("first"));
        const auto none = sources.addMemory({});
        const auto second = sources.addMemory(Bytes::copyOf("second"));
        EXPECT_GE(empty, MediaSources::kMemoryBase);
        EXPECT_EQ(sources.memory(first, 5), Bytes::copyOf("first"));
        EXPECT_EQ(sources.memory(first + 2, 2), Bytes::copyOf("rs"));
        EXPECT_EQ(sources.memory(first, 100), Bytes::copyOf("first")) << "a block ends where it ends";
        EXPECT_EQ(sources.memory(second, 6), Bytes::copyOf("second"));
        EXPECT_TRUE(sources.memory(none, 0).empty());
        EXPECT_TRUE(sources.memory(second + 6, 1).empty());
        EXPECT_TRUE(sources.memory(0, 1).empty());
    }

    TEST(MediaSources, MediaThatNothingHoldsCannotBeRead)
    {
        MediaSources sources {nullptr};
        const auto offset = sources.addMemory(Bytes::copyOf("media"));
        DataReference self;
        self.isSelf = true;
        EXPECT_EQ(sources.read(self, offset, 5).value(), Bytes::copyOf("media"));
        EXPECT_EQ(sources.read(self, offset, 6).error().code, MovieError::Code::Corrupt);
        EXPECT_EQ(sources.read(self, 0, 1).error().code, MovieError::Code::Refused) << "there is no file";
    }

} // namespace
} // namespace reelwright
