#include "app/panes/ChaptersPane.h"

#include "app/panes/ChapterTableModel.h"
#include "app/panes/ChapterThumbnails.h"
#include "app/player/MovieView.h"
#include "app/player/Scrubber.h"
#include "app/shell/FileChooser.h"
#include "document/MyDocument.h"

#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QSortFilterProxyModel>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>

#include <set>

namespace reelwright {
namespace {

    constexpr int kRowHeight = 48;

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    QStringList titles(const std::vector<MarkerFormat>& formats)
    {
        QStringList all;
        for (const auto& format : formats)
            all << QString::fromUtf8(format.title);
        return all;
    }

    const MarkerFormat& chosen(const std::vector<MarkerFormat>& formats, const QString& title)
    {
        for (const auto& format : formats)
            if (title == QString::fromUtf8(format.title))
                return format;
        return formats.front();
    }

} // namespace

ChaptersPane::ChaptersPane(MyDocument& document, MovieView& view, Scrubber& scrubber, QWidget* parent)
    : Pane(parent)
    , m_view(view)
    , m_scrubber(scrubber)
    , m_edits(document)
    , m_model(new ChapterTableModel(document, this))
    , m_found(new QSortFilterProxyModel(this))
    , m_search(new QLineEdit)
    , m_table(new QTableView)
{
    m_found->setSourceModel(m_model);
    m_found->setFilterKeyColumn(ChapterTableModel::Name);
    m_found->setFilterCaseSensitivity(Qt::CaseInsensitive);
    m_search->setClearButtonEnabled(true);
    m_search->setAccessibleName(tr("Search chapters"));
    connect(m_search, &QLineEdit::textChanged, m_found, &QSortFilterProxyModel::setFilterFixedString);

    m_table->setModel(m_found);
    m_table->setAccessibleName(tr("Chapters"));
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_table->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    m_table->setAlternatingRowColors(true);
    m_table->setShowGrid(false);
    m_table->verticalHeader()->setVisible(false);
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_table->verticalHeader()->setDefaultSectionSize(kRowHeight);
    m_table->horizontalHeader()->setSectionResizeMode(ChapterTableModel::Name, QHeaderView::Stretch);
    m_table->setTabKeyNavigation(false);
    m_table->setIconSize({ChapterThumbnails::kWidth, ChapterThumbnails::kHeight});
    m_table->horizontalHeader()->moveSection(ChapterTableModel::Picture, 0);
    m_table->horizontalHeader()->setSectionResizeMode(ChapterTableModel::Picture, QHeaderView::Fixed);
    m_table->horizontalHeader()->resizeSection(
        ChapterTableModel::Picture, ChapterThumbnails::kWidth + kSpacing);
    m_table->horizontalHeader()->setHighlightSections(false);
    m_table->installEventFilter(this);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        m_remove->setEnabled(m_table->selectionModel()->hasSelection());
        goToSelected();
    });
    // Return in an editor goes on to the same column of the next row.
    connect(m_table->itemDelegate(), &QAbstractItemDelegate::closeEditor, this,
        [this](QWidget*, QAbstractItemDelegate::EndEditHint hint) {
            if (hint == QAbstractItemDelegate::SubmitModelCache)
                QTimer::singleShot(0, this, [this] { editNext(); });
        });
    connect(&m_view, &MovieView::chapterAsked, this, [this] { addChapter(); });
    connect(&m_scrubber, &Scrubber::tickMoved, this, [this](std::size_t tick, const QTTime& time) {
        if (const auto done = m_edits.moveTo(tick, time); !done)
            tell(tr("The chapter was not moved"), fromUtf8(done.error().detail));
        reload(); // puts the tick back that was refused
    });
    connect(m_model, &ChapterTableModel::refused, this,
        [this](const QString& reason) { tell(tr("The chapter was not changed"), reason); });

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    layout->addWidget(m_search);
    layout->addWidget(m_table, 1);
    const auto row = [&](std::initializer_list<QWidget*> left, std::initializer_list<QWidget*> right) {
        auto* buttons = new QHBoxLayout;
        for (auto* button : left)
            buttons->addWidget(button);
        buttons->addStretch();
        for (auto* button : right)
            buttons->addWidget(button);
        layout->addLayout(buttons);
    };
    m_remove = makeButton(tr("Remove"), tr("Remove the selected chapters"), [this] { removeSelected(); });
    m_remove->setEnabled(false);
    m_add = makeButton(tr("Add"), tr("Add a chapter where the picture is, or at the next free frame"),
        [this] { addChapter(); });
    m_add->setIcon(QIcon::fromTheme(QStringLiteral("list-add")));
    m_remove->setIcon(QIcon::fromTheme(QStringLiteral("list-remove")));
    row({m_add, m_remove}, {});
    row({makeButton(tr("Shift…"), tr("Move all chapters by a time"),
             [this] {
                 ask(tr("Shift Chapters"), tr("Move all chapters by this time (- for earlier):"),
                     QStringLiteral("+00:00:01:00"), &DocumentChapters::shift);
             }),
            makeButton(tr("Stretch…"), tr("Multiply the starts of all chapters"),
                [this] {
                    ask(tr("Stretch Chapters"), tr("Multiply all starts by this fraction:"),
                        QStringLiteral("25/24"), &DocumentChapters::stretch);
                }),
            makeButton(tr("One Every…"), tr("Add a chapter after each such time"),
                [this] {
                    ask(tr("Add Chapters"), tr("One chapter every (hours:minutes:seconds:frames):"),
                        QStringLiteral("00:05:00:00"), &DocumentChapters::addEvery);
                }),
            makeButton(tr("From Timecode Breaks"),
                tr("Add a chapter wherever the timecode does not count on"),
                [this] {
                    if (const auto done = m_edits.addAtTimecodeBreaks(); !done)
                        tell(tr("No chapters were added"), fromUtf8(done.error().detail));
                })},
        {});
    m_note = new QLabel;
    m_note->setWordWrap(true);
    m_note->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(m_note);
    row({},
        {makeButton(tr("Import…"), tr("Add the chapters or markers of a file"), [this] { importChapters(); }),
            makeButton(tr("Export…"), tr("Write the chapters as a list"), [this] { exportChapters(); })});
    connect(&m_view, &MovieView::timeChanged, this, &ChaptersPane::showNextStart);
    reload();
}

