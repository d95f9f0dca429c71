#include "document/QuitCounter.h"

#include "document/MyDocument.h"
#include "support/KWLog.h"

#include <algorithm>

namespace reelwright {

QuitCounter::QuitCounter(
    NotificationCenter& notifications, Documents documents, std::function<void()> terminate)
    : m_documents(std::move(documents))
    , m_terminate(std::move(terminate))
{
    m_observations.push_back(
        notifications.observe(KWDocumentFinishedWriting, [this] { docFinishedWriting(); }));
    m_observations.push_back(notifications.observe(KWDocumentAbandonedWriting, [this] { cancel(); }));
}

QuitCounter::Reply QuitCounter::applicationShouldTerminate()
{
    for (auto* document : m_documents())
        if (!document->documentCanQuit())
            ++m_writingDocs;
    KWLog::appendLogAndPrint("w: {}", m_writingDocs);
    m_isQuitting = m_writingDocs >= 1;
    return m_isQuitting ? Reply::TerminateLater : Reply::TerminateNow;
}

void QuitCounter::quit()
{
    if (m_isQuitting)
        return; // asked for again while documents are being written
    if (applicationShouldTerminate() == Reply::TerminateNow) {
        m_terminate();
        return;
    }
    std::vector<MyDocument*> unsaved;
    for (auto* document : m_documents())
        if (document->isEdited() && !document->isWriting())
            unsaved.push_back(document);
    const auto all = m_askAboutAll && unsaved.size() > 1 ? m_askAboutAll(unsaved) : All::Each;
    if (all == All::Cancel) {
        cancel();
        return;
    }
    for (auto* document : m_documents()) {
        // Questions and saves let events in: a document may be gone, or the quitting over.
        if (!m_isQuitting || !isOpen(document) || document->isWriting() || !document->isEdited())
            continue; // one that is being written tells by itself when it is done
        switch (all == All::Each   ? document->reviewChanges()
                : all == All::Save ? MyDocument::Review::Save
                                   : MyDocument::Review::Discard) {
        case MyDocument::Review::Cancel:
            cancel();
            return;
        case MyDocument::Review::Discard:
            m_discarded.push_back(document);
            docFinishedWriting();
            break;
        case MyDocument::Review::Save:
            if (!document->saveDocument()
                || (isOpen(document) && !document->isWriting() && document->isEdited())) {
                cancel();
                return;
            }
            break;
        }
    }
}

void QuitCounter::docFinishedWriting()
{
    m_writingDocs = std::max(m_writingDocs - 1, 0);
    if (m_writingDocs > 0 || !m_isQuitting)
        return;
    const auto documents = m_documents();
    // Saves can begin after the documents were counted, in windows that a question does not keep. Asked
    // whether they can quit, those documents tell when they are done, too.
    for (auto* document : documents)
        if (document->isWriting() && !document->documentCanQuit())
            ++m_writingDocs;
    if (m_writingDocs > 0)
        return;
    const bool isUnsaved
        = std::any_of(documents.begin(), documents.end(), [this](const MyDocument* document) {
              return document->isEdited()
                  && std::find(m_discarded.begin(), m_discarded.end(), document) == m_discarded.end();
          });
    const auto terminate = m_terminate;
    cancel();
    if (!isUnsaved) // else a save failed, or something was edited while it ran
        terminate();
}

bool QuitCounter::isOpen(const MyDocument* document) const
{
    const auto documents = m_documents();
    return std::find(documents.begin(), documents.end(), document) != documents.end();
}

void QuitCounter::cancel()
{
    m_isQuitting = false;
    m_writingDocs = 0;
    m_discarded.clear();
    for (auto* document : m_documents())
        document->quitCancelled();
}

} // namespace reelwright
