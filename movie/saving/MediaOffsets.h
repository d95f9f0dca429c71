#pragma once

#include "movie/QTMovie.h"

#include <functional>
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
    std::vector<FileStretch>
        positions; ///< position records (`gps `) of the own file, as far as it holds them

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

    /// Told of each stretch of the movie's own file that something refers to.
    using Visit = std::function<void(std::uint64_t offset, std::uint64_t size)>;
    static constexpr std::uint64_t kUnknownSize = UINT64_MAX;
    /// A track's chunks (size 0 for one without samples).
    static void forEachOwnChunk(const QTTrack& track, const Visit& visit);
    /// What else the header refers to: position records (`gps `), metadata values, auxiliary data (`saio`,
    /// which says no size) that lie outside of the header, and item locations.
    static void forEachOther(const QTMovie& movie, const Visit& visit);
    /// The item locations (`iloc`) below an atom.
    static void forEachItem(const Atom& atom, const Visit& visit);

    /// The header as it has to be when it lies at `offset`: auxiliary data (`saio`) that lie in the header
    /// itself move with it. Its size stays. Errors: Refused where an offset would not fit, or what it points
    /// at is gone.
    static Result<Cow<Atom>> headerAt(const QTMovie& movie, const Cow<Atom>& header, std::uint64_t offset);

    /// For an update in place: maps only chunk offsets of media in memory, and leaves every other byte as it
    /// is.
    static Result<Cow<Atom>> placeMemory(const QTMovie& movie, const Map& map);
    /// The extents of media in memory only.
    static std::vector<MediaExtent> memoryExtents(const QTMovie& movie);
};

} // namespace reelwright
