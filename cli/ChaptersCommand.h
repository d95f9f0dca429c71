#pragma once

#include "chapters/MarkerFiles.h"
#include "cli/Command.h"

#include <cstdint>
#include <optional>
#include <string>

namespace reelwright::cli {

/// `reelwright-cli chapters`: each movie's chapters as a table, or as a list of another program. The exit
/// status: 1 when a file or its chapters could not be read, or the list not be written, else 0.
class ChaptersCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    void check() override;
    int run(const Invocation& invocation) override;

private:
    std::string m_formatName;
    const MarkerFormat* m_format = nullptr;
    std::optional<std::string> m_output;
};

/// `reelwright-cli markers`: the markers of final-cut XML projects. The exit status: 1 when a file could not
/// be read or has none, else 0.
class MarkersCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    int run(const Invocation& invocation) override;

private:
    bool m_seconds = false;
    bool m_allLevels = false;
    bool m_keepsDuplicates = false;
    std::int32_t m_relativeHour = -1;
};

} // namespace reelwright::cli
