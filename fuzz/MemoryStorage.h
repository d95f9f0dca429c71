#pragma once

#include "movie/files/Storage.h"

#include <cerrno>
#include <map>
#include <vector>

namespace reelwright::fuzz {

/// Files in memory: what the fuzz targets open, edit and save. It can be stopped at any change, as a program
/// that is killed stops: what was changed before is there, and nothing after it.
class MemoryStorage : public Storage
{
public:
    using Content = std::shared_ptr<std::vector<std::byte>>;

    static constexpr std::size_t kNever = SIZE_MAX;

    std::map<std::string, Content> files;
    std::size_t changesLeft = kNever; ///< that are done; all later ones fail

    void put(const std::string& path, ByteSpan bytes)
    {
        files[path] = std::make_shared<std::vector<std::byte>>(bytes.begin(), bytes.end());
    }

    Result<std::shared_ptr<StorageFile>> open(const std::string& path, Access) override
    {
        const auto file = files.find(path);
        if (file == files.end())
            return systemFailure(ENOENT, path, "cannot be opened");
        return std::shared_ptr<StorageFile>(std::make_shared<File>(*this, path, file->second));
    }
    Result<std::shared_ptr<StorageFile>> createSibling(
        const std::string& path, std::string& siblingPath) override
    {
        siblingPath = path + ".new";
        RW_CHECK(change(siblingPath));
        files[siblingPath] = std::make_shared<std::vector<std::byte>>();
        return open(siblingPath, Access::ReadWrite);
    }
    bool exists(const std::string& path) override { return files.contains(path); }
    Result<void> copyAttributes(const std::string&, const std::string&, Likeness) override { return {}; }
    Result<void> copyPermissions(const std::string&, const std::string&, Likeness) override { return {}; }
    Result<void> checkPlace(const std::string&, std::uint64_t) override { return {}; }
    Result<void> checkLength(const std::string&, std::uint64_t) override { return {}; }
    Result<void> rename(const std::string& from, const std::string& to, const std::optional<FileState>&,
        const Disposal&) override
    {
        RW_CHECK(change(to));
        files[to] = files[from];
        files.erase(from);
        return {};
    }
    Result<void> remove(const std::string& path) override
    {
        RW_CHECK(change(path));
        files.erase(path);
        return {};
    }
    Result<void> flushFolder(const std::string&) override { return {}; }
    std::string resolve(const std::string& path) override { return path; }
    std::string volumeType(const std::string&) override { return "tmpfs"; }

private:
    Result<void> change(const std::string& path)
    {
        if (changesLeft == 0)
            return systemFailure(EIO, path, "was stopped");
        changesLeft -= changesLeft == kNever ? 0 : 1;
        return {};
    }

    class File : public StorageFile
    {
    public:
        File(MemoryStorage& storage, std::string path, Content content)
            : m_storage(storage)
            , m_path(std::move(path))
            , m_content(std::move(content))
        {
        }

        Result<FileState> state() override
        {
            return FileState {1, reinterpret_cast<std::uintptr_t>(m_content.get()), m_content->size(), 0};
        }
        Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) override
        {
            if (offset >= m_content->size())
                return std::size_t {0};
            const auto count
                = std::min<std::size_t>(out.size(), m_content->size() - static_cast<std::size_t>(offset));
            std::copy_n(m_content->begin() + static_cast<std::ptrdiff_t>(offset), count, out.begin());
            return count;
        }
        Result<void> writeAt(std::uint64_t offset, ByteSpan bytes) override
        {
            RW_CHECK(m_storage.change(m_path));
            if (offset + bytes.size() > m_content->size())
                m_content->resize(static_cast<std::size_t>(offset) + bytes.size());
            std::copy(bytes.begin(), bytes.end(), m_content->begin() + static_cast<std::ptrdiff_t>(offset));
            return {};
        }
        Result<void> truncate(std::uint64_t size) override
        {
            RW_CHECK(m_storage.change(m_path));
            m_content->resize(static_cast<std::size_t>(size));
            return {};
        }
        Result<void> flush() override { return {}; }
        Result<void> lock() override { return {}; }
        Result<void> copyFrom(StorageFile& source, std::uint64_t sourceOffset, std::uint64_t offset,
            std::uint64_t length) override
        {
            std::vector<std::byte> buffer(static_cast<std::size_t>(length));
            RW_TRY(const auto count, source.readAt(sourceOffset, buffer));
            if (count < length)
                return failure(
                    MovieError::Code::Truncated, {}, "the source ends early", sourceOffset + count);
            return writeAt(offset, buffer);
        }

    private:
        MemoryStorage& m_storage;
        std::string m_path;
        Content m_content;
    };
};

} // namespace reelwright::fuzz
