#pragma once

#include "app/player/TextLayer.h"

#include <QWidget>

namespace reelwright {

/// The texts over a movie's picture. Lies on the surface that draws the picture, and lets the mouse through.
class TextOverlay final : public QWidget
{
    Q_OBJECT

public:
    explicit TextOverlay(QWidget* parent);

    void setTexts(const TextLayer& texts, const PicturePlacement& placement);
    void setTime(const QTTime& time);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    TextLayer m_texts;
    PicturePlacement m_placement;
    QTTime m_time {0, 1};
};

} // namespace reelwright
