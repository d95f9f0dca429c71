#include "app/panes/TimecodePane.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QScopedValueRollback>

namespace reelwright {
namespace {

    constexpr int kStartAtPosition = 1; ///< the start type's second item

    /// "30 a second, each 1001/30000 s"
    QString rateText(const KWMovTrack& record)
    {
        const auto description = record.track().media().sampleDescription(1);
        const auto timecode
            = description ? description->timecode() : failure(MovieError::Code::Corrupt, {}, {});
        if (!timecode)
            return {};
        const auto& definition = timecode->definition;
        return TimecodePane::tr("%1 a second, each %2/%3 s")
            .arg(definition.numberOfFrames)
            .arg(definition.frameDuration)
            .arg(definition.timeScale);
    }

} // namespace

TimecodePane::TimecodePane(MyDocument& document, QWidget* parent)
    : Pane(parent)
    , m_document(document)
    , m_format(new QButtonGroup(this))
    , m_dropFrame(new QCheckBox(tr("&Drop frame")))
    , m_negativeTimes(new QCheckBox(tr("&Negative times allowed")))
    , m_limit24Hours(new QCheckBox(tr("24-hour ma&ximum")))
    , m_start(new QLineEdit)
    , m_startType(new QComboBox)
    , m_reel(new QLineEdit)
    , m_rate(new QLabel)
{
    auto* form = new QFormLayout(this);
    form->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    form->setSpacing(kSpacing);
    // Each button has a row of its own: so the label stands beside the first.
    for (const auto& [format, title] :
        {std::pair {Counter, tr("&Counter")}, std::pair {Timecode, tr("T&imecode")}}) {
        auto* button = new QRadioButton(title);
        button->setAccessibleDescription(tr("Format"));
        form->addRow(m_format->buttons().isEmpty() ? tr("Format:") : QString {}, button);
        m_format->addButton(button, format);
    }

    m_dropFrame->setToolTip(
        tr("Leaves out labels so that 29.97 and 59.94 frames a second keep up with the clock"));
    m_negativeTimes->setToolTip(tr("Times before zero are shown with a minus sign"));
    m_limit24Hours->setToolTip(tr("Starts over at 00:00:00:00 after 24 hours"));
    for (auto* box : {m_dropFrame, m_negativeTimes, m_limit24Hours}) {
        form->addRow(box == m_dropFrame ? tr("Flags:") : QString {}, box);
        connect(box, &QCheckBox::clicked, this, [this] { send(MyDocument::TimecodeControl::Other); });
    }

    m_start->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_start->setAccessibleName(tr("Start"));
    m_start->setToolTip(
        tr("Digits fill the timecode from the right; a period stands for a pair of zeros: 1... is one hour"));
    m_startType->addItems({tr("At start of movie"), tr("At current position")});
    m_startType->setAccessibleName(tr("What the start belongs to"));
    auto* start = new QHBoxLayout;
    start->addWidget(m_start, 1);
    start->addWidget(m_startType);
    form->addRow(tr("&Start:"), start);
    static_cast<QLabel*>(form->labelForField(start))->setBuddy(m_start);

    m_reel->setMaxLength(255);
    m_reel->setAccessibleName(tr("Reel"));
    form->addRow(tr("&Reel:"), m_reel);
    m_rate->setTextInteractionFlags(Qt::TextSelectableByMouse);
    form->addRow(tr("Frames:"), m_rate);

    connect(m_format, &QButtonGroup::idClicked, this, [this] { send(MyDocument::TimecodeControl::Other); });
    connect(m_start, &QLineEdit::editingFinished, this,
        [this] { sendText(m_start, MyDocument::TimecodeControl::StartText); });
    connect(
        m_startType, &QComboBox::activated, this, [this] { send(MyDocument::TimecodeControl::StartType); });
    connect(m_reel, &QLineEdit::editingFinished, this,
        [this] { sendText(m_reel, MyDocument::TimecodeControl::Other); });
}

void TimecodePane::reload()
{
    const auto* record = m_document.selectedTrack();
    if (!record || record->trackType() != KWMovTrack::kTimecode)
        return;
    const auto shown = MyDocument::loadTimecodeDataForTrack(*record);
    m_format->button(shown.isCounter ? Counter : Timecode)->setChecked(true);
    m_dropFrame->setChecked(shown.dropFrame);
    m_negativeTimes->setChecked(shown.negativeTimes);
    m_limit24Hours->setChecked(shown.limit24Hours);
    for (auto* box : {m_dropFrame, m_negativeTimes, m_limit24Hours})
        box->setEnabled(!shown.isCounter);
    m_start->setText(QString::fromStdString(shown.start));
    m_reel->setText(QString::fromStdString(shown.reel));
    m_rate->setText(rateText(*record));
}

TimecodeSettings TimecodePane::settings() const
{
    TimecodeSettings settings;
    settings.isCounter = m_format->checkedId() == Counter;
    settings.dropFrame = m_dropFrame->isChecked();
    settings.negativeTimes = m_negativeTimes->isChecked();
    settings.limit24Hours = m_limit24Hours->isChecked();
    settings.start = m_start->text().toStdString();
    settings.reel = m_reel->text().toStdString();
    return settings;
}

void TimecodePane::sendText(QLineEdit* field, MyDocument::TimecodeControl sender)
{
    if (field->isModified())
        send(sender);
}

void TimecodePane::send(MyDocument::TimecodeControl sender)
{
    if (m_isSending)
        return;
    const QScopedValueRollback isSending {m_isSending, true};
    m_document.modifyTimecodeData(settings(), sender, m_startType->currentIndex() == kStartAtPosition);
    reload();
}

} // namespace reelwright
