#pragma once

namespace reelwright {

/// What a movie that is written anew does with the bytes of its media atoms that nothing refers to, and with
/// headers of other movies in its file.
enum class UnusedBytes {
    Keep, ///< bytes come along; a header of another movie cannot, and the save is refused
    LeaveOut, ///< they are left out, and counted: for a user who asked for a new file
};

} // namespace reelwright
