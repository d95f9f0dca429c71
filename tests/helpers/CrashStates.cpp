#include "tests/helpers/SimulatedVolume.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <string_view>

namespace reelwright::test {
namespace {

    constexpr auto kSector = SimulatedStorage::kSectorSize;
    using Content = std::vector<std::byte>;

    /// A size that a file can have after a crash: the one that its first `changes` changes gave it, or part
    /// of the way to that of the next.
    struct SizeChoice
    {
        std::size_t changes = 0;
        std::uint64_t size = 0;
        bool isWhole = true; ///< not part of the way
    };

    /// A sector and the versions of it that can be found, oldest first: 0 is the flushed one, k that after k
    /// changes.
    struct SectorChoice
    {
        std::uint64_t index = 0;
        std::vector<std::size_t> versions {0};
    };

    /// A file with pending changes: what each of its parts can be.
    class PendingFile
    {
    public:
        explicit PendingFile(const SimulatedInode& inode)
            : m_inode(inode)
        {
            m_versions.push_back(*inode.durable);
            m_sizes.push_back({0, inode.durable->size()});
            std::map<std::uint64_t, SectorChoice> sectors;
            for (std::size_t change = 1; change <= inode.pending.size(); ++change)
                add(inode.pending[change - 1], change, sectors);
            for (auto& [index, sector] : sectors)
                m_sectors.push_back(std::move(sector));
        }

        [[nodiscard]] const SimulatedInode& inode() const { return m_inode; }
        [[nodiscard]] std::size_t changeCount() const { return m_inode.pending.size(); }
        [[nodiscard]] const std::vector<SizeChoice>& sizes() const { return m_sizes; }
        [[nodiscard]] const std::vector<SectorChoice>& sectors() const { return m_sectors; }

        /// The content with that size choice and, for each sector, that version.
        [[nodiscard]] Content content(std::size_t sizeChoice, const std::vector<std::size_t>& chosen) const
        {
            const auto changes = m_sizes[sizeChoice].changes;
            const auto size = m_sizes[sizeChoice].size;
            Content result(static_cast<std::size_t>(size));
            // Between two cuts one version rules.
            std::vector<std::uint64_t> cuts {0, size};
            for (const auto& [change, cutAt] : m_truncations)
                cuts.push_back(cutAt);
            for (const auto& sector : m_sectors) {
                cuts.push_back(sector.index * kSector);
                cuts.push_back((sector.index + 1) * kSector);
            }
            std::sort(cuts.begin(), cuts.end());
            std::size_t next = 0; // the first sector that does not end before the cut
            for (std::size_t i = 0; i + 1 < cuts.size() && cuts[i] < size; ++i) {
                const auto from = cuts[i];
                const auto to = std::min(cuts[i + 1], size);
                while (next < m_sectors.size() && (m_sectors[next].index + 1) * kSector <= from)
                    ++next;
                const bool inSector = next < m_sectors.size() && m_sectors[next].index * kSector <= from;
                auto version = inSector ? m_sectors[next].versions[chosen[next]] : 0;
                // What a truncation gave away holds nothing from before it; where it did not arrive, nothing
                // from after it.
                for (const auto& [change, cutAt] : m_truncations)
                    if (from >= cutAt)
                        version
                            = change <= changes ? std::max(version, change) : std::min(version, change - 1);
                const auto& bytes = m_versions[version];
                if (from < bytes.size())
                    std::copy(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                        bytes.begin()
                            + static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(to, bytes.size())),
                        result.begin() + static_cast<std::ptrdiff_t>(from));
            }
            return result;
        }

    private:
        void add(const DataChange& change, std::size_t number, std::map<std::uint64_t, SectorChoice>& sectors)
        {
            auto content = m_versions.back();
            const auto before = content.size();
            if (change.kind == DataChange::Kind::Truncate) {
                content.resize(static_cast<std::size_t>(change.size));
                if (change.size < before)
                    m_truncations.emplace_back(number, change.size);
            } else {
                const auto end = change.offset + change.bytes.size();
                content.resize(std::max(before, static_cast<std::size_t>(end)));
                std::copy(change.bytes.begin(), change.bytes.end(),
                    content.begin() + static_cast<std::ptrdiff_t>(change.offset));
                for (auto sector = change.offset / kSector; sector * kSector < end; ++sector) {
                    sectors[sector].index = sector;
                    sectors[sector].versions.push_back(number);
                }
                // Part of a growth: the first, middle and last whole sector.
                std::vector<std::uint64_t> parts;
                const auto first = (before / kSector + 1) * kSector;
                const auto last = content.empty() ? 0 : (content.size() - 1) / kSector * kSector;
                if (first <= last)
                    parts = {first, (first + last) / 2 / kSector * kSector, last};
                parts.erase(std::unique(parts.begin(), parts.end()), parts.end());
                for (const auto part : parts)
                    m_sizes.push_back({number - 1, part, false});
            }
            if (content.size() != before)
                m_sizes.push_back({number, content.size()});
            m_versions.push_back(std::move(content));
        }

