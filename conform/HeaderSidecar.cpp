#include "conform/HeaderSidecar.h"

#include "movie/QTTrack.h"
#include "movie/atoms/ByteReader.h"
#include "movie/files/DataReference.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

namespace reelwright {
namespace {

    namespace fs = std::filesystem;

    constexpr FourCC kChecks = "rwck"_cc;
    constexpr std::uint32_t kVersion = 1;
    constexpr std::size_t kRowSize = 24;
    constexpr std::uint32_t kMostChecked = 4096; ///< bytes of a sample
    constexpr const char* kExtension = ".header";

    struct Check
    {
        std::uint32_t track = 0;
        std::uint64_t offset = 0;
        std::uint32_t size = 0;
        std::uint64_t sum = 0;
    };

    std::uint64_t checksum(ByteSpan bytes) // FNV-1a: tells files apart, no more
    {
        std::uint64_t sum = 0xCBF29CE484222325;
        for (const auto byte : bytes)
            sum = (sum ^ std::to_integer<std::uint64_t>(byte)) * 0x100000001B3;
        return sum;
    }

    bool isInOwnFile(const QTMedia& media, std::uint32_t descriptionIndex)
    {
        const auto description = media.sampleDescription(descriptionIndex);
        const auto references = media.dataReferences();
        const std::size_t index = description ? description->dataReferenceIndex() : 0;
        return index >= 1 && index <= references.size() && references[index - 1].isSelf;
    }

    Result<std::vector<Check>> checksOf(const QTMovie& movie)
    {
        std::vector<Check> checks;
        const auto& file = *movie.file();
        for (const auto& track : movie.tracks()) {
            const auto media = track.media();
            const auto table = media.sampleTable();
            for (const auto sample : {1U, table.sampleCount()}) {
                if (table.sampleCount() == 0)
                    continue;
                const auto place = table.locate(sample, media.soundPacking(1));
                if (!place || !isInOwnFile(media, place->description))
                    continue;
                const auto size
                    = static_cast<std::uint32_t>(std::min<std::uint64_t>(place->size, kMostChecked));
                if (size == 0 || place->offset > file.state.size || size > file.state.size - place->offset)
                    continue;
                RW_TRY(const auto bytes, readExactly(*file.file, place->offset, size, file.path));
                checks.push_back({track.trackID(), place->offset, size, checksum(bytes.span())});
            }
        }
        return checks;
    }

    Result<Bytes> contents(const QTMovie& movie)
    {
        const auto& file = movie.file();
        if (!file || !file->headerAtom() || file->header.empty())
            return failure(MovieError::Code::Refused, movie.fileName(),
                "the movie has no movie file whose header could be kept");
        RW_TRY(const auto checks, checksOf(movie.asSaved()));
        if (checks.empty())
            return failure(MovieError::Code::Refused, movie.fileName(),
                "the file holds no media by which its header could be told from another's");
        ByteWriter rows;
        rows.u32(kVersion).u32(static_cast<std::uint32_t>(checks.size()));
        for (const auto& check : checks)
            rows.u32(check.track).u64(check.offset).u32(check.size).u64(check.sum);
        ByteWriter out;
        Atom {kChecks, rows.toBytes()}.write(out);
        out.bytes(file->header.span());
        return out.toBytes();
    }

    tl::unexpected<MovieError> noHeaderFile(const std::string& path)
    {
        return failure(MovieError::Code::Refused, path, "is no header that was kept of a movie");
    }

    Result<std::vector<Check>> parseChecks(const Atom& atom, const std::string& path)
    {
        ByteReader in {atom.head.span(), path};
        if (atom.type != kChecks || in.u32() != kVersion)
            return noHeaderFile(path);
        std::vector<Check> checks(in.count32(kRowSize));
        for (auto& check : checks)
            check = {in.u32(), in.u64(), in.u32(), in.u64()};
        if (!in.ok() || checks.empty())
            return noHeaderFile(path);
        return checks;
    }

