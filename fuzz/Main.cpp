// The entry points that libFuzzer calls, for the target that the build names.

#include "fuzz/FuzzTarget.h"
#include "support/KWLog.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

const reelwright::fuzz::Target& target()
{
    static const auto* const found = reelwright::fuzz::findTarget(REELWRIGHT_FUZZ_TARGET);
    return *found;
}

} // namespace

void reelwright::fuzz::broken(const char* promise)
{
    std::fprintf(stderr, "A promise is broken: %s\n", promise);
    std::abort();
}

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    reelwright::KWLog::willTerminate(); // nobody reads the log of so many runs
    // The limits stand before what the command line says, which wins.
    using namespace reelwright::fuzz;
    static std::vector<std::string> words {(*argv)[0], "-timeout=" + std::to_string(kMaxSeconds),
        "-malloc_limit_mb=" + std::to_string(kMaxAllocation >> 20U),
        "-rss_limit_mb=" + std::to_string(kMaxMemory >> 20U),
        "-max_len=" + std::to_string(target().maxInput)};
    words.insert(words.end(), *argv + 1, *argv + *argc);
    static std::vector<char*> pointers {(*argv)[0]};
    for (std::size_t i = 1; i < words.size(); ++i)
        pointers.push_back(words[i].data());
    *argc = static_cast<int>(pointers.size());
    pointers.push_back(nullptr);
    *argv = pointers.data();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    target().run(std::as_bytes(std::span {data, size}));
    return 0;
}
