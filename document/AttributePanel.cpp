#include "document/AttributePanel.h"

#include "edits/AttributeEdits.h"

#include <algorithm>

namespace reelwright {

void AttributePanel::loadImageDescriptionExtensionsForTrack()
{
    const auto* track = m_document.selectedTrack();
    auto attributes
        = track ? KWImageDescriptionController::imageDescriptionExtensionsForTrack(*track) : std::nullopt;
    m_attributes = attributes ? std::move(*attributes) : std::vector<AttributeEntry> {};
}

std::vector<std::string> AttributePanel::showAddAttributeMenu() const
{
    const auto has = [&](std::string_view name) {
        return std::any_of(m_attributes.begin(), m_attributes.end(),
            [&](const AttributeEntry& entry) { return entry.description == name; });
    };
    std::vector<std::string> names;
    for (const auto name :
        {kEncodedWidth, kEncodedHeight, kPixelAspectRatio, kGamma, kColor, kColorSpace, kFields})
        if (!has(name) && !(name == kGamma && has(kColor)) && !(name == kColor && has(kGamma)))
            names.emplace_back(name);
    return names;
}

void AttributePanel::addAttribute(std::string_view name)
{
    auto attribute = KWImageDescriptionController::attributeNamed(name);
    AttributeValue value = 0;
    if (name == kGamma)
        value = "2.2";
    else if (name == kPixelAspectRatio || name == kEncodedWidth || name == kEncodedHeight)
        value = name == kPixelAspectRatio ? "1:1" : "1";
    change(attribute, value);
}

void AttributePanel::removeAttribute(std::size_t row)
{
    if (row >= m_attributes.size())
        return;
    const auto attribute = m_attributes[row];
    if (m_window.alert("Are you sure you wish to remove this attribute?", "", {"Remove", "Cancel"}) == 0)
        change(attribute, std::nullopt);
}

void AttributePanel::setValue(std::size_t row, const AttributeValue& value)
{
    if (row < m_attributes.size() && m_attributes[row].value != value)
        change(AttributeEntry {m_attributes[row]}, value);
}

void AttributePanel::setAttributes(const std::vector<AttributeEntry>& attributes)
{
    if (const auto* track = m_document.selectedTrack(); track && !attributes.empty())
        perform(edits::setTrackAttributes(TrackSelector::ofTrack(track->trackID()), attributes));
}

void AttributePanel::addCustomColorAttribute(int primaries, int transfer, int matrix)
{
    auto attribute = KWImageDescriptionController::attributeNamed(kColor);
    attribute.primaries = primaries;
    attribute.transfer = transfer;
    attribute.matrix = matrix;
    change(attribute, static_cast<int>(kColorCustom));
}

void AttributePanel::change(const AttributeEntry& attribute, const std::optional<AttributeValue>& value)
{
    const auto* track = m_document.selectedTrack();
    if (!track)
        return;
    perform(edits::setTrackAttribute(TrackSelector::ofTrack(track->trackID()), attribute, value));
}

void AttributePanel::perform(const Edit& edit)
{
    if (const auto done = m_document.perform(edit, MyDocument::ViewUpdate::Reset); !done)
        m_window.alert("Unable to change attribute", done.error().message() + ".", {"OK"});
    loadImageDescriptionExtensionsForTrack();
}

} // namespace reelwright
