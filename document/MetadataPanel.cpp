#include "document/MetadataPanel.h"

#include "document/DocumentWindow.h"
#include "document/MyDocument.h"
#include "edits/CopyEdits.h"
#include "support/FileHelper.h"
#include "support/KWLog.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <filesystem>

namespace reelwright {

std::vector<KWMetadataItem> MetadataPanel::rows() const
{
    if (const auto* record = m_document.selectedTrack())
        return loadTrackMetadata(*record);
    return m_document.selectedRow() ? loadMovieMetadata(m_document.movie()) : std::vector<KWMetadataItem> {};
}

std::vector<KWMetadataItem> MetadataPanel::loadMovieMetadata(const QTMovie& movie)
{
    return KWMetadataController::movieRows(movie);
}

std::vector<KWMetadataItem> MetadataPanel::loadTrackMetadata(const KWMovTrack& record) const
{
    const auto track = m_document.qtTrackForTrack(record);
    return track ? KWMetadataController::allItems(QTMetaData::ofTrack(*track))
                 : std::vector<KWMetadataItem> {};
}

edits::MetadataOwner MetadataPanel::owner() const
{
    const auto* record = m_document.selectedTrack();
    return record ? edits::MetadataOwner(TrackSelector::ofTrack(record->trackID())) : std::nullopt;
}

bool MetadataPanel::perform(const Edit& edit)
{
    const auto done = m_document.perform(edit);
    if (!done)
        m_window.alert("Unable to change metadata", done.error().message() + ".", {"OK"});
    return done.has_value();
}

bool MetadataPanel::addMetadata(const std::string& key, const std::string& value)
{
    if (key.empty()) {
        m_window.alert("You must enter a key name", "This field cannot be left blank.", {"OK"});
        return false;
    }
    return perform(edits::setMetadata(owner(), key, value));
}

bool MetadataPanel::setValue(const KWMetadataItem& row, const std::string& value)
{
    if (row.value == value)
        return true;
    if (row.attribute == kCopyrightAttribute)
        return perform(edits::setCopyright(value));
    if (row.storedKey.empty())
        return perform(edits::setTitle(value));
    return perform(edits::replaceMetadata(owner(), row.key, row.value, value));
}

bool MetadataPanel::removeMetadata(const KWMetadataItem& row)
{
    if (m_window.alert(
            "Are you sure you wish to remove this metadata value?", row.description, {"Remove", "Cancel"})
        != 0)
        return false;
    KWLog::appendLog("metadict: {} = {}", row.key, std::string_view(row.value).substr(0, 1000));
    // The title may stand under another key than the one that its row has.
    const bool isTitle = row.storedKey.empty() && row.attribute.empty();
    return perform(
        isTitle ? edits::removeMetadata(std::nullopt, kTitleRow) : edits::removeMetadataRow(owner(), row));
}

std::string MetadataPanel::exportName() const
{
    const auto stem = std::filesystem::path(m_document.path()).stem().string();
    return fmt::format("{} Metadata", stem.empty() ? "Untitled" : stem);
}

std::string MetadataPanel::exportText(MetadataList::Format format) const
{
    return MetadataList::text(rows(), format, m_document.selectedTrack() ? nullptr : &m_document.movie());
}

void MetadataPanel::writeExport(const std::string& path, MetadataList::Format format) const
{
    if (const auto error = FileHelper::writeAtomically(path, exportText(format)))
        m_window.alert("Unable to export metadata", fmt::format("{}: {}.", path, error.message()), {"OK"});
}

void MetadataPanel::tellUnreadable(const MovieError& error) const
{
    m_window.alert("Unable to import metadata", error.message() + ".", {"OK"});
}

void MetadataPanel::tellRefused(const char* title, RefusedParts refused) const
{
    if (refused.empty())
        return;
    constexpr std::size_t kMost = 10;
    const auto left = refused.size() > kMost ? refused.size() - kMost : 0;
    refused.resize(refused.size() - left);
    m_window.alert(title,
        fmt::format("{}.{}", fmt::join(refused, ".\n"), left > 0 ? fmt::format("\nAnd {} more.", left) : ""),
        {"OK"});
}

void MetadataPanel::importMetadata(const std::vector<KWMetadataItem>& rows, const std::string& source)
{
    RefusedParts refused;
    const auto edit = edits::importMetadata(MetadataList::selectedValues(rows), source);
    if (const auto done = m_document.perform(edit, MyDocument::ViewUpdate::None, nullptr, &refused); !done)
        tellUnreadable(done.error());
    tellRefused("Some metadata could not be imported", std::move(refused));
}

bool MetadataPanel::copyFrom(const std::string& path, const std::vector<std::string>& subjects)
{
    RefusedParts refused;
    const auto edit = edits::copyFrom(path, subjects);
    const auto done = edit ? m_document.perform(*edit, MyDocument::ViewUpdate::Reset, nullptr, &refused)
                           : Result<void> {tl::unexpected(edit.error())};
    if (!done)
        m_window.alert("Unable to copy from this file", done.error().message() + ".", {"OK"});
    tellRefused("Some parts could not be copied", std::move(refused));
    return done.has_value();
}

} // namespace reelwright
