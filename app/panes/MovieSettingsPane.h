#pragma once

#include "app/panes/Pane.h"

class QCheckBox;
class QComboBox;
class QLabel;

namespace reelwright {

class MyDocument;
class WindowActions;

/// Playback settings and orientation, as the movie itself carries them. Borrows the document.
class MovieSettingsPane final : public Pane
{
    Q_OBJECT

public:
    MovieSettingsPane(MyDocument& document, const WindowActions& actions, QWidget* parent = nullptr);

    void reload() override;

private:
    QCheckBox* makeCheckBox(const QString& text, const QString& toolTip, void (MyDocument::*set)(bool));
    QWidget* makePlayback();
    QWidget* makePicture(const WindowActions& actions);

    MyDocument& m_document;
    QCheckBox* m_autoPlay = nullptr;
    QCheckBox* m_autoClose = nullptr;
    QCheckBox* m_autoQuit = nullptr;
    QCheckBox* m_hideController = nullptr;
    QComboBox* m_aperture = nullptr;
    QLabel* m_frameRate = nullptr;
};

} // namespace reelwright
