#include "edits/ConformRequest.h"

#include "conform/HeaderSidecar.h"
#include "conform/KWConformController.h"
#include "tracks/KWQuickTime.h"

#include <fmt/format.h>

namespace reelwright {

std::string ConformRequest::label() const
{
    return fmt::format("Conform movie{} to {} fps", exact ? " exactly" : "", text);
}

Result<ConformRequest::Conformed> ConformRequest::conformed(
    const QTMovie& movie, SavePreview::Mode mode) const
{
    if (keepHeader && mode != SavePreview::Mode::InPlace)
        return failure(MovieError::Code::Refused, movie.fileName(),
            "the movie is written as a whole, where its old header would not fit any more; keep the file "
            "itself, "
            "with --suffix or --output-dir, and not its header");
    if (exact) {
        Conformed result {movie, {}};
        RW_TRY(auto report, ExactConform::apply(result.movie, {*exact, acceptDrift}));
        result.warnings = std::move(report.warnings);
        return result;
    }
    RW_TRY(auto forecast,
        KWConformController::forecast(
            movie, {KWQuickTime::fpsForMovie(movie), frameRate, stripEditLists, true}, mode));
    return Conformed {std::move(forecast.movie), std::move(forecast.warnings)};
}

Result<std::string> ConformRequest::keepOldHeader(const QTMovie& movie) const
{
    if (!keepHeader)
        return std::string {};
    auto path = HeaderSidecar::pathFor(*keepHeader, movie.fileName());
    RW_CHECK(HeaderSidecar::keep(movie, path));
    return path;
}

} // namespace reelwright
