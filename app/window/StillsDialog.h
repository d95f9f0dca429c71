#pragma once

#include "document/ExportController.h"

#include <QDialog>

class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QSpinBox;

namespace reelwright {

class MyDocument;

/// Asks which pictures of a movie become images, of what kind, and where. Borrows the document.
class StillsDialog final : public QDialog
{
    Q_OBJECT

public:
    enum class Scope { Shown, Every, Sheet };

    /// `time` is that of the picture on show.
    StillsDialog(MyDocument& document, Scope scope, const QTTime& time, QWidget* parent);

    [[nodiscard]] const ExportController::ImageFormat& format() const;
    [[nodiscard]] ExportController::Stills stills() const;
    [[nodiscard]] QString path() const;

signals:
    void helpAsked();

private:
    [[nodiscard]] Scope scope() const;
    void chooseFile();
    void follow();
    void confirm();

    MyDocument& m_document;
    QTTime m_time;
    QLineEdit* m_path;
    QComboBox* m_format;
    QRadioButton* m_shown;
    QRadioButton* m_every;
    QRadioButton* m_sheet;
    QDoubleSpinBox* m_step;
    QSpinBox* m_columns;
    QSpinBox* m_rows;
    QLabel* m_note;
    QPushButton* m_export;
    QString m_overwritten; ///< a file that the user agreed to replace
};

} // namespace reelwright
