#include "tests/helpers/SimulatedStorage.h"

#include "tests/helpers/SimulatedVolume.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>

namespace reelwright::test {
namespace {

    using Call = SimulatedStorage::Call;

    std::string folderOf(const std::string& path)
    {
        const auto slash = path.rfind('/');
        return slash == std::string::npos ? std::string {} : path.substr(0, slash);
    }

    class SimulatedFile : public StorageFile
    {
    public:
        SimulatedFile(std::shared_ptr<SimulatedVolume> volume, std::shared_ptr<SimulatedInode> inode,
            std::string path, Storage::Access access)
            : m_volume(std::move(volume))
            , m_inode(std::move(inode))
            , m_path(std::move(path))
            , m_access(access)
        {
        }
        SimulatedFile(const SimulatedFile&) = delete;
        SimulatedFile& operator=(const SimulatedFile&) = delete;
        ~SimulatedFile() override
        {
            if (m_holdsLock)
                m_inode->locked = false;
        }

        Result<FileState> state() override
        {
            if (m_volume->stopped)
                return failed(EIO, "cannot be examined");
            return FileState {1, m_inode->number, m_inode->content.size(), m_inode->modified};
        }

        Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) override
        {
            if (m_volume->stopped)
                return failed(EIO, "cannot be read");
            const auto& content = m_inode->content;
            if (offset >= content.size())
                return 0U;
            const auto count
                = static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), content.size() - offset));
            std::copy_n(content.begin() + static_cast<std::ptrdiff_t>(offset), count, out.begin());
            return count;
        }

        Result<void> writeAt(std::uint64_t offset, ByteSpan bytes) override
        {
            return change({Call::Write, m_path, offset, bytes.size()}, bytes);
        }

        Result<void> truncate(std::uint64_t size) override
        {
            if (const int error = beginChange({Call::Truncate, m_path, 0, size}))
                return failed(error, "cannot be cut");
            if (size > m_inode->content.size() && size - m_inode->content.size() > room())
                return failed(ENOSPC, "cannot be made longer");
            m_inode->content.resize(static_cast<std::size_t>(size));
            m_inode->pending.push_back({DataChange::Kind::Truncate, 0, {}, size});
            m_inode->modified = ++m_volume->clock;
            return {};
        }

        Result<void> flush() override
        {
            auto& pending = m_inode->pending;
            if (const int error = m_volume->begin({Call::Flush, m_path})) {
                for (auto& one : pending)
                    one.flushFailed = true;
                return failed(error, "cannot be flushed");
            }
            if (std::none_of(pending.begin(), pending.end(), [](const auto& p) { return p.flushFailed; })) {
                m_inode->durable = std::make_shared<const std::vector<std::byte>>(m_inode->content);
                pending.clear();
                return {};
            }
            flushAllButFailed();
            return {};
        }

        Result<void> lock() override
        {
            if (m_volume->stopped)
                return failed(EIO, "cannot be locked");
            if (m_inode->locked && !m_holdsLock)
                return failure(MovieError::Code::Refused, m_path, "another program holds a lock on the file");
            m_inode->locked = m_holdsLock = true;
            return {};
        }

        Result<void> copyFrom(StorageFile& source, std::uint64_t sourceOffset, std::uint64_t offset,
            std::uint64_t length) override
        {
            std::vector<std::byte> bytes(static_cast<std::size_t>(length));
            RW_TRY(const auto count, source.readAt(sourceOffset, bytes));
            if (count < length)
                return failure(MovieError::Code::Truncated, m_path, "the media to copy end early");
            return change({Call::Copy, m_path, offset, length}, bytes);
        }

    private:
        [[nodiscard]] tl::unexpected<MovieError> failed(int errorNumber, const std::string& what) const
        {
            return systemFailure(errorNumber, m_path, what);
        }

        [[nodiscard]] std::uint64_t room() const
        {
            const auto used = m_volume->used();
            return used < m_volume->capacity ? m_volume->capacity - used : 0;
        }

        int beginChange(SimulatedStorage::Step step)
        {
            const int error = m_volume->begin(std::move(step));
            return error == 0 && m_access == Storage::Access::Read ? EBADF : error;
        }

        /// The part of a write at `offset` that a failure after `count` bytes leaves: whole sectors.
        static ByteSpan upToSector(ByteSpan bytes, std::uint64_t offset, std::uint64_t count)
        {
            constexpr auto kSector = SimulatedStorage::kSectorSize;
            const auto end = (offset + count) / kSector * kSector;
            return bytes.first(end > offset ? static_cast<std::size_t>(end - offset) : 0);
        }

        Result<void> change(SimulatedStorage::Step step, ByteSpan bytes)
        {
            const auto offset = step.offset;
            int error = beginChange(std::move(step));
            if (error != 0)
                bytes = m_volume->stopped || error == EBADF ? ByteSpan {}
                                                            : upToSector(bytes, offset, bytes.size() / 2);
            const auto size = m_inode->content.size();
            if (const auto end = offset + bytes.size(); end > size && end - size > room()) {
                error = ENOSPC;
                const auto fits = size + room();
                bytes = upToSector(bytes, offset, fits > offset ? fits - offset : 0);
            }
            if (!bytes.empty()) {
                auto& content = m_inode->content;
                content.resize(std::max<std::size_t>(size, static_cast<std::size_t>(offset) + bytes.size()));
                std::copy(bytes.begin(), bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(offset));
                m_inode->pending.push_back(
                    {DataChange::Kind::Write, offset, {bytes.begin(), bytes.end()}, 0});
                m_inode->modified = ++m_volume->clock;
            }
            if (error != 0)
                return failed(error, "cannot be written");
            return {};
        }

        /// Sizes and the sectors that were written since the failed flush arrive; of the others the volume
        /// believes that they did.
        void flushAllButFailed()
        {
            constexpr auto kSector = SimulatedStorage::kSectorSize;
            const auto& content = m_inode->content;
            auto durable = *m_inode->durable;
            durable.resize(content.size());
            const auto clip = [&](std::uint64_t offset) {
                return static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(offset, content.size()));
            };
            std::vector<DataChange> left;
            for (auto& one : m_inode->pending) {
                if (one.kind == DataChange::Kind::Truncate)
                    continue;
                const auto end = one.offset + one.bytes.size();
                if (!one.flushFailed) {
                    const auto from = clip(one.offset / kSector * kSector);
                    const auto to = clip((end + kSector - 1) / kSector * kSector);
                    std::copy(content.begin() + from, content.begin() + to, durable.begin() + from);
                } else if (clip(one.offset) < clip(end)) {
                    // Should its sectors arrive one day, then with what is in them now.
                    one.bytes.assign(content.begin() + clip(one.offset), content.begin() + clip(end));
                    left.push_back(std::move(one));
                }
            }
            m_inode->pending = std::move(left);
            m_inode->durable = std::make_shared<const std::vector<std::byte>>(std::move(durable));
        }

        std::shared_ptr<SimulatedVolume> m_volume;
        std::shared_ptr<SimulatedInode> m_inode;
        std::string m_path;
        Storage::Access m_access;
        bool m_holdsLock = false;
    };

} // namespace

