#include "app/window/TimeEdit.h"

#include "app/shell/Appearance.h"

#include <QAction>
#include <QStyle>
#include <QToolTip>

#include <utility>

namespace reelwright {

TimeEdit::TimeEdit(QWidget* parent)
    : QLineEdit(parent)
{
    connect(this, &QLineEdit::textEdited, this, [this] {
        check();
        showRemark();
    });
}

void TimeEdit::setRemarks(Remarks remarks)
{
    m_remarks = std::move(remarks);
}

void TimeEdit::check()
{
    m_remark = m_remarks && !text().isEmpty() ? m_remarks(text()) : ShownTime::Remark {};
    const auto said = QString::fromStdString(m_remark.text);
    setAccessibleDescription(said);
    if (m_remark.isError && !m_mark)
        m_mark = addAction(style()->standardIcon(QStyle::SP_MessageBoxWarning), QLineEdit::TrailingPosition);
    if (m_mark) {
        m_mark->setVisible(m_remark.isError);
        m_mark->setToolTip(said);
    }
    auto colours = palette();
    colours.setColor(QPalette::Text,
        m_remark.isError ? Appearance::tone(parentWidget()->palette(), Appearance::Tone::Error) : parentWidget()->palette().color(QPalette::Text));
    setPalette(colours);
    emit remarkChanged();
}

void TimeEdit::showRemark()
{
    if (m_remark.text.empty()) {
        QToolTip::hideText();
        return;
    }
    QToolTip::showText(mapToGlobal(QPoint(0, height())), QString::fromStdString(m_remark.text).toHtmlEscaped(),
        this);
}

} // namespace reelwright
