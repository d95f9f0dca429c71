#pragma once

#include <cstdint>
#include <string>

namespace reelwright {

/// Why an engine call failed: what, where in the file, and a sentence for the user.
struct MovieError
{
    enum class Code {
        Io, ///< the operating system refused or failed; `status` is its errno
        Truncated, ///< the data end before they should
        Corrupt, ///< the data contradict themselves
        Unsupported, ///< well formed, but of a kind that this engine does not handle
        Refused, ///< the request cannot be carried out in the present state
        Changed, ///< another program changed the file meanwhile
        Cancelled, ///< the caller's progress function asked to stop
    };

    Code code = Code::Corrupt;
    std::uint64_t offset = 0; ///< byte offset in the file, 0 where none applies
    std::string where; ///< atom path ("moov/trak[2]/edts/elst") or file path, may be empty
    std::string detail; ///< a sentence without its full stop
    int status = 0; ///< the number that log lines print

    /// "WHERE: DETAIL (at byte OFFSET)", leaving out what is empty.
    [[nodiscard]] std::string message() const;
};

/// Damage that the reader lived with. `offset` is a byte offset in the file.
struct MovieWarning
{
    std::uint64_t offset = 0;
    std::string where;
    std::string detail;
};

/// The status number of a code: errno for Io errors is set by their maker, the others have the platform's
/// classic numbers.
int defaultStatus(MovieError::Code code);

} // namespace reelwright
