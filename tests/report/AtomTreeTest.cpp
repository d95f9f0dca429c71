#include "report/AtomTree.h"

#include "movie/QTMovie.h"
#include "movie/QTTrack.h"
#include "tests/helpers/TestFiles.h"

#include <map>

namespace reelwright::test {
namespace {

    void collect(const std::vector<AtomNode>& nodes, std::map<std::string, int>& counts)
    {
        static constexpr const char* kNames[] = {"", "inside ", "changed ", "removed ", "added "};
        for (const auto& node : nodes) {
            if (node.change != AtomChange::None)
                ++counts[kNames[static_cast<int>(node.change)] + node.type.text()];
            collect(node.children, counts);
        }
    }

    TEST(AtomTree, MarksWhatASaveWouldChange)
    {
        const std::string path = REELWRIGHT_SOURCE_DIR "/samples/two-audio.mov";
        auto movie = QTMovie::open(path);
        ASSERT_TRUE(movie);
        {
            const EditableScope scope {*movie};
            auto tracks = movie->tracks();
            ASSERT_TRUE(tracks.at(0).setLayer(3));
            ASSERT_TRUE(movie->removeTrack(tracks.at(1)));
        }
        auto tree = AtomTree::read(path, {});
        ASSERT_TRUE(tree);
        tree->markChanges(movie->asSaved().header(), movie->header());
        std::map<std::string, int> counts;
        collect(tree->atoms, counts);
        EXPECT_EQ(counts["changed tkhd"], 1)
            << "the picture's, and not that of the sound behind the one that goes";
        EXPECT_EQ(counts["removed trak"], 1);
        EXPECT_EQ(counts["inside trak"], 1);
        EXPECT_EQ(counts["inside moov"], 1);
        EXPECT_EQ(counts.count("added trak"), 0U);
        EXPECT_EQ(counts.count("changed mdia"), 0U);
    }

} // namespace
} // namespace reelwright::test