        const SimulatedInode& m_inode;
        std::vector<Content> m_versions; ///< whole content after 0, 1, ... changes
        std::vector<SizeChoice> m_sizes; ///< in the order of the changes
        std::vector<SectorChoice> m_sectors; ///< by index
        std::vector<std::pair<std::size_t, std::uint64_t>> m_truncations; ///< change that shrank, and to what
    };

    /// Finds the states. A state is one number for each thing that can be one way or another (a "digit"): how
    /// much of the journal is there, then of each file its size and each of its sectors.
    class CrashSearch
    {
    public:
        CrashSearch(const SimulatedVolume& volume, std::mt19937& random)
            : m_volume(volume)
            , m_random(random)
        {
            m_radixes.push_back(volume.journal.size() + 1);
            // Every file that some state can name.
            auto reachable = volume.durableEntries;
            std::map<std::uint64_t, const SimulatedInode*> inodes;
            const auto note = [&] {
                for (const auto& [path, inode] : reachable)
                    inodes[inode->number] = inode.get();
            };
            note();
            for (const auto& change : volume.journal) {
                volume.apply(change, reachable);
                note();
            }
            for (const auto& [number, inode] : inodes) {
                if (inode->pending.empty())
                    continue;
                const auto& file = m_files.emplace_back(*inode);
                m_radixes.push_back(file.sizes().size());
                for (const auto& sector : file.sectors())
                    m_radixes.push_back(sector.versions.size());
            }
        }

        std::vector<DiskState> run(int samples)
        {
            const auto limit = std::max<std::uint64_t>(64, static_cast<std::uint64_t>(samples));
            std::uint64_t count = 1;
            for (const auto radix : m_radixes)
                count = count > limit ? count : count * radix;
            if (count <= limit) {
                everything();
            } else {
                extremes();
                for (int i = 0; i < samples; ++i)
                    mixture();
            }
            return std::move(m_states);
        }

    private:
        using Digits = std::vector<std::size_t>;

        void everything()
        {
            Digits digits(m_radixes.size());
            for (;;) {
                add(digits, "one of all");
                std::size_t i = 0;
                while (i < digits.size() && ++digits[i] == m_radixes[i])
                    digits[i++] = 0;
                if (i == digits.size())
                    return;
            }
        }

        void extremes()
        {
            std::vector<std::pair<std::size_t, std::size_t>> changes; // file, number
            for (std::size_t file = 0; file < m_files.size(); ++file)
                for (std::size_t number = 1; number <= m_files[file].changeCount(); ++number)
                    changes.emplace_back(file, number);
            using Kept = std::function<bool(std::size_t file, std::size_t number)>;
            std::vector<std::pair<std::string, Kept>> patterns {
                {"no data", [](auto, auto) { return false; }}, {"all data", [](auto, auto) { return true; }}};
            for (const auto& one : changes) {
                const auto is = [one](auto file, auto number) { return one == std::pair {file, number}; };
                const auto name = fmt::format("change {} of file {}", one.second, one.first);
                patterns.emplace_back("only " + name, is);
                patterns.emplace_back("all but " + name, [is](auto f, auto n) { return !is(f, n); });
            }
            for (std::size_t pattern = 0; pattern < patterns.size(); ++pattern) {
                auto digits = digitsOf(patterns[pattern].second);
                for (std::size_t journal = 0; journal < m_radixes[0]; ++journal) {
                    const bool end = journal == 0 || journal + 1 == m_radixes[0];
                    digits[0] = journal;
                    if (end || pattern < 2)
                        add(digits, patterns[pattern].first);
                }
            }
        }

