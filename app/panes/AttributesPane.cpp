#include "app/panes/AttributesPane.h"

#include "app/panes/CustomColorDialog.h"
#include "app/shell/Background.h"
#include "attributes/AttributeConflicts.h"
#include "picture/BitstreamFacts.h"

#include <QAction>
#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    QString shown(const AttributeEntry& entry)
    {
        if (const auto* text = std::get_if<std::string>(&entry.value))
            return QString::fromStdString(*text);
        const auto index = static_cast<std::size_t>(std::get<int>(entry.value));
        auto text = index < entry.popupvalues.size() ? QString::fromStdString(entry.popupvalues[index].name)
                                                     : QString {};
        if (entry.description == kColor)
            text += QStringLiteral(" (%1-%2-%3)").arg(entry.primaries).arg(entry.transfer).arg(entry.matrix);
        else if (index < entry.popupvalues.size() && entry.popupvalues[index].code)
            text += QStringLiteral(" (%1)").arg(*entry.popupvalues[index].code);
        return text;
    }

} // namespace

AttributesPane::AttributesPane(MyDocument& document, DocumentWindow& window, QWidget* parent)
    : Pane(parent)
    , m_document(document)
    , m_panel(document, window)
    , m_disagreement(new QLabel)
    , m_table(new QTableWidget(0, 3))
    , m_add(new QToolButton)
    , m_addMenu(new QMenu(m_add))
    , m_remove(new QPushButton(tr("&Remove")))
    , m_use(new QPushButton(tr("&Use the Picture's Value")))
    , m_note(new QLabel)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    m_disagreement->setWordWrap(true);
    m_note->setWordWrap(true);
    m_table->setHorizontalHeaderLabels({tr("Attribute"), tr("In the file"), tr("In the picture")});
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    m_table->verticalHeader()->hide();
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setAccessibleName(tr("Encoding attributes"));
    m_add->setText(tr("&Add"));
    m_add->setMenu(m_addMenu);
    m_add->setPopupMode(QToolButton::InstantPopup);
    m_add->setFocusPolicy(Qt::StrongFocus);
    m_add->setAccessibleName(tr("Add attribute"));
    m_use->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_U));
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_add);
    buttons->addWidget(m_remove);
    buttons->addStretch();
    buttons->addWidget(m_use);
    layout->addWidget(m_disagreement);
    layout->addWidget(m_table, 1);
    layout->addLayout(buttons);
    layout->addWidget(m_note);

    connect(m_table, &QTableWidget::cellChanged, this, &AttributesPane::edited);
    connect(m_table, &QTableWidget::currentCellChanged, this, &AttributesPane::updateButtons);
    connect(m_remove, &QPushButton::clicked, this, [this] {
        if (m_table->currentRow() >= 0)
            m_panel.removeAttribute(static_cast<std::size_t>(m_table->currentRow()));
        fill();
    });
    connect(m_use, &QPushButton::clicked, this, &AttributesPane::usePicturesValue);
    connect(m_addMenu, &QMenu::triggered, this, [this](QAction* action) {
        m_panel.addAttribute(action->text().toStdString());
        fill();
    });
}

void AttributesPane::reload()
{
    const auto* track = m_document.selectedTrack();
    if (!track || track->trackType() != KWMovTrack::kVideo)
        return;
    m_panel.loadImageDescriptionExtensionsForTrack();
    if (track->trackID() != m_pictureTrack)
        readPicture();
    fill();
}

void AttributesPane::readPicture()
{
    m_picture.reset();
    m_pictureTrack = m_document.selectedTrack()->trackID();
    m_pictureNote = tr("Reading the picture …");
    const auto id = m_pictureTrack;
    // Elsewhere: the disk may be slow, and so may the first picture be.
    runInBackground(
        this,
        [movie = m_document.movie(), id]() -> Result<PictureFacts> {
            for (const auto& track : movie.tracksOfMediaType(QTMediaTypeVideo))
                if (track.trackID() == id)
                    return BitstreamFacts::of(track);
            return failure(MovieError::Code::Refused, {}, "the track is gone");
        },
        [this, id](const Result<PictureFacts>& picture) {
            if (id != m_pictureTrack)
                return; // another track is shown by now
            if (picture)
                m_picture = *picture;
            m_pictureNote = picture
                ? tr("In the picture: %1.").arg(QString::fromStdString(picture->source))
                : tr("The picture says nothing: %1.").arg(QString::fromStdString(picture.error().detail));
            fill();
        });
}

void AttributesPane::fill()
{
    const QScopedValueRollback isFilling {m_isFilling, true};
    const auto current = m_table->currentRow();
    const auto rows = static_cast<int>(m_panel.attributes().size());
    m_table->setRowCount(0); // the combo boxes of old rows go with them
    m_table->setRowCount(rows);
    int differing = 0;
    for (int row = 0; row < rows; ++row) {
        fillRow(row);
        differing += differs(row);
    }
    m_table->setCurrentCell(std::min(current, rows - 1), InFile);
    m_disagreement->setText(tr("File and picture disagree on %n attribute(s).", nullptr, differing));
    m_disagreement->setVisible(differing > 0);
    const auto* track = m_document.selectedTrack();
    const auto count = track ? track->track().media().sampleDescriptionCount() : 0;
    m_note->setText(count > 1 ? tr("%1 Sample description 1 of %2 is edited; the others stay as they are.")
                                    .arg(m_pictureNote)
                                    .arg(count)
                              : m_pictureNote);
    fillAddMenu();
    updateButtons();
}

