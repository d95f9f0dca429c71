#include "app/panes/TimecodePane.h"

#include "app/window/FactsLoader.h"
#include "movie/FrameRate.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScopedValueRollback>
#include <QStandardItemModel>
#include <QTableView>

namespace reelwright {
namespace {

    constexpr int kStartAtPosition = 1; ///< the start type's second item

    enum Column { Source, Start, Reel, Difference };
    constexpr int kUsable = Qt::UserRole; ///< can the row's start be used?
    constexpr int kStartText = Qt::UserRole + 1; ///< as it is used

    bool hasDropFrame(const KWMovTrack& record)
    {
        const auto description = record.track().media().sampleDescription(1);
        const auto timecode
            = description ? description->timecode() : failure(MovieError::Code::Corrupt, {}, {});
        return timecode && FrameRate::of(timecode->definition).hasDropFrame();
    }

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

TimecodePane::TimecodePane(MyDocument& document, FactsLoader& facts, QWidget* parent)
    : Pane(parent)
    , m_document(document)
    , m_facts(facts)
    , m_format(new QButtonGroup(this))
    , m_dropFrame(new QCheckBox(tr("&Drop frame")))
    , m_negativeTimes(new QCheckBox(tr("&Negative times allowed")))
    , m_limit24Hours(new QCheckBox(tr("24-hour ma&ximum")))
    , m_start(new QLineEdit)
    , m_startType(new QComboBox)
    , m_reel(new QLineEdit)
    , m_rate(new QLabel)
    , m_remark(new QLabel)
    , m_conflict(new QLabel)
    , m_places(new QStandardItemModel(this))
    , m_placeList(new QTableView)
    , m_use(new QPushButton)
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
    for (auto* note : {m_remark, m_conflict}) {
        note->setWordWrap(true);
        note->setTextInteractionFlags(Qt::TextSelectableByMouse);
        note->hide();
    }
    m_remark->setAccessibleName(tr("Note on the start"));
    form->addRow(m_remark);
    addPlaces(*form);

    connect(m_format, &QButtonGroup::idClicked, this, [this] { send(MyDocument::TimecodeControl::Other); });
    connect(m_start, &QLineEdit::editingFinished, this,
        [this] { sendText(m_start, MyDocument::TimecodeControl::StartText); });
    connect(
        m_startType, &QComboBox::activated, this, [this] { send(MyDocument::TimecodeControl::StartType); });
    connect(m_reel, &QLineEdit::editingFinished, this,
        [this] { sendText(m_reel, MyDocument::TimecodeControl::Other); });
}

void TimecodePane::addPlaces(QFormLayout& form)
{
    auto* title = new QLabel(tr("All timecodes in this file"));
    auto font = title->font();
    font.setBold(true);
    title->setFont(font);
    form.addRow(title);
    form.addRow(m_conflict);
    m_placeList->setModel(m_places);
    m_placeList->setAccessibleName(title->text());
    m_placeList->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_placeList->setSelectionMode(QAbstractItemView::SingleSelection);
    m_placeList->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_placeList->setTabKeyNavigation(false);
    m_placeList->setShowGrid(false);
    m_placeList->verticalHeader()->hide();
    m_placeList->horizontalHeader()->setHighlightSections(false);
    form.addRow(m_placeList);
    m_use->setEnabled(false);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_use);
    buttons->addStretch();
    form.addRow(buttons);
    // Return and a double click use the row.
    connect(m_placeList, &QTableView::activated, this,
        [this](const QModelIndex& index) { usePlace(index.row()); });
    connect(m_placeList->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
        [this](const QModelIndex& index) {
            const auto start = m_places->index(index.row(), Start).data().toString();
            const bool canBeUsed
                = index.isValid() && m_places->index(index.row(), Start).data(kUsable).toBool();
            m_use->setEnabled(canBeUsed);
            m_use->setText(canBeUsed ? tr("&Use %1").arg(start) : tr("&Use"));
        });
    m_use->setText(tr("&Use"));
    connect(m_use, &QPushButton::clicked, this, [this] { usePlace(m_placeList->currentIndex().row()); });
    connect(&m_facts, &FactsLoader::loaded, this, &TimecodePane::showPlaces);
}

