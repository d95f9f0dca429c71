#pragma once

#include "movie/QTMovie.h"

#include <functional>
#include <initializer_list>
#include <vector>

namespace reelwright {

/// A stretch of media that a header refers to by its absolute place in a file.
struct MediaExtent
{
    std::size_t source = 0; ///< index into MediaOffsets::sources, or kMemorySource
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    double time = 0; ///< seconds of media time at which it is first needed
    static constexpr std::size_t kMemorySource = SIZE_MAX;
};

/// A file that holds media of a movie.
struct MediaSource
{
    std::shared_ptr<StorageFile> file;
    std::string path;
    std::uint64_t size = 0;
};

/// What a header refers to by absolute file offsets, as one list to read and to rewrite: chunk offsets
/// (`stco`, `co64`) and metadata keys whose values are offsets.
struct MediaOffsets
{
    /// Source 0 is the movie's own file.
    std::vector<MediaSource> sources;
    std::vector<MediaExtent> extents; ///< in the order of the header, one a chunk

    /// Lists what the movie's header refers to, opening the files of its data references.
    /// Errors: Io for a missing file; Truncated when media lie outside their file, naming the track;
    /// Refused for an outline; Unsupported when the header holds offsets that this engine cannot move (see
    /// findImmovable).
    static Result<MediaOffsets> collect(const QTMovie& movie);

    /// Where a byte of a source comes to lie; nothing for one that is not part of the new file.
    using Map = std::function<std::optional<std::uint64_t>(std::size_t source, std::uint64_t offset)>;
    /// A copy of the header with all offsets mapped and every media self-contained. `stco` where all fit it,
    /// else `co64`. Errors: Corrupt or Unsupported when an offset has no new place.
    Result<Cow<Atom>> rewrite(const QTMovie& movie, const Map& map) const;

    /// The first atom below this one whose absolute offsets are kept but cannot be moved: auxiliary data
    /// (`saio`), item locations (`iloc`). Null when there is none.
    static const Atom* findImmovable(const Atom& atom);

    /// What the headers of these versions of one movie refer to outside of everything that an update in place
    /// leaves alone: in free atoms (media where nobody expects them, and the position records of dashboard
    /// cameras, `gps `), in movie headers, and behind the last atom, where media are missing or lie in no
    /// atom. A chunk without samples counts as one byte. At least one version, all over the same file.
    static std::vector<FileStretch> outsideMedia(std::initializer_list<const QTMovie*> versions);

    /// For an update in place: maps only chunk offsets of media in memory, and leaves every other byte as it
    /// is.
    static Result<Cow<Atom>> placeMemory(const QTMovie& movie, const Map& map);
    /// The extents of media in memory only.
    static std::vector<MediaExtent> memoryExtents(const QTMovie& movie);
};

} // namespace reelwright
