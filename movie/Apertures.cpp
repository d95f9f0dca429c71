#include "movie/Apertures.h"

#include "movie/atoms/ByteReader.h"

#include <cmath>

namespace reelwright::apertures {
namespace {

    std::optional<QTSize> storedSize(const Atom& tapt, FourCC type)
    {
        const auto* atom = tapt.find(type);
        if (!atom)
            return std::nullopt;
        ByteReader in {atom->head.span()};
        in.skip(4); // version and flags
        const double width = in.u32() / 65536.0;
        const double height = in.u32() / 65536.0;
        return in.ok() ? std::optional(QTSize {width, height}) : std::nullopt;
    }

    Bytes payload(const QTSize& size)
    {
        return ByteWriter {}.u32(0).u32(fixed16(size.width)).u32(fixed16(size.height)).toBytes();
    }

    bool isIso(const QTMovie& movie)
    {
        return movie.file() && !movie.file()->isQuickTime();
    }

    /// Sizes are rounded differently by different writers.
    bool isAbout(const QTSize& one, const QTSize& other)
    {
        return std::abs(one.width - other.width) <= 1 && std::abs(one.height - other.height) <= 1;
    }

} // namespace

std::optional<Sizes> fromDescription(const QTTrack& track)
{
    const auto description = track.media().sampleDescription(1);
    const auto video = description ? description->video() : failure(MovieError::Code::Corrupt, {}, {});
    if (!video || video->width == 0 || video->height == 0)
        return std::nullopt;
    double aspect = 1;
    if (const auto pasp = description->pixelAspectRatio(); pasp && pasp->horizontal && pasp->vertical)
        aspect = static_cast<double>(pasp->horizontal) / pasp->vertical;
    Sizes sizes;
    sizes.encoded = {static_cast<double>(video->width), static_cast<double>(video->height)};
    sizes.production = {sizes.encoded.width * aspect, sizes.encoded.height};
    const auto clap = description->cleanAperture();
    const auto clean = clap && clap->isDefined() ? QTSize {clap->width(), clap->height()} : sizes.encoded;
    sizes.clean = {clean.width * aspect, clean.height};
    return sizes;
}

std::optional<Sizes> stored(const QTTrack& track)
{
    const auto* tapt = track.atom().find("tapt"_cc);
    if (!tapt)
        return std::nullopt;
    const auto clean = storedSize(*tapt, "clef"_cc);
    const auto production = storedSize(*tapt, "prof"_cc);
    const auto encoded = storedSize(*tapt, "enof"_cc);
    if (!clean || !production || !encoded)
        return std::nullopt;
    return Sizes {*clean, *production, *encoded};
}

bool hasSizeOfAperture(const QTTrack& track)
{
    const auto present = track.size();
    for (const auto& sizes : {stored(track), fromDescription(track)})
        if (sizes
            && (isAbout(present, sizes->clean) || isAbout(present, sizes->production)
                || isAbout(present, sizes->encoded)))
            return true;
    return false;
}

Result<void> generate(const QTTrack& track)
{
    const auto sizes = fromDescription(track);
    const bool isThere = track.atom().find("tapt"_cc) != nullptr;
    if (!sizes || (!isThere && isIso(track.movie())))
        return {};
    auto* trak = track.editAtom();
    if (!trak)
        return failure(MovieError::Code::Refused, track.movie().fileName(), "the movie is not editable");
    if (!isThere) // behind the track header, where the dimensions are looked for first
        trak->insertBefore(trak->find("edts"_cc) ? "edts"_cc : "mdia"_cc, Atom::container("tapt"_cc));
    auto& tapt = *trak->edit("tapt"_cc);
    tapt.isContainer = true;
    tapt.setLeaf("clef"_cc, payload(sizes->clean));
    tapt.setLeaf("prof"_cc, payload(sizes->production));
    tapt.setLeaf("enof"_cc, payload(sizes->encoded));
    return {};
}

Result<void> remove(const QTTrack& track)
{
    if (!track.atom().find("tapt"_cc))
        return {};
    auto* trak = track.editAtom();
    if (!trak)
        return failure(MovieError::Code::Refused, track.movie().fileName(), "the movie is not editable");
    trak->remove("tapt"_cc);
    return {};
}

Result<void> follow(const QTTrack& track)
{
    const auto sizes = stored(track);
    if (!sizes) {
        const auto computed = isIso(track.movie()) ? fromDescription(track) : std::nullopt;
        return computed ? track.setSize(computed->clean) : Result<void> {};
    }
    const auto mode = track.movie().apertureMode();
    if (mode == "clea"_cc)
        return track.setSize(sizes->clean);
    if (mode == "prod"_cc)
        return track.setSize(sizes->production);
    if (mode == "enco"_cc)
        return track.setSize(sizes->encoded);
    return {};
}

} // namespace reelwright::apertures
