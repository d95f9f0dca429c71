#pragma once

#include "document/PendingSave.h"
#include "movie/QTMovie.h"
#include "report/MovieFacts.h"

#include <QFutureWatcher>
#include <QObject>

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace reelwright {

/// The information reports of a movie and of its tracks, by their IDs.
struct InformationTexts
{
    std::string movie;
    std::map<std::uint32_t, std::string> tracks;
};

/// Gathers the facts of a movie elsewhere: some of them ask the disk. Of movies that come faster than they
/// are done, the last one counts.
class FactsLoader final : public QObject
{
    Q_OBJECT

public:
    explicit FactsLoader(QObject* parent = nullptr);

    void load(const QTMovie& movie);
    /// What was loaded last; null before.
    [[nodiscard]] const std::shared_ptr<const MovieFacts>& facts() const { return m_loaded.facts; }
    /// The reports of the same movie; null before.
    [[nodiscard]] const std::shared_ptr<const InformationTexts>& texts() const { return m_loaded.texts; }
    /// What a save would do; null before.
    [[nodiscard]] const std::shared_ptr<const PendingSave>& pendingSave() const { return m_loaded.pending; }

signals:
    void loaded();

private:
    struct Loaded
    {
        std::shared_ptr<const MovieFacts> facts;
        std::shared_ptr<const InformationTexts> texts;
        std::shared_ptr<const PendingSave> pending;
    };

    void begin();
    void accept();

    std::optional<QTMovie> m_next;
    Loaded m_loaded;
    QFutureWatcher<Loaded> m_watcher;
};

} // namespace reelwright
