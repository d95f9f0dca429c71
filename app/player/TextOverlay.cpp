#include "app/player/TextOverlay.h"

#include <QPainter>

namespace reelwright {

TextOverlay::TextOverlay(QWidget* parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::NoFocus);
    hide();
}

void TextOverlay::setTexts(const TextLayer& texts, const PicturePlacement& placement)
{
    m_texts = texts;
    m_placement = placement;
    setVisible(!m_texts.isEmpty());
    update();
}

void TextOverlay::setTime(const QTTime& time)
{
    const bool isSame = m_texts.isSameAt(m_time, time);
    m_time = time;
    if (!isSame)
        update();
}

void TextOverlay::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    m_texts.draw(painter, size(), m_placement, m_time);
}

} // namespace reelwright
