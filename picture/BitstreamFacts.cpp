#include "picture/BitstreamFacts.h"

#include "picture/modules/BitstreamModule.h"
#include "picture/modules/PictureModule.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace reelwright {
namespace {

    constexpr std::uint64_t kLargestSample = 256U << 20U;

    ReadBitstream* reader()
    {
        void* module
            = dlopen(picture::kPictureModule, RTLD_NOW | RTLD_LOCAL); // stays for as long as the program
        void* function = module ? dlsym(module, kReadBitstream) : nullptr;
        return reinterpret_cast<ReadBitstream*>(function);
    }

    std::string placeOf(const QTTrack& track)
    {
        return fmt::format("track {}", track.trackID());
    }

} // namespace

bool BitstreamFacts::isReadable(FourCC format)
{
    constexpr std::array kFormats {"avc1"_cc, "avc3"_cc, "hvc1"_cc, "hev1"_cc, "apch"_cc, "apcn"_cc,
        "apcs"_cc, "apco"_cc, "ap4h"_cc, "ap4x"_cc, "AVdn"_cc, "AVdh"_cc, "av01"_cc, "m2v1"_cc, "mp2v"_cc};
    constexpr std::array kFamilies {"hdv", "xdv", "xd5", "mx", "dvc", "dvp", "dv5", "dvh", "dv1"};
    const auto text = format.text();
    return std::find(kFormats.begin(), kFormats.end(), format) != kFormats.end()
        || std::any_of(
            kFamilies.begin(), kFamilies.end(), [&](const char* start) { return text.starts_with(start); });
}

Result<PictureFacts> BitstreamFacts::of(const QTTrack& track)
{
    const auto media = track.media();
    const auto description = media.sampleDescription(1);
    if (track.mediaType() != QTMediaTypeVideo || !description || !isReadable(description->format()))
        return failure(MovieError::Code::Unsupported, placeOf(track),
            "streams of this format do not describe their pictures");
    const auto place = media.sampleTable().locate(1);
    if (!place || place->description != 1)
        return failure(MovieError::Code::Corrupt, placeOf(track), "there is no first sample");
    if (place->size > kLargestSample)
        return failure(MovieError::Code::Unsupported, placeOf(track),
            fmt::format("the first sample has {} bytes, more than a picture takes", place->size));
    RW_TRY(const auto sample, media.sampleData(1));
    Bytes configuration;
    for (const auto type : {"avcC"_cc, "hvcC"_cc, "av1C"_cc})
        if (const auto found = description->extension(QTMediaTypeVideo, type))
            configuration = *found;
    auto* read = reader();
    if (!read)
        return failure(MovieError::Code::Unsupported, picture::kPictureModule,
            "the module that reads pictures cannot be loaded");
    PictureFacts facts;
    std::string error;
    read({description->format(), configuration.span(), sample.span()}, facts, error);
    if (!error.empty())
        return failure(MovieError::Code::Corrupt, placeOf(track), error);
    return facts;
}

} // namespace reelwright
