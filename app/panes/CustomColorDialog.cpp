#include "app/panes/CustomColorDialog.h"

#include "attributes/ColorCodes.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QPushButton>

namespace reelwright {
namespace {

    QComboBox* list(std::string (*name)(int), int code)
    {
        auto* box = new QComboBox;
        for (int each = 0; each < colorCodes::kCodes; ++each)
            box->addItem(QString::fromStdString(name(each)));
        box->setCurrentIndex(code < colorCodes::kCodes ? code : -1);
        return box;
    }

} // namespace

CustomColorDialog::CustomColorDialog(const AttributeEntry& color, QWidget* parent)
    : QDialog(parent)
    , m_primaries(list(colorCodes::primaries, color.primaries))
    , m_transfer(list(colorCodes::transfer, color.transfer))
    , m_matrix(list(colorCodes::matrix, color.matrix))
{
    setWindowTitle(tr("Custom Color"));
    auto* form = new QFormLayout(this);
    form->addRow(tr("&Primaries:"), m_primaries);
    form->addRow(tr("&Transfer:"), m_transfer);
    form->addRow(tr("&Matrix:"), m_matrix);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->button(QDialogButtonBox::Ok)->setText(tr("Set"));
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    const auto allow = [this, buttons] {
        buttons->button(QDialogButtonBox::Ok)
            ->setEnabled(primaries() >= 0 && transfer() >= 0 && matrix() >= 0);
    };
    for (auto* box : {m_primaries, m_transfer, m_matrix})
        connect(box, &QComboBox::currentIndexChanged, this, allow);
    allow();
}

int CustomColorDialog::primaries() const
{
    return m_primaries->currentIndex();
}

int CustomColorDialog::transfer() const
{
    return m_transfer->currentIndex();
}

int CustomColorDialog::matrix() const
{
    return m_matrix->currentIndex();
}

} // namespace reelwright
