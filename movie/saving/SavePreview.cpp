#include "movie/saving/SavePreview.h"

#include "movie/files/MediaSources.h"
#include "movie/saving/FlattenPlan.h"
#include "movie/saving/MovieSaver.h"

#include <algorithm>
#include <vector>

namespace reelwright {
namespace {

    tl::unexpected<MovieError> notInAPreview(const std::string& path)
    {
        return failure(MovieError::Code::Refused, path, "a preview changes no file");
    }

    /// A file whose changes stay in memory: an update in place can be run on it, and what it left be read.
    class OverlayFile final : public StorageFile
    {
    public:
        OverlayFile(std::shared_ptr<StorageFile> base, const FileState& state)
            : m_base(std::move(base))
            , m_state(state)
            , m_baseEnd(state.size)
        {
        }

        Result<FileState> state() override { return m_state; }
        Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) override
        {
            const auto left = offset < m_state.size ? m_state.size - offset : 0;
            out = out.first(static_cast<std::size_t>(std::min<std::uint64_t>(left, out.size())));
            std::fill(out.begin(), out.end(), std::byte {});
            if (offset < m_baseEnd) {
                const auto part = std::min<std::uint64_t>(m_baseEnd - offset, out.size());
                RW_TRY(const auto got, m_base->readAt(offset, out.first(static_cast<std::size_t>(part))));
                if (got < part)
                    return got;
            }
            for (const auto& write : m_writes) {
                const auto begin = std::max(offset, write.offset);
                const auto end = std::min(offset + out.size(), write.offset + write.bytes.size());
                if (begin < end)
                    std::copy_n(write.bytes.begin() + static_cast<std::ptrdiff_t>(begin - write.offset),
                        end - begin, out.begin() + static_cast<std::ptrdiff_t>(begin - offset));
            }
            return out.size();
        }
        Result<void> writeAt(std::uint64_t offset, ByteSpan bytes) override
        {
            m_writes.push_back({offset, {bytes.begin(), bytes.end()}});
            m_state.size = std::max(m_state.size, offset + bytes.size());
            return {};
        }
        Result<void> truncate(std::uint64_t size) override
        {
            m_baseEnd = std::min(m_baseEnd, size);
            for (auto& write : m_writes)
                if (write.offset + write.bytes.size() > size)
                    write.bytes.resize(static_cast<std::size_t>(size - std::min(size, write.offset)));
            m_state.size = size;
            return {};
        }
        Result<void> flush() override { return {}; }
        Result<void> lock() override { return {}; }
        Result<void> copyFrom(StorageFile& source, std::uint64_t sourceOffset, std::uint64_t offset,
            std::uint64_t length) override
        {
            RW_TRY(const auto bytes, readExactly(source, sourceOffset, length, {}));
            return writeAt(offset, bytes.span());
        }

    private:
        struct Write
        {
            std::uint64_t offset = 0;
            std::vector<std::byte> bytes;
        };

        std::shared_ptr<StorageFile> m_base;
        FileState m_state;
        std::uint64_t m_baseEnd; ///< where the base ends to count
        std::vector<Write> m_writes; ///< in the order made
    };

    /// The file system with that one file in it.
    class OverlayStorage final : public Storage
    {
    public:
        OverlayStorage(std::shared_ptr<Storage> real, std::string path, std::shared_ptr<StorageFile> file)
            : m_real(std::move(real))
            , m_path(std::move(path))
            , m_file(std::move(file))
        {
        }

        Result<std::shared_ptr<StorageFile>> open(const std::string& path, Access access) override
        {
            if (path == m_path)
                return m_file;
            if (access != Access::Read)
                return notInAPreview(path);
            return m_real->open(path, access);
        }
        Result<std::shared_ptr<StorageFile>> createSibling(const std::string& path, std::string&) override
        {
            return notInAPreview(path);
        }
        bool exists(const std::string& path) override { return m_real->exists(path); }
        Result<void> copyAttributes(const std::string&, const std::string& to, Likeness) override
        {
            return notInAPreview(to);
        }
        Result<void> copyPermissions(const std::string&, const std::string& to, Likeness) override
        {
            return notInAPreview(to);
        }
        Result<void> checkPlace(const std::string& path, std::uint64_t size) override
        {
            return m_real->checkPlace(path, size);
        }
        Result<void> checkLength(const std::string& path, std::uint64_t size) override
        {
            return m_real->checkLength(path, size);
        }
        Result<void> rename(const std::string&, const std::string& to, const std::optional<FileState>&,
            const Disposal&) override
        {
            return notInAPreview(to);
        }
        Result<void> remove(const std::string& path) override { return notInAPreview(path); }
        Result<void> flushFolder(const std::string&) override { return {}; }
        std::string resolve(const std::string& path) override { return m_real->resolve(path); }
        std::string volumeType(const std::string& path) override { return m_real->volumeType(path); }

