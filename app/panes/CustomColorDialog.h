#pragma once

#include "attributes/KWImageDescriptionController.h"

#include <QDialog>

class QComboBox;

namespace reelwright {

/// The sheet for colors without a name of their own: three lists in which an item's place is its code.
class CustomColorDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit CustomColorDialog(const AttributeEntry& color, QWidget* parent = nullptr);

    [[nodiscard]] int primaries() const;
    [[nodiscard]] int transfer() const;
    [[nodiscard]] int matrix() const;

private:
    QComboBox* m_primaries;
    QComboBox* m_transfer;
    QComboBox* m_matrix;
};

} // namespace reelwright
