#include "attributes/FormatName.h"

#include <fmt/format.h>

namespace reelwright {
namespace {

    struct Name
    {
        FourCC format;
        const char* name;
    };

    constexpr Name kNames[] = {
        {"apch"_cc, "Apple ProRes 422 HQ"},
        {"apcn"_cc, "Apple ProRes 422"},
        {"apcs"_cc, "Apple ProRes 422 LT"},
        {"apco"_cc, "Apple ProRes 422 Proxy"},
        {"ap4h"_cc, "Apple ProRes 4444"},
        {"ap4x"_cc, "Apple ProRes 4444 XQ"},
        {"aprn"_cc, "Apple ProRes RAW"},
        {"aprh"_cc, "Apple ProRes RAW HQ"},
        {"avc1"_cc, "H.264"},
        {"avc3"_cc, "H.264"},
        {"hvc1"_cc, "HEVC"},
        {"hev1"_cc, "HEVC"},
        {"dvh1"_cc, "HEVC, Dolby Vision"},
        {"dvhe"_cc, "HEVC, Dolby Vision"},
        {"av01"_cc, "AV1"},
        {"vp08"_cc, "VP8"},
        {"vp09"_cc, "VP9"},
        {"AVdn"_cc, "DNxHD"},
        {"AVdh"_cc, "DNxHR"},
        {"CFHD"_cc, "CineForm"},
        {"mp4v"_cc, "MPEG-4 Video"},
        {"jpeg"_cc, "Photo JPEG"},
        {"mjpa"_cc, "Motion JPEG A"},
        {"mjpb"_cc, "Motion JPEG B"},
        {"png "_cc, "PNG"},
        {"rle "_cc, "Animation"},
        {"cvid"_cc, "Cinepak"},
        {"SVQ3"_cc, "Sorenson Video 3"},
        {"dvc "_cc, "DV/DVCPRO NTSC"},
        {"dvcp"_cc, "DV PAL"},
        {"dvpp"_cc, "DVCPRO PAL"},
        {"dv5n"_cc, "DVCPRO50 NTSC"},
        {"dv5p"_cc, "DVCPRO50 PAL"},
        {"dvh6"_cc, "DVCPRO HD 1080i60"},
        {"dvh5"_cc, "DVCPRO HD 1080i50"},
        {"dvhq"_cc, "DVCPRO HD 720p50"},
        {"dvhp"_cc, "DVCPRO HD 720p60"},
        {"v210"_cc, "Uncompressed 4:2:2, 10-bit"},
        {"2vuy"_cc, "Uncompressed 4:2:2"},
        {"raw "_cc, "Uncompressed"},
        {"twos"_cc, "Linear PCM, 16-bit big-endian"},
        {"sowt"_cc, "Linear PCM, 16-bit little-endian"},
        {"in24"_cc, "Linear PCM, 24-bit"},
        {"in32"_cc, "Linear PCM, 32-bit"},
        {"fl32"_cc, "Linear PCM, 32-bit float"},
        {"lpcm"_cc, "Linear PCM"},
        {"ipcm"_cc, "Linear PCM"},
        {"mp4a"_cc, "AAC"},
        {".mp3"_cc, "MP3"},
        {"ac-3"_cc, "AC-3"},
        {"ec-3"_cc, "Enhanced AC-3"},
        {"alac"_cc, "Apple Lossless"},
        {"ima4"_cc, "IMA 4:1"},
        {"ulaw"_cc, "uLaw 2:1"},
        {"alaw"_cc, "aLaw 2:1"},
        {"Opus"_cc, "Opus"},
        {"fLaC"_cc, "FLAC"},
        {"tmcd"_cc, "Timecode"},
        {"text"_cc, "Text"},
        {"tx3g"_cc, "Timed text"},
        {"mebx"_cc, "Timed metadata"},
        {"c608"_cc, "Closed captions CEA-608"},
        {"c708"_cc, "Closed captions CEA-708"},
    };

} // namespace

std::string formatName(FourCC format)
{
    for (const auto& row : kNames)
        if (row.format == format)
            return fmt::format("{} ({})", row.name, format.text());
    return format.text();
}

} // namespace reelwright
