#pragma once

#include "edits/Edit.h"
#include "movie/QTMovie.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// What a document can undo and redo: cheap copies of its movie by the name of the edit between them, and
/// which of all states is the one that was saved.
class UndoHistory
{
public:
    /// Forgets everything; the present state counts as saved.
    void reset();

    /// An edit was made: `before` is the movie as it was. What could be redone is forgotten.
    /// `edit` is the edit itself, where it can be repeated.
    void push(std::string name, QTMovie before, std::optional<Edit> edit = {});
    /// Steps back or forward: takes the present movie and answers the one to go on with. There must be a
    /// step.
    QTMovie undo(QTMovie present);
    QTMovie redo(QTMovie present);

    [[nodiscard]] bool canUndo() const { return !m_undo.empty(); }
    [[nodiscard]] bool canRedo() const { return !m_redo.empty(); }
    /// "Rotate Left"; empty when there is no step.
    [[nodiscard]] std::string undoName() const;
    [[nodiscard]] std::string redoName() const;

    /// A step that can be undone, for showing.
    struct StepCopy
    {
        std::size_t index; ///< from the oldest
        std::string name;
        QTMovie before;
        bool canBeRepeated;
    };
    /// The steps since the saved state, the oldest first; all of them where that is not among them.
    [[nodiscard]] std::vector<StepCopy> unsavedSteps() const;
    /// The movie as it would be without that step: the steps behind it repeated on what was before it.
    /// Errors: Refused where one of them cannot be; the error of one that fails.
    [[nodiscard]] Result<QTMovie> without(std::size_t index) const;

    /// Tells states apart.
    using State = std::uint64_t;
    [[nodiscard]] State state() const { return m_state; }
    void markSaved(State state) { m_saved = state; }
    [[nodiscard]] bool isAtSavedState() const { return m_state == m_saved; }

    /// The file of `old` was updated in place and is now that of `saved`: gives every step that lay over it
    /// the new one.
    void fileUpdated(const std::shared_ptr<const MovieFile>& old, const QTMovie& saved);
    /// A movie with the header of `movie` over the file of `saved`.
    static QTMovie rebased(const QTMovie& movie, const QTMovie& saved);

    /// Older steps are forgotten.
    static constexpr std::size_t kMaxSteps = 1000;

private:
    struct Step
    {
        std::string name;
        QTMovie movie;
        State state;
        std::optional<Edit> edit;
    };

    QTMovie step(std::deque<Step>& from, std::deque<Step>& to, QTMovie present);

    std::deque<Step> m_undo;
    std::deque<Step> m_redo;
    State m_state = 0;
    State m_saved = 0;
    State m_nextState = 1;
};

} // namespace reelwright
