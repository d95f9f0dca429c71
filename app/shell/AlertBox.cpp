#include "app/shell/AlertBox.h"

#include <QMessageBox>
#include <QPushButton>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr int kMostLines = 16; ///< that fit on a small screen

    /// The button that Escape stands for: nothing comes of it.
    std::size_t escapeOf(const std::vector<std::string>& buttons)
    {
        const auto ok = std::find(buttons.begin(), buttons.end(), "OK");
        return ok != buttons.end() ? static_cast<std::size_t>(ok - buttons.begin()) : buttons.size() - 1;
    }

    QMessageBox::ButtonRole roleOf(std::size_t button, const std::vector<std::string>& buttons)
    {
        if (button == escapeOf(buttons))
            return buttons.size() == 1 ? QMessageBox::AcceptRole : QMessageBox::RejectRole;
        return button == 0 || buttons[0] == "OK" ? QMessageBox::AcceptRole : QMessageBox::DestructiveRole;
    }

} // namespace

std::size_t showAlert(QWidget& window, const QString& windowTitle, const std::string& title,
    const std::string& text, const std::vector<std::string>& buttons)
{
    QMessageBox box(&window);
    box.setWindowModality(Qt::WindowModal);
    const bool isQuestion = buttons.size() > 1 && buttons[0] != "OK";
    box.setIcon(isQuestion ? QMessageBox::Question : QMessageBox::Warning);
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
        made.push_back(box.addButton(QString::fromStdString(buttons[i]), roleOf(i, buttons)));
    box.setDefaultButton(qobject_cast<QPushButton*>(made.front()));
    box.setEscapeButton(made[escapeOf(buttons)]);
    box.exec();
    const auto chosen = std::find(made.begin(), made.end(), box.clickedButton());
    return chosen == made.end() ? escapeOf(buttons) : static_cast<std::size_t>(chosen - made.begin());
}

} // namespace reelwright
