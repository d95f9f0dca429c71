#include "app/panes/TextPane.h"

#include "app/player/MovieView.h"
#include "app/shell/FileChooser.h"
#include "document/MyDocument.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QSpinBox>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include <utility>

namespace reelwright {
namespace {

    enum Column { Start, Duration, Text, Columns };
    constexpr int kRowHeight = 24;
    constexpr int kLinesOfText = 3;

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    QColor colorOf(const TextStyle::Color& color)
    {
        return QColor::fromRgba64(color[0], color[1], color[2]);
    }

    TextStyle::Color colorFrom(const QColor& color)
    {
        const auto component
            = [](int value) { return static_cast<std::uint16_t>(static_cast<unsigned>(value) * 0x101U); };
        return {component(color.red()), component(color.green()), component(color.blue())};
    }

    void showColor(QToolButton& button, const TextStyle::Color& color)
    {
        QPixmap swatch(button.iconSize());
        swatch.fill(colorOf(color));
        QPainter painter(&swatch);
        painter.setPen(button.palette().color(QPalette::Mid));
        painter.drawRect(swatch.rect().adjusted(0, 0, -1, -1));
        button.setIcon(swatch);
    }

    QString filters()
    {
        QStringList all;
        for (const auto& kind : TextLists::formats())
            all << QString::fromUtf8(kind.title);
        return all.join(QStringLiteral(";;"));
    }

} // namespace

TextPane::TextPane(MyDocument& document, MovieView& view, QWidget* parent)
    : Pane(parent)
    , m_document(document)
    , m_view(view)
    , m_panel(document)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    m_problem = new QLabel;
    m_problem->setWordWrap(true);
    m_problem->hide();
    layout->addWidget(m_problem);
    layout->addWidget(makeTable(), 1);
    layout->addWidget(makeEditor());

    const auto makeButton = [this](const QString& text, const QString& toolTip, void (TextPane::*work)()) {
        auto* button = new QPushButton(text);
        button->setToolTip(toolTip);
        button->setAccessibleDescription(toolTip);
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, this, work);
        return button;
    };
    m_add = makeButton(
        tr("&Add Text"), tr("Put the text into the track (Ctrl+Return)"), &TextPane::insertMediaText);
    m_change
        = makeButton(tr("Chan&ge"), tr("Give the selected text what is typed here"), &TextPane::changeText);
    m_remove
        = makeButton(tr("&Remove"), tr("Take the selected texts out of the track"), &TextPane::removeTexts);
    m_import
        = makeButton(tr("&Import…"), tr("Add the texts of a SubRip or WebVTT file"), &TextPane::importTexts);
    m_export = makeButton(
        tr("Ex&port…"), tr("Write the texts as a SubRip or WebVTT file"), &TextPane::exportTexts);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(kSpacing);
    for (auto* button : {m_add, m_change, m_remove})
        buttons->addWidget(button);
    buttons->addStretch();
    for (auto* button : {m_import, m_export})
        buttons->addWidget(button);
    layout->addLayout(buttons);
}

QWidget* TextPane::makeTable()
{
    m_table = new QTableWidget(0, Columns);
    m_table->setHorizontalHeaderLabels({tr("Start"), tr("Duration"), tr("Text")});
    m_table->setAccessibleName(tr("Texts"));
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_table->setAlternatingRowColors(true);
    m_table->setShowGrid(false);
    m_table->setWordWrap(false);
    m_table->setTabKeyNavigation(false);
    m_table->verticalHeader()->setVisible(false);
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_table->verticalHeader()->setDefaultSectionSize(kRowHeight);
    m_table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_table->horizontalHeader()->setHighlightSections(false);
    m_table->horizontalHeader()->setSectionResizeMode(Start, QHeaderView::ResizeToContents);
    m_table->horizontalHeader()->setSectionResizeMode(Duration, QHeaderView::ResizeToContents);
    m_table->horizontalHeader()->setSectionResizeMode(Text, QHeaderView::Stretch);
    m_table->installEventFilter(this);
    connect(m_table, &QTableWidget::itemSelectionChanged, this, &TextPane::selectionChanged);
    return m_table;
}

