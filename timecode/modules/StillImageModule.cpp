#include "timecode/modules/StillImageModule.h"

#include <exiv2/exiv2.hpp>

extern "C" void reelwrightReadDateTimeOriginal(const std::string& path, std::string& text, std::string& error)
{
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    try {
        const auto image = Exiv2::ImageFactory::open(path);
        image->readMetadata();
        const auto& entries = image->exifData();
        const auto entry = entries.findKey(Exiv2::ExifKey("Exif.Photo.DateTimeOriginal"));
        if (entry != entries.end())
            text = entry->toString();
    } catch (const std::exception& failure) { // the library's way to say that a file is no image
        error = failure.what();
    }
}
