#include "timecode/StillImage.h"

#include "support/KWLog.h"
#include "support/Text.h"
#include "timecode/modules/StillImageModule.h"

#include <dlfcn.h>

#include <chrono>
#include <filesystem>
#include <mutex>
#include <string_view>

namespace reelwright {
namespace {

    /// The module's function; nothing when the module cannot be loaded, which is tried again the next time.
    ReadDateTimeOriginal* reader()
    {
        void* module = dlopen(kStillImageModule, RTLD_NOW | RTLD_LOCAL); // stays for as long as the program
        void* function = module ? dlsym(module, kReadDateTimeOriginal) : nullptr;
        if (!function)
            KWLog::appendLog("Unable to read still images: {}", dlerror());
        return reinterpret_cast<ReadDateTimeOriginal*>(function);
    }

    /// The entry's text, or the empty string.
    std::string dateTimeOriginal(const std::string& path)
    {
        // The library's reader of XMP packets, which it calls for every image, is not made for threads.
        static std::mutex mutex;
        const std::scoped_lock lock {mutex};
        std::string text;
        std::string error;
        if (auto* read = reader())
            read(path, text, error);
        if (!error.empty())
            KWLog::appendLog("Unable to read {}: {}", path, error);
        return text;
    }

} // namespace

bool StillImage::canBeRead()
{
    return reader() != nullptr;
}

std::optional<StillImage::ClockTime> StillImage::recordingTime(const std::string& path)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) // a pipe would be waited for
        return std::nullopt;
    return timeFromExif(std::string(trimmed(dateTimeOriginal(path))));
}

std::optional<StillImage::ClockTime> StillImage::timeFromExif(const std::string& text)
{
    constexpr std::string_view kForm = "0000:00:00 00:00:00";
    if (text.size() != kForm.size())
        return std::nullopt;
    for (std::size_t i = 0; i < kForm.size(); ++i) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (kForm[i] == '0' ? !isDigit : text[i] != kForm[i])
            return std::nullopt;
    }
    const auto number
        = [&](std::size_t at, std::size_t digits) { return std::stoi(text.substr(at, digits)); };
    const auto part = [&](std::size_t at) { return static_cast<unsigned>(number(at, 2)); };
    const std::chrono::year_month_day date {
        std::chrono::year {number(0, 4)}, std::chrono::month {part(5)}, std::chrono::day {part(8)}};
    if (!date.ok() || part(11) > 23 || part(14) > 59 || part(17) > 59)
        return std::nullopt;
    const auto byte = [&](std::size_t at) { return static_cast<std::uint8_t>(part(at)); };
    return ClockTime {byte(11), byte(14), byte(17)};
}

} // namespace reelwright
