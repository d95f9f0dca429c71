#include "report/AtomTree.h"

#include "movie/QTMovie.h"
#include "movie/atoms/AtomInfo.h"
#include "movie/atoms/ByteReader.h"
#include "report/MovieFacts.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {
namespace {

    /// Larger ones are media or nonsense; only a movie header is followed whatever its size.
    constexpr std::uint64_t kMaxContainer = 64ULL << 20U;
    /// Bytes of a payload that a note is made from.
    constexpr std::size_t kNoteBytes = 256;

    struct NoteMaker
    {
        FourCC type;
        std::string (*note)(ByteReader& in);
    };

    std::string brandNote(ByteReader& in)
    {
        auto text = "brand " + in.fourCC().text();
        in.skip(4); // minor version
        for (const char* before = "; also "; in.left() >= 4; before = " ")
            if (const auto brand = in.fourCC(); brand != FourCC {})
                text += before + brand.text();
        return text;
    }

    std::string handlerNote(ByteReader& in)
    {
        in.skip(8); // version, flags, component type
        return in.fourCC().text();
    }

    std::string trackNote(ByteReader& in)
    {
        const auto version = in.u8();
        const auto flags = in.u24();
        in.skip(version == 1 ? 16 : 8); // times
        return fmt::format("track {}{}", in.u32(), (flags & 1U) != 0 ? "" : ", disabled");
    }

    /// Of `mvhd` and `mdhd`, which begin alike.
    std::string durationNote(ByteReader& in)
    {
        const bool wide = in.u8() == 1;
        in.skip(wide ? 19 : 11); // flags, times
        const auto scale = in.u32();
        return fmt::format("duration {}/{}", wide ? in.u64() : in.u32(), scale);
    }

    constexpr NoteMaker kNotes[] = {{"ftyp"_cc, brandNote}, {"hdlr"_cc, handlerNote}, {"tkhd"_cc, trackNote},
        {"mvhd"_cc, durationNote}, {"mdhd"_cc, durationNote}};

    std::string noteFor(FourCC type, ByteSpan payload)
    {
        for (const auto& maker : kNotes)
            if (maker.type == type) {
                ByteReader in {payload.first(std::min(payload.size(), kNoteBytes))};
                auto note = maker.note(in);
                return in.ok() ? note : std::string {};
            }
        return {};
    }

    bool mayHoldAtoms(FourCC type)
    {
        const auto table = atomTable();
        return std::any_of(table.begin(), table.end(), [&](const AtomInfo& info) {
            return info.type == type && info.parent == FourCC {} && info.layout != AtomLayout::Leaf;
        });
    }

    /// The bytes of an atom that is cut short, with a header that claims no more than there is.
    Bytes withSizeOf(const Bytes& bytes, SizeForm form)
    {
        auto copy = bytes.toVector();
        ByteWriter size;
        if (form == SizeForm::Extended)
            size.u32(1).bytes(bytes.span().subspan(4, 4)).u64(bytes.size());
        else
            size.u32(static_cast<std::uint32_t>(bytes.size()));
        const auto header = size.take();
        std::copy(header.begin(), header.end(), copy.begin());
        return Bytes::copyOf(copy);
    }

    /// The kind of media of a track.
    FourCC mediaTypeOf(const Atom& track)
    {
        const auto* handler = track.find({"mdia"_cc, "hdlr"_cc});
        return handler && handler->head.size() >= 12
            ? FourCC {readBigEndian32(handler->head.span().data() + 8)}
            : FourCC {};
    }

    AtomNode nodeOf(const Atom& atom, AtomContext context, int levels);

    /// The node of an atom that claims more than the bytes that are there. Nothing when they are no such
    /// atom.
    std::optional<AtomNode> cutNode(const Bytes& bytes, std::uint64_t offset, AtomContext context, int levels)
    {
        const auto header = AtomHeader::parse(bytes.span());
        if (!header || header->size <= bytes.size() || bytes.size() > UINT32_MAX)
            return std::nullopt;
        const auto parsed = Atom::parse(withSizeOf(bytes, header->sizeForm), offset);
        if (!parsed)
            return std::nullopt;
        context.type = parsed->type;
        auto node = nodeOf(*parsed, context, levels);
        node.claimedSize = header->size;
        return node;
    }

