#pragma once

#include "app/panes/Pane.h"
#include "document/MyDocument.h"

#include <optional>

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QModelIndex;
class QPushButton;
class QStandardItemModel;
class QTableView;

namespace reelwright {

class FactsLoader;

/// The Settings tab of a timecode track: its format, start and reel, and every other place of the file that
/// carries timecode, to be compared and used. Every change is an edit at once.
class TimecodePane : public Pane
{
    Q_OBJECT

public:
    TimecodePane(MyDocument& document, FactsLoader& facts, QWidget* parent = nullptr);

    /// Shows the selected track, when that is a timecode track.
    void reload() override;

private:
    enum Format { Counter, Timecode };

    [[nodiscard]] TimecodeSettings settings() const;
    void send(MyDocument::TimecodeControl sender);
    void addPlaces(QFormLayout& form);
    void showPlaces();
    void showRemark(const std::string& remark);
    /// Gives the track the start and the reel of a place of the list.
    void usePlace(int row);
    void sendText(QLineEdit* field, MyDocument::TimecodeControl sender);

    MyDocument& m_document;
    FactsLoader& m_facts;
    QButtonGroup* m_format;
    QCheckBox* m_dropFrame;
    QCheckBox* m_negativeTimes;
    QCheckBox* m_limit24Hours;
    QLineEdit* m_start;
    QComboBox* m_startType;
    QLineEdit* m_reel;
    QLabel* m_rate;
    QLabel* m_remark; ///< what became of the last change, where that is not what was typed
    QLabel* m_conflict;
    QStandardItemModel* m_places;
    QTableView* m_placeList;
    QPushButton* m_use;
    std::optional<std::uint32_t> m_shownTrack;
    bool m_isSending = false; ///< the document's questions take the focus, which ends the editing again
};

} // namespace reelwright
