#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace reelwright::cli {

/// The parser's own help, with our usage line and list of commands, and one blank line where it puts none or
/// two.
class HelpFormatter : public CLI::Formatter
{
public:
    HelpFormatter();

    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_description(const CLI::App* app) const override;
    std::string make_usage(const CLI::App* app, std::string name) const override;
    /// The first line of each command's description.
    std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const override;
};

} // namespace reelwright::cli
