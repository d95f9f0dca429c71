#include "movie/files/HeaderChoice.h"

#include "movie/atoms/HeaderOutline.h"
#include "movie/files/HeaderReader.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {
namespace {

    MovieError noHeaderError(const MovieFile& file)
    {
        const auto& layout = file.layout;
        const auto error = [&](MovieError::Code code, const char* why, std::uint64_t offset) {
            return MovieError {code, offset, file.path, why, defaultStatus(code)};
        };
        if (layout.fileSize == 0)
            return error(MovieError::Code::Truncated, "the file is empty", 0);
        for (const auto& atom : layout.atoms)
            if (atom.type == "moov"_cc) // only the last one, cut short, can have been passed over
                return error(MovieError::Code::Truncated,
                    "the movie header (moov) is cut short: the file ends inside it; copy the file again from "
                    "its source",
                    atom.offset);
        const auto end = layout.end == layout.fileSize ? 0 : layout.end;
        const bool movieLike
            = std::any_of(layout.atoms.begin(), layout.atoms.end(), [](const TopLevelAtom& atom) {
                  return atom.type == "mdat"_cc || atom.type == "ftyp"_cc || atom.type == "wide"_cc;
              });
        return movieLike
            ? error(MovieError::Code::Truncated,
                "the file has no movie header (moov): its recording or copy was not finished", end)
            : error(MovieError::Code::Unsupported,
                "the file is neither a movie nor a sound or DV file that can be opened as one", end);
    }

    void noteOtherHeaders(const MovieFile& file, std::vector<MovieWarning>& warnings)
    {
        const auto isHeader = [](const TopLevelAtom& atom) { return atom.type == "moov"_cc; };
        const auto others = std::ranges::count_if(file.layout.atoms, isHeader) - 1;
        if (others > 0)
            warnings.push_back({file.headerAtom()->offset, "moov",
                fmt::format("the file has {} more movie header{}; this is the one that is shown and edited",
                    others, others == 1 ? "" : "s")});
    }

} // namespace

Result<Atom> chooseHeader(MovieFile& file, HeaderReading reading, std::vector<MovieWarning>& warnings)
{
    std::optional<MovieError> firstError;
    struct Found
    {
        Atom header;
        Bytes bytes;
        std::size_t index;
        std::vector<MovieWarning> warnings;
    };
    std::optional<Found> found;
    for (std::size_t i = 0; i < file.layout.atoms.size(); ++i) {
        const auto& atom = file.layout.atoms[i];
        const bool whole = atom.end() <= file.layout.end;
        if (atom.type != "moov"_cc || !whole)
            continue;
        if (atom.size > MovieFile::kMaxHeaderSize)
            return failure(MovieError::Code::Unsupported, file.path,
                fmt::format("the movie header claims {} bytes; headers of more than {} are not opened",
                    atom.size, MovieFile::kMaxHeaderSize),
                atom.offset);
        HeaderOutline read;
        if (reading == HeaderReading::Outline) {
            RW_TRY(read, HeaderOutline::read(*file.file, atom));
        } else {
            RW_TRY(read.bytes, readExactly(*file.file, atom.offset, atom.size, file.path));
        }
        std::vector<MovieWarning> own;
        auto header = parseMovieHeader(read.bytes, atom.offset, own);
        if (!header) {
            if (!firstError)
                firstError = std::move(header).error();
            continue;
        }
        const bool hasTracks = header->find("trak"_cc) != nullptr;
        if (found && !hasTracks)
            continue;
        read.markCut(*header);
        found = Found {std::move(*header), std::move(read.bytes), i, std::move(own)};
        if (hasTracks)
            break;
    }
    if (found) {
        warnings.insert(warnings.end(), found->warnings.begin(), found->warnings.end());
        file.headerIndex = found->index;
        if (reading == HeaderReading::Whole)
            file.header = std::move(found->bytes);
        noteOtherHeaders(file, warnings);
        return std::move(found->header);
    }
    auto error = firstError ? std::move(*firstError) : noHeaderError(file);
    if (firstError)
        error.where = file.path + ": " + error.where;
    return tl::unexpected<MovieError>(std::move(error));
}

} // namespace reelwright
