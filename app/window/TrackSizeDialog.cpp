#include "app/window/TrackSizeDialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QSpinBox>

namespace reelwright {
namespace {

    QSpinBox* pixelBox(int value, const QString& name)
    {
        constexpr int kMost = 32767; // of a track header's field
        auto* box = new QSpinBox;
        box->setRange(1, kMost);
        box->setValue(value);
        box->setSuffix(TrackSizeDialog::tr(" pixels"));
        box->setAccessibleName(name);
        return box;
    }

} // namespace

TrackSizeDialog::TrackSizeDialog(QWidget* parent)
    : QDialog(parent)
    , m_width(pixelBox(1920, tr("Width")))
    , m_height(pixelBox(1080, tr("Height")))
{
    setWindowTitle(tr("Track Size"));
    auto* form = new QFormLayout(this);
    form->addRow(tr("&Width:"), m_width);
    form->addRow(tr("&Height:"), m_height);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    buttons->addButton(tr("Create"), QDialogButtonBox::AcceptRole);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    form->addRow(buttons);
}

QTSize TrackSizeDialog::size() const
{
    return {double {1} * m_width->value(), double {1} * m_height->value()};
}

} // namespace reelwright
