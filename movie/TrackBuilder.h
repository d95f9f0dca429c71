#pragma once

#include "movie/atoms/HeaderAtoms.h"
#include "movie/samples/SampleTableBuilder.h"

#include <string>

namespace reelwright {

class QTTrack;

/// What a new track and its media start with.
struct NewTrack
{
    /// Which family of files the atoms are for: they name handlers and data references differently.
    enum class Family { QuickTime, Iso };

    std::uint32_t trackID = 0;
    FourCC mediaType;
    std::uint32_t mediaTimeScale = 600;
    std::uint64_t mediaDuration = 0; ///< in the media's time scale
    std::uint64_t duration = 0; ///< in the movie's time scale
    std::uint32_t flags = TrackHeader::kEnabled | TrackHeader::kInMovie | TrackHeader::kInPreview;
    double width = 0; ///< pixels
    double height = 0; ///< pixels
    std::int16_t volume = 0; ///< 8.8 fixed point
    std::uint16_t language = 0; ///< as MediaHeader has it
    /// Of media in no language in particular, as MediaHeader has it.
    [[nodiscard]] static std::uint16_t unspecifiedLanguage(Family family)
    {
        constexpr std::uint16_t kUndetermined = 0x55C4; // "und", packed
        return family == Family::Iso ? kUndetermined : 0x7FFF;
    }

    std::uint64_t time = 0; ///< of creation and last change, seconds since 1904-01-01 UTC
    Family family = Family::QuickTime;
};

/// A `trak` atom: `tkhd`, `mdia` with `mdhd`, `hdlr`, `minf`. The media has the header atom of its type
/// (`vmhd`, `smhd`, else `gmhd` or, in the ISO family, `nmhd`), one data reference to the movie's own file,
/// no sample descriptions and empty sample tables. There is no edit list: the track shows its media as they
/// are.
Atom makeTrack(const NewTrack& track);

/// The `stbl` of a track that has one, for changing.
Atom* editSampleTables(Atom& trak);

/// Adds an entry to the sample descriptions of a track made by makeTrack or read; answers its 1-based index.
std::uint32_t addSampleDescription(Atom& trak, Atom entry);

/// Gives a track the media of another `trak` atom, one of makeTrack: its times, data references and sample
/// tables. Names, styles and whatever else stands in the media stay. Errors: Refused when the movie is not
/// editable; Corrupt when the track has no media.
Result<void> takeMedia(const QTTrack& track, const Atom& fresh);

/// A movie header (`moov`) over that one track, which plays for its whole duration.
Atom makeMovie(std::uint32_t timeScale, Atom trak, std::uint64_t time);

/// Seconds from 1904-01-01, where the format's times start, to 1970-01-01.
constexpr std::int64_t kSecondsFrom1904To1970 = 2'082'844'800;

} // namespace reelwright
