#pragma once

#include "document/ExportController.h"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QSpinBox;

namespace reelwright {

class MyDocument;
class TimeEdit;

/// Asks where to and as what a movie is exported. What was chosen last is there again. Borrows the document.
class ExportDialog final : public QDialog
{
    Q_OBJECT

public:
    ExportDialog(MyDocument& document, ExportController::Panel panel, int unsavedChanges, QWidget* parent);

    [[nodiscard]] const ExportFormat& format() const;
    [[nodiscard]] QString path() const;
    [[nodiscard]] ExportChoices choices() const;
    [[nodiscard]] std::optional<ExportRange> range() const;

signals:
    void helpAsked();

private:
    QWidget* makeQuality();
    QWidget* makeSound();
    QWidget* makeRange();
    void chooseFile();
    void changeFormat();
    void show(const ExportChoices& choices);
    void fillSizes();
    void updateNotes();
    void tryHardware();
    void confirm();

    MyDocument& m_document;
    ExportController::Panel m_panel;
    int m_unsavedChanges;
    QLineEdit* m_path;
    QLabel* m_place;
    QComboBox* m_format;
    QLabel* m_formatNote;
    QComboBox* m_quality;
    QSpinBox* m_bitRate;
    QCheckBox* m_hardware;
    QComboBox* m_size;
    QComboBox* m_rate;
    QComboBox* m_sound;
    QComboBox* m_soundRate;
    QRadioButton* m_all;
    QRadioButton* m_part;
    TimeEdit* m_from;
    TimeEdit* m_to;
    QLabel* m_rangeNote;
    QCheckBox* m_burn;
    QCheckBox* m_color;
    QLabel* m_summary;
    QPushButton* m_export;
    QString m_overwritten; ///< a file that the user agreed to replace
};

} // namespace reelwright
