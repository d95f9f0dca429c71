#pragma once

#include "document/DocumentFile.h"
#include "document/MovieWriter.h"

#include <memory>
#include <string>
#include <thread>

namespace reelwright {

class MyDocument;

/// The saving of one document: asks where, writes a copy of the movie on a thread of its own, shows how far
/// that is, hands the document what came of it, and sees to it that closing and quitting wait. Main thread
/// only, except for the writing itself.
class SaveController
{
public:
    explicit SaveController(MyDocument& document);
    SaveController(const SaveController&) = delete;
    SaveController& operator=(const SaveController&) = delete;
    ~SaveController();

    // As MyDocument has them.
    bool saveDocument();
    bool saveDocumentAs();
    bool saveDocumentTo();
    bool saveCopy();
    bool writeSafelyToURL(const std::string& path, SaveOperation operation);
    void cancelProgress();
    /// The window is to be closed: not while a save is being written; then it closes when that ends.
    bool windowShouldClose();
    /// Saves, and closes the window when that went well.
    void saveAndClose();
    bool documentCanQuit();
    void quitCancelled() { m_isQuitting = false; }

    [[nodiscard]] bool isSaving() const { return m_isSaving; }
    [[nodiscard]] bool isWriting() const;
    [[nodiscard]] const DocumentFile* fileBeingWritten() const;

private:
    struct Job;

    bool chooseAndSave(SaveOperation operation, const std::string& title);
    bool saveToURL(const std::string& path, SaveOperation operation);
    static void writeToURLOnThread(const std::shared_ptr<Job>& job);
    bool claim(const DocumentFile& target);
    void endSave(const std::shared_ptr<Job>& job, const MovieWriter::Outcome& outcome);
    void offerWaysOut(const MovieWriter::Outcome& outcome);
    void tellSaved(const Job& job, const MovieWriter::Outcome& outcome);
    void releaseThread();

    MyDocument& m_document;
    std::shared_ptr<Job> m_job; ///< the present save, or the last one
    std::thread m_thread;
    bool m_isQuitting = false;
    bool m_isClosing = false;
    bool m_isSaving = false;
    bool m_userSave = false;
};

} // namespace reelwright
