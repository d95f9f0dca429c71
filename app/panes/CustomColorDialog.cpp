#include "app/panes/CustomColorDialog.h"

#include "app/panes/Pane.h"
#include "attributes/ColorCodes.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
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

CustomColorDialog::CustomColorDialog(
    const AttributeEntry& color, const std::optional<ColorParameters>& inPicture, QWidget* parent)
    : QDialog(parent)
    , m_note(new QLabel)
    , m_primaries(list(colorCodes::primaries, color.primaries))
    , m_transfer(list(colorCodes::transfer, color.transfer))
    , m_matrix(list(colorCodes::matrix, color.matrix))
{
    setWindowTitle(tr("Custom Color"));
    auto* form = new QFormLayout(this);
    form->setContentsMargins(Pane::kMargin, Pane::kMargin, Pane::kMargin, Pane::kMargin);
    form->setSpacing(Pane::kSpacing);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    m_note->setForegroundRole(QPalette::PlaceholderText);
    form->addRow(m_note);
    form->addRow(tr("&Primaries:"), m_primaries);
    form->addRow(tr("&Transfer:"), m_transfer);
    form->addRow(tr("&Matrix:"), m_matrix);
    if (inPicture) {
        auto* said = new QHBoxLayout;
        said->addWidget(new QLabel(tr("The picture says %1-%2-%3.")
                                       .arg(inPicture->primaries)
                                       .arg(inPicture->transfer)
                                       .arg(inPicture->matrix)),
            1);
        auto* use = new QPushButton(tr("&Use the Picture's"));
        use->setAutoDefault(false);
        connect(use, &QPushButton::clicked, this, [this, color = *inPicture] {
            m_primaries->setCurrentIndex(color.primaries);
            m_transfer->setCurrentIndex(color.transfer);
            m_matrix->setCurrentIndex(color.matrix);
        });
        said->addWidget(use);
        form->addRow(said);
    }
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

void CustomColorDialog::setNote(const QString& note)
{
    m_note->setText(note);
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
