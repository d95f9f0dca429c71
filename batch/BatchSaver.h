#pragma once

#include "batch/BatchSettings.h"
#include "saving/SaveRoad.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <system_error>

namespace reelwright {

/// Where replaced files go, so that a test can make it fail.
struct BatchFiles
{
    /// Into the trash can, noted there under another path.
    std::function<std::error_code(
        const std::string& path, const std::string& original, std::chrono::milliseconds timeout)>
        trash;

    static BatchFiles real();
};

/// Takes a movie to the disk for a batch, with the batch's rules and log lines: an update in place where that
/// is asked for and possible, else a whole file. What stood in its place goes to the trash can. Keeps nothing
/// between two saves.
class BatchSaver
{
public:
    struct Order
    {
        QTMovie movie;
        std::string output; ///< the movie's own file, in place
        bool dryRun = false;
        /// As SaveRequest::transform.
        std::function<Result<QTMovie>(const QTMovie& movie, SaveMode mode)> transform {};
    };

    /// Borrows the settings.
    BatchSaver(const BatchSettings& settings, std::shared_ptr<Storage> storage, BatchFiles files)
        : m_settings(settings)
        , m_storage(std::move(storage))
        , m_files(std::move(files))
    {
    }

    /// On an error the target is what it was.
    [[nodiscard]] SaveOutcome save(Order order, const Progress& progress) const;

private:
    struct Placing;

    [[nodiscard]] SaveRequest request(const Order& order) const;
    [[nodiscard]] SaveOutcome takeRoad(const Order& order, const Progress& progress) const;
    [[nodiscard]] WholeFileEvents events(Placing& placing) const;

    const BatchSettings& m_settings;
    std::shared_ptr<Storage> m_storage;
    BatchFiles m_files;
};

} // namespace reelwright
