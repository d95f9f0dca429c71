#include "app/panes/ConformPane.h"

#include "app/shell/Background.h"
#include "conform/HeaderSidecar.h"
#include "document/MyDocument.h"
#include "support/FileHelper.h"
#include "support/Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QTableWidget>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    constexpr int kBetweenGroups = 12;
    constexpr int kTypingPause = 250; // milliseconds
    constexpr int kSaveCheck = 40;

    QString fromText(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    QLabel* makeHeading(const QString& text)
    {
        auto* label = new QLabel(QStringLiteral("<b>%1</b>").arg(text));
        label->setContentsMargins(0, kBetweenGroups, 0, 0);
        return label;
    }

} // namespace

ConformPane::ConformPane(MyDocument& document, QWidget* parent)
    : Pane(parent)
    , m_document(document)
    , m_panel(
          document, Preferences::standard(),
          [this](const auto& title, const auto& text, const auto& buttons) {
              return ask(title, text, buttons, nullptr);
          },
          [this](const auto& title, const auto& text, const auto& buttons, bool& suppress) {
              return ask(title, text, buttons, &suppress);
          })
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    layout->addWidget(makeChoice());
    layout->addWidget(makeHeading(tr("Effect")));
    m_effects = new QFormLayout;
    m_effects->setVerticalSpacing(kSpacing / 2);
    layout->addLayout(m_effects);
    m_summary = makeHeading({});
    m_summary->setTextFormat(Qt::RichText);
    m_summary->setWordWrap(true);
    layout->addWidget(m_summary);
    m_rows = new QTableWidget(0, 4);
    m_rows->setHorizontalHeaderLabels({tr("Where"), tr("Field"), tr("Before"), tr("After")});
    m_rows->verticalHeader()->hide();
    m_rows->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_rows->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_rows->setAlternatingRowColors(true);
    m_rows->setShowGrid(false);
    m_rows->setTabKeyNavigation(false);
    m_rows->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_rows->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_rows->setAccessibleName(tr("What would change"));
    layout->addWidget(m_rows, 1);
    layout->addWidget(makeWarning());
    auto* buttons = new QHBoxLayout;
    m_restore = new QPushButton(tr("Restore the &Old Rate…"));
    m_restore->setToolTip(tr("Puts back a header that was kept beside the movie before a conform."));
    m_conform = new QPushButton(tr("&Conform…"));
    buttons->addWidget(m_restore);
    buttons->addStretch();
    buttons->addWidget(m_conform);
    layout->addLayout(buttons);
    connectControls();
    reload();
}

QWidget* ConformPane::makeChoice()
{
    auto* box = new QWidget;
    auto* form = new QFormLayout(box);
    form->setContentsMargins({});
    form->setSpacing(kSpacing);
    m_present = new QLabel;
    m_present->setTextFormat(Qt::RichText);
    m_present->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_present->setAccessibleName(tr("Present rate"));
    form->addRow(tr("Present rate:"), m_present);

    m_rate = new QComboBox;
    m_rate->setEditable(true);
    m_rate->setInsertPolicy(QComboBox::NoInsert);
    for (const auto* rate : {"23.976", "24", "25", "29.97", "30", "47.952", "48", "50", "59.94", "60"})
        m_rate->addItem(QLatin1String(rate));
    m_rate->setAccessibleName(tr("New rate, frames a second"));
    auto* label = new QLabel(tr("&New rate:"));
    label->setBuddy(m_rate);
    auto* line = new QHBoxLayout;
    line->addWidget(m_rate);
    line->addWidget(new QLabel(tr("fps")));
    line->addStretch();
    form->addRow(label, line);

    m_rounded = new QRadioButton(tr("Conform (time scales rounded)"));
    m_rounded->setToolTip(
        tr("Divides the time scales by the ratio of the rates and rounds them, in the saved file."));
    m_rounded->setChecked(true);
    m_exactly = new QRadioButton(tr("Conform e&xactly (whole numbers, no drift)"));
    m_exactly->setToolTip(
        tr("Chooses time scales in which a frame is a whole number of units. An edit like others: it "
           "can be undone, and is saved with the movie."));
    m_strip = new QCheckBox(tr("Skip edit &lists"));
    m_strip->setToolTip(tr("Players then show all of each track's media, from its beginning."));
    m_keepHeader = new QCheckBox;
    m_keepHeader->setToolTip(tr("A file of its own, with which the old rate can be restored."));
    m_acceptDrift = new QCheckBox(tr("Accept sound that drifts more than a frame"));
    for (QWidget* each :
        std::initializer_list<QWidget*> {m_rounded, m_exactly, m_strip, m_keepHeader, m_acceptDrift})
        form->addRow(QString {}, each);
    return box;
}

