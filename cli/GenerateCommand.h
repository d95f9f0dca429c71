#pragma once

#include "cli/Command.h"

namespace reelwright::cli {

/// `reelwright-cli generate WHAT`: what the system wants to know of the tool, made from its own options: the
/// completion of a shell, or the manual page.
class GenerateCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    void check() override;
    int run(const Invocation& invocation) override;

private:
    const CLI::App* m_program = nullptr;
    std::string m_what;
    std::string m_text;
};

} // namespace reelwright::cli
