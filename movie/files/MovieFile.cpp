#include "movie/files/MovieFile.h"

#include "movie/atoms/ByteReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace reelwright {
namespace {

    /// Reads short stretches with few system calls while the atoms lie close together.
    class WindowReader
    {
    public:
        explicit WindowReader(StorageFile& file)
            : m_file(file)
        {
        }

        /// Up to `length` (at most 16) bytes at `offset`.
        Result<ByteSpan> at(std::uint64_t offset, std::size_t length)
        {
            if (offset < m_start || offset + length > m_start + m_size) {
                // A header far from the last one is usually followed by a large atom: do not read its media.
                const bool near = m_size != 0 && offset - m_start < 4 * m_window.size();
                const auto wanted = near ? m_window.size() : kSmallRead;
                m_start = offset;
                RW_TRY(m_size, m_file.readAt(offset, std::span {m_window}.first(wanted)));
            }
            const auto skip = static_cast<std::size_t>(offset - m_start);
            return ByteSpan {m_window}.subspan(skip, std::min(length, m_size - skip));
        }

    private:
        static constexpr std::size_t kSmallRead = 64;

        StorageFile& m_file;
        std::array<std::byte, 4096> m_window {};
        std::uint64_t m_start = 0;
        std::size_t m_size = 0;
    };

    /// Are the bytes from `offset` zeros? A long stretch is judged by its beginning.
    Result<bool> isZero(StorageFile& file, std::uint64_t offset)
    {
        std::array<std::byte, 65536> buffer; // NOLINT: filled by the read
        RW_TRY(const auto count, file.readAt(offset, buffer));
        return std::all_of(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count),
            [](std::byte b) { return b == std::byte {}; });
    }

} // namespace

Result<FileLayout> FileLayout::scan(StorageFile& file, const std::string& path)
{
    RW_TRY(const auto state, file.state());
    FileLayout layout;
    layout.fileSize = state.size;
    WindowReader window {file};
    std::uint64_t offset = 0;
    while (offset < state.size) {
        layout.end = offset;
        RW_TRY(const auto bytes, window.at(offset, 16));
        const auto header = AtomHeader::parse(bytes);
        const auto left = state.size - offset;
        if (!header || (header->sizeForm == SizeForm::ToEnd && header->type == FourCC {})) {
            RW_TRY(const bool zeros, isZero(file, offset));
            layout.ending = zeros ? Ending::Zeros : Ending::Garbage;
            return layout;
        }
        TopLevelAtom atom {header->type, offset, header->size, header->headerSize, header->sizeForm};
        if (atom.sizeForm == SizeForm::ToEnd || atom.size > left) {
            const bool toEnd = atom.sizeForm == SizeForm::ToEnd;
            layout.ending = toEnd        ? Ending::ToEnd
                : atom.type == "free"_cc ? Ending::CutFree
                                         : Ending::Truncated;
            atom.size = left;
            layout.atoms.push_back(atom);
            if (toEnd)
                layout.end = state.size;
            return layout;
        }
        if (layout.atoms.size() >= kMaxAtoms)
            return failure(MovieError::Code::Unsupported, path,
                fmt::format("the file has more than {} atoms on its outermost level", kMaxAtoms), offset);
        layout.atoms.push_back(atom);
        offset = atom.end();
        layout.end = offset;
    }
    return layout;
}

} // namespace reelwright
