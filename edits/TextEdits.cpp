#include "edits/TextEdits.h"

#include "edits/TextEdit.h"
#include "edits/TrackEdits.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright::edits {
namespace {

    template <Result<void> (TextEdit::*read)(std::string_view)>
    Result<void> value(std::string_view text, EditSteps& steps)
    {
        return (steps.compound<TextEdit>().*read)(text);
    }

    constexpr EditKind kKinds[] = {
        {"--add-text", "SELECTOR@TIMECODE/DURATION=TEXT",
            "Put a text into a text track (--add-track text makes\none); \\n begins a new line",
            value<&TextEdit::add>},
        {"--change-text", "SELECTOR@N=TEXT",
            "Give a text other words; with --text-style and without\n=TEXT another look",
            value<&TextEdit::change>},
        {"--remove-text", "SELECTOR@N|all", "Take a text out of its track", value<&TextEdit::remove>},
        {"--import-text", "SELECTOR=FILE",
            "Put the texts of a SubRip (SRT) or WebVTT file into a\ntext track; what is refused is named",
            value<&TextEdit::import>},
        {"--text-style", "JSON",
            "Look of the text or list before: {\"box\": [left, top,\nwidth, height], \"align\": "
            "\"left|center|right\", \"size\": N,\n\"color\": \"#RRGGBB\", \"background\": \"#RRGGBB\" or "
            "null,\n"
            "\"bold\": true, \"italic\": true, \"underline\": true,\n\"font\": NAME}; what is left out stays",
            value<&TextEdit::setStyle>},
    };

    using Rewrite = std::function<Result<EditNotes>(std::vector<TextCue>&, const QTTrack&)>;

    /// A new list of the texts of each selected track.
    Edit rewriting(const TrackSelector& tracks, std::string option, std::string undoName,
        std::string queueLabel, Rewrite rewrite)
    {
        return makeEditWithNotes(std::move(option), std::move(undoName), std::move(queueLabel),
            [tracks, rewrite = std::move(rewrite)](QTMovie& movie) -> Result<EditNotes> {
                EditNotes notes;
                RW_CHECK(forSelected(movie, tracks, [&](const QTTrack& track) -> Result<void> {
                    RW_TRY(auto texts, TextInsertion::texts(track));
                    RW_TRY(const auto told, rewrite(texts, track));
                    notes.remarks.insert(notes.remarks.end(), told.remarks.begin(), told.remarks.end());
                    notes.refused.insert(notes.refused.end(), told.refused.begin(), told.refused.end());
                    return TextInsertion::setTexts(texts, track);
                }));
                return notes;
            });
    }

    EditNotes notesOf(TextNotes told)
    {
        return {std::move(told.remarks), std::move(told.refused)};
    }

    tl::unexpected<MovieError> noSuchText()
    {
        return failure(MovieError::Code::Refused, {}, "the track has no such text any more");
    }

    std::string firstLine(const std::string& text)
    {
        return text.substr(0, text.find('\n'));
    }

} // namespace

Edit addText(const TrackSelector& tracks, const TextCue& text)
{
    const auto duration = text.end - text.start;
    auto edit = makeEditWithNotes(fmt::format("--add-text {}@{}/{}/{}/{}={}", tracks.text(), text.start.value,
                                      text.start.scale, duration.value, duration.scale, text.text),
        "Add Text", fmt::format("Add text \"{}\"", firstLine(text.text)),
        [tracks, text](QTMovie& movie) -> Result<EditNotes> {
            EditNotes notes;
            RW_CHECK(forSelected(movie, tracks, [&](const QTTrack& track) -> Result<void> {
                RW_TRY(auto told, TextInsertion::addText(text, track));
                notes = notesOf(std::move(told));
                return {};
            }));
            return notes;
        });
    edit.call.name = "addText:toTrack:bounds:textAlignment:fontSize:textColor:duration:";
    return edit;
}

Edit changeText(const TrackSelector& track, std::size_t row, const TextCue& text)
{
    return rewriting(track, fmt::format("--change-text {}@{}={}", track.text(), row + 1, text.text),
        "Change Text", fmt::format("Change text {}", row + 1),
        [row, text](std::vector<TextCue>& texts, const QTTrack& of) -> Result<EditNotes> {
            if (row >= texts.size())
                return noSuchText();
            texts.erase(texts.begin() + static_cast<std::ptrdiff_t>(row));
            TextNotes told;
            RW_CHECK(TextInsertion::addTo(texts, text, TextInsertion::limitFor(of), told));
            return notesOf(std::move(told));
        });
}

Edit removeTexts(const TrackSelector& track, const std::vector<std::size_t>& rows)
{
    std::string option;
    for (const auto row : rows)
        option += fmt::format("{}--remove-text {}@{}", option.empty() ? "" : " ", track.text(), row + 1);
    return rewriting(track, option, rows.size() == 1 ? "Remove Text" : "Remove Texts",
        rows.size() == 1 ? fmt::format("Remove text {}", rows.front() + 1)
                         : fmt::format("Remove {} texts", rows.size()),
        [rows](std::vector<TextCue>& texts, const QTTrack&) -> Result<EditNotes> {
            auto gone = rows;
            std::sort(gone.begin(), gone.end(), std::greater<> {});
            gone.erase(std::unique(gone.begin(), gone.end()), gone.end());
            for (const auto row : gone) {
                if (row >= texts.size())
                    return noSuchText();
                texts.erase(texts.begin() + static_cast<std::ptrdiff_t>(row));
            }
            return EditNotes {};
        });
}

Edit importTexts(const TrackSelector& track, const TextLists::Parsed& list, const TextStyle& style)
{
    return rewriting(track, "--import-text", "Import Texts",
        fmt::format("Import {} texts", list.entries.size()),
        [list, style](std::vector<TextCue>& texts, const QTTrack& of) -> Result<EditNotes> {
            return notesOf(TextLists::insert(texts, list, style, TextInsertion::limitFor(of)));
        });
}

std::span<const EditKind> textKinds()
{
    return kKinds;
}

} // namespace reelwright::edits
