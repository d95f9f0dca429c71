#pragma once

#include "movie/QTMovie.h"
#include "movie/files/RandomReader.h"

namespace reelwright {

/// The bytes that a file would hold after a movie was saved, without saving it: the header from memory, media
/// from where they lie. Costs what a save's header costs. Independent of the movie it was made from; holds
/// its files open.
class SavePreview final : public RandomReader
{
public:
    enum class Mode { InPlace, Flattened };

    /// Errors: those of the save itself, as far as they are found before it writes. Whether the volume lets
    /// files be updated in place is the caller's question.
    static Result<std::unique_ptr<SavePreview>> make(const QTMovie& movie, Mode mode);

    [[nodiscard]] std::uint64_t size() const override { return m_bytes->size(); }
    [[nodiscard]] Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) const override
    {
        return m_bytes->readAt(offset, out);
    }

    /// The live movie header, read from these bytes, with its atoms' places in them.
    [[nodiscard]] const Atom& header() const { return m_header; }

private:
    SavePreview() = default;

    Result<void> updateFile(const QTMovie& movie);
    /// Reads the first movie header at or behind `from`: a file can have others besides the live one.
    Result<void> readHeader(const std::string& path, std::uint64_t from);

    std::unique_ptr<RandomReader> m_bytes;
    Atom m_header;
};

} // namespace reelwright
