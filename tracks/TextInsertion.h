#pragma once

#include "movie/samples/TextMedia.h"

#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// Where a text stands in its track. Pixels.
struct TextBox
{
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
    bool operator==(const TextBox&) const = default;
};

enum class TextAlignment { Left, Center, Right };

/// A text of a text track. As it is stored it stays, byte for byte, until text or style are set.
struct TextCue
{
    std::string text; ///< UTF-8, lines end in "\n"
    QTTime start; ///< in the movie
    QTTime end; ///< in the movie
    TextStyle style;
    Bytes sample {}; ///< as it is stored; empty for a text that is new or was changed
    std::uint32_t description = 0; ///< of the track, 1-based, of a text as it is stored

    [[nodiscard]] TextBox box() const;
    void setBox(const TextBox& box);
    [[nodiscard]] TextAlignment alignment() const;
    void setAlignment(TextAlignment alignment);
    /// Counted in a time scale that has both exactly, where there is one.
    void setTimes(const QTTime& newStart, const QTTime& duration);
    void setText(std::string newText);
    void setStyle(TextStyle newStyle);

    bool operator==(const TextCue&) const = default;
};

/// What an operation did otherwise than asked: sentences.
struct TextNotes
{
    std::vector<std::string> remarks; ///< a text ends earlier than asked
    std::vector<std::string> refused; ///< texts that were left out
};

/// Puts texts into text tracks, and takes them out. A track shows one text at a time: where a text begins,
/// the one before it ends.
///
///     | A         |    add B     | A |B|        what A showed behind B is gone; a remark says so
///     |   | C |        add B     | B |C|        B ends where C begins
///
/// Times are exact where the media's time scale can be made to count them, else rounded to it.
class TextInsertion
{
public:
    /// No movie's text track has a time scale above this for the sake of exact times.
    static constexpr std::int64_t kFinestScale = 1'000'000;

    /// The texts of a track in the order of their starts, without the gaps between them.
    /// Errors: those of textMedia::shownTexts.
    static Result<std::vector<TextCue>> texts(const QTTrack& track);
    /// How a new text of the track looks: as the last one, else white, centred, in the lower part of the
    /// track's box over the picture.
    static TextStyle usualStyle(const QTTrack& track);
    /// The lower part of a track of that size, where titles stand.
    static TextBox usualBox(double width, double height);
    /// A white text over the picture in that box.
    static TextStyle plainStyle(const TextBox& box);

    /// Adds a text to a list. Errors: Refused for no text, no duration, a start outside of the movie, or one
    /// at which another text begins already.
    static Result<void> addTo(
        std::vector<TextCue>& texts, TextCue added, const std::optional<QTTime>& most, TextNotes& notes);
    /// What a text of that track must not reach beyond: the end of what else the movie has; nothing where
    /// there is nothing else.
    static std::optional<QTTime> limitFor(const QTTrack& track);
    /// Gives the track these texts; they have to be in the order of their starts, and none may reach into the
    /// next one. The movie is made editable for that time.
    /// Errors: Refused for a track that holds no text, and when a text is too long for a sample.
    static Result<void> setTexts(const std::vector<TextCue>& texts, const QTTrack& track);

    /// Adds one text, from `start` on. Answers what was done otherwise.
    static Result<TextNotes> addText(const std::string& text, const QTTrack& toTrack, const TextBox& bounds,
        TextAlignment textAlignment, int fontSize, const TextStyle::Color& textColor, const QTTime& duration,
        const QTTime& start);
    /// The same of a text with all of its style.
    static Result<TextNotes> addText(const TextCue& text, const QTTrack& toTrack);
};

} // namespace reelwright
