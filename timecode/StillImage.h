#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace reelwright {

/// What the metadata of a still image say about its recording.
class StillImage
{
public:
    /// A time of day of a camera's clock.
    struct ClockTime
    {
        std::uint8_t hours = 0;
        std::uint8_t minutes = 0;
        std::uint8_t seconds = 0;
        bool operator==(const ClockTime&) const = default;
    };

    /// Whether the module that reads images is where the program was installed.
    static bool canBeRead();
    /// The time of the EXIF entry DateTimeOriginal. Nothing when the file cannot be read as an image or the
    /// entry is missing or no whole date and time. Safe to call from several threads.
    static std::optional<ClockTime> recordingTime(const std::string& path);
    /// The time of "YYYY:MM:DD HH:MM:SS"; nothing for a text of another form and for what is no date.
    static std::optional<ClockTime> timeFromExif(const std::string& text);
};

} // namespace reelwright
