#include "movie/atoms/HeaderOutline.h"

#include "movie/atoms/ByteReader.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace reelwright {
namespace {

    /// A kind of table that a report does not look into.
    struct TableInfo
    {
        FourCC type;
        std::size_t countAt; ///< of the 32-bit number of entries in the payload
        std::size_t entryBits;
    };
    constexpr TableInfo kTables[] = {{"stsz"_cc, 8, 32}, {"stz2"_cc, 8, 4}, {"stsc"_cc, 4, 96},
        {"stco"_cc, 4, 32}, {"co64"_cc, 4, 64}, {"ctts"_cc, 4, 64}, {"stss"_cc, 4, 32}, {"sdtp"_cc, 4, 8}};

    /// The atoms on the way from the header to its tables, and where on it the media's handler stands.
    constexpr FourCC kWay[] = {"trak"_cc, "mdia"_cc, "minf"_cc, "stbl"_cc};
    constexpr std::size_t kInTrack = 1;
    constexpr std::size_t kInMedia = 2;
    constexpr std::size_t kInTables = std::size(kWay);

    /// What is read of a table: version, flags and counts of every kind.
    constexpr std::size_t kKeptBytes = 12;
    /// Reads at least so much at once, and leaves out nothing smaller: a call costs about as much.
    constexpr std::size_t kReadSize = 16U << 10U;

    class OutlineReader
    {
    public:
        OutlineReader(StorageFile& file, std::uint64_t fileOffset, std::span<std::byte> out)
            : m_file(file)
            , m_fileOffset(fileOffset)
            , m_out(out)
        {
        }

        Result<std::vector<std::uint64_t>> read()
        {
            RW_CHECK(readTo(16));
            if (const auto header = AtomHeader::parse(m_out))
                RW_CHECK(walk(static_cast<std::size_t>(header->headerSize), m_out.size(), 0));
            RW_CHECK(readTo(m_out.size()));
            return std::move(m_cutAtoms);
        }

    private:
        /// Everything before `end` is read then, but for what was left out.
        Result<void> readTo(std::size_t end)
        {
            end = std::min(end, m_out.size());
            if (end <= m_read)
                return {};
            const auto size = std::min(std::max(end - m_read, kReadSize), m_out.size() - m_read);
            RW_TRY(const auto count, m_file.readAt(m_fileOffset + m_read, m_out.subspan(m_read, size)));
            if (count < size)
                return failure(MovieError::Code::Truncated, "moov",
                    "the file became shorter while it was read", m_fileOffset + m_read + count);
            m_read += size;
            return {};
        }

        /// The atoms from `begin` to `end`, `step` steps down the way.
        Result<void> walk(std::size_t begin, std::size_t end, std::size_t step)
        {
            if (step == kInTrack)
                m_mediaType = {};
            for (auto at = begin; at < end;) {
                RW_CHECK(readTo(at + 16));
                const auto header = AtomHeader::parse(m_out.first(end).subspan(at));
                if (!header || header->sizeForm == SizeForm::ToEnd || header->size > end - at)
                    return {}; // no atom: the parser will say what it is, and reads all of it
                const auto payload = at + static_cast<std::size_t>(header->headerSize);
                const auto next = at + static_cast<std::size_t>(header->size);
                if (step < kInTables && header->type == kWay[step]) {
                    RW_CHECK(walk(payload, next, step + 1));
                } else if (step == kInMedia && header->type == "hdlr"_cc && m_mediaType == FourCC {}) {
                    RW_CHECK(readTo(next));
                    ByteReader in {m_out.first(next).subspan(payload)};
                    in.skip(8); // version, flags, component type
                    m_mediaType = in.fourCC();
                } else if (step == kInTables) {
                    RW_CHECK(leaveOut(header->type, at, payload, next));
                }
                at = next;
            }
            return {};
        }

        /// Goes on behind the atom where it is a table that can be left out.
        Result<void> leaveOut(FourCC type, std::size_t at, std::size_t payload, std::size_t next)
        {
            const auto table = std::find_if(std::begin(kTables), std::end(kTables),
                [&](const TableInfo& info) { return info.type == type; });
            if (table == std::end(kTables) || (m_mediaType != "vide"_cc && m_mediaType != "soun"_cc))
                return {};
            const auto kept = payload + kKeptBytes;
            if (next < kept + kReadSize)
                return {};
            RW_CHECK(readTo(kept));
            if (next < m_read + kReadSize)
                return {};
            auto entryBits = table->entryBits;
            if (type == "stz2"_cc) // the last byte before the count says how wide its entries are
                entryBits = std::to_integer<std::size_t>(m_out[payload + 7]);
            // Of a table that claims more than it holds, or of none that the reader knows, nothing is left
            // out.
            const auto room = (next - payload - table->countAt - 4) * std::uint64_t {8};
            const auto count
                = type == "sdtp"_cc ? 0 : readBigEndian32(m_out.data() + payload + table->countAt);
            if (std::uint64_t {count} * entryBits > room)
                return {};
            m_cutAtoms.push_back(m_fileOffset + at);
            m_read = next;
            return {};
        }

        StorageFile& m_file;
        std::uint64_t m_fileOffset;
        std::span<std::byte> m_out;
        std::size_t m_read = 0;
        FourCC m_mediaType;
        std::vector<std::uint64_t> m_cutAtoms;
    };

    void markCutBelow(Atom& parent, std::size_t step, const std::vector<std::uint64_t>& cutAtoms)
    {
        for (auto& child : parent.children) {
            if (step < kInTables) {
                if (child->type == kWay[step])
                    markCutBelow(child.edit(), step + 1, cutAtoms);
            } else if (std::binary_search(cutAtoms.begin(), cutAtoms.end(), child->sourceOffset)) {
                auto& table = child.edit();
                table.head = table.head.slice(0, kKeptBytes);
                table.isCut = true;
            }
        }
    }

} // namespace

Result<HeaderOutline> HeaderOutline::read(StorageFile& file, const TopLevelAtom& place)
{
    HeaderOutline outline;
    Result<std::vector<std::uint64_t>> cutAtoms;
    outline.bytes = Bytes::make(static_cast<std::size_t>(place.size), [&](std::span<std::byte> out) {
        cutAtoms = OutlineReader {file, place.offset, out}.read();
    });
    if (!cutAtoms)
        return tl::unexpected<MovieError>(std::move(cutAtoms).error());
    outline.cutAtoms = std::move(*cutAtoms);
    return outline;
}

void HeaderOutline::markCut(Atom& moov) const
{
    if (!cutAtoms.empty())
        markCutBelow(moov, 0, cutAtoms);
}

} // namespace reelwright
