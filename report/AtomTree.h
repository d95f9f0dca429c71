#pragma once

#include "movie/files/MovieFile.h"
#include "report/AtomFields.h"

#include <map>

namespace reelwright {

/// What an edit that is not saved yet does to an atom.
enum class AtomChange {
    None,
    Inside, ///< only atoms below it change
    Changed,
    Removed,
    Added, ///< in memory only: it has no place in the file yet
};

/// One atom as it stands in a file.
struct AtomNode
{
    FourCC type;
    AtomContext context;
    AtomChange change = AtomChange::None;
    std::uint64_t offset = 0; ///< in the file
    std::uint64_t size = 0; ///< bytes, header included; what is there of one that is cut short
    std::uint64_t claimedSize = 0; ///< what its header says; larger than `size` when it is cut short
    SizeForm sizeForm = SizeForm::Compact;
    std::string note; ///< what it says, for a few kinds
    std::uint64_t trailingBytes = 0; ///< bytes behind the last child that are no atom
    std::vector<AtomNode> children;

    [[nodiscard]] bool isCutShort() const { return claimedSize > size; }
};

/// The atoms of a file, whether or not it is a movie that can be opened.
struct AtomTree
{
    /// How much is shown of a file with very many atoms.
    struct Limits
    {
        int depth = INT32_MAX; ///< levels; 1: the outermost only
        std::size_t alike
            = 20; ///< atoms of one type on the outermost level (movie fragments come by thousands)
    };

    std::uint64_t fileSize = 0;
    std::vector<AtomNode> atoms;
    std::map<std::string, std::size_t> omitted; ///< atoms beyond `Limits::alike`, by type
    std::string ending; ///< what follows the last whole atom; empty for nothing
    std::vector<std::string> problems; ///< damage; empty for a whole movie file

    /// Errors: Io; Unsupported for a file of absurdly many atoms.
    static Result<AtomTree> read(const std::string& path, const Limits& limits,
        const std::shared_ptr<Storage>& storage = Storage::posix());

    /// Marks what a save would change: `saved` is the header that the file has, `edited` the one in memory.
    /// Atoms that are new are put behind those that are there.
    void markChanges(const Atom& saved, const Atom& edited);
};

/// The inside of one atom.
struct AtomDetail
{
    Bytes bytes; ///< from the atom's header on, of a long atom the beginning
    std::vector<AtomField> fields;

    /// Of an atom of a file, `most` bytes at most. Errors: Io.
    static Result<AtomDetail> read(const std::string& path, const AtomNode& node, std::size_t most,
        const std::shared_ptr<Storage>& storage = Storage::posix());
};

/// Lines of 16 bytes each: offset, bytes, characters. `firstOffset` is that of the first byte.
std::string hexDump(ByteSpan bytes, std::uint64_t firstOffset);

} // namespace reelwright
