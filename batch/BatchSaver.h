#pragma once

#include "batch/BatchResult.h"
#include "batch/BatchSettings.h"
#include "movie/QTMovie.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <system_error>

namespace reelwright {

/// Moves of a save, so that a test can make them fail.
struct BatchFiles
{
    /// As FileHelper::moveFile.
    std::function<std::error_code(
        const std::string& from, const std::string& to, std::chrono::milliseconds timeout)>
        move;
    /// Into the trash can, noted there under another path.
    std::function<std::error_code(
        const std::string& path, const std::string& original, std::chrono::milliseconds timeout)>
        trash;

    static BatchFiles real();
};

/// Writes a movie for a batch: an update in place where that is asked for and possible, else a whole file
/// beside the target that takes its place. What stood there goes to the trash can. Keeps nothing between two
/// saves.
class BatchSaver
{
public:
    enum class Operation { Save, SaveAs };
    struct Saved
    {
        BatchResult::Road road = BatchResult::Road::Nothing;
        std::uint64_t bytesWritten = 0;
        std::vector<std::string> warnings;
    };

    /// Borrows the settings.
    BatchSaver(const BatchSettings& settings, std::shared_ptr<Storage> storage, BatchFiles files)
        : m_settings(settings)
        , m_storage(std::move(storage))
        , m_files(std::move(files))
    {
    }

    /// On an error the target is what it was.
    Result<Saved> write(
        QTMovie& movie, const std::string& path, Operation operation, const Progress& progress) const;

private:
    Result<Saved> takeRoad(
        QTMovie& movie, const std::string& path, Operation operation, const Progress& progress) const;
    Result<Saved> writeThroughTemporaryFile(
        const QTMovie& movie, const std::string& path, const Progress& progress) const;
    Result<void> place(const std::string& temporary, const std::string& target) const;

    const BatchSettings& m_settings;
    std::shared_ptr<Storage> m_storage;
    BatchFiles m_files;
};

} // namespace reelwright
