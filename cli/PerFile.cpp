#include "cli/PerFile.h"

#include <exception>
#include <new>

namespace reelwright::cli {

Result<void> guarded(const std::function<Result<void>()>& work)
{
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return failure(MovieError::Code::Unsupported, {}, "there is not enough memory for this file");
    } catch (const std::exception& error) {
        return failure(MovieError::Code::Unsupported, {}, error.what());
    }
}

} // namespace reelwright::cli
