#include "document/UndoHistory.h"

namespace reelwright {

void UndoHistory::reset()
{
    m_undo.clear();
    m_redo.clear();
    m_state = m_saved = m_nextState++;
}

void UndoHistory::push(std::string name, QTMovie before, std::optional<Edit> edit)
{
    m_undo.push_back({std::move(name), std::move(before), m_state, std::move(edit)});
    if (m_undo.size() > kMaxSteps)
        m_undo.pop_front();
    m_redo.clear();
    m_state = m_nextState++;
}

QTMovie UndoHistory::undo(QTMovie present)
{
    return step(m_undo, m_redo, std::move(present));
}

QTMovie UndoHistory::redo(QTMovie present)
{
    return step(m_redo, m_undo, std::move(present));
}

QTMovie UndoHistory::step(std::deque<Step>& from, std::deque<Step>& to, QTMovie present)
{
    RW_ASSERT(!from.empty());
    auto wanted = std::move(from.back());
    from.pop_back();
    to.push_back({std::move(wanted.name), std::move(present), m_state, std::move(wanted.edit)});
    m_state = wanted.state;
    return std::move(wanted.movie);
}

std::vector<UndoHistory::StepCopy> UndoHistory::unsavedSteps() const
{
    std::size_t first = 0;
    for (std::size_t i = 0; i < m_undo.size(); ++i)
        if (m_undo[i].state == m_saved)
            first = i;
    std::vector<StepCopy> steps;
    for (auto i = isAtSavedState() ? m_undo.size() : first; i < m_undo.size(); ++i)
        steps.push_back({i, m_undo[i].name, m_undo[i].movie, m_undo[i].edit.has_value()});
    return steps;
}

Result<QTMovie> UndoHistory::without(std::size_t index) const
{
    RW_ASSERT(index < m_undo.size());
    auto movie = m_undo[index].movie;
    for (auto later = index + 1; later < m_undo.size(); ++later) {
        const auto& step = m_undo[later];
        if (!step.edit)
            return failure(MovieError::Code::Refused, {},
                "\"" + step.name + "\" came after it and cannot be repeated; undo that first");
        RW_CHECK(step.edit->apply(movie));
    }
    return movie;
}

std::string UndoHistory::undoName() const
{
    return m_undo.empty() ? std::string {} : m_undo.back().name;
}

std::string UndoHistory::redoName() const
{
    return m_redo.empty() ? std::string {} : m_redo.back().name;
}

void UndoHistory::fileUpdated(const std::shared_ptr<const MovieFile>& old, const QTMovie& saved)
{
    for (auto* steps : {&m_undo, &m_redo})
        for (auto& step : *steps)
            if (step.movie.file() == old)
                step.movie = rebased(step.movie, saved);
}

QTMovie UndoHistory::rebased(const QTMovie& movie, const QTMovie& saved)
{
    auto result = movie.overFileOf(saved);
    result.setApertureMode(movie.apertureMode());
    result.setCurrentTime(movie.currentTime());
    return result;
}

} // namespace reelwright