QWidget* TextPane::makeEditor()
{
    auto* editor = new QWidget;
    auto* form = new QFormLayout(editor);
    form->setContentsMargins({});
    form->setSpacing(kSpacing);
    form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    const auto row = [&](const QString& label, std::initializer_list<QWidget*> widgets, bool stretches) {
        auto* line = new QHBoxLayout;
        line->setSpacing(kSpacing);
        for (auto* widget : widgets)
            line->addWidget(widget);
        if (stretches)
            line->addStretch();
        auto* name = new QLabel(label);
        name->setBuddy(*widgets.begin());
        form->addRow(name, line);
    };
    const auto field = [](const QString& name) {
        auto* edit = new QLineEdit;
        edit->setAccessibleName(name);
        return edit;
    };

    m_text = new QPlainTextEdit;
    m_text->setAccessibleName(tr("Text"));
    m_text->setTabChangesFocus(true);
    m_text->setPlaceholderText(tr("What is shown"));
    const QFontMetrics metrics(m_text->font());
    m_text->setFixedHeight(metrics.lineSpacing() * kLinesOfText + 2 * (m_text->frameWidth() + 5));
    m_text->installEventFilter(this);
    connect(m_text, &QPlainTextEdit::textChanged, this, &TextPane::updateButtons);
    row(tr("Te&xt:"), {m_text}, false);

    m_start = field(tr("Start"));
    m_start->setPlaceholderText(tr("current position"));
    m_start->setToolTip(tr("Where the text begins in the movie; empty: where the picture is"));
    m_duration = field(tr("Duration"));
    m_duration->setToolTip(tr("How long it is shown: 00:00:03:00, 2.5s, 75f"));
    auto* durationLabel = new QLabel(tr("&Duration:"));
    durationLabel->setBuddy(m_duration);
    row(tr("&Start:"), {m_start, durationLabel, m_duration}, false);

    m_left = field(tr("Box left"));
    m_top = field(tr("Box top"));
    m_width = field(tr("Box width"));
    m_height = field(tr("Box height"));
    constexpr int kNumberWidth = 48;
    for (auto* number : {m_left, m_top, m_width, m_height})
        number->setFixedWidth(kNumberWidth);
    m_left->setToolTip(tr("Left edge of the text's box, in pixels of the track"));
    m_top->setToolTip(tr("Top edge of the text's box, in pixels of the track"));
    m_width->setToolTip(tr("Width of the text's box, in pixels of the track"));
    m_height->setToolTip(tr("Height of the text's box, in pixels of the track"));
    const auto named = [](const QString& name, QWidget* number) {
        auto* both = new QWidget;
        auto* line = new QHBoxLayout(both);
        line->setContentsMargins({});
        line->setSpacing(kSpacing / 2);
        line->addWidget(new QLabel(name));
        line->addWidget(number);
        return both;
    };
    row(tr("&Box:"),
        {named(tr("left"), m_left), named(tr("top"), m_top), named(tr("width"), m_width),
            named(tr("height"), m_height)},
        true);
    if (auto* label
        = qobject_cast<QLabel*>(form->itemAt(form->rowCount() - 1, QFormLayout::LabelRole)->widget()))
        label->setBuddy(m_left);

    m_alignment = new QComboBox;
    m_alignment->addItems({tr("Left"), tr("Center"), tr("Right")}); // in the order of TextAlignment
    m_alignment->setAccessibleName(tr("Alignment"));
    m_size = new QSpinBox;
    m_size->setRange(1, UINT8_MAX);
    m_size->setSuffix(tr(" px"));
    m_size->setAccessibleName(tr("Size"));
    m_size->setToolTip(tr("Size of the letters, in pixels of the track"));
    const auto toggle = [](const QString& letter, const QString& name) {
        auto* button = new QToolButton;
        button->setText(letter);
        button->setCheckable(true);
        button->setToolTip(name);
        button->setAccessibleName(name);
        return button;
    };
    m_bold = toggle(tr("B"), tr("Bold"));
    m_italic = toggle(tr("I"), tr("Italic"));
    m_underline = toggle(tr("U"), tr("Underlined"));
    auto font = m_bold->font();
    font.setBold(true);
    m_bold->setFont(font);
    font = m_italic->font();
    font.setItalic(true);
    m_italic->setFont(font);
    font = m_underline->font();
    font.setUnderline(true);
    m_underline->setFont(font);
    row(tr("A&lignment:"), {m_alignment, m_size, m_bold, m_italic, m_underline}, true);

    m_colorButton = new QToolButton;
    m_colorButton->setAccessibleName(tr("Text color"));
    m_colorButton->setToolTip(tr("Color of the text"));
    connect(m_colorButton, &QToolButton::clicked, this,
        [this] { chooseColor(m_colorButton, m_color, tr("Text Color")); });
    m_hasBackground = new QCheckBox(tr("Bac&kground"));
    m_hasBackground->setToolTip(tr("Paint the box behind the text; else the picture shows through"));
    m_backgroundButton = new QToolButton;
    m_backgroundButton->setAccessibleName(tr("Background color"));
    m_backgroundButton->setToolTip(tr("Color of the box behind the text"));
    connect(m_backgroundButton, &QToolButton::clicked, this,
        [this] { chooseColor(m_backgroundButton, m_background, tr("Background Color")); });
    connect(m_hasBackground, &QCheckBox::toggled, m_backgroundButton, &QWidget::setEnabled);
    m_backgroundButton->setEnabled(false);
    row(tr("&Color:"), {m_colorButton, m_hasBackground, m_backgroundButton}, true);
    return editor;
}

