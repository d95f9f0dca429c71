#include "app/panes/AttributesPane.h"

#include "app/panes/CustomColorDialog.h"
#include "app/shell/Background.h"
#include "attributes/AttributeConflicts.h"
#include "attributes/ColorCodes.h"
#include "movie/Apertures.h"
#include "picture/BitstreamFacts.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QFormLayout>
#include <QFrame>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QShortcut>
#include <QStyle>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace reelwright {
namespace {

    constexpr int kRowHeight = 28;
    constexpr int kLineHeight = 24;
    constexpr int kLeastTable = 100;
    constexpr int kIconSize = 16;

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

    /// The value with what its codes mean.
    QString explained(const AttributeEntry& entry)
    {
        const auto text = shown(entry);
        if (entry.description != kColor)
            return text;
        const auto name = [](const std::string& code) {
            return QString::fromStdString(code).section(QLatin1Char(' '), 1).trimmed();
        };
        return AttributesPane::tr("%1: %2 primaries, %3 transfer, %4 matrix")
            .arg(text, name(colorCodes::primaries(entry.primaries)),
                name(colorCodes::transfer(entry.transfer)), name(colorCodes::matrix(entry.matrix)));
    }

    QIcon warningIcon()
    {
        const auto icon = QIcon::fromTheme(QStringLiteral("dialog-warning"));
        return icon.isNull() ? QApplication::style()->standardIcon(QStyle::SP_MessageBoxWarning) : icon;
    }

    /// A ground between the window's own and amber, so that it fits light and dark palettes.
    QColor warningGround(const QPalette& palette)
    {
        constexpr QColor kAmber {255, 190, 40};
        const auto ground = palette.color(QPalette::Window);
        const auto mix = [](int a, int b) { return (4 * a + b) / 5; };
        return {mix(ground.red(), kAmber.red()), mix(ground.green(), kAmber.green()),
            mix(ground.blue(), kAmber.blue())};
    }

    QLabel* heading(QLabel* label)
    {
        auto font = label->font();
        font.setBold(true);
        label->setFont(font);
        return label;
    }

    void layOut(QTableWidget& table)
    {
        table.horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
        table.horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        table.horizontalHeader()->setHighlightSections(false);
        table.verticalHeader()->hide();
        table.verticalHeader()->setMinimumSectionSize(kLineHeight);
        table.verticalHeader()->setDefaultSectionSize(kLineHeight);
        table.setShowGrid(false);
        table.setSelectionBehavior(QAbstractItemView::SelectRows);
        table.setSelectionMode(QAbstractItemView::SingleSelection);
        table.setTabKeyNavigation(false);
        table.setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    }

    /// As high as its rows, so that what follows stands below them.
    void fitRows(QTableWidget& table)
    {
        const int rows = table.rowCount() * table.verticalHeader()->defaultSectionSize();
        table.setMaximumHeight(table.horizontalHeader()->sizeHint().height() + rows + 2 * table.frameWidth());
        table.setMinimumHeight(std::min(table.maximumHeight(), kLeastTable));
    }

} // namespace

