#pragma once

#include "batch/BatchSettings.h"

#include <QDialog>

class QButtonGroup;
class QCheckBox;
class QLineEdit;
class QPushButton;
class QSpinBox;

namespace reelwright {

class Preferences;

/// The sheet that asks where a batch's results go. What is chosen is kept in the preferences.
class SubmitSheet final : public QDialog
{
    Q_OBJECT

public:
    SubmitSheet(Preferences& preferences, std::size_t files, QWidget* parent);

    [[nodiscard]] BatchMode mode() const;
    void accept() override;

private:
    /// Enables the controls of the chosen way.
    void changeBatchTypeSelection();
    void browse();

    Preferences& m_preferences;
    QButtonGroup* m_type;
    QLineEdit* m_extension;
    QLineEdit* m_directory;
    QPushButton* m_browse;
    QCheckBox* m_forceResave;
    QCheckBox* m_verify;
    QCheckBox* m_keepDates;
    QSpinBox* m_jobs;
};

} // namespace reelwright
