#pragma once

#include "attributes/MetadataList.h"
#include "cli/Command.h"

namespace reelwright::cli {

/// `reelwright-cli metadata`: lists metadata, as a table, or as a list for other programs.
class MetadataCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    void check() override;
    int run(const Invocation& invocation) override;

private:
    int printTable(const Invocation& invocation);
    int finish(const Invocation& invocation, const std::string& text) const;

    std::string m_formatName;
    std::string m_output;
    std::string m_track;
    bool m_isTable = false;
    bool m_overwrite = false;
    std::optional<MetadataList::Format> m_format;
};

} // namespace reelwright::cli
