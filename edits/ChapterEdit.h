#pragma once

#include "chapters/KWChapterController.h"
#include "edits/EditSteps.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

struct MarkerFormat;

/// The one change of the chapters that the chapter options of a command line ask for together, in the order
/// given. Chapter numbers are those of the movie as it was opened.
class ChapterEdit final : public CompoundEdit, public std::enable_shared_from_this<ChapterEdit>
{
public:
    /// Each reads the value of one option. The error is a sentence about a wrong value (wrong usage).
    Result<void> add(std::string_view value);
    Result<void> remove(std::string_view value);
    Result<void> rename(std::string_view value);
    Result<void> import(std::string_view value);
    Result<void> setFormat(std::string_view value);
    Result<void> shift(std::string_view value);
    Result<void> stretch(std::string_view value);
    Result<void> addEvery(std::string_view value);
    Result<void> addAtTimecodeBreaks(std::string_view value);

    Result<Edit> finish() override;
    /// Answers what was refused of imported lists. Errors: Refused, with the reason.
    Result<RefusedParts> apply(QTMovie& movie) const;

private:
    /// The chapters while they are changed. Borrows the movie, which stays as it is until the end.
    struct State
    {
        const QTMovie& movie;
        KWChapterController::Chapters chapters;
        /// Their numbers in the movie as it was opened; nothing for those that were added since.
        std::vector<std::optional<std::size_t>> numbers;
        RefusedParts refused;
    };
    using Step = std::function<Result<void>(State&)>;
    /// Makes a new list of the same chapters, and perhaps more of them behind.
    using Rewrite = std::function<Result<KWChapterController::Chapters>(
        const KWChapterController::Chapters&, const QTMovie&)>;

    static Result<State> begin(const QTMovie& movie);
    static Result<std::size_t> rowOf(std::size_t number, const State& state);
    Result<void> addRewrite(Rewrite rewrite);

    std::vector<Step> m_steps;
    std::shared_ptr<const MarkerFormat*> m_lastFormat; ///< of the last import, null until it is given
};

} // namespace reelwright
