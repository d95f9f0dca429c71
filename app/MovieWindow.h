#pragma once

#include "app/ApplicationActions.h"
#include "document/DocumentWindow.h"
#include "document/MyDocument.h"

#include <QMainWindow>

#include <memory>

namespace reelwright {

/// The window of one movie document: what the movie is on the left, what can be done to it on the right.
class MovieWindow final : public QMainWindow, public DocumentWindow
{
    Q_OBJECT

public:
    MovieWindow(std::unique_ptr<MyDocument> document, const ApplicationActions& actions);
    ~MovieWindow() override;

    [[nodiscard]] MyDocument& document() { return *m_document; }

signals:
    /// Movie files were dropped on the window.
    void filesDropped(const QStringList& paths);
    /// The document has another file (it was saved as).
    void pathChanged();
    /// The window is closed for good; whoever made it has to delete it later, not at once.
    void closed();

private:
    std::unique_ptr<MyDocument> m_document;
};

} // namespace reelwright