    AtomNode nodeOf(const Atom& atom, AtomContext context, int levels)
    {
        AtomNode node;
        node.type = context.type = atom.type;
        if (atom.type == "trak"_cc)
            context.mediaType = mediaTypeOf(atom);
        node.context = context;
        node.offset = atom.sourceOffset;
        node.size = node.claimedSize = atom.size();
        node.sizeForm = atom.sizeForm;
        node.note = noteFor(atom.type, atom.head.span());
        node.trailingBytes = atom.tail.size();
        if (levels <= 1)
            return node;
        const AtomContext inner {{}, atom.type, context.mediaType};
        for (const auto& child : atom.children)
            node.children.push_back(nodeOf(*child, inner, levels - 1));
        const auto tailOffset = node.offset + node.size - node.trailingBytes;
        if (auto cut = cutNode(atom.tail, tailOffset, inner, levels - 1)) {
            node.children.push_back(std::move(*cut));
            node.trailingBytes = 0;
        }
        return node;
    }

    /// Reads the atoms of one file.
    class TreeReader
    {
    public:
        TreeReader(StorageFile& file, const std::string& path, const AtomTree::Limits& limits)
            : m_file(file)
            , m_path(path)
            , m_limits(limits)
        {
        }

        Result<AtomTree> read()
        {
            RW_TRY(const auto layout, FileLayout::scan(m_file, m_path));
            AtomTree tree;
            tree.fileSize = layout.fileSize;
            std::map<FourCC, std::size_t> counts;
            for (const auto& atom : layout.atoms) {
                const bool isLast = &atom == &layout.atoms.back();
                if (++counts[atom.type] > m_limits.alike && !isLast) {
                    ++tree.omitted[atom.type.text()];
                    continue;
                }
                RW_TRY(auto node, readAtom(atom));
                tree.atoms.push_back(std::move(node));
            }
            describeEnding(layout, tree);
            if (counts.find("moov"_cc) == counts.end())
                tree.problems.emplace_back(
                    layout.atoms.empty() ? "the file holds no atoms" : "the file has no movie header (moov)");
            return tree;
        }

    private:
        Result<AtomNode> readAtom(const TopLevelAtom& atom)
        {
            AtomNode node;
            node.type = node.context.type = atom.type;
            node.offset = atom.offset;
            node.size = atom.size;
            node.sizeForm = atom.sizeForm;
            RW_TRY(const auto start,
                readExactly(m_file, atom.offset, std::min<std::uint64_t>(atom.size, kNoteBytes), m_path));
            const auto header = AtomHeader::parse(start.span());
            const bool hasSize = header && header->sizeForm != SizeForm::ToEnd;
            node.claimedSize = hasSize ? header->size : atom.size;
            const auto payload = start.slice(static_cast<std::size_t>(atom.headerSize));
            node.note = noteFor(atom.type, payload.span());
            const auto limit = atom.type == "moov"_cc ? MovieFile::kMaxHeaderSize : kMaxContainer;
            if (m_limits.depth <= 1 || !mayHoldAtoms(atom.type))
                return node;
            if (atom.size > limit) {
                node.note = "too large to be looked into";
                return node;
            }
            RW_TRY(const auto bytes, readExactly(m_file, atom.offset, atom.size, m_path));
            auto inner = cutNode(bytes, atom.offset, {}, m_limits.depth);
            if (!inner)
                if (const auto parsed = Atom::parse(bytes, atom.offset))
                    inner = nodeOf(*parsed, {}, m_limits.depth);
            return inner.value_or(node);
        }

        static void describeEnding(const FileLayout& layout, AtomTree& tree)
        {
            const auto rest = layout.fileSize - layout.end;
            switch (layout.ending) {
            case FileLayout::Ending::Clean:
                break;
            case FileLayout::Ending::Zeros:
                tree.ending = fmt::format("{} zero bytes", rest);
                break;
            case FileLayout::Ending::CutFree:
                tree.ending = "a free atom that is cut short: an update was interrupted, nothing is lost";
                break;
            case FileLayout::Ending::ToEnd:
                tree.ending = "the last atom has no size: it reaches to the end of the file";
                break;
            case FileLayout::Ending::Truncated: {
                const auto& last = tree.atoms.back();
                tree.ending = fmt::format("the last atom ({}) is cut short: it claims {} bytes, {} are there",
                    last.type.text(), last.claimedSize, last.size);
                tree.problems.push_back(tree.ending);
                break;
            }
            case FileLayout::Ending::Garbage:
                tree.ending = fmt::format("{} bytes from byte {} on are no atoms", rest, layout.end);
                tree.problems.push_back(tree.ending);
                break;
            }
        }

        StorageFile& m_file;
        const std::string& m_path;
        const AtomTree::Limits& m_limits;
    };

    void mark(AtomNode& node, AtomChange change)
    {
        node.change = change;
        for (auto& child : node.children)
            mark(child, change);
    }

    /// What tells an atom from its siblings of the same type: the ID of a track.
    std::uint64_t keyOf(const Atom& atom)
    {
        const auto* header = atom.type == "trak"_cc ? atom.find("tkhd"_cc) : nullptr;
        if (!header)
            return 0;
        ByteReader in {header->head.span()};
        const bool isWide = in.u8() == 1;
        in.skip(isWide ? 19 : 11);
        return in.u32();
    }

