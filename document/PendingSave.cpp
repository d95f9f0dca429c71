#include "document/PendingSave.h"

#include "movie/QTTrack.h"
#include "movie/files/DataReference.h"
#include "movie/files/MediaSources.h"
#include "movie/saving/MovieSaver.h"

#include <unistd.h>

namespace reelwright {
namespace {

    /// The first reason why media of the movie cannot be read.
    std::string missingMediaOf(const QTMovie& movie)
    {
        for (const auto& track : movie.tracks())
            for (const auto& reference : track.media().dataReferences())
                if (const auto opened = movie.sources().open(reference); !opened)
                    return opened.error().detail;
        return {};
    }

    bool isEncryptedMovie(const QTMovie& movie)
    {
        for (const auto& track : movie.tracks())
            for (std::size_t i = 1; i <= track.media().sampleDescriptionCount(); ++i) {
                if (isEncryptedFormat(track.media().sampleDescription(i)->format()))
                    return true;
            }
        return false;
    }

} // namespace

PendingSave PendingSave::of(const QTMovie& movie)
{
    PendingSave pending;
    const auto& file = movie.file();
    pending.hasFile = file != nullptr;
    if (movie.isChanged())
        pending.changes = changesBetween(MovieFacts::of(movie.asSaved()), MovieFacts::of(movie));
    pending.bytes = movie.header().size();
    if (file)
        pending.mediaBytes = file->state.size - std::min<std::uint64_t>(file->state.size, pending.bytes);
    if (const auto hindrance = MovieSaver::canUpdateMovieFile(movie); file && !hindrance) {
        pending.inPlace = false;
        pending.bytes += pending.mediaBytes;
        pending.whyAnew = reasonFor(hindrance.error(), movie.fileName());
        // What is referred to elsewhere is copied too.
        if (const auto plan = MovieSaver::plan(movie, SaveWay::Flattened))
            pending.bytes = plan->bytesWritten;
    }
    if (!file)
        return pending;
    pending.isWriteProtected = ::access(file->path.c_str(), W_OK) != 0;
    if (const auto current = file->storage->open(file->path, Storage::Access::Read))
        if (const auto state = (*current)->state())
            pending.isChangedByOthers = !state->isSameFile(file->state) || state->size != file->state.size;
    pending.missingMedia = missingMediaOf(movie);
    pending.isEncrypted = isEncryptedMovie(movie);
    return pending;
}

std::vector<ReviewedStep> reviewSteps(const std::vector<UndoHistory::StepCopy>& steps, const QTMovie& present)
{
    std::vector<ReviewedStep> reviewed;
    auto before = steps.empty() ? MovieFacts {} : MovieFacts::of(steps.front().before);
    for (std::size_t i = 0; i < steps.size(); ++i) {
        auto after = MovieFacts::of(i + 1 < steps.size() ? steps[i + 1].before : present);
        bool canBeUndoneAlone = true;
        for (std::size_t later = i + 1; later < steps.size(); ++later)
            canBeUndoneAlone = canBeUndoneAlone && steps[later].canBeRepeated;
        reviewed.push_back({steps[i].index, steps[i].name, changesBetween(before, after), canBeUndoneAlone});
        before = std::move(after);
    }
    return reviewed;
}

} // namespace reelwright
