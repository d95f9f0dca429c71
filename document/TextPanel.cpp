#include "document/TextPanel.h"

#include "document/MyDocument.h"
#include "edits/TextEdits.h"
#include "support/FileHelper.h"
#include "times/TypedTime.h"
#include "tracks/KWQuickTime.h"

#include <fmt/format.h>

#include <charconv>

namespace reelwright {
namespace {

    constexpr int kUsualSeconds = 3;

    tl::unexpected<MovieError> refusal(std::string sentence)
    {
        return failure(MovieError::Code::Refused, {}, std::move(sentence));
    }

    Result<int> pixels(const char* field, const std::string& typed, int least)
    {
        int value = 0;
        const auto* end = typed.data() + typed.size();
        const auto [stop, error] = std::from_chars(typed.data(), end, value);
        if (error != std::errc {} || stop != end || value < least || value > INT16_MAX / 2)
            return refusal(fmt::format(
                "\"{}\" is no {} of the text box; it takes whole pixels from {}", typed, field, least));
        return value;
    }

    Result<QTTime> typedTime(const std::string& typed, const QTMovie& movie, const QTTime& present)
    {
        RW_TRY(const auto time, TypedTime::parse(typed, TypedTime::Reading::Field));
        return time.exactly(movie, present);
    }

} // namespace

TextPanel::TextPanel(MyDocument& document)
    : m_document(document)
{
}

Result<std::vector<TextCue>> TextPanel::texts() const
{
    const auto* record = m_document.selectedTrack();
    if (!record)
        return refusal("no track is selected");
    return TextInsertion::texts(record->track());
}

std::string TextPanel::timeText(const QTTime& time) const
{
    return KWQuickTime::formattedQTTime(time, m_document.movie());
}

TextPanel::Fields TextPanel::fieldsOf(const TextCue& text) const
{
    Fields fields;
    fields.text = text.text;
    fields.start = timeText(text.start);
    fields.duration = timeText(text.end - text.start);
    const auto [left, top, width, height] = text.box();
    fields.left = std::to_string(left);
    fields.top = std::to_string(top);
    fields.width = std::to_string(width);
    fields.height = std::to_string(height);
    fields.alignment = text.alignment();
    fields.fontSize = text.style.fontSize;
    fields.color = text.style.foreground;
    if (text.style.isOpaque())
        fields.background = text.style.background;
    fields.face = text.style.fontFace;
    return fields;
}

TextPanel::Fields TextPanel::fieldsForNew() const
{
    const auto* record = m_document.selectedTrack();
    if (!record)
        return {};
    TextCue cue;
    cue.start = {0, 1};
    cue.end = {kUsualSeconds, 1};
    cue.style = TextInsertion::usualStyle(record->track());
    auto fields = fieldsOf(cue);
    fields.start.clear();
    const auto present = texts();
    if (!present || present->empty()) {
        const auto box = MyDocument::textBox(*record);
        fields.left = "0";
        fields.top = box.top;
        fields.width = box.width;
        fields.height = box.height;
    }
    return fields;
}

Result<TextCue> TextPanel::cueOf(const Fields& fields, TextCue cue) const
{
    const auto& movie = m_document.movie();
    RW_TRY(const auto left, pixels("left", fields.left, -INT16_MAX / 2));
    RW_TRY(const auto top, pixels("top", fields.top, -INT16_MAX / 2));
    RW_TRY(const auto width, pixels("width", fields.width, 1));
    RW_TRY(const auto height, pixels("height", fields.height, 1));
    // What was not typed anew stays as exact as it is.
    const auto shown = fieldsOf(cue);
    const auto length = cue.end - cue.start;
    if (fields.start.empty()) {
        cue.start = m_document.currentTime();
    } else if (cue.start.scale <= 0 || fields.start != shown.start) {
        RW_TRY(cue.start,
            typedTime(fields.start, movie, cue.start.scale > 0 ? cue.start : m_document.currentTime()));
    }
    auto duration = length;
    if (length.scale <= 0 || length.value <= 0 || fields.duration != shown.duration) {
        RW_TRY(duration, typedTime(fields.duration, movie, length.scale > 0 ? length : QTTime {0, 1}));
    }
    if (cue.start.scale <= 0 || duration.scale <= 0)
        return refusal("the text has no time");
    cue.setTimes(cue.start, duration);
    cue.setText(fields.text);
    cue.setBox({left, top, width, height});
    if (fields.alignment != cue.alignment())
        cue.setAlignment(fields.alignment);
    auto style = cue.style;
    style.fontSize = static_cast<std::uint16_t>(std::max(fields.fontSize, 0));
    style.foreground = fields.color;
    style.fontFace = fields.face;
    style.displayFlags &= ~TextStyle::kKeyed;
    if (fields.background)
        style.background = *fields.background;
    else
        style.displayFlags |= TextStyle::kKeyed;
    cue.setStyle(style);
    return cue;
}

Result<std::string> TextPanel::performTelling(const Edit& edit)
{
    std::vector<std::string> remarks;
    RefusedParts refused;
    RW_CHECK(m_document.perform(edit, MyDocument::ViewUpdate::Reset, &remarks, &refused));
    remarks.insert(remarks.end(), refused.begin(), refused.end());
    constexpr std::size_t kMostLines = 10;
    std::string told;
    for (std::size_t i = 0; i < remarks.size() && i < kMostLines; ++i)
        told += (told.empty() ? "" : "\n") + remarks[i];
    if (remarks.size() > kMostLines)
        told += fmt::format("\nand {} more", remarks.size() - kMostLines);
    return told;
}

Result<std::string> TextPanel::insertMediaText(const Fields& fields)
{
    const auto* record = m_document.selectedTrack();
    if (!record)
        return refusal("no track is selected");
    TextCue base;
    base.style = TextInsertion::usualStyle(record->track());
    RW_TRY(const auto cue, cueOf(fields, base));
    return performTelling(edits::addText(TrackSelector::ofTrack(record->trackID()), cue));
}

Result<std::string> TextPanel::changeText(std::size_t row, const Fields& fields)
{
    RW_TRY(const auto present, texts());
    if (row >= present.size())
        return refusal("the track has no such text any more");
    if (fields.text.empty())
        return refusal("a text without words is no text; remove it instead");
    RW_TRY(const auto cue, cueOf(fields, present[row]));
    return performTelling(
        edits::changeText(TrackSelector::ofTrack(m_document.selectedTrack()->trackID()), row, cue));
}

Result<void> TextPanel::removeTexts(const std::vector<std::size_t>& rows)
{
    const auto* record = m_document.selectedTrack();
    if (!record || rows.empty())
        return {};
    return m_document.perform(
        edits::removeTexts(TrackSelector::ofTrack(record->trackID()), rows), MyDocument::ViewUpdate::Reset);
}

Result<std::string> TextPanel::importTexts(const std::string& path, const Fields& fields)
{
    const auto* record = m_document.selectedTrack();
    if (!record)
        return refusal("no track is selected");
    RW_TRY(const auto list, TextLists::parsedFile(path));
    auto typed = fields;
    typed.start = "0";
    typed.duration = "1s";
    TextCue base;
    base.style = TextInsertion::usualStyle(record->track());
    RW_TRY(const auto look, cueOf(typed, base));
    return performTelling(edits::importTexts(TrackSelector::ofTrack(record->trackID()), list, look.style));
}

Result<void> TextPanel::exportTexts(const std::string& path, TextLists::Format format) const
{
    RW_TRY(const auto present, texts());
    if (const auto error = FileHelper::writeAtomically(path, TextLists::written(format, present)))
        return systemFailure(error.value(), path, "the list cannot be written");
    return {};
}

std::string TextPanel::proposedExportName() const
{
    const auto name = m_document.displayName();
    return name.substr(0, name.rfind('.')) + " Texts";
}

} // namespace reelwright