void TextPane::reload()
{
    const auto* record = m_document.selectedTrack();
    const auto id = record ? record->trackID() : 0;
    const bool isOther = std::exchange(m_trackID, id) != id;
    const auto texts = m_panel.texts();
    const auto rows = isOther ? std::vector<std::size_t> {} : selectedRows();
    const bool isSame = !isOther && texts && *texts == m_texts;
    m_problem->setVisible(!texts);
    if (!texts)
        m_problem->setText(
            tr("The texts of this track cannot be read: %1").arg(fromUtf8(texts.error().detail)));
    if (isSame)
        return; // what is being typed stays
    m_texts = texts.value_or(std::vector<TextCue> {});
    {
        const QScopedValueRollback filling(m_isFilling, true);
        m_table->clearContents();
        m_table->setRowCount(static_cast<int>(m_texts.size()));
        for (int row = 0; row < m_table->rowCount(); ++row) {
            const auto& text = m_texts[static_cast<std::size_t>(row)];
            auto line = fromUtf8(text.text);
            line.replace(QLatin1Char('\n'), QStringLiteral(" / "));
            m_table->setItem(row, Start, new QTableWidgetItem(fromUtf8(m_panel.timeText(text.start))));
            m_table->setItem(
                row, Duration, new QTableWidgetItem(fromUtf8(m_panel.timeText(text.end - text.start))));
            auto* item = new QTableWidgetItem(line);
            item->setToolTip(fromUtf8(text.text));
            m_table->setItem(row, Text, item);
        }
        m_table->clearSelection();
        if (rows.size() == 1 && rows.front() < m_texts.size())
            m_table->selectRow(static_cast<int>(rows.front()));
    }
    if (isOther)
        show(m_panel.fieldsForNew());
    updateButtons();
}

std::vector<std::size_t> TextPane::selectedRows() const
{
    std::vector<std::size_t> rows;
    for (const auto& index : m_table->selectionModel()->selectedRows())
        rows.push_back(static_cast<std::size_t>(index.row()));
    return rows;
}

void TextPane::selectionChanged()
{
    updateButtons();
    const auto rows = selectedRows();
    if (m_isFilling || rows.size() != 1 || rows.front() >= m_texts.size())
        return;
    const auto& text = m_texts[rows.front()];
    show(m_panel.fieldsOf(text));
    m_view.setCurrentTime(text.start);
}

void TextPane::show(const TextPanel::Fields& fields)
{
    m_text->setPlainText(fromUtf8(fields.text));
    m_start->setText(fromUtf8(fields.start));
    m_duration->setText(fromUtf8(fields.duration));
    m_left->setText(fromUtf8(fields.left));
    m_top->setText(fromUtf8(fields.top));
    m_width->setText(fromUtf8(fields.width));
    m_height->setText(fromUtf8(fields.height));
    m_alignment->setCurrentIndex(static_cast<int>(fields.alignment));
    m_size->setValue(fields.fontSize);
    m_color = fields.color;
    m_background = fields.background.value_or(TextStyle::Color {});
    showColor(*m_colorButton, m_color);
    showColor(*m_backgroundButton, m_background);
    m_hasBackground->setChecked(fields.background.has_value());
    m_bold->setChecked((fields.face & TextStyle::kBold) != 0);
    m_italic->setChecked((fields.face & TextStyle::kItalic) != 0);
    m_underline->setChecked((fields.face & TextStyle::kUnderlined) != 0);
}

TextPanel::Fields TextPane::typed() const
{
    TextPanel::Fields fields;
    const auto text = [](const QLineEdit* edit) { return edit->text().trimmed().toStdString(); };
    fields.text = m_text->toPlainText().toStdString();
    fields.start = text(m_start);
    fields.duration = text(m_duration);
    fields.left = text(m_left);
    fields.top = text(m_top);
    fields.width = text(m_width);
    fields.height = text(m_height);
    fields.alignment = static_cast<TextAlignment>(m_alignment->currentIndex());
    fields.fontSize = m_size->value();
    fields.color = m_color;
    if (m_hasBackground->isChecked())
        fields.background = m_background;
    fields.face = static_cast<std::uint8_t>((m_bold->isChecked() ? TextStyle::kBold : 0)
        | (m_italic->isChecked() ? TextStyle::kItalic : 0)
        | (m_underline->isChecked() ? TextStyle::kUnderlined : 0));
    return fields;
}

