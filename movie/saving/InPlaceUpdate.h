#pragma once

#include "movie/files/MovieFile.h"

#include <functional>
#include <optional>
#include <vector>

namespace reelwright {

/// Puts atoms into a movie file so that a reader, or the power failing, never finds half of one.
///
/// Everything rests on writes of an atom's size, its type, or both that are whole or not there (they never
/// cross a 512-byte sector), each flushed before the next, with a valid file between any two:
///
///     | free ............... |   a gap: one or several free atoms, or the end of the file
///     | free .... (anything) |   its inside is written; readers still skip all of it
///     |f| free(new) | free . |   one size is changed: the new atom is there, typed free
///     |f| moov      | free . |   one type is changed: it lives (at once with its size, where it can be)
///
/// Where everything goes follows from the layout alone. Without a file an update is made on paper: a second
/// one, told the same, does the same to a file. What is refused is refused on paper.
class InPlaceUpdate
{
public:
    /// `file`: null for an update on paper. `inUse` is what must stay as it is outside of media atoms
    /// (FileAccount::inUse): nothing is written there, and nothing of it cut off.
    InPlaceUpdate(StorageFile* file, FileLayout layout, std::vector<FileStretch> inUse = {});

    /// Writes `atom` (whole, compact size) into a gap or behind the end. Answers where it lies. Refused where
    /// media of the header are missing at the only place that is left.
    enum class Place { BeforeMedia, Anywhere, BehindMedia };
    Result<std::uint64_t> place(ByteSpan atom, Place place);

    /// Can a media atom without a size, which reaches to the end of the file, be given its size?
    static bool canClose(const FileLayout& layout);
    /// Gives it to one that is there, so that atoms can follow it.
    Result<void> close();

    /// Gives the atom at that offset another type, and nothing else; does nothing where that could leave half
    /// of a type.
    Result<void> retype(std::uint64_t offset, FourCC type);

    /// A header of `size` bytes for that place: of some headers a few bytes depend on where they lie.
    using HeaderAt = std::function<Result<Bytes>(std::uint64_t offset)>;
    /// Replaces the header at `oldOffset`. Two moves where that brings it back to its place.
    Result<void> replaceHeader(std::uint64_t oldOffset, std::uint64_t size, const HeaderAt& headerAt);
    /// Does the header at `oldOffset` lie behind media in front of which there is room for it?
    [[nodiscard]] bool frontHasRoom(std::uint64_t oldOffset, std::uint64_t size) const
    {
        return oldOffset > firstMediaOffset() && findGap(size, Place::BeforeMedia, std::nullopt).has_value();
    }
    /// Where it came to lie.
    [[nodiscard]] std::uint64_t headerOffset() const { return m_headerOffset; }
    /// The furthest of all places that it took on the way.
    [[nodiscard]] std::uint64_t furthestHeaderOffset() const { return m_furthestHeaderOffset; }

    /// Makes the atom at that offset free space, one with what is free behind it; cuts the file instead where
    /// the atom ends it.
    Result<void> retire(std::uint64_t offset);

    [[nodiscard]] const FileLayout& layout() const { return m_layout; }
    [[nodiscard]] std::uint64_t bytesWritten() const { return m_bytesWritten; }
    /// How long the file is at its longest.
    [[nodiscard]] std::uint64_t longestSize() const { return m_longestSize; }
    /// Did `header` end up behind media that the old one stood before?
    [[nodiscard]] bool headerLeftTheFront() const { return m_headerLeftTheFront; }
    /// Can a reader find the header given to `replaceHeader`? Stays false when that failed early enough.
    [[nodiscard]] bool mayHaveReplacedHeader() const { return m_mayHaveReplacedHeader; }

private:
    /// Space for one atom: `count` free atoms from `first` on, or the end of the file (count 0).
    struct Gap
    {
        std::size_t first = 0;
        std::size_t count = 0;
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
        std::uint64_t lead = 0; ///< free bytes left in front of the new atom
    };

    [[nodiscard]] std::optional<Gap> findGap(
        std::uint64_t size, Place place, std::optional<std::size_t> alsoFree) const;
    [[nodiscard]] Gap endGap(std::uint64_t size) const;
    Result<std::uint64_t> fill(const Gap& gap, ByteSpan atom);
    Result<void> write(std::uint64_t offset, ByteSpan bytes);
    Result<void> flush();
    Result<void> truncate(std::uint64_t size);
    Result<void> write32(std::uint64_t offset, std::uint32_t value);
    Result<void> writeHeader(std::uint64_t offset, std::uint64_t size, FourCC type);
    [[nodiscard]] bool isInUse(std::uint64_t begin, std::uint64_t end) const;
    [[nodiscard]] bool isUsable(const TopLevelAtom& atom) const;
    [[nodiscard]] std::uint64_t firstMediaOffset() const;
    [[nodiscard]] std::size_t indexAt(std::uint64_t offset) const;

    StorageFile* m_file; ///< null: on paper
    FileLayout m_layout;
    std::vector<FileStretch> m_inUse; ///< sorted, none touches another
    std::uint64_t m_bytesWritten = 0;
    std::uint64_t m_headerOffset = 0;
    std::uint64_t m_furthestHeaderOffset = 0;
    std::uint64_t m_longestSize = 0;
    bool m_headerLeftTheFront = false;
    bool m_mayHaveReplacedHeader = false;
};

} // namespace reelwright