void AttributesPane::fillRow(int row)
{
    const auto& entry = m_panel.attributes()[static_cast<std::size_t>(row)];
    const auto cell = [](const QString& text, bool editable) {
        auto* item = new QTableWidgetItem(text);
        if (!editable)
            item->setFlags(item->flags() & ~Qt::ItemIsEditable);
        return item;
    };
    const bool isChoice = !entry.popupvalues.empty();
    m_table->setItem(row, Name, cell(QString::fromStdString(entry.description), false));
    m_table->setItem(
        row, InFile, cell(isChoice ? QString {} : shown(entry), !isChoice && entry.combovalues.empty()));
    const auto picture = saidByPicture(row);
    auto* said = cell(picture ? shown(*picture) : tr("not stated"), false);
    if (differs(row))
        said->setIcon(style()->standardIcon(QStyle::SP_MessageBoxWarning));
    m_table->setItem(row, InPicture, said);
    if (!isChoice && entry.combovalues.empty())
        return;
    auto* box = new QComboBox;
    box->setAccessibleName(QString::fromStdString(entry.description));
    if (isChoice) {
        for (const auto& choice : entry.popupvalues)
            box->addItem(choice.code
                    ? QStringLiteral("%1 (%2)").arg(QString::fromStdString(choice.name)).arg(*choice.code)
                    : QString::fromStdString(choice.name));
        const auto index = std::get<int>(entry.value);
        if (entry.description == kColor)
            box->setItemText(index, shown(entry));
        box->setCurrentIndex(index);
        connect(box, &QComboBox::activated, this, [this, row](int chosen) { choose(row, chosen); });
    } else {
        box->setEditable(true);
        for (const auto& value : entry.combovalues)
            box->addItem(QString::fromStdString(value));
        box->setCurrentText(shown(entry));
        const auto takeText = [this, row, box] { take(row, box->currentText().toStdString()); };
        connect(box->lineEdit(), &QLineEdit::returnPressed, this, takeText);
        connect(box, &QComboBox::activated, this, takeText);
    }
    m_table->setCellWidget(row, InFile, box);
}

void AttributesPane::fillAddMenu()
{
    m_addMenu->clear();
    for (const auto& name : m_panel.showAddAttributeMenu())
        m_addMenu->addAction(QString::fromStdString(name));
    m_add->setEnabled(!m_addMenu->isEmpty());
}

void AttributesPane::edited(int row, int column)
{
    if (m_isFilling || column != InFile)
        return;
    const auto text = m_table->item(row, column)->text().toStdString();
    take(row, text);
}

void AttributesPane::take(int row, const AttributeValue& value)
{
    // Later: the cell's editor goes with its row.
    QMetaObject::invokeMethod(
        this,
        [this, row, value] {
            m_panel.setValue(static_cast<std::size_t>(row), value);
            fill();
        },
        Qt::QueuedConnection);
}

void AttributesPane::choose(int row, int index)
{
    const auto& entry = m_panel.attributes()[static_cast<std::size_t>(row)];
    if (entry.description != kColor || index != kColorCustom)
        return take(row, index);
    QMetaObject::invokeMethod(
        this, [this, entry] { showCustomColorAttributeDialogWithSettings(entry); }, Qt::QueuedConnection);
}

void AttributesPane::showCustomColorAttributeDialogWithSettings(const AttributeEntry& color)
{
    CustomColorDialog dialog {color, this};
    if (dialog.exec() == QDialog::Accepted)
        m_panel.addCustomColorAttribute(dialog.primaries(), dialog.transfer(), dialog.matrix());
    fill();
}

void AttributesPane::usePicturesValue()
{
    if (const auto picture = saidByPicture(m_table->currentRow()))
        m_panel.setAttribute(*picture);
    fill();
}

void AttributesPane::updateButtons()
{
    const auto row = m_table->currentRow();
    const auto count = static_cast<int>(m_panel.attributes().size());
    const bool isRow = row >= 0 && row < count;
    const auto name
        = isRow ? m_panel.attributes()[static_cast<std::size_t>(row)].description : std::string {};
    m_remove->setEnabled(isRow && name != kEncodedWidth && name != kEncodedHeight);
    m_use->setEnabled(isRow && differs(row));
}

std::optional<AttributeEntry> AttributesPane::saidByPicture(int row) const
{
    if (!m_picture || row < 0 || row >= static_cast<int>(m_panel.attributes().size()))
        return std::nullopt;
    return attributeConflicts::saidByPicture(
        m_panel.attributes()[static_cast<std::size_t>(row)].description, *m_picture);
}

bool AttributesPane::differs(int row) const
{
    const auto picture = saidByPicture(row);
    return picture
        && attributeConflicts::differ(m_panel.attributes()[static_cast<std::size_t>(row)], *picture);
}

} // namespace reelwright