const std::vector<std::byte>* DiskState::find(const std::string& path) const
{
    const auto file = files.find(path);
    return file == files.end() ? nullptr : &file->second->content;
}

int SimulatedVolume::begin(SimulatedStorage::Step step)
{
    stopped = stopped || steps.size() >= stopAfter;
    if (stopped)
        return EIO;
    steps.push_back(std::move(step));
    return steps.size() == failAt ? failWith : 0;
}

std::uint64_t SimulatedVolume::used() const
{
    // Files that nobody can reach any more take no room.
    std::map<std::uint64_t, std::uint64_t> sizes;
    for (const auto& [path, inode] : entries)
        sizes[inode->number] = inode->content.size();
    std::uint64_t sum = 0;
    for (const auto& [number, size] : sizes)
        sum += size;
    return sum;
}

void SimulatedVolume::apply(const JournalChange& change, SimulatedEntries& to) const
{
    for (const auto& [path, inode] : change.entries) {
        if (inode)
            to[path] = inode;
        else
            to.erase(path);
    }
}

SimulatedStorage::SimulatedStorage()
    : m_volume(std::make_shared<SimulatedVolume>())
{
}

std::shared_ptr<SimulatedStorage> SimulatedStorage::fromState(const DiskState& state)
{
    auto storage = std::make_shared<SimulatedStorage>();
    auto& volume = *storage->m_volume;
    std::map<std::uint64_t, std::shared_ptr<SimulatedInode>> inodes; // hard links share one
    for (const auto& [path, file] : state.files) {
        auto& inode = inodes[file->inode];
        if (!inode) {
            inode = std::make_shared<SimulatedInode>();
            inode->number = file->inode;
            inode->modified = file->modified;
            inode->attributes = file->attributes;
            inode->content = file->content;
            inode->durable = {file, &file->content};
            volume.durableAttributes[file->inode] = file->attributes;
            volume.nextInode = std::max(volume.nextInode, file->inode + 1);
            volume.clock = std::max(volume.clock, file->modified);
        }
        volume.entries[path] = inode;
    }
    volume.durableEntries = volume.entries;
    return storage;
}

