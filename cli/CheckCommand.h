#pragma once

#include "cli/Command.h"

namespace reelwright::cli {

/// `reelwright-cli check`: says of each movie whether it is what a set of rules demands.
class CheckCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    void check() override;
    int run(const Invocation& invocation) override;

private:
    std::string m_rules;
    bool m_isList = false;
};

} // namespace reelwright::cli
