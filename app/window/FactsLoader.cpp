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
            return std::make_shared<const MovieFacts>(MovieFacts::of(movie));
        }));
}

void FactsLoader::accept()
{
    if (m_next) {
        begin();
        return;
    }
    m_facts = m_watcher.result();
    emit loaded();
}

} // namespace reelwright
