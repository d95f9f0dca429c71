#pragma once

#include "conform/ConformPlan.h"
#include "movie/QTTrack.h"
#include "movie/saving/SavePreview.h"

#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// Makes the frames of a movie play at another rate by changing numbers of its header; no sample is touched.
/// Keeps no state. `conformFile` and what stands behind it go by the places that the walk over the file finds
/// (KWQuickTimeParser); all they write becomes visible at once, and what they refuse is refused before the
/// first byte is written.
class KWConformController
{
public:
    /// Conforms a saved file. Edit lists are stripped where the setting "conformStripEDTS" says so.
    static Result<void> conformFile(const std::string& path, double fromFrameRate, double toFrameRate);

    struct Request
    {
        double fromFrameRate = 0;
        double toFrameRate = 0;
        bool stripEditLists = false;
        bool rebuildTimecode = true; ///< shall the first timecode track count at the new rate?
    };
    /// Timecode tracks are left to the caller.
    static Result<void> conformFile(
        const std::string& path, const Request& request, std::shared_ptr<Storage> storage = Storage::posix());

    /// Conforms the file of a movie without unsaved changes, which is refused when it is not as it was
    /// opened.
    static Result<void> conformSaved(const QTMovie& movie, const Request& request);

    /// What a conform writes, and what it makes of the movie.
    struct Forecast
    {
        ConformPlan plan;
        QTMovie movie; ///< conformed, its timecode track rebuilt; not saved
        std::vector<std::string>
            warnings; ///< for people: sound that will not follow, a rate that does not result
    };
    using SaveMode = SavePreview::Mode;
    /// The conform of the file that saving this movie will make, by the walk over the bytes that the save
    /// would produce. Saving the answer's movie once saves both. Errors: ConformPlan's, and those of the
    /// preview.
    static Result<Forecast> forecast(const QTMovie& movie, const Request& request, SaveMode mode,
        KWQuickTimeParser::Notes notes = KWQuickTimeParser::Notes::Log);

    /// Conforms an open movie by rescaling it. Answers false, and changes nothing, when it has that rate
    /// already or the rate is below 1.
    static bool conformMovie(QTMovie& movie, double toFrameRate);

    /// Is that a movie of 59.94 frames a second whose frames last 50 units, to last 100?
    static bool shouldRetimeVideoTrackSamplesForMovie(const QTMovie& movie, std::uint32_t newSampleDuration);
    /// Gives all entries of the first track's table of sample times that duration. Always answers true; what
    /// fails is logged and leaves the file as it was.
    static bool retimeVideoTrackSamplesForMovieFile(const std::string& path, std::uint32_t newSampleDuration);
    /// Goes down through atoms whose types are in the path to its last type; 0 when that is not found.
    static std::uint64_t positionOfAtom(
        const std::vector<std::string>& path, const RandomReader& inFileHandle);

    /// Formats of sound whose decoder takes the sample rate from its own data: "AAC", or nothing.
    static std::optional<std::string> formatWithOwnRate(FourCC format);
    /// The sentence that says so.
    static std::string ownRateWarning(std::uint32_t trackID, const std::string& format);

private:
    static Result<void> save(QTMovie& movie);
};

} // namespace reelwright
