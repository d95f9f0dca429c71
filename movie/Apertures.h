#pragma once

#include "movie/QTTrack.h"

namespace reelwright::apertures {

/// What a video track shows in the aperture modes, in pixels.
struct Sizes
{
    QTSize clean; ///< 'clea': the clean aperture at square pixels
    QTSize production; ///< 'prod': all encoded pixels at square pixels
    QTSize encoded; ///< 'enco': the encoded pixels as they are
};

/// As the first sample description's size, pixel aspect ratio and clean aperture give them.
std::optional<Sizes> fromDescription(const QTTrack& track);
/// As the track stores them (`tapt`); nothing unless all three are there.
std::optional<Sizes> stored(const QTTrack& track);

/// Is the track's size one of those, stored or computed, to the pixel? Another one was set on purpose.
bool hasSizeOfAperture(const QTTrack& track);

/// Makes the stored dimensions (QuickTime File Format, "Track Aperture Mode Dimensions Atoms") of a track of
/// an editable movie from its description. In ISO files, whose readers do not know them, none are made, but
/// those that are there are kept true.
Result<void> generate(const QTTrack& track);
Result<void> remove(const QTTrack& track);

/// Gives the track the size of the aperture mode in force; nothing where no mode is, or the classic one,
/// which goes by the size as it stands. In an ISO file without stored dimensions it is the size on the
/// display, whatever the mode.
Result<void> follow(const QTTrack& track);

} // namespace reelwright::apertures
