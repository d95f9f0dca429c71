#pragma once

#include "attributes/KWMetadataController.h"

#include <QString>

#include <optional>
#include <vector>

class QWidget;

namespace reelwright {

/// Key and value of a new item; at first what was typed before. Nothing when the dialog was cancelled.
std::optional<KWMetadataValue> askForMetadata(QWidget* parent, const KWMetadataValue& typed);

/// The rows with what the user wants of them. Nothing when the import was cancelled.
std::optional<std::vector<KWMetadataItem>> askWhatToImport(QWidget* parent, std::vector<KWMetadataItem> rows);

/// Which subjects to copy from a movie; the choice is remembered. Nothing when it was cancelled.
std::optional<std::vector<std::string>> askWhatToCopy(QWidget* parent, const QString& fileName);

} // namespace reelwright
