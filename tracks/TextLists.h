#pragma once

#include "tracks/TextInsertion.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

/// Texts as plain files: SubRip (SRT) and WebVTT. What they say of a text's look beyond bold, italic,
/// underlined and its alignment is left out.
class TextLists
{
public:
    enum class Format { Srt, WebVtt };
    struct FormatKind
    {
        Format format = Format::Srt;
        const char* name = nullptr; ///< "srt"
        const char* title = nullptr; ///< "SubRip (*.srt)"
        const char* extension = nullptr; ///< "srt"
    };

    static std::span<const FormatKind> formats();
    /// The one with that name or extension, or null.
    static const FormatKind* formatNamed(std::string_view name);

    /// A text of a list, and where it stands in it.
    struct Entry
    {
        std::string text;
        QTTime start;
        QTTime end;
        std::uint8_t face = 0; ///< as in TextStyle, where all of the text has it
        std::optional<TextAlignment> alignment; ///< where the list says one
        std::size_t line = 0; ///< from 1
    };
    struct Parsed
    {
        std::vector<Entry> entries; ///< in the order of the list
        std::vector<std::string> refused; ///< what could not be read: sentences with line numbers
    };
    /// The entries of a list, whichever of the two forms it has. Errors: Refused for a text without any.
    static Result<Parsed> parsed(std::string_view text);
    /// Those of a file. Errors: Io; Refused for a file that is neither UTF-8 nor UTF-16, a huge one, and as
    /// above.
    static Result<Parsed> parsedFile(const std::string& path);
    /// The list of these texts, UTF-8.
    static std::string written(Format format, const std::vector<TextCue>& texts);

    /// The texts with these added, in the given style; entries that begin together become one text. Answers
    /// what was done otherwise, and which were left out.
    static TextNotes insert(std::vector<TextCue>& texts, const Parsed& list, const TextStyle& style,
        const std::optional<QTTime>& most);
};

} // namespace reelwright
