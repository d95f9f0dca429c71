#include "app/window/FactsLoader.h"

#include "app/shell/Background.h"
#include "attributes/KWInfoController.h"

#include <QtConcurrentRun>

#include <utility>

namespace reelwright {
namespace {

    std::shared_ptr<const InformationTexts> textsOf(const QTMovie& movie)
    {
        InformationTexts texts;
        texts.movie = KWInfoController::infoForMovie(movie);
        for (const auto& track : movie.tracks())
            texts.tracks.insert_or_assign(track.trackID(), KWInfoController::infoForTrack(track));
        return std::make_shared<const InformationTexts>(std::move(texts));
    }

} // namespace

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
            return Loaded {std::make_shared<const MovieFacts>(MovieFacts::of(movie)), textsOf(movie),
                std::make_shared<const PendingSave>(PendingSave::of(movie))};
        }));
}

void FactsLoader::accept()
{
    if (m_next) {
        begin();
        return;
    }
    m_loaded = m_watcher.result();
    emit loaded();
}

} // namespace reelwright
