#pragma once

#include "app/panes/Pane.h"
#include "document/MyDocument.h"

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;

namespace reelwright {

/// The Settings tab of a timecode track: its format, start and reel. Every change is an edit at once.
class TimecodePane : public Pane
{
    Q_OBJECT

public:
    explicit TimecodePane(MyDocument& document, QWidget* parent = nullptr);

    /// Shows the selected track, when that is a timecode track.
    void reload() override;

private:
    enum Format { Counter, Timecode };

    [[nodiscard]] TimecodeSettings settings() const;
    void send(MyDocument::TimecodeControl sender);
    void sendText(QLineEdit* field, MyDocument::TimecodeControl sender);

    MyDocument& m_document;
    QButtonGroup* m_format;
    QCheckBox* m_dropFrame;
    QCheckBox* m_negativeTimes;
    QCheckBox* m_limit24Hours;
    QLineEdit* m_start;
    QComboBox* m_startType;
    QLineEdit* m_reel;
    QLabel* m_rate;
    bool m_isSending = false; ///< the document's questions take the focus, which ends the editing again
};

} // namespace reelwright
