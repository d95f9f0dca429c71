#pragma once

#include "cli/Command.h"

#include <optional>

namespace reelwright::cli {

/// `reelwright-cli export`: writes movies in other formats. The exit status: 1 when a file failed, else 0.
class ExportCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    void check() override;
    int run(const Invocation& invocation) override;

private:
    int list(const Invocation& invocation) const;

    std::string m_format = "H.264 (MP4)";
    std::optional<std::string> m_settings;
    std::optional<std::string> m_range;
    std::optional<std::string> m_output;
    std::optional<std::string> m_folder;
    bool m_overwrite = false;
    bool m_list = false;
};

/// `reelwright-cli frame`: single pictures, a series of them, or a sheet of small ones. The exit status as
/// above.
class FrameCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    void check() override;
    int run(const Invocation& invocation) override;

private:
    std::optional<std::string> m_at;
    std::optional<std::string> m_every;
    std::optional<std::string> m_sheet;
    std::optional<std::string> m_output;
    bool m_overwrite = false;
};

} // namespace reelwright::cli
