#include "movie/files/MediaSources.h"

#include "tests/helpers/TestFiles.h"

#include <gtest/gtest.h>

#include <fstream>

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

    TEST(MediaSources, WhatIsKeptIsReadFromTheDiskOnce)
    {
        const test::TempFolder folder;
        const auto path = folder.file("media");
        std::ofstream {path} << "abcdefgh";
        const auto own = std::make_shared<MovieFile>();
        own->storage = Storage::posix(Storage::Sync::Off);
        own->file = *own->storage->open(path, Storage::Access::Read);
        MediaSources sources {own};
        DataReference self;
        self.isSelf = true;
        EXPECT_FALSE(sources.isKept(self, 2, 4));
        EXPECT_EQ(sources.readKept(self, 2, 4).value(), Bytes::copyOf("cdef"));
        EXPECT_TRUE(sources.isKept(self, 2, 4));
        EXPECT_FALSE(sources.isKept(self, 2, 5));
        EXPECT_FALSE(sources.readKept(self, 6, 4)) << "the file ends before";
        EXPECT_TRUE(sources.isKept(self, 6, 4)) << "a failure is not asked for again either";
        std::ofstream {path} << "ABCDEFGHIJKL";
        EXPECT_EQ(sources.readKept(self, 2, 4).value(), Bytes::copyOf("cdef"));
        EXPECT_FALSE(sources.readKept(self, 6, 4));
        EXPECT_EQ(sources.read(self, 6, 4).value(), Bytes::copyOf("GHIJ"));

        DataReference elsewhere;
        elsewhere.candidates = {folder.file("none")};
        EXPECT_FALSE(sources.isKept(elsewhere, 2, 4)) << "the same place in another file";
        EXPECT_FALSE(sources.readKept(elsewhere, 2, 4));
        EXPECT_TRUE(sources.isKept(elsewhere, 2, 4));
        EXPECT_TRUE(sources.isKept(self, MediaSources::kMemoryBase, 4)) << "media in memory wait for nothing";
    }

} // namespace
} // namespace reelwright
