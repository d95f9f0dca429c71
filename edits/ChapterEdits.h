#pragma once

#include "chapters/KWChapterController.h"
#include "edits/EditCatalogue.h"

#include <string>
#include <vector>

namespace reelwright::edits {

/// Where a new chapter starts, and what it is called.
Edit addChapter(const QTTime& time, const std::string& name);
/// Rows are places in the movie's list at that time, from 0.
Edit removeChapters(const std::vector<std::size_t>& rows);
Edit renameChapter(std::size_t row, const std::string& name);
Edit moveChapter(std::size_t row, const QTTime& start);
/// Adds the entries of a list; those that cannot be added are told as refused parts.
Edit insertChapters(const std::vector<ImportedChapter>& entries);
Edit shiftChapters(const QTTime& offset);
Edit stretchChapters(std::int64_t numerator, std::int64_t denominator);
Edit addChapterEvery(const QTTime& interval);
Edit addChaptersAtTimecodeBreaks();
/// Replaces all.
Edit setChapters(const KWChapterController::Chapters& chapters);

/// The options of these edits.
std::span<const EditKind> chapterKinds();

} // namespace reelwright::edits