AttributesPane::AttributesPane(MyDocument& document, DocumentWindow& window, QWidget* parent)
    : Pane(parent)
    , m_document(document)
    , m_panel(document, window)
    , m_banner(new QFrame)
    , m_disagreement(new QLabel)
    , m_table(new QTableWidget(0, 3))
    , m_add(new QToolButton)
    , m_addMenu(new QMenu(m_add))
    , m_remove(new QPushButton(tr("&Remove")))
    , m_title(new QLabel)
    , m_saidByFile(new QLabel)
    , m_saidByPicture(new QLabel)
    , m_meaning(new QLabel)
    , m_apertures(new QTableWidget(3, 3))
    , m_note(new QLabel)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);

    m_banner->setFrameShape(QFrame::StyledPanel);
    m_banner->setAutoFillBackground(true);
    auto* banner = new QHBoxLayout(m_banner);
    banner->setContentsMargins(kSpacing, kSpacing / 2, kSpacing, kSpacing / 2);
    auto* icon = new QLabel;
    icon->setPixmap(warningIcon().pixmap(kIconSize, kIconSize));
    icon->setAccessibleName(tr("Warning"));
    banner->addWidget(icon);
    m_disagreement->setWordWrap(true);
    banner->addWidget(m_disagreement, 1);
    auto* useAll = new QPushButton(tr("Use A&ll"));
    useAll->setToolTip(tr("Gives every attribute the value that the picture's own stream states"));
    banner->addWidget(useAll);
    layout->addWidget(m_banner);

    m_table->setHorizontalHeaderLabels({tr("Attribute"), tr("In the file"), tr("In the picture")});
    layOut(*m_table);
    m_table->verticalHeader()->setDefaultSectionSize(kRowHeight);
    m_table->horizontalHeader()->setSectionResizeMode(Name, QHeaderView::ResizeToContents);
    m_table->setAccessibleName(tr("Encoding attributes"));
    layout->addWidget(m_table);

    m_add->setText(tr("&Add"));
    m_add->setIcon(QIcon::fromTheme(QStringLiteral("list-add")));
    m_add->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_add->setMenu(m_addMenu);
    m_add->setPopupMode(QToolButton::InstantPopup);
    m_add->setFocusPolicy(Qt::StrongFocus);
    m_add->setAccessibleName(tr("Add attribute"));
    m_remove->setIcon(QIcon::fromTheme(QStringLiteral("list-remove")));
    auto* copyFrom = new QPushButton(tr("&Copy From\u2026"));
    copyFrom->setToolTip(tr("Takes attributes from another movie"));
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_add);
    buttons->addWidget(m_remove);
    buttons->addStretch();
    buttons->addWidget(copyFrom);
    layout->addLayout(buttons);

    auto* details = new QFormLayout;
    addDetails(*details);
    layout->addLayout(details);

    layout->addSpacing(kSpacing);
    layout->addWidget(heading(new QLabel(tr("Apertures"))));
    m_apertures->setHorizontalHeaderLabels({tr("Aperture"), tr("Stored"), tr("From the attributes")});
    layOut(*m_apertures);
    m_apertures->setSelectionMode(QAbstractItemView::NoSelection);
    m_apertures->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_apertures->setAccessibleName(tr("Apertures"));
    layout->addWidget(m_apertures);
    m_note->setWordWrap(true);
    m_note->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(m_note);
    layout->addStretch(1);

    connect(m_table, &QTableWidget::cellChanged, this, &AttributesPane::edited);
    connect(m_table, &QTableWidget::currentCellChanged, this, &AttributesPane::updateButtons);
    connect(m_remove, &QPushButton::clicked, this, [this] {
        if (m_table->currentRow() >= 0)
            m_panel.removeAttribute(static_cast<std::size_t>(m_table->currentRow()));
        fill();
    });
    connect(useAll, &QPushButton::clicked, this, &AttributesPane::useAll);
    connect(copyFrom, &QPushButton::clicked, this, &AttributesPane::copyFromAsked);
    connect(m_addMenu, &QMenu::triggered, this, [this](QAction* action) {
        m_panel.addAttribute(action->text().toStdString());
        fill();
    });
    auto* use = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_U), this);
    use->setContext(Qt::WidgetWithChildrenShortcut);
    connect(use, &QShortcut::activated, this, [this] { usePicturesValue(m_table->currentRow()); });
}

void AttributesPane::addDetails(QFormLayout& form)
{
    form.setContentsMargins(0, kSpacing, 0, 0);
    form.setVerticalSpacing(kSpacing / 2);
    form.addRow(heading(m_title));
    for (const auto& [name, value] : {std::pair {tr("In the file"), m_saidByFile},
             std::pair {tr("In the picture"), m_saidByPicture}, std::pair {tr("What it means"), m_meaning}}) {
        value->setWordWrap(true);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        auto* label = new QLabel(name);
        label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        label->setForegroundRole(QPalette::PlaceholderText);
        form.addRow(label, value);
    }
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
    m_disagreement->setText(tr("File and picture disagree on %1 of %2 attributes.").arg(differing).arg(rows));
    auto colours = m_banner->palette();
    colours.setColor(QPalette::Window, warningGround(palette()));
    m_banner->setPalette(colours);
    m_banner->setVisible(differing > 0);
    fitRows(*m_table);
    const auto* track = m_document.selectedTrack();
    const auto count = track ? track->track().media().sampleDescriptionCount() : 0;
    const auto edited = count > 1
        ? tr("Sample description 1 of %1 is edited; the others stay as they are.").arg(count)
        : tr("The only sample description is edited.");
    m_note->setText(tr("%1 The picture on show follows each change.").arg(edited));
    fillAddMenu();
    fillApertures();
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
    if (!picture)
        said->setForeground(palette().brush(QPalette::PlaceholderText));
    m_table->setItem(row, InPicture, said);
    if (differs(row)) {
        said->setIcon(warningIcon());
        said->setToolTip(tr("The picture's own stream says something else than the file"));
        auto* use = new QPushButton(tr("Use"));
        use->setToolTip(tr("Gives the file the picture's value (Ctrl+U)"));
        use->setAccessibleName(
            tr("Use the picture's value of %1").arg(QString::fromStdString(entry.description)));
        connect(use, &QPushButton::clicked, this, [this, row] { usePicturesValue(row); });
        use->setMaximumWidth(use->fontMetrics().horizontalAdvance(use->text()) + 2 * kSpacing);
        auto* place = new QWidget;
        auto* layout = new QHBoxLayout(place);
        layout->setContentsMargins(0, 2, 2, 2);
        layout->addStretch();
        layout->addWidget(use);
        m_table->setCellWidget(row, InPicture, place);
    }
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
    CustomColorDialog dialog {color, m_picture ? m_picture->color : std::nullopt, this};
    if (const auto* track = m_document.selectedTrack()) {
        const auto description = track->track().media().sampleDescription(1);
        const auto present = description ? description->color() : std::nullopt;
        const auto& file = m_document.movie().file();
        const bool hasRange = present ? present->fullRange.has_value() : file && !file->isQuickTime();
        dialog.setNote(tr("Video track %1, written as %2")
                           .arg(track->trackID())
                           .arg(hasRange ? QStringLiteral("nclx") : QStringLiteral("nclc")));
    }
    if (dialog.exec() == QDialog::Accepted)
        m_panel.addCustomColorAttribute(dialog.primaries(), dialog.transfer(), dialog.matrix());
    fill();
}