void TextPane::updateButtons()
{
    const bool isReadable = m_problem->isHidden();
    const auto rows = selectedRows();
    const bool hasText = !m_text->toPlainText().isEmpty();
    m_add->setEnabled(isReadable && hasText);
    m_change->setEnabled(isReadable && hasText && rows.size() == 1);
    m_remove->setEnabled(isReadable && !rows.empty());
    m_import->setEnabled(isReadable);
    m_export->setEnabled(!m_texts.empty());
}

void TextPane::insertMediaText()
{
    if (!m_add->isEnabled())
        return;
    auto fields = typed();
    // The start of the text on show is taken: another one goes where the picture is.
    const auto rows = selectedRows();
    if (rows.size() == 1 && rows.front() < m_texts.size()
        && fields.start == m_panel.timeText(m_texts[rows.front()].start))
        fields.start.clear();
    const auto done = m_panel.insertMediaText(fields);
    told(done, tr("The text was not added"));
    if (!done)
        return;
    m_table->clearSelection();
    m_text->clear();
    m_start->clear();
    m_text->setFocus();
}

void TextPane::changeText()
{
    if (const auto rows = selectedRows(); rows.size() == 1)
        told(m_panel.changeText(rows.front(), typed()), tr("The text was not changed"));
}

void TextPane::removeTexts()
{
    if (const auto done = m_panel.removeTexts(selectedRows()); !done)
        tell(tr("The texts were not removed"), fromUtf8(done.error().detail));
}

void TextPane::importTexts()
{
    QFileDialog chooser(window(), tr("Import Texts"));
    chooser.setFileMode(QFileDialog::ExistingFile);
    chooser.setNameFilters({tr("Texts (*.srt *.vtt)"), tr("All files (*)")});
    makeRoomInFileChooser(chooser);
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty())
        return;
    told(m_panel.importTexts(chooser.selectedFiles().constFirst().toStdString(), typed()),
        tr("The texts were not imported"));
}

void TextPane::exportTexts()
{
    QFileDialog chooser(window(), tr("Export Texts"));
    chooser.setAcceptMode(QFileDialog::AcceptSave);
    chooser.setNameFilters(filters().split(QStringLiteral(";;")));
    const auto kindOf = [](const QString& title) {
        for (const auto& kind : TextLists::formats())
            if (title == QString::fromUtf8(kind.title))
                return kind;
        return TextLists::formats().front();
    };
    const auto suffixOf
        = [&](const QString& title) { chooser.setDefaultSuffix(QString::fromUtf8(kindOf(title).extension)); };
    suffixOf(chooser.selectedNameFilter());
    connect(&chooser, &QFileDialog::filterSelected, &chooser, suffixOf);
    chooser.selectFile(fromUtf8(m_panel.proposedExportName()));
    makeRoomInFileChooser(chooser);
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty())
        return;
    const auto done = m_panel.exportTexts(
        chooser.selectedFiles().constFirst().toStdString(), kindOf(chooser.selectedNameFilter()).format);
    if (!done)
        tell(tr("The texts were not exported"), fromUtf8(done.error().message()));
}

void TextPane::chooseColor(QToolButton* button, TextStyle::Color& color, const QString& title)
{
    const auto chosen = QColorDialog::getColor(colorOf(color), window(), title);
    if (!chosen.isValid())
        return;
    color = colorFrom(chosen);
    showColor(*button, color);
}

void TextPane::told(const Result<std::string>& done, const QString& title)
{
    if (!done)
        tell(title, fromUtf8(done.error().where.empty() ? done.error().detail : done.error().message()));
    else if (!done->empty())
        tell(tr("Texts"), fromUtf8(*done));
}

void TextPane::tell(const QString& title, const QString& text)
{
    auto* box = new QMessageBox(QMessageBox::Warning, title, title, QMessageBox::Ok, window());
    box->setInformativeText(text);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

bool TextPane::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress)
        return Pane::eventFilter(watched, event);
    const auto* pressed = static_cast<QKeyEvent*>(event); // NOLINT: its type says what it is
    const bool isReturn = pressed->key() == Qt::Key_Return || pressed->key() == Qt::Key_Enter;
    if (watched == m_text && isReturn && (pressed->modifiers() & Qt::ControlModifier) != 0) {
        insertMediaText();
        return true;
    }
    if (watched == m_table && (pressed->key() == Qt::Key_Delete || pressed->key() == Qt::Key_Backspace)) {
        removeTexts();
        return true;
    }
    return Pane::eventFilter(watched, event);
}

} // namespace reelwright
