#include "app/window/FactsLoader.h"

#include "app/shell/Background.h"

#include <QtConcurrentRun>

#include <utility>

namespace reelwright {

FactsLoader::FactsLoader(QObject* parent)
    : QObject(parent)
{
    connect(&m_watcher, &QFutureWatcherBase::finished, this, &FactsLoader::accept);
}

void FactsLoader::load(const QTMovie& movie)
{
    m_next = movie;
    if (!m_watcher.isRunning())
        begin();
}

void FactsLoader::begin()
{
    m_watcher.setFuture(
        QtConcurrent::run(backgroundThreads(), [movie = *std::exchange(m_next, std::nullopt)] {
            return Loaded {std::make_shared<const MovieFacts>(MovieFacts::of(movie)),
                std::make_shared<const PendingSave>(PendingSave::of(movie))};
        }));
}

void FactsLoader::accept()
{
    if (m_next) {
        begin();
        return;
    }
    const auto result = m_watcher.result();
    m_facts = result.facts;
    m_pending = result.pending;
    emit loaded();
}

} // namespace reelwright
