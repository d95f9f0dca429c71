#include "movie/atoms/Atom.h"

#include "movie/atoms/AtomInfo.h"
#include "movie/atoms/ByteReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>

namespace reelwright {
namespace {

    std::uint64_t nextId()
    {
        static std::atomic<std::uint64_t> counter = 1;
        return counter.fetch_add(1, std::memory_order_relaxed);
    }

    /// Parses one tree: carries what the whole tree shares.
    class TreeParser
    {
    public:
        explicit TreeParser(std::vector<MovieWarning>* warnings)
            : m_warnings(warnings)
        {
        }

        /// `bytes` is exactly one atom with this header.
        Atom parse(
            const Bytes& bytes, const AtomHeader& header, std::uint64_t offset, FourCC parent, int depth)
        {
            ++m_count;
            Atom atom;
            atom.type = header.type;
            atom.sizeForm = header.sizeForm;
            atom.sourceOffset = offset;
            const auto payload = bytes.slice(static_cast<std::size_t>(header.headerSize));
            const auto first = childrenOffset(header.type, parent, payload.span());
            if (!first || depth >= Atom::kMaxDepth || m_count >= Atom::kMaxAtoms) {
                atom.head = payload;
                return atom;
            }
            atom.isContainer = true;
            atom.head = payload.slice(0, *first);
            auto position = *first;
            while (position < payload.size()) {
                const auto rest = payload.slice(position);
                const auto childOffset = offset + header.headerSize + position;
                auto child = AtomHeader::parse(rest.span());
                if (child && child->sizeForm == SizeForm::ToEnd)
                    // Inside a container a zero size is a terminator: as a size it would swallow whatever
                    // follows.
                    child.reset();
                if (!child || child->size > rest.size() || m_count >= Atom::kMaxAtoms) {
                    atom.tail = rest;
                    noteTail(atom, rest.span(), childOffset);
                    break;
                }
                const auto size = static_cast<std::size_t>(child->size);
                atom.children.emplace_back(
                    parse(rest.slice(0, size), *child, childOffset, header.type, depth + 1));
                position += size;
            }
            return atom;
        }

    private:
        void noteTail(const Atom& parent, ByteSpan tail, std::uint64_t offset)
        {
            const bool zeros
                = std::all_of(tail.begin(), tail.end(), [](std::byte b) { return b == std::byte {}; });
            if (m_warnings && !zeros)
                m_warnings->push_back({offset, parent.type.text(),
                    fmt::format("{} bytes that are no atom are kept as they are", tail.size())});
        }

        std::vector<MovieWarning>* m_warnings;
        int m_count = 0;
    };

    std::uint64_t headerSizeFor(SizeForm form, std::uint64_t contentSize)
    {
        return form == SizeForm::Extended || contentSize > UINT32_MAX - 8 ? 16 : 8;
    }

