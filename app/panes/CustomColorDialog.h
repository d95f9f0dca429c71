#pragma once

#include "attributes/KWImageDescriptionController.h"
#include "movie/samples/SampleDescription.h"

#include <QDialog>

class QComboBox;
class QLabel;

namespace reelwright {

/// The sheet for colors without a name of their own: three lists in which an item's place is its code.
class CustomColorDialog final : public QDialog
{
    Q_OBJECT

public:
    /// `inPicture`: what the picture's own stream states, which can be taken over.
    CustomColorDialog(const AttributeEntry& color, const std::optional<ColorParameters>& inPicture,
        QWidget* parent = nullptr);

    /// What is said above the lists.
    void setNote(const QString& note);

    [[nodiscard]] int primaries() const;
    [[nodiscard]] int transfer() const;
    [[nodiscard]] int matrix() const;

private:
    QLabel* m_note;
    QComboBox* m_primaries;
    QComboBox* m_transfer;
    QComboBox* m_matrix;
};

} // namespace reelwright
