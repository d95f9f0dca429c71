#include "document/SaveController.h"

#include "document/DocumentNames.h"
#include "document/MyDocument.h"
#include "support/KWLog.h"
#include "support/MainThread.h"
#include "support/Preferences.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <system_error>
#include <utility>

namespace reelwright {

/// One save. Made and ended on the main thread; the save thread has it to itself in between, except for what
/// is marked.
struct SaveController::Job
{
    Job(SaveController& owner, MovieWriter::Request what)
        : controller(&owner)
        , environment(owner.m_document.environment())
        , request(std::move(what))
        , path(request.path)
        , operation(request.operation)
        , point(owner.m_document.savePoint())
    {
    }

    /// Does it on the main thread, unless the document is gone.
    void onMain(const std::function<void(SaveController&)>& work)
    {
        environment.mainThread.run([&] {
            ++handOffs;
            if (controller)
                work(*controller);
            --handOffs;
        });
    }
    void onWindow(const std::function<void(DocumentWindow&)>& work)
    {
        onMain([&](SaveController& owner) {
            if (auto* window = owner.m_document.window())
                work(*window);
        });
    }

    SaveController* controller; ///< main thread only; null when it is gone
    bool isWriting = true; ///< main thread only
    int handOffs = 0; ///< main thread only: calls under way
    std::atomic<bool> isCancelled = false; ///< any thread