void TimecodePane::showPlaces()
{
    const auto& facts = m_facts.facts();
    if (!facts)
        return;
    const auto& survey = facts->timecodes;
    const auto row = m_placeList->currentIndex().row();
    m_places->clear();
    m_places->setHorizontalHeaderLabels({tr("Source"), tr("Start"), tr("Reel"), tr("Difference")});
    const auto text = [](const std::string& value) {
        return QString::fromUtf8(value.data(), static_cast<qsizetype>(value.size()));
    };
    for (const auto& place : survey.places) {
        QList<QStandardItem*> items;
        for (const auto& value : {place.source, place.start.empty() ? tr("none").toStdString() : place.start,
                 place.reel.empty() ? tr("none").toStdString() : place.reel, place.differenceText()})
            items.append(new QStandardItem(text(value)));
        if (place.disagrees) {
            items[Difference]->setIcon(QIcon::fromTheme(QStringLiteral("dialog-warning")));
            items[Difference]->setText(tr("differs: %1").arg(items[Difference]->text()));
        }
        QString remarks;
        for (const auto& remark : place.remarks)
            remarks += (remarks.isEmpty() ? QString {} : QStringLiteral("\n")) + text(remark);
        auto font = m_placeList->font();
        font.setBold(place.isInUse);
        for (auto* item : items) {
            item->setToolTip(remarks);
            item->setFont(font);
        }
        // A clock has no frames: its second begins with frame 0.
        const auto start = place.kind == TimecodePlace::Kind::Clock ? place.start + ":00" : place.start;
        items[Start]->setData(timecodeMedia::recordOf(start).has_value() && !place.isInUse, kUsable);
        items[Start]->setData(text(start), kStartText);
        items[Reel]->setData(text(place.reel), kStartText);
        m_places->appendRow(items);
    }
    QString conflicts;
    for (const auto& warning : survey.warnings)
        conflicts += (conflicts.isEmpty() ? QString {} : QStringLiteral("\n")) + text(warning);
    m_conflict->setText(conflicts);
    m_conflict->setVisible(!conflicts.isEmpty());
    m_placeList->resizeColumnsToContents();
    m_placeList->horizontalHeader()->setStretchLastSection(true);
    if (row >= 0 && row < m_places->rowCount())
        m_placeList->setCurrentIndex(m_places->index(row, 0));
}

void TimecodePane::usePlace(int row)
{
    const auto start = m_places->index(row, Start);
    if (!start.isValid() || !start.data(kUsable).toBool())
        return;
    const auto* record = m_document.selectedTrack();
    if (!record || m_isSending)
        return;
    const QScopedValueRollback isSending {m_isSending, true};
    auto wanted = MyDocument::loadTimecodeDataForTrack(*record);
    wanted.isCounter = false;
    wanted.start = start.data(kStartText).toString().toStdString();
    if (const auto reel = m_places->index(row, Reel).data(kStartText).toString(); !reel.isEmpty())
        wanted.reel = reel.toStdString();
    showRemark(m_document.modifyTimecodeData(wanted, MyDocument::TimecodeControl::StartText, false));
    reload();
}

void TimecodePane::showRemark(const std::string& remark)
{
    m_remark->setText(QString::fromStdString(remark));
    m_remark->setVisible(!remark.empty());
}

void TimecodePane::reload()
{
    const auto* record = m_document.selectedTrack();
    if (!record || record->trackType() != KWMovTrack::kTimecode)
        return;
    const auto shown = MyDocument::loadTimecodeDataForTrack(*record);
    const bool isOther = m_shownTrack != record->trackID();
    m_shownTrack = record->trackID();
    if (isOther)
        showRemark({});
    m_format->button(shown.isCounter ? Counter : Timecode)->setChecked(true);
    // A counter has no flags: the boxes keep those that it had as a timecode, for the way back.
    if (!shown.isCounter || isOther) {
        m_dropFrame->setChecked(shown.dropFrame);
        m_negativeTimes->setChecked(shown.negativeTimes);
        m_limit24Hours->setChecked(shown.limit24Hours);
    }
    for (auto* box : {m_dropFrame, m_negativeTimes, m_limit24Hours})
        box->setEnabled(!shown.isCounter);
    m_dropFrame->setEnabled(!shown.isCounter && (shown.dropFrame || hasDropFrame(*record)));
    // What stands in the field belongs to the place that the menu beside it names.
    const auto start = m_startType->currentIndex() == kStartAtPosition
        ? m_document.timecodeAtPosition(*record)
        : shown.start;
    m_start->setText(QString::fromStdString(start));
    m_reel->setText(QString::fromStdString(shown.reel));
    m_rate->setText(rateText(*record));
    if (m_places->rowCount() == 0)
        showPlaces();
}

TimecodeSettings TimecodePane::settings() const
{
    TimecodeSettings settings;
    settings.isCounter = m_format->checkedId() == Counter;
    settings.dropFrame = m_dropFrame->isChecked();
    settings.negativeTimes = m_negativeTimes->isChecked();
    settings.limit24Hours = m_limit24Hours->isChecked();
    settings.start = m_start->text().toStdString();
    // A text that nobody typed is no wish for another start.
    if (const auto* record = m_document.selectedTrack(); record && !m_start->isModified())
        settings.start = MyDocument::loadTimecodeDataForTrack(*record).start;
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
    showRemark(
        m_document.modifyTimecodeData(settings(), sender, m_startType->currentIndex() == kStartAtPosition));
    reload();
}

} // namespace reelwright