    std::uint64_t contentSize(const Atom& atom)
    {
        std::uint64_t size = atom.head.size() + atom.tail.size();
        for (const auto& child : atom.children)
            size += child->size();
        return size;
    }

} // namespace

Atom::Atom()
    : id(nextId())
{
}

Atom::Atom(FourCC atomType, Bytes payload)
    : type(atomType)
    , id(nextId())
    , head(std::move(payload))
{
}

Atom Atom::container(FourCC atomType)
{
    Atom atom {atomType};
    atom.isContainer = true;
    return atom;
}

std::optional<AtomHeader> AtomHeader::parse(ByteSpan bytes)
{
    if (bytes.size() < 8)
        return std::nullopt;
    ByteReader in {bytes};
    AtomHeader header;
    header.size = in.u32();
    header.type = in.fourCC();
    if (header.size == 1) {
        header.sizeForm = SizeForm::Extended;
        header.headerSize = 16;
        header.size = in.u64();
        if (!in.ok())
            return std::nullopt;
    } else if (header.size == 0) {
        header.sizeForm = SizeForm::ToEnd;
        return header;
    }
    if (header.size < header.headerSize)
        return std::nullopt;
    return header;
}

Result<Atom> Atom::parse(const Bytes& bytes, std::uint64_t fileOffset, std::vector<MovieWarning>* warnings)
{
    auto header = AtomHeader::parse(bytes.span());
    if (!header)
        return failure(MovieError::Code::Corrupt, {}, "no atom header", fileOffset);
    if (header->sizeForm == SizeForm::ToEnd)
        header->size = bytes.size();
    if (header->size > bytes.size())
        return failure(MovieError::Code::Truncated, header->type.text(),
            fmt::format("the atom claims {} bytes, {} are there", header->size, bytes.size()), fileOffset);
    return TreeParser {warnings}.parse(
        bytes.slice(0, static_cast<std::size_t>(header->size)), *header, fileOffset, FourCC {}, 0);
}

std::uint64_t Atom::size() const
{
    const auto content = contentSize(*this);
    return content + headerSizeFor(sizeForm, content);
}

void Atom::write(ByteWriter& out) const
{
    const auto content = contentSize(*this);
    const auto headerSize = headerSizeFor(sizeForm, content);
    if (sizeForm == SizeForm::ToEnd && headerSize == 8)
        out.u32(0).fourCC(type);
    else if (headerSize == 8)
        out.u32(static_cast<std::uint32_t>(content + 8)).fourCC(type);
    else
        out.u32(1).fourCC(type).u64(content + 16);
    out.bytes(head.span());
    for (const auto& child : children)
        child->write(out);
    out.bytes(tail.span());
}

Bytes Atom::toBytes() const
{
    ByteWriter out;
    out.reserve(static_cast<std::size_t>(size()));
    write(out);
    return Bytes::adopt(out.take());
}

bool Atom::writesSameAs(const Atom& other) const
{
    if (this == &other)
        return true;
    if (type != other.type)
        return false;
    if (sizeForm == other.sizeForm && isContainer == other.isContainer
        && children.size() == other.children.size())
        return head == other.head && tail == other.tail
            && std::equal(children.begin(), children.end(), other.children.begin(),
                [](const Cow<Atom>& a, const Cow<Atom>& b) { return a->writesSameAs(*b); });
    // Cut up otherwise, as where a leaf was put for a container: only the bytes can tell.
    return size() == other.size() && toBytes() == other.toBytes();
}

const Atom* Atom::find(FourCC childType) const
{
    for (const auto& child : children)
        if (child->type == childType)
            return &*child;
    return nullptr;
}

const Atom* Atom::find(std::initializer_list<FourCC> path) const
{
    const Atom* atom = this;
    for (const auto step : path)
        if (!(atom = atom->find(step)))
            return nullptr;
    return atom;
}

Atom* Atom::edit(FourCC childType)
{
    for (auto& child : children)
        if (child->type == childType)
            return &child.edit();
    return nullptr;
}

Atom* Atom::edit(std::initializer_list<FourCC> path)
{
    if (!find(path))
        return nullptr;
    Atom* atom = this;
    for (const auto step : path)
        atom = atom->edit(step);
    return atom;
}

Atom& Atom::ensure(FourCC childType)
{
    if (auto* child = edit(childType))
        return *child;
    Atom child {childType};
    child.isContainer = childrenOffset(childType, type, {}).has_value();
    return append(std::move(child));
}

Atom& Atom::append(Atom child)
{
    return children.emplace_back(std::move(child)).edit();
}

Atom& Atom::insertBefore(FourCC before, Atom child)
{
    const auto place = std::find_if(
        children.begin(), children.end(), [&](const auto& other) { return other->type == before; });
    return children.insert(place, Cow<Atom>(std::move(child)))->edit();
}

std::size_t Atom::remove(FourCC childType)
{
    return std::erase_if(children, [&](const auto& child) { return child->type == childType; });
}

void Atom::setLeaf(FourCC childType, Bytes payload)
{
    auto& child = ensure(childType);
    child.isContainer = false;
    child.children.clear();
    child.tail = {};
    child.head = std::move(payload);
}

} // namespace reelwright
