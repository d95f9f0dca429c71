#pragma once

#include "app/panes/Pane.h"
#include "edits/Edit.h"
#include "report/MediaFacts.h"
#include "tracks/TrackSelector.h"

#include <functional>

class QFormLayout;
class QLabel;
class QLineEdit;
class QSpinBox;
class QTableWidget;

namespace reelwright {

class DocumentWindow;
class MyDocument;
class WindowActions;

/// The Media tab of a track: what its media are, the fields of its header, and what can be done with its
/// media. Borrows the document, its window and the actions.
class MediaPane final : public Pane
{
    Q_OBJECT

public:
    MediaPane(MyDocument& document, DocumentWindow& window, const WindowActions& actions,
        QWidget* parent = nullptr);

    void reload() override;

private:
    QWidget* makeFields();
    QSpinBox* makeNumber(int least, int most, const QString& suffix, const QString& name,
        const QString& toolTip, Edit (*make)(const TrackSelector&, int));
    void showFacts(const MediaFacts& facts);
    void showChannels(const MediaFacts& facts);
    void showSegments(const MediaFacts& facts);
    void setLanguage();
    /// Performs an edit of the selected track, and tells why where it cannot be done.
    void perform(const std::function<Edit(const TrackSelector&)>& make);

    MyDocument& m_document;
    DocumentWindow& m_window;
    QLabel* m_description;
    QLineEdit* m_name;
    QLineEdit* m_language;
    QLabel* m_languageName;
    QSpinBox* m_volume;
    QSpinBox* m_balance;
    QSpinBox* m_layer;
    QSpinBox* m_group;
    QWidget* m_sound; ///< what only sound has
    QLabel* m_channelsTitle;
    QTableWidget* m_channels;
    QTableWidget* m_segments;
    QLabel* m_figures;
    unsigned m_generation = 0; ///< of the facts that are asked for
    bool m_isFilling = false;
};

} // namespace reelwright
