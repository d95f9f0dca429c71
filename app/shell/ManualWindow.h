#pragma once

#include <QMainWindow>

class QTextBrowser;

namespace reelwright {

/// The user's guide, which comes with the program: one page for each pane and task.
class ManualWindow final : public QMainWindow
{
    Q_OBJECT

public:
    explicit ManualWindow(QWidget* parent = nullptr);

    /// By its name ("chapters"); the first page for an empty name, and for one that there is not.
    void showPage(const QString& name);
    [[nodiscard]] QTextBrowser& browser() { return *m_browser; }

private:
    QTextBrowser* m_browser;
};

} // namespace reelwright
