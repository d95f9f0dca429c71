#pragma once

#include "movie/samples/SampleDescription.h"

namespace reelwright {

/// How color parameters are written: QuickTime files carry 'nclc', ISO files 'nclx' with a range.
enum class ColorForm { Nclc, Nclx };

/// A copy of a sample description for changing. What is not changed stays byte for byte: the fixed part, the
/// order of the extension atoms, those that nobody knows, what stands behind the last one, and the bytes of
/// an extension behind the fields that were set.
class SampleDescriptionEdit
{
public:
    /// Errors: Truncated when the entry is too short for its kind.
    static Result<SampleDescriptionEdit> of(const SampleDescription& description, FourCC mediaType);

    /// The entry as it is now.
    [[nodiscard]] Atom entry() const;

    /// The first extension of that type gets the payload; a new one is put behind the others.
    void setExtension(FourCC type, const Bytes& payload);
    /// Removes every extension of that type; answers how many there were.
    std::size_t removeExtension(FourCC type);

    // What follows is for video descriptions only.

    /// Errors: Refused for what a field of 16 bits cannot hold, and for a depth at which readers would look
    /// for a palette in the place of the extensions.
    Result<void> setEncodedWidth(std::int64_t pixels);
    Result<void> setEncodedHeight(std::int64_t pixels);
    Result<void> setDepth(std::int64_t bits);
    void setPixelAspectRatio(const PixelAspectRatio& ratio);
    void setGamma(std::uint32_t fixed);
    /// In the form of the tag that is there; a new one gets that form. A range that the parameters do not say
    /// stays as it was.
    void setColor(const ColorParameters& color, ColorForm newForm);
    void setColorProfile(const Bytes& profile);
    void setFieldLayout(const FieldLayout& layout);
    std::size_t removeColor(); ///< the parameters, not the profile
    std::size_t removeColorProfile();

private:
    SampleDescriptionEdit() = default;

    using Matches = bool (*)(const Atom&);
    Atom* find(Matches matches);
    std::size_t remove(Matches matches);
    /// Writes over the start of the extension's payload.
    void setStart(Matches matches, FourCC type, const ByteWriter& start);
    Result<void> setField(std::size_t offset, std::int64_t value, const char* name);

    Atom m_entry;
    std::vector<std::byte> m_fixed;
    std::vector<Atom> m_extensions;
    Bytes m_tail; ///< behind the extensions: padding, damage
};

} // namespace reelwright
