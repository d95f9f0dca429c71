#include "app/window/TimecodeField.h"

#include <QFontDatabase>
#include <QKeyEvent>
#include <QStyle>
#include <QStyleOptionFrame>

namespace reelwright {

TimecodeField::TimecodeField(QWidget* parent)
    : QLineEdit(parent)
{
    // Digits of one width: a running timecode does not jitter.
    auto digits = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    digits.setPointSizeF(font().pointSizeF());
    setFont(digits);
    setAlignment(Qt::AlignCenter);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAcceptDrops(false);
    setAccessibleName(tr("Timecode"));
    setToolTip(tr("Timecode of the picture. Type another one and press Return to go there."));
}

QSize TimecodeField::sizeHint() const
{
    constexpr int kRoom = 16;
    const int width = fontMetrics().horizontalAdvance(QStringLiteral("-00:00:00:00")) + kRoom;
    QStyleOptionFrame option;
    initStyleOption(&option);
    const QSize contents(width, fontMetrics().height() + 4);
    return style()->sizeFromContents(QStyle::CT_LineEdit, &option, contents, this);
}

void TimecodeField::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        emit abandoned();
        return;
    }
    QLineEdit::keyPressEvent(event);
}

void TimecodeField::focusInEvent(QFocusEvent* event)
{
    QLineEdit::focusInEvent(event);
    // By the keyboard the base class selects everything; a click sets the cursor when it is released.
    m_selectsOnRelease = event->reason() == Qt::MouseFocusReason;
}

void TimecodeField::mouseReleaseEvent(QMouseEvent* event)
{
    QLineEdit::mouseReleaseEvent(event);
    if (std::exchange(m_selectsOnRelease, false) && !hasSelectedText())
        selectAll();
}

void TimecodeField::focusOutEvent(QFocusEvent* event)
{
    QLineEdit::focusOutEvent(event);
    if (event->reason() != Qt::PopupFocusReason && event->reason() != Qt::ActiveWindowFocusReason) {
        deselect();
        emit abandoned();
    }
}

} // namespace reelwright
