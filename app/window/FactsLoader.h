#pragma once

#include "document/PendingSave.h"
#include "movie/QTMovie.h"
#include "report/MovieFacts.h"

#include <QFutureWatcher>
#include <QObject>

#include <memory>
#include <optional>

namespace reelwright {

/// Gathers the facts of a movie elsewhere: some of them ask the disk. Of movies that come faster than they
/// are done, the last one counts.
class FactsLoader final : public QObject
{
    Q_OBJECT

public:
    explicit FactsLoader(QObject* parent = nullptr);

    void load(const QTMovie& movie);
    /// What was loaded last; null before.
    [[nodiscard]] const std::shared_ptr<const MovieFacts>& facts() const { return m_facts; }
    /// What a save would do; null before.
    [[nodiscard]] const std::shared_ptr<const PendingSave>& pendingSave() const { return m_pending; }

signals:
    void loaded();

private:
    void begin();
    void accept();

    std::optional<QTMovie> m_next;
    struct Loaded
    {
        std::shared_ptr<const MovieFacts> facts;
        std::shared_ptr<const PendingSave> pending;
    };

    std::shared_ptr<const MovieFacts> m_facts;
    std::shared_ptr<const PendingSave> m_pending;
    QFutureWatcher<Loaded> m_watcher;
};

} // namespace reelwright