        /// The digits of a state in which just these changes of data arrived. A sector comes with what
        /// earlier changes had put into it.
        [[nodiscard]] Digits digitsOf(
            const std::function<bool(std::size_t file, std::size_t number)>& isKept) const
        {
            Digits digits {0};
            for (std::size_t f = 0; f < m_files.size(); ++f) {
                const auto& sizes = m_files[f].sizes();
                std::size_t size = 0;
                for (std::size_t i = 1; i < sizes.size(); ++i) {
                    if (sizes[i].isWhole && isKept(f, sizes[i].changes))
                        size = i;
                }
                digits.push_back(size);
                for (const auto& sector : m_files[f].sectors()) {
                    std::size_t version = 0;
                    for (std::size_t i = 1; i < sector.versions.size(); ++i)
                        if (isKept(f, sector.versions[i]))
                            version = i;
                    digits.push_back(version);
                }
            }
            return digits;
        }

        /// Each digit for itself: the newest with a probability that differs from state to state, else any.
        void mixture()
        {
            std::uniform_real_distribution<double> unit {0, 1};
            constexpr double kNewest[] = {0.05, 0.3, 0.5, 0.7, 0.95};
            const double newest = kNewest[std::uniform_int_distribution<std::size_t> {0, 4}(m_random)];
            Digits digits;
            for (const auto radix : m_radixes)
                digits.push_back(unit(m_random) < newest
                        ? radix - 1
                        : std::uniform_int_distribution<std::size_t> {0, radix - 1}(m_random));
            if (unit(m_random) < 0.5) // what is not named cannot be broken
                digits[0] = m_radixes[0] - 1;
            add(digits, "mixture");
        }

        void add(const Digits& digits, const std::string& how)
        {
            std::map<std::uint64_t, Content> contents;
            auto story = fmt::format("{}; folder changes kept: {} of {}", how, digits[0], m_radixes[0] - 1);
            std::size_t next = 1;
            for (const auto& file : m_files) {
                const auto size = digits[next++];
                const auto first = digits.begin() + static_cast<std::ptrdiff_t>(next);
                const Digits versions(first, first + static_cast<std::ptrdiff_t>(file.sectors().size()));
                next += versions.size();
                auto& content = contents[file.inode().number] = file.content(size, versions);
                story += fmt::format("; inode {}: {} bytes, sectors", file.inode().number, content.size());
                for (std::size_t i = 0; i < versions.size(); ++i)
                    story += fmt::format(
                        " {}:{}", file.sectors()[i].index, file.sectors()[i].versions[versions[i]]);
            }
            auto entries = m_volume.durableEntries;
            auto attributes = m_volume.durableAttributes;
            for (std::size_t i = 0; i < digits[0]; ++i) {
                const auto& change = m_volume.journal[i];
                m_volume.apply(change, entries);
                if (change.attributesOf)
                    attributes[change.attributesOf->number] = change.attributes;
            }

            DiskState state;
            std::map<std::uint64_t, std::shared_ptr<const DiskState::File>> files;
            std::string fingerprint;
            for (const auto& [path, inode] : entries) {
                auto& file = files[inode->number];
                if (!file) {
                    const auto changed = contents.find(inode->number);
                    file = std::make_shared<const DiskState::File>(
                        DiskState::File {inode->number, inode->modified, attributes[inode->number],
                            changed == contents.end() ? *inode->durable : std::move(changed->second)});
                }
                state.files[path] = file;
                const std::string_view text {
                    reinterpret_cast<const char*>(file->content.data()), file->content.size()};
                fingerprint += fmt::format("{}\n{} {} {:x}\n", path, inode->number, file->content.size(),
                    std::hash<std::string_view> {}(text));
                fingerprint += file->attributes + '\n';
            }
            state.story = std::move(story);
            if (m_seen.insert(std::move(fingerprint)).second)
                m_states.push_back(std::move(state));
        }

        const SimulatedVolume& m_volume;
        std::mt19937& m_random;
        std::vector<PendingFile> m_files;
        std::vector<std::size_t> m_radixes;
        std::set<std::string> m_seen;
        std::vector<DiskState> m_states;
    };

} // namespace

std::vector<DiskState> SimulatedStorage::crashStates(std::mt19937& random, int samples) const
{
    return CrashSearch {*m_volume, random}.run(samples);
}

} // namespace reelwright::test
