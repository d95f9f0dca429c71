#pragma once

#include "conform/ExactConform.h"
#include "movie/saving/SavePreview.h"

#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// A change of the frame rate that a save makes after all edits. No edit: the conform by the walk needs the
/// bytes that the save is going to produce.
struct ConformRequest
{
    std::string text; ///< the rate as typed
    double frameRate = 0;
    std::optional<ExactRate> exact; ///< conform exactly, to this rate
    bool stripEditLists = false;
    bool acceptDrift = false;
    std::optional<std::string> keepHeader; ///< file or folder for the header as it was

    /// "Conform movie to 24 fps"
    [[nodiscard]] std::string label() const;

    struct Conformed
    {
        QTMovie movie; ///< to be saved instead
        std::vector<std::string> warnings;
    };
    /// The movie, as it is about to be saved in that way, at the new rate. Writes nothing. Errors: those of
    /// KWConformController::forecast and ExactConform::apply; Refused for a header that is to be kept of a
    /// file that is written as a whole.
    [[nodiscard]] Result<Conformed> conformed(const QTMovie& movie, SavePreview::Mode mode) const;

    /// Keeps the header of the movie's file where that is asked for; answers where, or nothing. Call right
    /// before the save, and remove the file when that fails.
    [[nodiscard]] Result<std::string> keepOldHeader(const QTMovie& movie) const;
};

} // namespace reelwright
