#include "movie/samples/SampleDescriptionEdit.h"

#include "movie/atoms/ByteReader.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr std::size_t kWidthOffset = 24;
    constexpr std::size_t kHeightOffset = 26;
    constexpr std::size_t kDepthOffset = 74;
    constexpr std::size_t kVideoSize = 78;

    template <std::uint32_t type> bool isOfType(const Atom& atom)
    {
        return atom.type.value == type;
    }

    FourCC colorKind(const Atom& atom)
    {
        return atom.type == "colr"_cc ? ByteReader {atom.head.span()}.fourCC() : FourCC {};
    }

    bool isColorParameters(const Atom& atom)
    {
        const auto kind = colorKind(atom);
        return kind == "nclc"_cc || kind == "nclx"_cc;
    }

    bool isColorProfile(const Atom& atom)
    {
        const auto kind = colorKind(atom);
        return kind == "prof"_cc || kind == "rICC"_cc;
    }

} // namespace

Result<SampleDescriptionEdit> SampleDescriptionEdit::of(
    const SampleDescription& description, FourCC mediaType)
{
    const auto& payload = description.entry().head;
    const auto fixedSize = description.extensionsOffset(mediaType);
    if (fixedSize > payload.size())
        return failure(MovieError::Code::Truncated, "stsd",
            "the sample description is too short for its kind", description.entry().sourceOffset);
    RW_ASSERT(mediaType != "vide"_cc || fixedSize >= kVideoSize);
    SampleDescriptionEdit edit;
    edit.m_entry = description.entry();
    edit.m_fixed = payload.slice(0, fixedSize).toVector();
    edit.m_extensions = description.extensions(mediaType);
    std::size_t end = fixedSize;
    for (const auto& extension : edit.m_extensions)
        end += static_cast<std::size_t>(extension.size());
    edit.m_tail = payload.slice(end);
    return edit;
}

Atom SampleDescriptionEdit::entry() const
{
    ByteWriter out;
    out.bytes(m_fixed);
    for (const auto& extension : m_extensions)
        extension.write(out);
    out.bytes(m_tail.span());
    auto changed = m_entry;
    changed.head = out.toBytes();
    return changed;
}

void SampleDescriptionEdit::setExtension(FourCC type, const Bytes& payload)
{
    const auto found = std::find_if(m_extensions.begin(), m_extensions.end(),
        [&](const Atom& extension) { return extension.type == type; });
    auto& extension = found != m_extensions.end() ? *found : m_extensions.emplace_back(type);
    extension.head = payload;
}

std::size_t SampleDescriptionEdit::removeExtension(FourCC type)
{
    return std::erase_if(m_extensions, [&](const Atom& extension) { return extension.type == type; });
}

Result<void> SampleDescriptionEdit::setEncodedWidth(std::int64_t pixels)
{
    return setField(kWidthOffset, pixels, "width");
}

Result<void> SampleDescriptionEdit::setEncodedHeight(std::int64_t pixels)
{
    return setField(kHeightOffset, pixels, "height");
}

Result<void> SampleDescriptionEdit::setDepth(std::int64_t bits)
{
    const auto depth = bits & 0x1F; // 32 is added for shades of grey
    const bool hasPalette = m_fixed.size() > kVideoSize;
    const bool saysPalette
        = m_fixed[kVideoSize - 2] == std::byte {0} && m_fixed[kVideoSize - 1] == std::byte {0};
    if ((depth == 1 || depth == 2 || depth == 4 || depth == 8) && saysPalette && !hasPalette)
        return failure(MovieError::Code::Refused, "stsd",
            "pictures of that depth need a palette, which the sample description does not have");
    return setField(kDepthOffset, bits, "depth");
}

void SampleDescriptionEdit::setPixelAspectRatio(const PixelAspectRatio& ratio)
{
    setStart(isOfType<"pasp"_cc.value>, "pasp"_cc, ByteWriter {}.u32(ratio.horizontal).u32(ratio.vertical));
}

void SampleDescriptionEdit::setGamma(std::uint32_t fixed)
{
    setStart(isOfType<"gama"_cc.value>, "gama"_cc, ByteWriter {}.u32(fixed));
}

void SampleDescriptionEdit::setColor(const ColorParameters& color, ColorForm newForm)
{
    const auto* present = find(isColorParameters);
    const bool hasRange = present ? colorKind(*present) == "nclx"_cc : newForm == ColorForm::Nclx;
    ByteWriter start;
    start.fourCC(hasRange ? "nclx"_cc : "nclc"_cc).u16(color.primaries).u16(color.transfer).u16(color.matrix);
    const bool rangeIsThere = present && present->head.size() > start.size();
    if (hasRange && (color.fullRange || !rangeIsThere))
        start.u8(color.fullRange.value_or(false) ? 0x80 : 0);
    setStart(isColorParameters, "colr"_cc, start);
}

void SampleDescriptionEdit::setColorProfile(const Bytes& profile)
{
    const auto payload = ByteWriter {}.fourCC("prof"_cc).bytes(profile.span()).toBytes();
    if (auto* present = find(isColorProfile))
        present->head = payload;
    else
        m_extensions.emplace_back("colr"_cc, payload);
}

void SampleDescriptionEdit::setFieldLayout(const FieldLayout& layout)
{
    setStart(isOfType<"fiel"_cc.value>, "fiel"_cc, ByteWriter {}.u8(layout.count).u8(layout.detail));
}

std::size_t SampleDescriptionEdit::removeColor()
{
    return remove(isColorParameters);
}

std::size_t SampleDescriptionEdit::removeColorProfile()
{
    return remove(isColorProfile);
}

Atom* SampleDescriptionEdit::find(Matches matches)
{
    const auto found = std::find_if(m_extensions.begin(), m_extensions.end(), matches);
    return found != m_extensions.end() ? &*found : nullptr;
}

std::size_t SampleDescriptionEdit::remove(Matches matches)
{
    return std::erase_if(m_extensions, matches);
}

void SampleDescriptionEdit::setStart(Matches matches, FourCC type, const ByteWriter& start)
{
    auto* present = find(matches);
    auto& extension = present ? *present : m_extensions.emplace_back(type);
    ByteWriter payload;
    payload.bytes(start.span()).bytes(extension.head.slice(start.size()).span());
    extension.head = payload.toBytes();
}

Result<void> SampleDescriptionEdit::setField(std::size_t offset, std::int64_t value, const char* name)
{
    if (value < 0 || value > UINT16_MAX)
        return failure(MovieError::Code::Refused, "stsd",
            fmt::format("the sample description holds a {} of at most {}, not {}", name, UINT16_MAX, value));
    m_fixed[offset] = static_cast<std::byte>(value >> 8);
    m_fixed[offset + 1] = static_cast<std::byte>(value & 0xFF);
    return {};
}

} // namespace reelwright