QPushButton* ChaptersPane::makeButton(const QString& text, const QString& toolTip, std::function<void()> work)
{
    auto* button = new QPushButton(text);
    button->setToolTip(toolTip);
    button->setAccessibleDescription(toolTip);
    connect(button, &QPushButton::clicked, this, [work = std::move(work)] { work(); });
    return button;
}

void ChaptersPane::reload()
{
    const QScopedValueRollback reloading(m_isReloading, true);
    m_model->reload();
    showCounts();
    std::vector<QTTime> starts;
    for (const auto& chapter : m_model->chapters())
        starts.push_back(chapter.start);
    m_scrubber.setTicks(starts);
    showNextStart();
}

void ChaptersPane::showEvent(QShowEvent* event)
{
    Pane::showEvent(event);
    showNextStart();
}

void ChaptersPane::showNextStart()
{
    if (!isVisible())
        return;
    const auto now = m_view.currentTime();
    const bool isTaken = KWChapterController::checkForChapterConflictsInArray(m_model->chapters(), now);
    const auto text = fromUtf8(m_edits.startText(now));
    m_add->setText(isTaken ? tr("Add after %1").arg(text) : tr("Add at %1").arg(text));
    const auto key = tr("The key M adds a chapter while the movie plays.");
    m_note->setText(isTaken
            ? tr("%1 has a chapter, so that a new one starts at the next free frame. %2").arg(text, key)
            : key);
}

void ChaptersPane::editNext()
{
    const auto current = m_table->currentIndex();
    const auto next = current.siblingAtRow(current.row() + 1);
    if (!next.isValid())
        return;
    m_table->setCurrentIndex(next);
    m_table->edit(next);
}

void ChaptersPane::showCounts()
{
    m_search->setPlaceholderText(
        tr("Search %n chapter(s)", nullptr, m_model->rowCount())
            .replace(QStringLiteral("(s)"), m_model->rowCount() == 1 ? QString() : QStringLiteral("s")));
}