    private:
        std::shared_ptr<Storage> m_real;
        std::string m_path;
        std::shared_ptr<StorageFile> m_file;
    };

    class StreamReader final : public RandomReader
    {
    public:
        explicit StreamReader(MovieStream stream)
            : m_stream(std::move(stream))
        {
        }
        [[nodiscard]] std::uint64_t size() const override { return m_stream.size(); }
        [[nodiscard]] Result<std::size_t> readAt(
            std::uint64_t offset, std::span<std::byte> out) const override
        {
            return m_stream.readAt(offset, out);
        }

    private:
        MovieStream m_stream;
    };

} // namespace

Result<void> SavePreview::updateFile(const QTMovie& movie)
{
    const auto& opened = movie.file();
    if (!opened || !opened->headerAtom())
        return failure(MovieError::Code::Refused, movie.fileName(), "the movie has no movie file yet");
    // A compressed header is written anew, as it was unpacked.
    const bool isFileAsItIs = !movie.isChanged() && opened->header == movie.header().toBytes();
    if (isFileAsItIs) {
        m_bytes = std::make_unique<FileReader>(opened->file, opened->state.size);
        return readHeader(opened->path, opened->headerAtom()->offset);
    }
    auto overlay = std::make_shared<OverlayFile>(opened->file, opened->state);
    auto file = std::make_shared<MovieFile>(*opened);
    file->storage = std::make_shared<OverlayStorage>(opened->storage, opened->path, overlay);
    auto copy = movie;
    copy.m_file = file;
    copy.m_sources = movie.sources().copyFor(file);
    if (!copy.isChanged())
        copy.m_savedHeader = Cow<Atom>(Atom::container("moov"_cc));
    SaveOptions options;
    options.volumes = VolumeRule::Any;
    RW_CHECK(MovieSaver::updateMovieFile(copy, options));
    RW_TRY(const auto state, overlay->state());
    m_bytes = std::make_unique<FileReader>(overlay, state.size);
    return readHeader(opened->path, copy.m_file->headerAtom()->offset);
}

Result<void> SavePreview::readHeader(const std::string& path, std::uint64_t from)
{
    for (std::uint64_t offset = from; offset < size();) {
        std::array<std::byte, 16> bytes {};
        RW_TRY(const auto got, readAt(offset, bytes));
        const auto atom = AtomHeader::parse(ByteSpan {bytes}.first(got));
        if (!atom)
            break;
        const auto atomSize = atom->size == 0 ? size() - offset : atom->size;
        if (atom->type == "moov"_cc) {
            if (atomSize > MovieFile::kMaxHeaderSize || atomSize > size() - offset)
                break;
            std::size_t read = 0;
            Result<void> failed;
            const auto header
                = Bytes::make(static_cast<std::size_t>(atomSize), [&](std::span<std::byte> out) {
                      if (const auto done = readAt(offset, out))
                          read = *done;
                      else
                          failed = tl::unexpected<MovieError>(done.error());
                  });
            RW_CHECK(failed);
            if (read < header.size())
                break;
            RW_TRY(m_header, Atom::parse(header, offset));
            return {};
        }
        if (atomSize > size() - offset)
            break;
        offset += atomSize;
    }
    return failure(MovieError::Code::Corrupt, path, "the movie header cannot be found in the preview");
}

Result<std::unique_ptr<SavePreview>> SavePreview::make(const QTMovie& movie, Mode mode)
{
    std::unique_ptr<SavePreview> preview {new SavePreview};
    if (mode == Mode::InPlace) {
        RW_CHECK(preview->updateFile(movie));
    } else {
        RW_TRY(auto stream, MovieStream::open(movie));
        preview->m_bytes = std::make_unique<StreamReader>(std::move(stream));
        RW_CHECK(preview->readHeader(movie.fileName(), 0)); // it stands in front, and is the only one
    }
    return preview;
}

} // namespace reelwright
