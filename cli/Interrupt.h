#pragma once

namespace reelwright::cli {

/// A request to stop: Ctrl-C, SIGTERM, or the terminal going away. The first one is noted, a second one of
/// the same kind ends the process at once.
namespace interrupt {

    /// From here on such requests are noted. Call before starting threads.
    void listen();
    /// The number of the signal that came, or 0.
    int received();

} // namespace interrupt

} // namespace reelwright::cli
