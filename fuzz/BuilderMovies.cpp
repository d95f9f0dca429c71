// Writes small movies of every shape that the tests' builder knows into a folder: seeds for the fuzzing
// programs.

#include "tests/helpers/MovieBuilder.h"

#include <cstdio>
#include <string>

using namespace reelwright;
using namespace reelwright::test;

namespace {

bool write(const std::string& path, ByteSpan bytes)
{
    auto* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    const bool done = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && done;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "Usage: fuzz_builder_movies FOLDER\n");
        return 2;
    }
    using Place = MovieBuilder::HeaderPlace;
    int number = 0;
    for (const auto place : {Place::First, Place::Last, Place::BetweenMedia})
        for (const bool odd : {false, true}) {
            MovieBuilder built;
            built.headerPlace = place;
            built.tracks = {{.samples = 5, .samplesPerChunk = 2}, {"soun"_cc, 20, 10}};
            if (odd) {
                built.freeBefore = 64;
                built.freeAfter = 900;
                built.brand = "";
                built.hasWideMediaSize = built.hasWideOffsets = true;
                built.hasUnknownAtoms = built.isUserDataTerminated = true;
                built.commentSize = 20;
                built.tracks.front().edits = {{24, -1, 0x10000}, {72, 24, 0x10000}};
            }
            if (!write(std::string(argv[1]) + "/built-" + std::to_string(++number) + ".mov", built.build())) {
                std::fprintf(stderr, "%s cannot be written to\n", argv[1]);
                return 1;
            }
        }
    return 0;
}
