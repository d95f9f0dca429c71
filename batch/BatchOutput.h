#pragma once

#include "batch/BatchSettings.h"
#include "movie/Result.h"

#include <vector>

namespace reelwright {

/// Where the result of that file goes; the file itself in place.
std::string batchOutput(const std::string& file, const BatchSettings& settings);

/// Can the run begin? Refused, in a sentence, when two files would get one name, or one would replace another
/// file of the batch.
Result<void> checkBatchOutputs(const std::vector<std::string>& files, const BatchSettings& settings);

} // namespace reelwright