void SimulatedStorage::put(const std::string& path, ByteSpan content, const std::string& attributes)
{
    auto inode = std::make_shared<SimulatedInode>();
    inode->number = m_volume->nextInode++;
    inode->modified = ++m_volume->clock;
    inode->attributes = attributes;
    inode->content.assign(content.begin(), content.end());
    inode->durable = std::make_shared<const std::vector<std::byte>>(inode->content);
    m_volume->durableAttributes[inode->number] = attributes;
    m_volume->entries[path] = inode;
    m_volume->durableEntries[path] = inode;
}

void SimulatedStorage::setVolumeType(const std::string& type)
{
    m_volume->type = type;
}

void SimulatedStorage::setCapacity(std::uint64_t bytes)
{
    m_volume->capacity = bytes;
}

void SimulatedStorage::setReadOnly(const std::string& path)
{
    m_volume->readOnly.insert(path);
}

void SimulatedStorage::stopAfter(std::size_t step)
{
    m_volume->stopAfter = step;
}

void SimulatedStorage::failStep(std::size_t step, int errorNumber)
{
    m_volume->failAt = step;
    m_volume->failWith = errorNumber;
}

const std::vector<SimulatedStorage::Step>& SimulatedStorage::steps() const
{
    return m_volume->steps;
}

DiskState SimulatedStorage::now() const
{
    DiskState state;
    std::map<std::uint64_t, std::shared_ptr<const DiskState::File>> files;
    for (const auto& [path, inode] : m_volume->entries) {
        auto& file = files[inode->number];
        if (!file)
            file = std::make_shared<const DiskState::File>(
                DiskState::File {inode->number, inode->modified, inode->attributes, inode->content});
        state.files[path] = file;
    }
    state.story = "as programs see it";
    return state;
}

Result<std::shared_ptr<StorageFile>> SimulatedStorage::open(const std::string& path, Access access)
{
    const auto entry = m_volume->entries.find(path);
    const int error = m_volume->stopped                                    ? EIO
        : entry == m_volume->entries.end()                                 ? ENOENT
        : access == Access::ReadWrite && m_volume->readOnly.contains(path) ? EACCES
                                                                           : 0;
    if (error != 0)
        return systemFailure(error, path, "cannot be opened");
    return std::make_shared<SimulatedFile>(m_volume, entry->second, path, access);
}

Result<std::shared_ptr<StorageFile>> SimulatedStorage::createSibling(
    const std::string& path, std::string& siblingPath)
{
    const auto folder = folderOf(path);
    const auto name = path.substr(folder.empty() ? 0 : folder.size() + 1);
    int error = m_volume->begin({Call::Create, path});
    if (error == 0 && m_volume->readOnly.contains(folder))
        error = EACCES;
    if (error != 0)
        return systemFailure(error, folder, "no file can be made in this folder");
    auto inode = std::make_shared<SimulatedInode>();
    inode->number = m_volume->nextInode++;
    inode->modified = ++m_volume->clock;
    inode->durable = std::make_shared<const std::vector<std::byte>>();
    siblingPath = fmt::format("{}/.{}.{}", folder, name, inode->number);
    JournalChange change {{folder}, {{siblingPath, inode}}, nullptr, {}};
    m_volume->apply(change, m_volume->entries);
    m_volume->journal.push_back(std::move(change));
    return std::make_shared<SimulatedFile>(m_volume, inode, siblingPath, Access::ReadWrite);
}

bool SimulatedStorage::exists(const std::string& path)
{
    return m_volume->entries.contains(path);
}

Result<void> SimulatedStorage::copyAttributes(const std::string&, const std::string& to, Likeness)
{
    if (const int error = m_volume->begin({Call::Attributes, to}))
        return systemFailure(error, to, "cannot be given the original's attributes");
    return {};
}