    Result<void> compare(const std::vector<Check>& checks, const QTMovie& movie, const std::string& path)
    {
        const auto& file = *movie.file();
        for (const auto& check : checks) {
            const bool isThere = check.size <= kMostChecked && check.offset <= file.state.size
                && check.size <= file.state.size - check.offset;
            const auto bytes = isThere ? readExactly(*file.file, check.offset, check.size, file.path)
                                       : Result<Bytes> {Bytes {}};
            RW_CHECK(bytes);
            if (!isThere || checksum(bytes->span()) != check.sum)
                return failure(MovieError::Code::Refused, path,
                    fmt::format(
                        "is not the header of this movie, or the movie was written anew since: a sample of "
                        "track {} is not where it was",
                        check.track),
                    check.offset);
        }
        return {};
    }

    Result<Bytes> readSmallFile(const std::string& path)
    {
        const auto storage = Storage::posix();
        RW_TRY(const auto file, storage->open(path, Storage::Access::Read));
        RW_TRY(const auto state, file->state());
        if (state.size < 16 || state.size > MovieFile::kMaxHeaderSize)
            return noHeaderFile(path);
        return readExactly(*file, 0, state.size, path);
    }

} // namespace

Result<void> HeaderSidecar::keep(const QTMovie& movie, const std::string& path)
{
    RW_TRY(const auto bytes, contents(movie));
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); // NOLINT
    if (descriptor < 0 && errno == EEXIST)
        return failure(
            MovieError::Code::Refused, path, "there is a file of that name; the header is kept in a new one");
    if (descriptor < 0)
        return systemFailure(errno, path, "cannot be made");
    int error = 0;
    for (auto left = bytes.span(); !left.empty() && error == 0;) {
        const auto done = ::write(descriptor, left.data(), left.size());
        if (done > 0)
            left = left.subspan(static_cast<std::size_t>(done));
        else if (done == 0 || errno != EINTR)
            error = done == 0 ? EIO : errno;
    }
    if (error == 0 && ::fsync(descriptor) != 0)
        error = errno;
    if (::close(descriptor) != 0 && error == 0)
        error = errno;
    if (error == 0)
        return Storage::posix()->flushFolder(path);
    ::unlink(path.c_str());
    return systemFailure(error, path, "cannot be written");
}

Result<void> HeaderSidecar::restore(const std::string& path, QTMovie& movie)
{
    if (!movie.file() || !movie.file()->headerAtom())
        return failure(MovieError::Code::Refused, movie.fileName(),
            "the movie has no movie file to put a header back into");
    RW_TRY(const auto bytes, readSmallFile(path));
    const auto first = AtomHeader::parse(bytes.span());
    if (!first || first->size >= bytes.size() || first->type != kChecks)
        return noHeaderFile(path);
    const auto checksSize = static_cast<std::size_t>(first->size);
    RW_TRY(const auto checksAtom, Atom::parse(bytes.slice(0, checksSize), 0));
    RW_TRY(const auto checks, parseChecks(checksAtom, path));
    auto header = Atom::parse(bytes.slice(checksSize), checksSize);
    const auto* movieHeader = header && header->type == "moov"_cc ? header->find("mvhd"_cc) : nullptr;
    if (!movieHeader || !MovieHeader::parse(movieHeader->head))
        return noHeaderFile(path);
    RW_CHECK(compare(checks, movie, path));
    const EditableScope scope {movie};
    movie.editHeader() = std::move(*header);
    movie.gotoBeginning();
    return {};
}

std::string HeaderSidecar::pathFor(const std::string& fileOrFolder, const std::string& moviePath)
{
    std::error_code error;
    const bool isFolder = fileOrFolder.ends_with('/') || fs::is_directory(fileOrFolder, error);
    return isFolder ? (fs::path(fileOrFolder) / fs::path(moviePath).filename()).string() + kExtension
                    : fileOrFolder;
}

std::string HeaderSidecar::besideMovie(const std::string& moviePath)
{
    auto path = moviePath + kExtension;
    std::error_code error;
    for (int number = 2; fs::exists(fs::symlink_status(path, error)); ++number)
        path = fmt::format("{}-{}", moviePath + kExtension, number);
    return path;
}

std::uint64_t HeaderSidecar::sizeOf(const QTMovie& movie)
{
    constexpr std::uint64_t kHead = 16;
    return movie.file() ? movie.file()->header.size() + kHead + movie.tracks().size() * 2 * kRowSize : 0;
}

} // namespace reelwright
