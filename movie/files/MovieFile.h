#pragma once

#include "movie/atoms/Atom.h"
#include "movie/files/Storage.h"

#include <memory>
#include <string>
#include <vector>

namespace reelwright {

/// One atom of the outermost level of a file. Units: bytes.
struct TopLevelAtom
{
    FourCC type;
    std::uint64_t offset = 0;
    std::uint64_t size = 0; ///< header included; for the last one of a file that is cut short, what is there
    std::uint64_t headerSize = 8;
    SizeForm sizeForm = SizeForm::Compact;

    [[nodiscard]] std::uint64_t end() const { return offset + size; }
};

/// The bytes from `offset` up to `end`.
struct FileStretch
{
    std::uint64_t offset = 0;
    std::uint64_t end = 0;
};

/// The outermost level of a movie file: where its atoms lie and how the file ends.
struct FileLayout
{
    /// What follows the last whole atom.
    enum class Ending {
        Clean, ///< nothing
        Zeros, ///< zero bytes, which belong to nobody
        CutFree, ///< a free atom that the file does not hold whole: an append that was interrupted
        ToEnd, ///< the last atom has no size and reaches to the end of the file
        Truncated, ///< the last atom claims more than the file holds
        Garbage, ///< bytes that are no atom
    };

    std::vector<TopLevelAtom> atoms; ///< in file order; a ToEnd or Truncated one is the last
    std::uint64_t fileSize = 0;
    std::uint64_t end
        = 0; ///< where the last whole atom ends: new atoms can be appended here when `canAppend`
    Ending ending = Ending::Clean;

    [[nodiscard]] bool canAppend() const
    {
        return ending == Ending::Clean || ending == Ending::Zeros || ending == Ending::CutFree;
    }

    /// Walks the outermost level; reads 16 bytes an atom. Errors: Io; Unsupported for a file of more than
    /// kMaxAtoms.
    static Result<FileLayout> scan(StorageFile& file, const std::string& path);
    static constexpr std::size_t kMaxAtoms = 1'000'000;
};

/// A movie file as it was when it was opened: its layout, its header's bytes and the open file. Immutable;
/// movies and their copies share it.
struct MovieFile
{
    std::shared_ptr<Storage> storage;
    std::shared_ptr<StorageFile> file; ///< open for reading
    std::string path;
    std::string folder; ///< that the file itself lies in, and not a symbolic link to it
    FileState state;
    FileLayout layout;
    std::size_t headerIndex
        = kNoHeader; ///< of the live header in `layout.atoms`; kNoHeader for a file of another kind
    Bytes header; ///< the live header, its atom header included; empty where only its outline was read

    static constexpr std::size_t kNoHeader = SIZE_MAX;
    static constexpr std::uint64_t kMaxHeaderSize = 1ULL << 30U;

    [[nodiscard]] const TopLevelAtom* headerAtom() const
    {
        return headerIndex == kNoHeader ? nullptr : &layout.atoms[headerIndex];
    }
    /// First four bytes of `ftyp`, or zero when the file has none (a QuickTime file).
    FourCC majorBrand;
    /// Is it a QuickTime file (brand "qt  " or none) and not one of the ISO family?
    [[nodiscard]] bool isQuickTime() const { return majorBrand == FourCC {} || majorBrand == "qt  "_cc; }
};

} // namespace reelwright
