#include "document/DocumentChapters.h"

#include "document/MyDocument.h"
#include "edits/ChapterEdits.h"
#include "support/KWLog.h"
#include "support/Text.h"
#include "times/TypedTime.h"

#include <fmt/format.h>

namespace reelwright {
namespace {

    /// A length of time as it is typed.
    Result<QTTime> typedLength(std::string_view text, const QTMovie& movie)
    {
        RW_TRY(const auto typed, TypedTime::parse(text, TypedTime::Reading::Field));
        if (typed.isRelative() || typed.form() == TypedTime::Form::Label)
            return failure(MovieError::Code::Refused, {},
                fmt::format("\"{}\" is no length of time such as 00:00:10:00, 10. for ten seconds, 10.5s or "
                            "250f",
                    text));
        return typed.exactly(movie);
    }

} // namespace

DocumentChapters::DocumentChapters(MyDocument& document)
    : m_document(document)
{
}

std::vector<Chapter> DocumentChapters::chapters() const
{
    auto chapters = chapterList::read(m_document.movie());
    if (!chapters) {
        KWLog::appendLog("Error reading chapters: {}", chapters.error().message());
        return {};
    }
    return std::move(*chapters);
}

std::string DocumentChapters::startText(const QTTime& time) const
{
    return ShownTime::typedText(time, ShownTime::Kind::Place, m_document.timeStyle(), m_document.movie());
}

Result<void> DocumentChapters::addChapter(const QTTime& time)
{
    return m_document.perform(edits::addChapter(time, KWChapterController::kNewName));
}

void DocumentChapters::removeChapter(const std::vector<std::size_t>& rows)
{
    if (rows.empty())
        return;
    if (const auto done = m_document.perform(edits::removeChapters(rows)); !done)
        KWLog::appendLog("Error removing chapters: {}", done.error().message());
}

Result<void> DocumentChapters::setName(std::size_t row, const std::string& name)
{
    return m_document.perform(edits::renameChapter(row, name));
}

Result<void> DocumentChapters::setStart(std::size_t row, const std::string& text)
{
    const auto now = chapters();
    RW_TRY(const auto typed,
        ShownTime::parse(text, ShownTime::Kind::Place, m_document.timeStyle(), m_document.movie()));
    RW_TRY(const auto time,
        typed.exactly(m_document.movie(), row < now.size() ? std::optional(now[row].start) : std::nullopt));
    return moveTo(row, ChapterTimes {m_document.movie()}.nearestPicture(time));
}

Result<void> DocumentChapters::moveTo(std::size_t row, const QTTime& start)
{
    return m_document.perform(edits::moveChapter(row, start));
}

Result<void> DocumentChapters::shift(const std::string& text)
{
    const auto typed = trimmed(text);
    const bool isBack = typed.starts_with('-');
    RW_TRY(auto time,
        typedLength(isBack || typed.starts_with('+') ? typed.substr(1) : typed, m_document.movie()));
    if (isBack)
        time.value = -time.value;
    return m_document.perform(edits::shiftChapters(time));
}

Result<void> DocumentChapters::stretch(const std::string& text)
{
    const auto parts = split(trimmed(text), "/:");
    const auto numerator = integerValue(parts.front());
    const auto denominator = parts.size() == 2 ? integerValue(parts.back()) : 0;
    return m_document.perform(edits::stretchChapters(numerator, denominator));
}

Result<void> DocumentChapters::addEvery(const std::string& text)
{
    RW_TRY(const auto time, typedLength(trimmed(text), m_document.movie()));
    return m_document.perform(edits::addChapterEvery(time));
}

Result<void> DocumentChapters::addAtTimecodeBreaks()
{
    return m_document.perform(edits::addChaptersAtTimecodeBreaks());
}

std::optional<DocumentChapters::Alert> DocumentChapters::importChapters(
    const std::string& path, const MarkerFormat& format)
{
    const auto& movie = m_document.movie();
    const auto* record = m_document.selectedTrack();
    const auto selected = record ? m_document.qtTrackForTrack(*record) : std::nullopt;
    const auto entries
        = MarkerFiles::importedChapters(path, format, MarkerFiles::referenceHour(movie, selected), movie);
    if (entries.empty())
        return Alert {"No chapters found", "Could not locate any chapters or markers in the specified file."};
    const auto edit = edits::insertChapters(entries);
    RefusedParts refused;
    const auto done = m_document.perform(edit, MyDocument::ViewUpdate::None, nullptr, &refused);
    if (done && refused.empty())
        return std::nullopt;
    return Alert {"Some chapters could not be imported",
        "This could be because they conflict with the position of an existing chapter or because their start "
        "point exceeds the length of the movie."};
}

std::string DocumentChapters::proposedExportName() const
{
    return MarkerFiles::proposedName(m_document.path());
}

Result<void> DocumentChapters::exportChapters(const std::string& path, const MarkerFormat& format) const
{
    return MarkerFiles::exportChapters(format, path, m_document.movie());
}

} // namespace reelwright
