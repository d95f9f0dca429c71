#include "document/UndoHistory.h"

namespace reelwright {

void UndoHistory::reset()
{
    m_undo.clear();
    m_redo.clear();
    m_state = m_saved = m_nextState++;
}

void UndoHistory::push(std::string name, QTMovie before)
{
    m_undo.push_back({std::move(name), std::move(before), m_state});
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
    to.push_back({std::move(wanted.name), std::move(present), m_state});
    m_state = wanted.state;
    return std::move(wanted.movie);
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
    auto result = saved;
    {
        const EditableScope scope {result};
        result.editHeader() = movie.header();
    }
    result.setApertureMode(movie.apertureMode());
    result.setCurrentTime(movie.currentTime());
    return result;
}

} // namespace reelwright
