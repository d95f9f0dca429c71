#pragma once

#include "cli/Command.h"

namespace reelwright::cli {

/// `reelwright-cli verify`: reads every sample of every track and says which cannot be read, and where. The
/// exit status: 1 when something cannot be read, else 0.
class VerifyCommand final : public Command
{
public:
    int run(const Invocation& invocation) override;
};

} // namespace reelwright::cli
