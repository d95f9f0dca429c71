#pragma once

#include "movie/Result.h"
#include "movie/atoms/ByteWriter.h"
#include "movie/atoms/Bytes.h"
#include "movie/atoms/Cow.h"
#include "movie/atoms/FourCC.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace reelwright {

/// How an atom's size is written. Kept as found, so that an unchanged atom is written back byte for byte.
enum class SizeForm : std::uint8_t {
    Compact, ///< 32-bit size, 8-byte header
    Extended, ///< size field 1, then a 64-bit size: 16-byte header
    ToEnd, ///< size field 0: the atom reaches to the end of its parent
};

/// One atom of a movie header. A leaf has all of its payload in `head`. A container has the bytes before its
/// first child in `head` (version and flags, a count), its children, and in `tail` whatever follows them that
/// is no atom (the 32 zero bits that end a user data list, padding, damage). Writing an atom that was read
/// and not changed gives the same bytes.
class Atom
{
public:
    using Children = std::vector<Cow<Atom>>;

    Atom();
    explicit Atom(FourCC atomType, Bytes payload = {});
    /// A new container without children.
    static Atom container(FourCC atomType);

    /// Reads the atom at the start of `bytes`, which lie at `fileOffset` of the file. Containers are followed
    /// down to kMaxDepth levels and kMaxAtoms atoms in all; what is deeper, or past that, stays a leaf and is
    /// kept as bytes. Damage below the atom's own header is kept as bytes too and noted in `warnings`.
    /// Errors: Truncated when the atom does not fit `bytes`.
    static Result<Atom> parse(
        const Bytes& bytes, std::uint64_t fileOffset, std::vector<MovieWarning>* warnings = nullptr);

    static constexpr int kMaxDepth = 24;
    static constexpr int kMaxAtoms = 200'000;

    FourCC type;
    SizeForm sizeForm = SizeForm::Compact;
    bool isContainer = false;
    bool isCut = false; ///< a sample table of which `head` has the beginning only; see HeaderReading::Outline
    std::uint64_t sourceOffset = 0; ///< file offset of the header; 0 for an atom that was made, not read
    std::uint64_t id = 0; ///< identity: kept by copies and through edits, unique otherwise
    Bytes head;
    Children children;
    Bytes tail;

    /// Bytes this atom takes when written, header included.
    [[nodiscard]] std::uint64_t size() const;
    void write(ByteWriter& out) const;
    [[nodiscard]] Bytes toBytes() const;
    /// Would both write the same bytes? Costs little for trees that share most of their atoms.
    [[nodiscard]] bool writesSameAs(const Atom& other) const;

    /// The first child of that type, or null.
    [[nodiscard]] const Atom* find(FourCC childType) const;
    /// The descendant reached by following the first child of each type, or null.
    [[nodiscard]] const Atom* find(std::initializer_list<FourCC> path) const;
    /// For changing: makes the way down to it this tree's own. Null when there is none.
    Atom* edit(FourCC childType);
    Atom* edit(std::initializer_list<FourCC> path);
    /// The first child of that type for changing; a new empty one (leaf, or container when the type is one)
    /// is appended when there is none.
    Atom& ensure(FourCC childType);
    Atom& append(Atom child);
    /// Puts `child` before the first child of type `before`, or last when there is none.
    Atom& insertBefore(FourCC before, Atom child);
    /// Removes every child of that type; answers how many there were.
    std::size_t remove(FourCC childType);
    /// Gives the first child of that type this payload; appends such a leaf when there is none.
    void setLeaf(FourCC childType, Bytes payload);
};

/// Header fields of an atom as they stand in a file.
struct AtomHeader
{
    FourCC type;
    SizeForm sizeForm = SizeForm::Compact;
    std::uint64_t headerSize = 8;
    std::uint64_t size = 0; ///< header included; 0 while a ToEnd atom's size is not known

    /// From the first 16 bytes (8 are enough for a compact size). Nothing when the bytes are too few or the
    /// size is smaller than the header itself.
    static std::optional<AtomHeader> parse(ByteSpan bytes);
};

} // namespace reelwright
