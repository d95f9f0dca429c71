#pragma once

#include "edits/EditSteps.h"
#include "times/TypedTime.h"
#include "tracks/TextInsertion.h"
#include "tracks/TrackSelector.h"

#include <functional>
#include <map>
#include <memory>

namespace reelwright {

/// The one change of the text tracks that the text options of a command line ask for together, in the order
/// given. Numbers of texts are those of the movie as it was opened.
class TextEdit final : public CompoundEdit, public std::enable_shared_from_this<TextEdit>
{
public:
    /// Each reads the value of one option. The error is a sentence about a wrong value (wrong usage).
    Result<void> add(std::string_view value);
    Result<void> change(std::string_view value);
    Result<void> remove(std::string_view value);
    Result<void> import(std::string_view value);
    /// Of the option before it.
    Result<void> setStyle(std::string_view value);

    Result<Edit> finish() override;
    /// Errors: Refused, with the reason.
    Result<EditNotes> apply(QTMovie& movie) const;

private:
    /// The texts of one track while they are changed.
    struct TrackTexts
    {
        QTTrack track;
        std::vector<TextCue> before;
        std::vector<TextCue> texts;
        std::map<QTTime, std::size_t> numbers; ///< by start, in the movie as it was opened
        [[nodiscard]] Result<std::vector<TextCue>::iterator> numbered(std::size_t number);
    };
    using Step = std::function<Result<void>(TrackTexts&, EditNotes&)>;
    /// The JSON of an option's --text-style; nothing until it is given.
    using Style = std::shared_ptr<std::optional<std::string>>;
    struct TrackStep
    {
        TrackSelector tracks;
        Step step;
    };

    static Result<TrackTexts> begin(const QTTrack& track);
    /// Makes the style that the option before it may still be given.
    Style beginStyle();
    static Result<TextStyle> styled(TextStyle style, const Style& with);

    std::vector<TrackStep> m_steps;
    Style m_lastStyle;
};

} // namespace reelwright
