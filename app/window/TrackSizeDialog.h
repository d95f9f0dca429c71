#pragma once

#include "movie/QTMovie.h"

#include <QDialog>

class QSpinBox;

namespace reelwright {

/// Asks for the size of a new video track in a movie that has none itself.
class TrackSizeDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit TrackSizeDialog(QWidget* parent);

    [[nodiscard]] QTSize size() const;

private:
    QSpinBox* m_width;
    QSpinBox* m_height;
};

} // namespace reelwright
