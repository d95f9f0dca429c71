#pragma once

#include "tracks/TrackInsertion.h"

#include <QDialog>

class QRadioButton;
class QTableWidget;

namespace reelwright {

/// Which of a file's tracks is taken, and from where in the movie it plays.
class SourceTrackDialog final : public QDialog
{
    Q_OBJECT

public:
    /// `position`: what the current position is called, empty where that is not asked.
    SourceTrackDialog(const std::vector<SourceTrack>& tracks, const QString& position, QWidget* parent);

    /// From 1.
    [[nodiscard]] std::size_t place() const;
    [[nodiscard]] bool isAtPosition() const;

private:
    QTableWidget* m_table;
    QRadioButton* m_atPosition;
};

} // namespace reelwright
