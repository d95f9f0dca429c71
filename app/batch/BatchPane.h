#pragma once

#include "movie/QTMovie.h"

#include <QWidget>

namespace reelwright {

class BatchPanels;

/// What stands in a tab of a batch's window. It queues changes; the movie that it is shown only suggests
/// values.
class BatchPane : public QWidget
{
    Q_OBJECT

public:
    using QWidget::QWidget;

    /// The selected file's movie; null for none.
    virtual void setMovie(const QTMovie* movie) { static_cast<void>(movie); }

    static constexpr int kMargin = 12;
    static constexpr int kSpacing = 8;
};

/// The panes, each made for a batch that it borrows.
BatchPane* makeQuickTasksBatchPane(BatchPanels& panels);
BatchPane* makeAttributesBatchPane(BatchPanels& panels);
BatchPane* makeSettingsBatchPane(BatchPanels& panels);
BatchPane* makeConformBatchPane(BatchPanels& panels);
BatchPane* makeTimecodeBatchPane(BatchPanels& panels);
BatchPane* makeMetadataBatchPane(BatchPanels& panels);

} // namespace reelwright
