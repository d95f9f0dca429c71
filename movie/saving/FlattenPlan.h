#pragma once

#include "movie/saving/MediaOffsets.h"
#include "movie/saving/UnusedBytes.h"

namespace reelwright {

/// What a flattened movie consists of, without writing it: header first, then the media, each byte of them
/// once, and the file's other atoms. Holds the sources open.
class FlattenPlan
{
public:
    /// A stretch of the flattened movie: bytes in memory, or a stretch of a source.
    struct Segment
    {
        std::uint64_t offset = 0; ///< in the flattened movie
        std::uint64_t size = 0;
        Bytes bytes; ///< when `file` is null
        std::shared_ptr<StorageFile> file; ///< else the source,
        std::uint64_t fileOffset = 0; ///< and where in it
    };

    /// Errors: Io, Truncated, Unsupported as MediaOffsets; Refused for a fragmented file whose fragments
    /// carry more than sample tables can, and where a header of another movie would have to be kept.
    static Result<FlattenPlan> make(const QTMovie& movie, UnusedBytes unused = UnusedBytes::Keep);

    /// In order, without gaps.
    [[nodiscard]] const std::vector<Segment>& segments() const { return m_segments; }
    [[nodiscard]] std::uint64_t size() const { return m_size; }
    /// The movie header among them, a whole atom.
    [[nodiscard]] const Bytes& header() const { return m_header; }
    /// Bytes of the movie's file that nothing refers to and that are not part of the flattened movie, and
    /// headers of other movies. Free space does not count.
    [[nodiscard]] std::uint64_t bytesLeftOut() const { return m_bytesLeftOut; }

private:
    friend class MovieStream;

    void append(Bytes bytes);
    void append(std::shared_ptr<StorageFile> file, std::uint64_t fileOffset, std::uint64_t size);

    std::vector<Segment> m_segments;
    Bytes m_header;
    std::uint64_t m_size = 0;
    std::uint64_t m_bytesLeftOut = 0;
};

/// Random-access reading of a movie without writing it: the header from memory, the media from their sources.
/// Unsaved edits show at once. Safe to use from several threads; independent of the movie it was made from.
class MovieStream
{
public:
    /// The movie as it would be saved flattened. Errors: those of FlattenPlan::make.
    static Result<MovieStream> open(const QTMovie& movie);
    /// The same movie arranged for a player, so that nothing has to be moved where all media are in the
    /// movie's own file: the file under the header of one `mdat` atom, media in memory, the header last.
    ///
    ///     | mdat: the file as it is, its first 8 or 16 bytes covered | mdat: memory | ftyp | moov |
    ///
    /// Costs what the header costs, however many chunks there are, and takes files whose media are not whole.
    /// Movies with media in other files, or whose file cannot be covered, are arranged as by `open`.
    static Result<MovieStream> openForPlaying(const QTMovie& movie);

    [[nodiscard]] std::uint64_t size() const { return m_plan.size(); }
    /// Fills `out` from `offset`; answers the bytes read, fewer only at the end.
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) const;

private:
    explicit MovieStream(FlattenPlan plan)
        : m_plan(std::move(plan))
    {
    }

    FlattenPlan m_plan;
};

} // namespace reelwright