Result<void> SimulatedStorage::checkPlace(const std::string& path, std::uint64_t)
{
    for (const auto& each : {path, folderOf(path)})
        if (m_volume->readOnly.contains(each))
            return systemFailure(EACCES, each, "cannot be written");
    return {};
}

Result<void> SimulatedStorage::checkLength(const std::string&, std::uint64_t)
{
    return {};
}

Result<void> SimulatedStorage::copyPermissions(const std::string& from, const std::string& to, Likeness)
{
    if (from.empty())
        return {};
    int error = m_volume->begin({Call::Attributes, to});
    const auto source = m_volume->entries.find(from);
    const auto target = m_volume->entries.find(to);
    if (error == 0 && (source == m_volume->entries.end() || target == m_volume->entries.end()))
        error = ENOENT;
    if (error != 0)
        return systemFailure(error, to, "cannot be given the original's permissions");
    target->second->attributes = source->second->attributes;
    m_volume->journal.push_back({{}, {}, target->second, target->second->attributes});
    return {};
}

Result<void> SimulatedStorage::rename(const std::string& from, const std::string& to,
    const std::optional<FileState>& replaced, const Disposal&)
{
    int error = m_volume->begin({Call::Rename, to});
    if (error == 0)
        if (const auto standing = m_volume->entries.find(to); standing != m_volume->entries.end()) {
            const auto& inode = *standing->second;
            const FileState state {1, inode.number, inode.content.size(), inode.modified};
            if (!replaced || state != *replaced)
                return failure(MovieError::Code::Changed, to, "another program changed the file");
        }
    const auto source = m_volume->entries.find(from);
    if (error == 0
        && (m_volume->readOnly.contains(folderOf(from)) || m_volume->readOnly.contains(folderOf(to))))
        error = EACCES;
    if (error == 0 && source == m_volume->entries.end())
        error = ENOENT;
    if (error != 0)
        return systemFailure(error, to, "cannot be replaced");
    JournalChange change {
        {folderOf(from), folderOf(to)}, {{from, nullptr}, {to, source->second}}, nullptr, {}};
    m_volume->apply(change, m_volume->entries);
    m_volume->journal.push_back(std::move(change));
    return {};
}

Result<void> SimulatedStorage::remove(const std::string& path)
{
    int error = m_volume->begin({Call::Remove, path});
    if (error == 0 && m_volume->readOnly.contains(folderOf(path)))
        error = EACCES;
    if (error == 0 && !exists(path))
        error = ENOENT;
    if (error != 0)
        return systemFailure(error, path, "cannot be removed");
    JournalChange change {{folderOf(path)}, {{path, nullptr}}, nullptr, {}};
    m_volume->apply(change, m_volume->entries);
    m_volume->journal.push_back(std::move(change));
    return {};
}

Result<void> SimulatedStorage::flushFolder(const std::string& path)
{
    const auto folder = folderOf(path);
    if (const int error = m_volume->begin({Call::FlushFolder, folder}))
        return systemFailure(error, folder, "cannot be flushed");
    auto& journal = m_volume->journal;
    const auto last = std::find_if(journal.rbegin(), journal.rend(),
        [&](const JournalChange& change) { return change.folders.contains(folder); });
    for (auto change = journal.begin(); change != last.base(); ++change) {
        m_volume->apply(*change, m_volume->durableEntries);
        if (change->attributesOf)
            m_volume->durableAttributes[change->attributesOf->number] = change->attributes;
    }
    journal.erase(journal.begin(), last.base());
    return {};
}

std::string SimulatedStorage::resolve(const std::string& path)
{
    return path;
}

std::string SimulatedStorage::volumeType(const std::string&)
{
    return m_volume->type;
}

std::shared_ptr<StorageFile> memoryFile(ByteSpan bytes)
{
    SimulatedStorage storage;
    storage.put("memory", bytes);
    return storage.open("memory", Storage::Access::Read).value();
}

std::string describe(const SimulatedStorage::Step& step, std::size_t number)
{
    constexpr const char* kNames[] = {"write", "truncate", "flush", "copy", "create beside",
        "copy attributes to", "rename to", "remove", "flush folder"};
    return fmt::format("step {}: {} {} (offset {}, size {})", number,
        kNames[static_cast<std::size_t>(step.call)], step.path, step.offset, step.size);
}

} // namespace reelwright::test
