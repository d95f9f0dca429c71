#pragma once

#include "batch/BatchRun.h"
#include "report/Json.h"

#include <span>

namespace reelwright {

/// What a run did, to be handed on.
struct BatchTotals
{
    std::size_t files = 0;
    std::size_t done = 0;
    std::size_t unchanged = 0;
    std::size_t failed = 0;
    std::size_t warnings = 0;
    std::size_t verified = 0;
    std::uint64_t bytesWritten = 0;
    double seconds = 0; ///< of work, files at a time counted one by one

    static BatchTotals of(std::span<const BatchResult> results);
};

/// One row a file: file, status, result, output, mode, bytes written, verified, warnings. As RFC 4180 has it:
/// separated by commas, lines ended by CR and LF, UTF-8.
std::string batchReportCsv(std::span<const BatchResult> results);
/// The queue, the totals, and an object a file.
Json batchReportJson(const BatchQueue& queue, std::span<const BatchResult> results);
/// For people, failures first.
std::string batchReportText(const BatchQueue& queue, std::span<const BatchResult> results);

/// The command that does the same: a line to be pasted into a shell. With no files it ends in a place for
/// them.
std::string batchCommandLine(
    const BatchQueue& queue, const BatchSettings& settings, std::span<const std::string> files);

} // namespace reelwright
