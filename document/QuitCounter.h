#pragma once

#include "document/NotificationCenter.h"

#include <functional>
#include <vector>

namespace reelwright {

class MyDocument;

/// Lets the application end when its movie documents can: counts those that are not ready, sees to their
/// unsaved changes, and waits until they have been written. Main thread only.
class QuitCounter
{
public:
    using Documents = std::function<std::vector<MyDocument*>()>;

    /// `documents` answers the open ones; `terminate` ends the application.
    QuitCounter(NotificationCenter& notifications, Documents documents, std::function<void()> terminate);

    /// What becomes of several movies with unsaved changes.
    enum class All { Save, Discard, Each, Cancel };
    /// Asks once for all of them; without it, and after `Each`, each is asked about.
    void setAskAboutAll(std::function<All(const std::vector<MyDocument*>& unsaved)> ask)
    {
        m_askAboutAll = std::move(ask);
    }

    /// The user wants to quit: ends the application at once or as soon as all is written, or not at all when
    /// the user thinks better of it or a save fails.
    void quit();

    enum class Reply { TerminateNow, TerminateLater };
    /// Asks every document whether it can quit, and counts those that cannot on top of those still counted.
    Reply applicationShouldTerminate();
    /// A document has been written. Once none is left the application ends, unless changes are still unsaved.
    void docFinishedWriting();
    /// The application goes on.
    void cancel();

    /// How many documents are being waited for.
    [[nodiscard]] int writingDocs() const { return m_writingDocs; }

private:
    [[nodiscard]] bool isOpen(const MyDocument* document) const;

    Documents m_documents;
    std::function<void()> m_terminate;
    std::function<All(const std::vector<MyDocument*>&)> m_askAboutAll;
    int m_writingDocs = 0;
    bool m_isQuitting = false;
    std::vector<const MyDocument*> m_discarded; ///< whose changes the user gives up; never followed
    std::vector<NotificationCenter::Observation> m_observations;
};

} // namespace reelwright
