#pragma once

#include "movie/QTMovie.h"

#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>

namespace reelwright {

/// A file that remembers which movies an edit has saved, so that the same edit, begun anew after it was ended
/// at any moment, does none of them twice. Before each save it notes the header that the save is going to
/// write; a file that has a noted header was saved. May be used from several threads.
class SaveJournal
{
public:
    /// `edits` says in any words what is done to the movies: a journal of other edits is refused. Files that
    /// interrupted saves of noted movies left under hidden names are removed.
    static Result<std::unique_ptr<SaveJournal>> open(
        const std::string& path, const std::string& edits, Storage::Sync sync);
    SaveJournal(const SaveJournal&) = delete;
    SaveJournal& operator=(const SaveJournal&) = delete;
    ~SaveJournal();

    /// Was the file at that path saved, as the header of this movie, which lies there, says?
    [[nodiscard]] bool isDone(const std::string& path, const QTMovie& movie) const;
    /// Notes a header that the file at that path is going to have. Returns when the note is on the disk.
    Result<void> note(const std::string& path, ByteSpan header);

private:
    SaveJournal(int file, std::string path, Storage::Sync sync)
        : m_file(file)
        , m_path(std::move(path))
        , m_sync(sync)
    {
    }
    Result<void> read(const std::string& title);
    Result<void> append(const std::string& line);
    void removeLeftovers() const;

    const int m_file;
    const std::string m_path;
    const Storage::Sync m_sync;
    mutable std::mutex m_mutex; ///< for the file and the notes
    std::unordered_set<std::string> m_notes;
};

} // namespace reelwright