    DocumentEnvironment environment;
    MovieWriter::Request request;
    const std::string path;
    const SaveOperation operation;
    const SavePoint point; ///< of the document when the save began
    std::optional<DocumentFile> target; ///< main thread only: once it is claimed
    QTTime time; ///< where the movie view stood
    const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

SaveController::SaveController(MyDocument& document)
    : m_document(document)
{
}

SaveController::~SaveController()
{
    releaseThread();
    if (m_job) {
        m_job->controller = nullptr;
        m_job->isCancelled = true;
    }
}

bool SaveController::isWriting() const
{
    return m_job && m_job->isWriting;
}

const DocumentFile* SaveController::fileBeingWritten() const
{
    return isWriting() && m_job->target ? &*m_job->target : nullptr;
}

void SaveController::cancelProgress()
{
    if (m_job)
        m_job->isCancelled = true;
}

bool SaveController::windowShouldClose()
{
    if (!isWriting())
        return true;
    m_isClosing = true;
    return false;
}

void SaveController::saveAndClose()
{
    m_isClosing = true;
    if (!saveDocument())
        m_isClosing = false;
}

bool SaveController::documentCanQuit()
{
    m_isQuitting = true;
    if (isWriting() || m_document.isEdited())
        return false;
    return !m_isSaving;
}

bool SaveController::saveDocument()
{
    m_userSave = true;
    const auto& file = m_document.movie().file();
    const auto& path = m_document.path();
    const bool isImported = file && !file->headerAtom() && file->path == path;
    if (path.empty() || isImported)
        return chooseAndSave(SaveOperation::SaveAs, "Save");
    return saveToURL(path, SaveOperation::Save);
}

bool SaveController::saveDocumentAs()
{
    m_userSave = true;
    return chooseAndSave(SaveOperation::SaveAs, "Save As");
}

bool SaveController::saveDocumentTo()
{
    m_userSave = true;
    return chooseAndSave(SaveOperation::SaveTo, "Save a Copy");
}

bool SaveController::saveCopy()
{
    m_userSave = true;
    return chooseAndSave(SaveOperation::Copy, "Save a Copy");
}

bool SaveController::chooseAndSave(SaveOperation operation, const std::string& title)
{
    const auto& present = m_document.path();
    const auto suggestion
        = present.empty() ? std::string("Untitled") : documentNames::withoutExtension(present);
    const auto& file = m_document.movie().file();
    const bool keepsName = !present.empty() && file && file->headerAtom();
    auto* window = m_document.window();
    const auto chosen = window
        ? window->chooseSavePath(title,
              operation == SaveOperation::Copy ? MyDocument::prepareSavePath(suggestion + " copy")
                  : keepsName                  ? present
                                               : MyDocument::prepareSavePath(suggestion))
        : std::nullopt;
    if (!chosen)
        return false;
    const auto path = MyDocument::prepareSavePath(*chosen);
    // The panel asked about the name that was typed, not about this one.
    if (path != *chosen && m_document.environment().storage->exists(path)
        && window->alert(fmt::format("Replace \"{}\"?", documentNames::fileName(path)),
               "There is a file of that name already.", {"Replace", "Cancel"})
            != 0)
        return false;
    return saveToURL(path, operation);
}

bool SaveController::saveToURL(const std::string& path, SaveOperation operation)
{
    m_isSaving = true;
    return writeSafelyToURL(path, operation);
}

bool SaveController::writeSafelyToURL(const std::string& path, SaveOperation operation)
{
    if (isWriting()) {
        if (auto* window = m_document.window())
            window->alert("Unable to save", "A save operation is already in progress.", {"OK"});
        m_isSaving = false;
        return false;
    }
    if (!m_userSave && !m_isClosing)
        m_isQuitting = true;
    m_isSaving = true;

    MovieWriter::Request request;
    request.movie = m_document.movie();
    request.path = path;
    request.operation = operation;
    request.needsFlattening = m_document.needsFlattening();
    if (path == m_document.path())
        request.expectedFile = m_document.file().state;
    auto& preferences = m_document.environment().preferences;
    request.resaveOnOtherVolumes = preferences.boolean("nonHFSResave");
    request.flattenWithoutAsking = preferences.integer("autoFlatten") == 1;

    releaseThread();
    const auto job = m_job = std::make_shared<Job>(*this, std::move(request));
    if (!m_isQuitting)
        try {
            m_thread = std::thread([job] { writeToURLOnThread(job); });
            return true;
        } catch (const std::system_error&) {
            // No thread to be had: better on this one than not at all.
        }
    writeToURLOnThread(job); // may close the window, and the document with it
    return true;
}

bool SaveController::claim(const DocumentFile& target)
{
    const auto isTakenBy = [&](const MyDocument* other) {
        const auto* written = other->fileBeingWritten();
        return other != &m_document
            && (other->file().isSameFile(target) || (written && written->isSameFile(target)));
    };
    const auto documents = m_document.environment().documents();
    if (m_job->path != m_document.path() && std::any_of(documents.begin(), documents.end(), isTakenBy))
        return false;
    m_job->target = target;
    return true;
}

void SaveController::releaseThread()
{
    if (!m_thread.joinable())
        return;
    // Within a hand-off the thread waits for this very call.
    if (m_job->isWriting || m_job->handOffs > 0)
        m_thread.detach();
    else
        m_thread.join();
}

void SaveController::writeToURLOnThread(const std::shared_ptr<Job>& job)
{
    KWLog::appendLog("Saving on main thread: {}", job->environment.mainThread.isCurrent() ? 1 : 0);
    job->onMain([&](SaveController& controller) {
        auto& document = controller.m_document;
        if (auto* window = document.window()) {
            window->updateProgressLabel("Saving...");
            window->setProgressTarget(job->path);
            window->showProgress();
        }
        job->time = document.currentTime();
        document.setCurrentTime({0, document.movie().timeScale()});
    });

    MovieWriter::Questions questions;
    questions.claim = [&](const DocumentFile& target) {
        bool isFree = false;
        job->onMain([&](SaveController& controller) { isFree = controller.claim(target); });
        return isFree;
    };
    questions.flatten = [&] {
        bool isWanted = true;
        job->onWindow([&](DocumentWindow& window) {
            isWanted = window.alert("This movie needs flattening. Do you wish to flatten it?",
                           "If the movie is a reference movie, this will put the referenced data inside the "
                           "file and increase the file size.\n\nIn most cases, you should choose to flatten.",
                           {"Flatten", "Don't Flatten"})
                == 0;
        });
        return isWanted;
    };
    questions.pastInPlaceUpdate = [&] {
        job->onMain([&](SaveController& controller) { controller.m_document.pastInPlaceUpdate(job->point); });
    };
    double shown = -1;
    questions.progress = [&](double fraction) {
        // A movie of many small pieces reports each of them; the main thread need not see them all.
        constexpr double kStep = 0.005;
        if (fraction >= shown + kStep || fraction >= 1) {
            shown = fraction;
            job->onWindow([&](DocumentWindow& window) { window.setProgress(fraction); });
        }
        return !job->isCancelled;
    };
    const auto outcome = MovieWriter::write(
        std::move(job->request), questions, job->environment.storage, job->environment.files);
    job->onMain([&](SaveController& controller) { controller.endSave(job, outcome); });
}

void SaveController::endSave(const std::shared_ptr<Job>& job, const MovieWriter::Outcome& outcome)
{
    using Kind = MovieWriter::Outcome::Kind;
    m_document.takeSaved(job->point, job->path, outcome);
    const bool isFailure = outcome.kind == Kind::Failed || outcome.kind == Kind::Abandoned;
    bool offersSaveAs = false;
    if (auto* window = m_document.window(); window && isFailure) {
        window->endProgress();
        // While quitting there is no time for another save.
        if (outcome.kind == Kind::Failed && !m_isQuitting && !m_isClosing)
            offersSaveAs = window->alert(outcome.title, outcome.text, {"OK", "Save As..."}) == 1;
        else
            window->alert(outcome.title, outcome.text, {"OK"});
    }
    auto& notifications = job->environment.notifications;
    const bool isQuitting = m_isQuitting;
    if (outcome.kind == Kind::Abandoned) {
        m_isSaving = job->isWriting = m_isClosing = false;
        if (isQuitting)
            notifications.post(KWDocumentAbandonedWriting);
        return;
    }
    m_document.setCurrentTime(job->time);
    if (auto* window = m_document.window())
        window->endProgress();
    m_isSaving = job->isWriting = false;
    // The window takes nothing with it that was not saved.
    const bool isClosing = std::exchange(m_isClosing, false);
    const bool isSaved = outcome.kind == Kind::Updated || outcome.kind == Kind::Flattened;
    const bool isWritten = isSaved || outcome.kind == Kind::Copied || outcome.kind == Kind::Nothing;
    if (isSaved || outcome.kind == Kind::Copied)
        tellSaved(*job, outcome);
    if (outcome.kind == Kind::Changed)
        offerWaysOut(outcome);
    else if (offersSaveAs)
        job->operation == SaveOperation::Copy ? saveCopy() : saveDocumentAs();
    if (isClosing && isWritten)
        m_document.close(); // and with it, maybe, this document
    if (isQuitting)
        notifications.post(KWDocumentFinishedWriting);
}

void SaveController::tellSaved(const Job& job, const MovieWriter::Outcome& outcome)
{
    using Kind = MovieWriter::Outcome::Kind;
    if (auto* window = m_document.window())
        window->saved({job.path, outcome.bytesWritten,
            std::chrono::duration<double>(std::chrono::steady_clock::now() - job.start).count(),
            outcome.kind == Kind::Updated, outcome.kind == Kind::Copied});
}

void SaveController::offerWaysOut(const MovieWriter::Outcome& outcome)
{
    auto* window = m_document.window();
    if (!window)
        return;
    // While quitting there is no time for another save: what is not saved keeps the application.
    if (m_isQuitting) {
        window->alert(outcome.title, outcome.text, {"OK"});
        return;
    }
    switch (window->alert(outcome.title, outcome.text, {"Save As...", "Reload", "Cancel"})) {
    case 0:
        saveDocumentAs();
        break;
    case 1:
        m_document.revertToFile();
        break;
    default:
        break;
    }
}

} // namespace reelwright