    /// For each child of `saved` the one of `edited` that it became, or null: between what is the same at
    /// both ends, the next of its kind. `added` receives those that come from none.
    std::vector<const Atom*> partnersOf(
        const Atom& saved, const Atom& edited, std::vector<const Atom*>& added)
    {
        const auto& old = saved.children;
        const auto& now = edited.children;
        std::vector<const Atom*> partners(old.size());
        std::size_t first = 0;
        const auto least = std::min(old.size(), now.size());
        for (; first < least && old[first]->writesSameAs(*now[first]); ++first)
            partners[first] = &*now[first];
        std::size_t last = 0; // from the end
        for (; last < least - first && old[old.size() - 1 - last]->writesSameAs(*now[now.size() - 1 - last]);
             ++last)
            partners[old.size() - 1 - last] = &*now[now.size() - 1 - last];
        std::multimap<std::pair<FourCC, std::uint64_t>, std::size_t> byKind;
        for (std::size_t i = first; i < now.size() - last; ++i)
            byKind.emplace(std::pair(now[i]->type, keyOf(*now[i])), i);
        std::vector<bool> isTaken(now.size());
        for (std::size_t i = first; i < old.size() - last; ++i)
            if (const auto found = byKind.find({old[i]->type, keyOf(*old[i])}); found != byKind.end()) {
                partners[i] = &*now[found->second];
                isTaken[found->second] = true;
                byKind.erase(found);
            }
        for (std::size_t i = first; i < now.size() - last; ++i)
            if (!isTaken[i])
                added.push_back(&*now[i]);
        return partners;
    }

    void markAgainst(AtomNode& node, const Atom& saved, const Atom& edited)
    {
        if (saved.writesSameAs(edited))
            return;
        const bool isOwn = !(saved.head == edited.head && saved.tail == edited.tail);
        node.change = isOwn ? AtomChange::Changed : AtomChange::Inside;
        std::vector<const Atom*> added;
        const auto partners = partnersOf(saved, edited, added);
        for (std::size_t i = 0; i < partners.size() && i < node.children.size(); ++i)
            if (node.children[i].type != saved.children[i]->type)
                return; // the file is not what was opened
            else if (partners[i])
                markAgainst(node.children[i], *saved.children[i], *partners[i]);
            else
                mark(node.children[i], AtomChange::Removed);
        for (const auto* child : added) {
            node.children.push_back(
                nodeOf(*child, {{}, edited.type, node.context.mediaType}, Atom::kMaxDepth));
            mark(node.children.back(), AtomChange::Added);
        }
    }

} // namespace

Result<AtomTree> AtomTree::read(
    const std::string& path, const Limits& limits, const std::shared_ptr<Storage>& storage)
{
    RW_TRY(const auto file, storage->open(path, Storage::Access::Read));
    RW_TRY(auto tree, TreeReader(*file, path, limits).read());
    // The tree may be whole and still hold what cannot be understood.
    if (tree.problems.empty())
        if (const auto movie = QTMovie::open(path, storage); !movie)
            tree.problems.push_back(reasonFor(movie.error(), path));
    return tree;
}

void AtomTree::markChanges(const Atom& saved, const Atom& edited)
{
    for (auto& node : atoms)
        if (node.type == saved.type && node.offset == saved.sourceOffset)
            markAgainst(node, saved, edited);
}

Result<AtomDetail> AtomDetail::read(
    const std::string& path, const AtomNode& node, std::size_t most, const std::shared_ptr<Storage>& storage)
{
    RW_TRY(const auto file, storage->open(path, Storage::Access::Read));
    AtomDetail detail;
    RW_TRY(detail.bytes, readExactly(*file, node.offset, std::min<std::uint64_t>(node.size, most), path));
    if (const auto header = AtomHeader::parse(detail.bytes.span());
        header && header->headerSize <= detail.bytes.size())
        detail.fields
            = atomFields(node.context, detail.bytes.span().subspan(header->headerSize), header->headerSize);
    return detail;
}

std::string hexDump(ByteSpan bytes, std::uint64_t firstOffset)
{
    constexpr std::size_t kColumns = 16;
    std::string text;
    for (std::size_t line = 0; line < bytes.size(); line += kColumns) {
        std::string hex;
        std::string characters;
        for (std::size_t i = line; i < std::min(line + kColumns, bytes.size()); ++i) {
            const auto byte = std::to_integer<unsigned>(bytes[i]);
            hex += fmt::format("{:02x} ", byte);
            characters += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
        }
        text += fmt::format("{:>12}  {:<{}} {}\n", firstOffset + line, hex, 3 * kColumns, characters);
    }
    return text;
}

} // namespace reelwright
