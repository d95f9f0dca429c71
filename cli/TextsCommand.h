#pragma once

#include "cli/Command.h"
#include "tracks/TextLists.h"
#include "tracks/TrackSelector.h"

#include <optional>
#include <string>

namespace reelwright::cli {

/// Prints the texts of text tracks, or writes them as a list for other programs.
class TextsCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    void check() override;
    int run(const Invocation& invocation) override;

private:
    std::string m_formatName;
    const TextLists::FormatKind* m_format = nullptr;
    std::string m_trackText = "tx*";
    std::optional<TrackSelector> m_tracks;
    std::optional<std::string> m_output;
};

} // namespace reelwright::cli