QWidget* ConformPane::makeWarning()
{
    m_warning = new QLabel;
    m_warning->setWordWrap(true);
    m_warning->setTextFormat(Qt::RichText);
    m_warning->setFrameShape(QFrame::StyledPanel);
    m_warning->setMargin(kSpacing);
    m_warning->setAccessibleName(tr("Warning"));
    return m_warning;
}

void ConformPane::connectControls()
{
    m_preview.setSingleShot(true);
    m_preview.setInterval(kTypingPause);
    connect(&m_preview, &QTimer::timeout, this, &ConformPane::showPreview);
    connect(m_rate, &QComboBox::editTextChanged, this, [this] { m_preview.start(); });
    for (QAbstractButton* button :
        std::initializer_list<QAbstractButton*> {m_rounded, m_exactly, m_acceptDrift})
        connect(button, &QAbstractButton::clicked, this, &ConformPane::showPreview);
    connect(m_strip, &QCheckBox::clicked, this, [this](bool on) {
        m_panel.setStripsEditLists(on);
        showPreview();
    });
    connect(m_conform, &QPushButton::clicked, this, &ConformPane::conformFrameRate);
    connect(m_restore, &QPushButton::clicked, this, &ConformPane::restoreHeader);
    m_waiting.setInterval(kSaveCheck);
    connect(&m_waiting, &QTimer::timeout, this, [this] {
        m_panel.proceed();
        if (!m_panel.isWaiting())
            m_waiting.stop();
    });
}

void ConformPane::reload()
{
    const auto present = fromText(m_panel.presentRate());
    if (!m_isFilled || !m_rate->hasFocus()) {
        const QSignalBlocker blocker(m_rate);
        m_rate->setEditText(present);
        m_isFilled = true;
    }
    m_strip->setChecked(m_panel.stripsEditLists());
    m_keepHeader->setText(
        tr("Keep the old header beside the movie (%1)")
            .arg(fromText(FileHelper::formatFileSize(HeaderSidecar::sizeOf(m_document.movie())))));
    m_keepHeader->setEnabled(m_document.movie().file() != nullptr);
    if (isVisible())
        showPreview();
}

void ConformPane::showEvent(QShowEvent* event)
{
    Pane::showEvent(event);
    showPreview();
}

ConformPanel::Choice ConformPane::choice() const
{
    return {m_rate->currentText().trimmed().toStdString(), m_exactly->isChecked(), m_acceptDrift->isChecked(),
        m_keepHeader->isEnabled() && m_keepHeader->isChecked()};
}

void ConformPane::conformFrameRate()
{
    m_panel.conformFrameRate(choice());
    if (m_panel.isWaiting())
        m_waiting.start();
}

void ConformPane::showPreview()
{
    m_preview.stop();
    m_strip->setEnabled(m_rounded->isChecked());
    m_acceptDrift->setEnabled(m_exactly->isChecked());
    runInBackground(
        this,
        [movie = m_document.movie(), choice = choice(), strips = m_panel.stripsEditLists()] {
            return ConformPanel::preview(movie, choice, strips);
        },
        [this, asked = ++m_asked](const ConformPanel::Preview& preview) {
            if (asked == m_asked)
                showFound(preview);
        });
}

