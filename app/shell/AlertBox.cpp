#include "app/shell/AlertBox.h"

#include <QMessageBox>
#include <QPushButton>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr int kMostLines = 16; ///< that fit on a small screen

    QMessageBox::ButtonRole roleOf(std::size_t button, std::size_t count)
    {
        if (button == 0)
            return QMessageBox::AcceptRole;
        return button + 1 == count ? QMessageBox::RejectRole : QMessageBox::DestructiveRole;
    }

} // namespace

std::size_t showAlert(QWidget& window, const QString& windowTitle, const std::string& title,
    const std::string& text, const std::vector<std::string>& buttons)
{
    QMessageBox box(&window);
    box.setWindowModality(Qt::WindowModal);
    box.setIcon(buttons.size() > 1 ? QMessageBox::Question : QMessageBox::Warning);
    box.setWindowTitle(windowTitle);
    box.setTextFormat(Qt::RichText);
    box.setText(QStringLiteral("<b>%1</b>").arg(QString::fromStdString(title).toHtmlEscaped()));
    auto information = QString::fromStdString(text);
    if (information.count(QLatin1Char('\n')) > kMostLines) {
        box.setDetailedText(information);
        information = information.section(QLatin1Char('\n'), 0, kMostLines) + QStringLiteral("\n\u2026");
    }
    box.setInformativeText(information.toHtmlEscaped().replace(QLatin1Char('\n'), QLatin1String("<br>")));
    std::vector<QAbstractButton*> made;
    for (std::size_t i = 0; i < buttons.size(); ++i)
        made.push_back(box.addButton(QString::fromStdString(buttons[i]), roleOf(i, buttons.size())));
    box.setDefaultButton(qobject_cast<QPushButton*>(made.front()));
    box.setEscapeButton(made.back());
    box.exec();
    const auto chosen = std::find(made.begin(), made.end(), box.clickedButton());
    return chosen == made.end() ? made.size() - 1 : static_cast<std::size_t>(chosen - made.begin());
}

} // namespace reelwright
