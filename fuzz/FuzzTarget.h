#pragma once

#include "movie/atoms/Bytes.h"

#include <string_view>

namespace reelwright::fuzz {

/// A use of the program's code on any bytes. It calls `broken` when the code does not keep what it promises.
struct Target
{
    const char* name; ///< of its program (fuzz_open) and of its corpus folder
    void (*run)(ByteSpan input);
    std::size_t maxInput; ///< bytes; longer inputs find nothing that shorter ones do not
};

/// Limits of every input of every target. The slowest inputs of the corpus take a hundredth of them.
constexpr unsigned kMaxSeconds = 10;
constexpr std::size_t kMaxAllocation = 160U << 20U; ///< bytes at once: what 64 KiB can unpack to, and copies
constexpr std::size_t kMaxMemory = 1U << 30U; ///< bytes in all, the sanitizers' own included

void openMovie(ByteSpan input);
void reportMovie(ByteSpan input);
void saveMovie(ByteSpan input);
void importMedia(ByteSpan input);
void readTimes(ByteSpan input);
void readPropertyList(ByteSpan input);
void readRules(ByteSpan input);

std::span<const Target> targets();
const Target* findTarget(std::string_view name);

/// Ends the input: a promise was broken. The fuzzing programs abort; the replay fails its test.
[[noreturn]] void broken(const char* promise);

inline void require(bool kept, const char* promise)
{
    if (!kept)
        broken(promise);
}

} // namespace reelwright::fuzz