void ConformPane::showFound(const ConformPanel::Preview& preview)
{
    m_present->setText(QStringLiteral("<b>%1</b> &nbsp;%2")
                           .arg(fromText(preview.presentRate).toHtmlEscaped(),
                               fromText(preview.presentText).toHtmlEscaped()));
    m_summary->setText(QStringLiteral("<b>%1</b> &nbsp;%2")
                           .arg(tr("What would change"), fromText(preview.summary).toHtmlEscaped()));
    m_conform->setEnabled(preview.isPossible);
    m_restore->setEnabled(m_document.movie().file() != nullptr);
    showEffects(preview);
    showRows(preview.rows);
    showWarning(preview);
}

void ConformPane::showEffects(const ConformPanel::Preview& preview)
{
    while (m_effects->rowCount() > 0)
        m_effects->removeRow(0);
    for (const auto& [name, text] : preview.effects) {
        auto* value = new QLabel(fromText(text));
        value->setWordWrap(true);
        m_effects->addRow(fromText(name), value);
    }
    if (preview.effects.empty())
        m_effects->addRow(new QLabel(preview.error.empty() ? tr("Nothing is chosen yet.") : tr("None.")));
}

void ConformPane::showRows(const std::vector<ConformPanel::Row>& rows)
{
    m_rows->setRowCount(static_cast<int>(rows.size()));
    for (int i = 0; i < m_rows->rowCount(); ++i) {
        const auto& row = rows[static_cast<std::size_t>(i)];
        int column = 0;
        for (const auto* text : {&row.where, &row.field, &row.before, &row.after}) {
            auto* item = new QTableWidgetItem(fromText(*text));
            if (column >= 2)
                item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            m_rows->setItem(i, column++, item);
        }
    }
}

void ConformPane::showWarning(const ConformPanel::Preview& preview)
{
    QStringList lines;
    if (!preview.error.empty())
        lines << fromText(preview.error).toHtmlEscaped();
    for (const auto& warning : preview.warnings)
        lines << fromText(warning).toHtmlEscaped();
    if (preview.isPossible && m_rounded->isChecked()) {
        lines << QStringLiteral("<b>%1</b>").arg(tr("Conforming is written at once and cannot be undone."));
        if (m_document.isEdited())
            lines << tr("Your changes are saved first.");
    }
    m_warning->setText(lines.join(QLatin1String("<br>")));
    m_warning->setVisible(!lines.isEmpty());
}

void ConformPane::restoreHeader()
{
    const auto folder = QFileInfo(fromText(m_document.path())).absolutePath();
    const auto path = QFileDialog::getOpenFileName(
        this, tr("Restore the Old Rate"), folder, tr("Kept headers (*.header *.header-*);;All files (*)"));
    if (!path.isEmpty())
        m_panel.restoreHeader(path.toStdString());
}

std::size_t ConformPane::ask(const std::string& title, const std::string& text,
    const std::vector<std::string>& buttons, bool* suppress)
{
    QMessageBox box(window());
    box.setWindowModality(Qt::WindowModal);
    box.setIcon(buttons.size() > 1 ? QMessageBox::Question : QMessageBox::Information);
    box.setTextFormat(Qt::RichText);
    box.setText(QStringLiteral("<b>%1</b>").arg(fromText(title).toHtmlEscaped()));
    box.setInformativeText(fromText(text).toHtmlEscaped());
    std::vector<QAbstractButton*> made;
    for (const auto& button : buttons)
        made.push_back(box.addButton(
            fromText(button), made.empty() ? QMessageBox::AcceptRole : QMessageBox::RejectRole));
    box.setDefaultButton(qobject_cast<QPushButton*>(made.front()));
    box.setEscapeButton(made.back());
    if (suppress)
        box.setCheckBox(new QCheckBox(tr("Do not show this message again")));
    box.exec();
    if (suppress)
        *suppress = box.checkBox()->isChecked();
    const auto chosen = std::find(made.begin(), made.end(), box.clickedButton());
    return chosen == made.end() ? made.size() - 1 : static_cast<std::size_t>(chosen - made.begin());
}

} // namespace reelwright
