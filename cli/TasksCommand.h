#pragma once

#include "cli/Command.h"

namespace reelwright::cli {

/// `reelwright-cli tasks`: lists the quick tasks with their texts.
class TasksCommand final : public Command
{
public:
    int run(const Invocation& invocation) override;
};

} // namespace reelwright::cli
