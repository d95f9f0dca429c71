#pragma once

#include "movie/QTMovie.h"

#include <vector>

namespace reelwright {

/// Who owns which bytes of a movie's own file: the one place that is asked before a save writes over, cuts
/// off, retires or leaves out anything. It goes by what refers to where (every header of the file, the saved
/// one and the edited one, their media, position records and auxiliary data, item locations beside the
/// header), and by the content where the type of an atom is no proof: bytes are free when they are known to
/// be, never because nothing is known of them.
class FileAccount
{
public:
    /// For a movie whose file has a header. Reads the file's other headers, and no media.
    /// Errors: Io; Refused for a file of more headers than can be judged.
    static Result<FileAccount> of(const QTMovie& movie);

    /// Outside of media atoms: where nothing may be written, and what must not be cut off.
    [[nodiscard]] const std::vector<FileStretch>& inUse() const { return m_inUse; }
    /// Offsets of headers that are provably the other half of an interrupted save of this program, and can be
    /// retired: the file has just the two, they share sample tables, and all media lead to them.
    [[nodiscard]] const std::vector<std::uint64_t>& otherHalves() const { return m_otherHalves; }
    /// Headers of which that is not known. They stay, and so do their media.
    [[nodiscard]] const std::vector<TopLevelAtom>& otherHeaders() const { return m_otherHeaders; }
    /// The movie's own header has to stay in front of this, or another one would be taken for it.
    [[nodiscard]] std::uint64_t headerLimit() const { return m_headerLimit; }
    /// Offsets of small media atoms of which every byte belonged to what the edits took away, as the sample
    /// of a timecode that was changed does. They become free with the save.
    [[nodiscard]] const std::vector<std::uint64_t>& deadMedia() const { return m_deadMedia; }
    /// Offsets of atoms that an earlier save of this movie made free so, and whose media are wanted again.
    [[nodiscard]] const std::vector<std::uint64_t>& revivedMedia() const { return m_revivedMedia; }
    /// `skip` atoms that hold something.
    [[nodiscard]] bool hasContent(const TopLevelAtom& skip) const;

    /// Can atoms be appended where the last whole one ends? Refused when media, or bytes that are no zeros,
    /// lie there.
    static Result<void> checkEnd(const QTMovie& movie);
    /// Is everything behind the last atom zeros? Holes are not read.
    static Result<bool> endsInZeros(const MovieFile& file);

    /// Larger media are never made free.
    static constexpr std::uint64_t kMostReclaimed = 1U << 20U;

private:
    std::vector<FileStretch> m_inUse;
    std::vector<std::uint64_t> m_otherHalves;
    std::vector<TopLevelAtom> m_otherHeaders;
    std::uint64_t m_headerLimit = UINT64_MAX;
    std::vector<std::uint64_t> m_deadMedia;
    std::vector<std::uint64_t> m_revivedMedia;
    std::vector<std::uint64_t> m_skipsWithContent;
};

} // namespace reelwright
