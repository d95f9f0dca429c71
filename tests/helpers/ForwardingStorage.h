#pragma once

#include "movie/files/Storage.h"

#include <memory>
#include <string>
#include <utility>

namespace reelwright::test {

/// A file that passes everything on to a real one; a test overrides what it wants to happen otherwise.
class ForwardingFile : public StorageFile
{
public:
    explicit ForwardingFile(std::shared_ptr<StorageFile> real)
        : m_real(std::move(real))
    {
    }
    Result<FileState> state() override { return m_real->state(); }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) override
    {
        return m_real->readAt(offset, out);
    }
    Result<void> writeAt(std::uint64_t offset, ByteSpan bytes) override
    {
        return m_real->writeAt(offset, bytes);
    }
    Result<void> truncate(std::uint64_t size) override { return m_real->truncate(size); }
    Result<void> flush() override { return m_real->flush(); }
    Result<void> lock() override { return m_real->lock(); }
    Result<void> copyFrom(
        StorageFile& source, std::uint64_t sourceOffset, std::uint64_t offset, std::uint64_t length) override
    {
        return m_real->copyFrom(source, sourceOffset, offset, length);
    }

private:
    std::shared_ptr<StorageFile> m_real;
};

/// The same of a file system.
class ForwardingStorage : public Storage
{
public:
    explicit ForwardingStorage(std::shared_ptr<Storage> real = Storage::posix(Sync::Off))
        : m_real(std::move(real))
    {
    }
    Result<std::shared_ptr<StorageFile>> open(const std::string& path, Access access) override
    {
        return m_real->open(path, access);
    }
    Result<std::shared_ptr<StorageFile>> createSibling(
        const std::string& path, std::string& siblingPath) override
    {
        return m_real->createSibling(path, siblingPath);
    }
    bool exists(const std::string& path) override { return m_real->exists(path); }
    Result<void> copyAttributes(const std::string& from, const std::string& to, Likeness likeness) override
    {
        return m_real->copyAttributes(from, to, likeness);
    }
    Result<void> copyPermissions(const std::string& from, const std::string& to, Likeness likeness) override
    {
        return m_real->copyPermissions(from, to, likeness);
    }
    Result<void> checkPlace(const std::string& path, std::uint64_t size) override
    {
        return m_real->checkPlace(path, size);
    }
    Result<void> checkLength(const std::string& path, std::uint64_t size) override
    {
        return m_real->checkLength(path, size);
    }
    Result<void> rename(const std::string& from, const std::string& to,
        const std::optional<FileState>& replaced, const Disposal& dispose) override
    {
        return m_real->rename(from, to, replaced, dispose);
    }
    Result<void> remove(const std::string& path) override { return m_real->remove(path); }
    Result<void> flushFolder(const std::string& path) override { return m_real->flushFolder(path); }
    std::string resolve(const std::string& path) override { return m_real->resolve(path); }
    std::string volumeType(const std::string& path) override { return m_real->volumeType(path); }

private:
    std::shared_ptr<Storage> m_real;
};

} // namespace reelwright::test