void ChaptersPane::addChapter()
{
    const auto done = m_edits.addChapter(m_view.currentTime());
    if (!done)
        tell(tr("The chapter was not added"), fromUtf8(done.error().detail));
}

void ChaptersPane::goToSelected()
{
    const auto rows = m_table->selectionModel()->selectedRows();
    if (m_isReloading || rows.size() != 1)
        return;
    const auto row = static_cast<std::size_t>(m_found->mapToSource(rows.front()).row());
    if (row < m_model->chapters().size())
        m_view.setCurrentTime(m_model->chapters()[row].start);
}

void ChaptersPane::removeSelected()
{
    std::set<std::size_t> rows;
    for (const auto& index : m_table->selectionModel()->selectedRows())
        rows.insert(static_cast<std::size_t>(m_found->mapToSource(index).row()));
    m_edits.removeChapter({rows.begin(), rows.end()});
}

bool ChaptersPane::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress || watched != m_table)
        return Pane::eventFilter(watched, event);
    const auto key = static_cast<QKeyEvent*>(event)->key(); // NOLINT: its type says what it is
    if (key == Qt::Key_Delete || key == Qt::Key_Backspace) {
        removeSelected();
        return true;
    }
    if (key == Qt::Key_M) {
        addChapter();
        return true;
    }
    const auto current = m_table->currentIndex();
    if ((key == Qt::Key_Return || key == Qt::Key_Enter) && current.isValid()) {
        if (m_table->indexWidget(current))
            return false;
        m_table->edit(current.column() == ChapterTableModel::Length
                ? current.siblingAtColumn(ChapterTableModel::Name)
                : current);
        return true;
    }
    return Pane::eventFilter(watched, event);
}

void ChaptersPane::ask(const QString& title, const QString& label, const QString& text,
    Result<void> (DocumentChapters::*work)(const std::string&))
{
    bool isAccepted = false;
    const auto typed = QInputDialog::getText(window(), title, label, QLineEdit::Normal, text, &isAccepted);
    if (!isAccepted)
        return;
    if (const auto done = (m_edits.*work)(typed.toStdString()); !done)
        tell(tr("The chapters were not changed"), fromUtf8(done.error().detail));
}

void ChaptersPane::importChapters()
{
    const auto& formats = MarkerFiles::importFormats();
    QFileDialog chooser(window(), tr("Import Chapters"));
    chooser.setFileMode(QFileDialog::ExistingFile);
    chooser.setNameFilters(titles(formats));
    makeRoomInFileChooser(chooser);
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty())
        return;
    const auto alert = m_edits.importChapters(
        chooser.selectedFiles().constFirst().toStdString(), chosen(formats, chooser.selectedNameFilter()));
    if (alert)
        tell(fromUtf8(alert->title), fromUtf8(alert->text));
}

void ChaptersPane::exportChapters()
{
    const auto& formats = MarkerFiles::exportFormats();
    QFileDialog chooser(window(), tr("Export Chapters"));
    chooser.setAcceptMode(QFileDialog::AcceptSave);
    chooser.setNameFilters(titles(formats));
    const auto suffixOf = [&](const QString& title) {
        const auto extension = chosen(formats, title).extensions.front();
        chooser.setDefaultSuffix(
            QString::fromUtf8(extension.data(), static_cast<qsizetype>(extension.size())));
    };
    suffixOf(chooser.selectedNameFilter());
    connect(&chooser, &QFileDialog::filterSelected, &chooser, suffixOf);
    chooser.selectFile(fromUtf8(m_edits.proposedExportName()));
    makeRoomInFileChooser(chooser);
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty())
        return;
    const auto done = m_edits.exportChapters(
        chooser.selectedFiles().constFirst().toStdString(), chosen(formats, chooser.selectedNameFilter()));
    if (!done)
        tell(tr("The chapters were not exported"), fromUtf8(done.error().message()));
}

void ChaptersPane::tell(const QString& title, const QString& text)
{
    auto* box = new QMessageBox(QMessageBox::Warning, title, title, QMessageBox::Ok, window());
    box->setInformativeText(text);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

} // namespace reelwright