void AttributesPane::usePicturesValue(int row)
{
    if (!differs(row))
        return;
    const auto taken
        = attributeConflicts::toTake({m_panel.attributes()[static_cast<std::size_t>(row)]}, *m_picture);
    // Later: the button goes with its row.
    QMetaObject::invokeMethod(
        this,
        [this, taken] {
            m_panel.setAttributes(taken);
            fill();
        },
        Qt::QueuedConnection);
}

void AttributesPane::useAll()
{
    if (m_picture)
        m_panel.setAttributes(attributeConflicts::toTake(m_panel.attributes(), *m_picture));
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
    fillDetails();
}

void AttributesPane::fillDetails()
{
    const auto row = m_table->currentRow();
    const bool isRow = row >= 0 && row < static_cast<int>(m_panel.attributes().size());
    for (auto* label : {m_title, m_saidByFile, m_saidByPicture, m_meaning})
        label->clear();
    if (!isRow) {
        m_title->setText(tr("No attribute is selected"));
        return;
    }
    const auto& entry = m_panel.attributes()[static_cast<std::size_t>(row)];
    m_title->setText(QString::fromStdString(entry.description));
    m_saidByFile->setText(explained(entry));
    const auto picture = saidByPicture(row);
    m_saidByPicture->setText(!m_picture ? m_pictureNote
            : picture
            ? QStringLiteral("%1: %2").arg(QString::fromStdString(m_picture->source), explained(*picture))
            : tr("not stated by the %1").arg(QString::fromStdString(m_picture->source)));
    m_meaning->setText(
        picture ? QString::fromStdString(attributeConflicts::meaning(entry, *picture)) : QString {});
    if (m_meaning->text().isEmpty())
        m_meaning->setText(picture ? tr("File and picture agree.") : tr("Players go by the file."));
}

void AttributesPane::fillApertures()
{
    const auto* track = m_document.selectedTrack();
    const auto stored = track ? apertures::stored(track->track()) : std::nullopt;
    const auto computed = track ? apertures::fromDescription(track->track()) : std::nullopt;
    struct Row
    {
        QString name;
        QTSize apertures::Sizes::*size;
    };
    const Row rows[] {{tr("Clean"), &apertures::Sizes::clean},
        {tr("Production"), &apertures::Sizes::production},
        {tr("Encoded pixels"), &apertures::Sizes::encoded}};
    const auto text = [](const std::optional<apertures::Sizes>& sizes, QTSize apertures::Sizes::*size) {
        return sizes ? QStringLiteral("%1 \u00d7 %2")
                           .arg(std::round(((*sizes).*size).width))
                           .arg(std::round(((*sizes).*size).height))
                     : tr("none");
    };
    for (int i = 0; i < 3; ++i) {
        const auto& [name, size] = rows[i];
        const auto inFile = text(stored, size);
        const auto due = text(computed, size);
        m_apertures->setItem(i, 0, new QTableWidgetItem(name));
        m_apertures->setItem(i, 1, new QTableWidgetItem(inFile));
        m_apertures->setItem(i, 2, new QTableWidgetItem(due));
        if (stored && computed && inFile != due)
            m_apertures->item(i, 1)->setIcon(warningIcon());
    }
    fitRows(*m_apertures);
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
