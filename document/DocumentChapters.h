#pragma once

#include "chapters/ChapterTimes.h"
#include "chapters/KWChapterController.h"
#include "chapters/MarkerFiles.h"

#include <optional>
#include <string>
#include <vector>

namespace reelwright {

class DocumentWindow;
class MyDocument;

/// The chapters of a document: what the chapter table shows, and what is done in it. Each change is one step
/// of the document's history. Rows are those of the movie's list. Borrows the document.
class DocumentChapters
{
public:
    explicit DocumentChapters(MyDocument& document);

    /// The movie's chapters now; none where they cannot be read.
    [[nodiscard]] std::vector<Chapter> chapters() const;
    [[nodiscard]] std::string startText(const QTTime& time) const;

    /// A chapter at a time of the movie, or at the next free frame.
    Result<void> addChapter(const QTTime& time);
    void removeChapter(const std::vector<std::size_t>& rows);
    Result<void> setName(std::size_t row, const std::string& name);
    /// A typed start, in any form of TypedTime; "+" and "-" move the present one. Errors: Refused with the
    /// sentence for the user.
    Result<void> setStart(std::size_t row, const std::string& text);
    Result<void> moveTo(std::size_t row, const QTTime& start);
    /// Typed offsets may begin with "+" or "-".
    Result<void> shift(const std::string& text);
    /// A fraction, "25/24".
    Result<void> stretch(const std::string& text);
    Result<void> addEvery(const std::string& text);
    Result<void> addAtTimecodeBreaks();

    /// What the sheet of an import says when it is over; nothing when all chapters were added.
    struct Alert
    {
        std::string title;
        std::string text;
    };
    std::optional<Alert> importChapters(const std::string& path, const MarkerFormat& format);
    /// "NAME Chapters", without an extension.
    [[nodiscard]] std::string proposedExportName() const;
    Result<void> exportChapters(const std::string& path, const MarkerFormat& format) const;

private:
    MyDocument& m_document;
};

} // namespace reelwright
