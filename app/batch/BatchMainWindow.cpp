#include "app/batch/BatchMainWindow.h"

#include "app/batch/BatchFilter.h"
#include "app/batch/BatchPane.h"
#include "app/batch/BatchQueueModel.h"
#include "app/batch/ChangesView.h"
#include "app/batch/FilePreview.h"
#include "app/batch/MovieFinder.h"
#include "app/batch/RunStrip.h"
#include "app/batch/SubmitSheet.h"
#include "app/shell/AlertBox.h"
#include "app/shell/Background.h"
#include "app/shell/FileChooser.h"
#include "app/window/CheckDialog.h"
#include "batch/BatchReport.h"
#include "edits/EditCatalogue.h"
#include "report/FactsJson.h"
#include "support/FileHelper.h"
#include "support/Preferences.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMimeData>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableView>
#include <QTextBrowser>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr int kSpacing = 8;
    constexpr int kRow = 24;
    constexpr int kCollectMilliseconds = 100;
    constexpr QSize kUsualSize {1280, 800};
    constexpr QSize kMinimumSize {960, 560};

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    void dress(QTableView& table, const QString& name)
    {
        table.setSelectionBehavior(QAbstractItemView::SelectRows);
        table.setSelectionMode(QAbstractItemView::ExtendedSelection);
        table.setAlternatingRowColors(true);
        table.setShowGrid(false);
        table.setWordWrap(false);
        table.setTabKeyNavigation(false);
        table.verticalHeader()->hide();
        table.verticalHeader()->setDefaultSectionSize(kRow);
        table.verticalHeader()->setSectionResizeMode(QHeaderView::Fixed); // asks no row for its height
        table.horizontalHeader()->setHighlightSections(false);
        table.setAccessibleName(name);
    }

} // namespace

BatchMainWindow::BatchMainWindow(
    BatchEnvironment environment, const ApplicationActions& actions, const QStringList& paths)
    : m_batch(environment)
    , m_panels(m_batch)
    , m_files(new BatchFileModel(m_batch, this))
    , m_filter(new BatchFilter(*m_files, this))
    , m_queueModel(new BatchQueueModel(m_batch, this))
    , m_storage(environment.storage)
{
    setWindowTitle(tr("Batch"));
    setAcceptDrops(true);
    m_file = new FilePreview(m_storage);
    m_changes = new ChangesView(m_batch);

    auto* left = new QSplitter(Qt::Vertical);
    left->addWidget(makeFileList());
    left->addWidget(makeQueue());
    left->addWidget(m_changes);
    left->setSizes({376, 160, 180});
    auto* right = new QWidget;
    auto* rightLayout = new QVBoxLayout(right);
    rightLayout->setContentsMargins({});
    rightLayout->setSpacing(kSpacing);
    rightLayout->addWidget(m_file);
    rightLayout->addWidget(makeTabs(), 1);
    rightLayout->addWidget(makeSubmitRow());
    auto* columns = new QSplitter(Qt::Horizontal);
    columns->addWidget(left);
    columns->addWidget(right);
    columns->setSizes({712, 544});
    columns->setStretchFactor(0, 1);
    for (auto* splitter : {left, columns}) {
        splitter->setChildrenCollapsible(false);
        splitter->setHandleWidth(kSpacing);
    }
    auto* central = new QWidget;
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(kSpacing, kSpacing, kSpacing, 0);
    layout->setSpacing(kSpacing);
    layout->addWidget(makeBanner());
    layout->addWidget(columns, 1);
    setCentralWidget(central);

    m_status = new QLabel;
    statusBar()->addWidget(m_status, 1);
    statusBar()->setSizeGripEnabled(false);
    auto* copy = new QPushButton(tr("&Copy as Command"));
    copy->setToolTip(tr("Copies the reelwright-cli command that does the same"));
    connect(copy, &QPushButton::clicked, this, &BatchMainWindow::copyAsCommand);
    statusBar()->addPermanentWidget(copy);
    makeMenus(actions);

    m_timer.setInterval(kCollectMilliseconds);
    connect(&m_timer, &QTimer::timeout, this, &BatchMainWindow::collect);
    connect(m_file, &FilePreview::movieChanged, this, [this] {
        m_information->setPlainText(m_file->report());
        for (auto* pane : m_panes)
            pane->setMovie(m_file->movie());
    });
    connect(m_file, &FilePreview::openAsked, this, &BatchMainWindow::openSelected);
    m_batch.windowDidLoad(*this);
    showResultColumns(false);
    enableSubmit(false);
    updateStatus();
    resize(kUsualSize);
    setMinimumSize(kMinimumSize);
    if (!paths.isEmpty())
        addPaths(paths);
}

BatchMainWindow::~BatchMainWindow()
{
    m_timer.stop();
    m_summaries.reset();
    delete takeCentralWidget(); // what shows the batch goes before it
}

QWidget* BatchMainWindow::makeFileList()
{
    auto* add = new QPushButton(QIcon::fromTheme(QStringLiteral("list-add")), tr("Add &Files\u2026"));
    auto* folder = new QPushButton(tr("Add Fol&der\u2026"));
    auto* remove = new QPushButton(QIcon::fromTheme(QStringLiteral("list-remove")), tr("Remove"));
    connect(add, &QPushButton::clicked, this, &BatchMainWindow::addFiles);
    connect(folder, &QPushButton::clicked, this, &BatchMainWindow::addFolder);
    connect(remove, &QPushButton::clicked, this, &BatchMainWindow::removeFiles);
    m_shown = new QComboBox;
    m_shown->addItems({tr("All"), tr("Changes"), tr("Warnings and failures"), tr("Failures")});
    m_shown->setAccessibleName(tr("Which files are shown"));
    auto* search = new QLineEdit;
    search->setPlaceholderText(tr("Filter"));
    search->setAccessibleName(tr("Filter by name"));
    search->setClearButtonEnabled(true);
    search->setMaximumWidth(160);
    search->addAction(QIcon::fromTheme(QStringLiteral("edit-find")), QLineEdit::LeadingPosition);
    connect(m_shown, &QComboBox::currentIndexChanged, m_filter, &BatchFilter::setShown);
    connect(search, &QLineEdit::textChanged, m_filter, &BatchFilter::setText);

    m_table = new QTableView;
    dress(*m_table, tr("Files of the batch"));
    m_table->setModel(m_filter);
    m_table->setSortingEnabled(true);
    m_table->sortByColumn(-1, Qt::AscendingOrder); // as they were added
    const int widths[] = {112, 176, 160, 96, 56, 96, 104, 72, 220, 96, 96};
    for (int column = 0; column < BatchFileModel::Columns; ++column)
        m_table->setColumnWidth(column, widths[column]);
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->installEventFilter(this);
    connect(m_table->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
        [this] { showSelection(); });

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(kSpacing);
    for (auto* button : {add, folder, remove})
        buttons->addWidget(button);
    buttons->addStretch();
    buttons->addWidget(m_shown);
    buttons->addWidget(search);
    auto* list = new QWidget;
    auto* layout = new QVBoxLayout(list);
    layout->setContentsMargins({});
    layout->setSpacing(kSpacing);
    layout->addLayout(buttons);
    layout->addWidget(m_table, 1);
    return list;
}

QWidget* BatchMainWindow::makeQueue()
{
    m_queueTitle = new QLabel;
    m_queueTitle->setTextFormat(Qt::RichText);
    auto* head = new QHBoxLayout;
    head->addWidget(m_queueTitle, 1);
    const auto button
        = [&](const char* icon, QStyle::StandardPixmap fallback, const QString& text, auto work) {
              auto* made = new QToolButton;
              made->setIcon(QIcon::fromTheme(QLatin1String(icon), style()->standardIcon(fallback)));
              made->setAutoRaise(true);
              made->setToolTip(text);
              made->setAccessibleName(text);
              connect(made, &QToolButton::clicked, this, work);
              head->addWidget(made);
          };
    button("go-up", QStyle::SP_ArrowUp, tr("Earlier (Alt+Up)"), [this] { moveQueueEntry(-1); });
    button("go-down", QStyle::SP_ArrowDown, tr("Later (Alt+Down)"), [this] { moveQueueEntry(1); });
    button("list-remove", QStyle::SP_DialogDiscardButton, tr("Remove from the queue (Delete)"),
        [this] { removeQueueEntries(); });
    m_queue = new QTableView;
    dress(*m_queue, tr("Queue of changes"));
    m_queue->setModel(m_queueModel);
    const int widths[] = {32, 330, 220, 100};
    for (int column = 0; column < BatchQueueModel::Columns; ++column)
        m_queue->setColumnWidth(column, widths[column]);
    m_queue->horizontalHeader()->setStretchLastSection(true);
    m_queue->installEventFilter(this);
    auto* widget = new QWidget;
    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins({});
    layout->setSpacing(kSpacing / 2);
    layout->addLayout(head);
    layout->addWidget(m_queue, 1);
    return widget;
}

QWidget* BatchMainWindow::makeTabs()
{
    m_tabs = new QTabWidget;
    m_tabs->setAccessibleName(tr("Panels"));
    m_information = new QTextBrowser;
    m_information->setAccessibleName(tr("Information on the selected file"));
    m_tabs->addTab(m_information, tr("Info"));
    const std::pair<QString, BatchPane* (*)(BatchPanels&)> panes[]
        = {{tr("Quick Tasks"), makeQuickTasksBatchPane}, {tr("Attributes"), makeAttributesBatchPane},
            {tr("Settings"), makeSettingsBatchPane}, {tr("Conform"), makeConformBatchPane},
            {tr("Timecode"), makeTimecodeBatchPane}, {tr("Metadata"), makeMetadataBatchPane}};
    for (const auto& [title, make] : panes) {
        m_panes.push_back(make(m_panels));
        m_tabs->addTab(m_panes.back(), title);
    }
    m_tabs->setCurrentIndex(1);
    return m_tabs;
}

QWidget* BatchMainWindow::makeSubmitRow()
{
    m_mode = new QComboBox;
    m_mode->addItems({tr("In place"), tr("Beside, with a text"), tr("Into a folder")});
    m_mode->setAccessibleName(tr("Where the results go"));
    m_mode->setCurrentIndex(static_cast<int>(m_batch.updateType()));
    connect(m_mode, &QComboBox::activated, this, [this](int mode) {
        m_batch.preferences().set("batchUpdateType", std::int64_t {mode});
        showChanges();
    });
    m_preview = new QPushButton(tr("&Preview Changes"));
    m_preview->setToolTip(tr("Finds out what the batch would do to each file; writes nothing"));
    connect(m_preview, &QPushButton::clicked, this, &BatchMainWindow::previewChanges);
    m_submit = new QPushButton(tr("&Submit Batch\u2026"));
    m_submit->setDefault(true);
    connect(m_submit, &QPushButton::clicked, this, &BatchMainWindow::submit);
    auto* label = new QLabel(tr("Save:"));
    label->setBuddy(m_mode);
    m_strip = new RunStrip;
    m_strip->hide();
    connect(m_strip, &RunStrip::cancelled, this, [this] { m_batch.cancelProcessing(); });
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(label);
    buttons->addWidget(m_mode);
    buttons->addStretch();
    buttons->addWidget(m_preview);
    buttons->addWidget(m_submit);
    auto* row = new QWidget;
    auto* layout = new QVBoxLayout(row);
    layout->setContentsMargins({});
    layout->addWidget(m_strip);
    layout->addLayout(buttons);
    return row;
}

QWidget* BatchMainWindow::makeBanner()
{
    m_banner = new QFrame;
    m_banner->setFrameShape(QFrame::StyledPanel);
    m_banner->setAutoFillBackground(true);
    m_bannerText = new QLabel;
    m_bannerText->setWordWrap(true);
    m_retry = new QPushButton(tr("&Retry Failed"));
    auto* save = new QPushButton(tr("Save Report\u2026"));
    auto* back = new QPushButton(tr("Put Queue Back"));
    auto* close = new QToolButton;
    close->setIcon(style()->standardIcon(QStyle::SP_TitleBarCloseButton));
    close->setAutoRaise(true);
    close->setAccessibleName(tr("Back to the files"));
    close->setToolTip(tr("Back to the files"));
    connect(m_retry, &QPushButton::clicked, this, &BatchMainWindow::retryFailed);
    connect(save, &QPushButton::clicked, this, &BatchMainWindow::saveReport);
    connect(back, &QPushButton::clicked, this, [this] {
        showResultColumns(false);
        m_batch.putQueueBack();
    });
    connect(close, &QToolButton::clicked, this, [this] { showResultColumns(false); });
    auto* layout = new QHBoxLayout(m_banner);
    layout->setContentsMargins(kSpacing, kSpacing / 2, kSpacing, kSpacing / 2);
    layout->addWidget(m_bannerText, 1);
    layout->addWidget(m_retry);
    layout->addWidget(save);
    layout->addWidget(back);
    layout->addWidget(close);
    m_banner->hide();
    return m_banner;
}

QAction* BatchMainWindow::addAction(
    QMenu& menu, const QString& text, const QKeySequence& keys, void (BatchMainWindow::*work)())
{
    auto* action = menu.addAction(text);
    action->setShortcut(keys);
    connect(action, &QAction::triggered, this, work);
    return action;
}

void BatchMainWindow::makeMenus(const ApplicationActions& actions)
{
    auto& file = *menuBar()->addMenu(tr("&File"));
    for (auto* action : {actions.newBatch, actions.open})
        if (action)
            file.addAction(action);
    if (actions.openRecent)
        file.addMenu(actions.openRecent);
    file.addSeparator();
    auto* close = file.addAction(tr("&Close"));
    close->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_W));
    connect(close, &QAction::triggered, this, [this] { this->close(); });
    file.addSeparator();
    if (actions.quit)
        file.addAction(actions.quit);
    if (actions.preferences)
        menuBar()->addMenu(tr("&Edit"))->addAction(actions.preferences);
    auto& batch = *menuBar()->addMenu(tr("&Batch"));
    addAction(batch, tr("&Add Files\u2026"), QKeySequence(Qt::Key_Insert), &BatchMainWindow::addFiles);
    addAction(batch, tr("Add F&older\u2026"), QKeySequence(Qt::SHIFT | Qt::Key_Insert),
        &BatchMainWindow::addFolder);
    batch.addSeparator();
    addAction(
        batch, tr("&Preview Changes"), QKeySequence(Qt::CTRL | Qt::Key_P), &BatchMainWindow::previewChanges);
    addAction(
        batch, tr("&Submit Batch\u2026"), QKeySequence(Qt::CTRL | Qt::Key_Return), &BatchMainWindow::submit);
    addAction(batch, tr("&Retry Failed"), QKeySequence(Qt::CTRL | Qt::Key_R), &BatchMainWindow::retryFailed);
    batch.addSeparator();
    addAction(batch, tr("C&heck\u2026"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_K),
        &BatchMainWindow::checkFiles);
    addAction(batch, tr("Save Repor&t\u2026"), {}, &BatchMainWindow::saveReport);
    addAction(batch, tr("&Copy as Command"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C),
        &BatchMainWindow::copyAsCommand);
    if (actions.windows)
        menuBar()->addMenu(actions.windows);
    if (actions.about)
        menuBar()->addMenu(tr("&Help"))->addActions({actions.diagnostics, actions.about});
}

// Files

void BatchMainWindow::addPaths(const QStringList& paths)
{
    runInBackground(
        this, [paths] { return moviesAmong(paths); },
        [this](const std::vector<std::string>& found) {
            if (!found.empty())
                m_batch.addFiles(found);
        });
}

void BatchMainWindow::queueTask(int tag)
{
    m_panels.performQuickTask(tag);
}

void BatchMainWindow::addFiles()
{
    auto* chooser = new QFileDialog(this, tr("Add movies to the batch"));
    chooser->setAttribute(Qt::WA_DeleteOnClose);
    chooser->setWindowModality(Qt::WindowModal);
    chooser->setFileMode(QFileDialog::ExistingFiles);
    chooser->setNameFilters(
        {tr("Movies (*.mov *.MOV *.qt *.QT *.mp4 *.MP4 *.m4v *.M4V)"), tr("All files (*)")});
    makeRoomInFileChooser(*chooser);
    connect(chooser, &QFileDialog::filesSelected, this, &BatchMainWindow::addPaths);
    chooser->open();
}

void BatchMainWindow::addFolder()
{
    if (const auto folder = chooseFolder(tr("Add the movies of a folder").toStdString()))
        addPaths({fromUtf8(*folder)});
}

std::vector<std::size_t> BatchMainWindow::selectedFiles() const
{
    std::vector<std::size_t> rows;
    for (const auto& index : m_table->selectionModel()->selectedRows())
        rows.push_back(static_cast<std::size_t>(m_filter->mapToSource(index).row()));
    return rows;
}

std::string BatchMainWindow::selectedPath() const
{
    const auto current = m_table->currentIndex();
    return current.isValid() ? current.data(BatchFileModel::PathRole).toString().toStdString()
                             : std::string {};
}

void BatchMainWindow::removeFiles()
{
    m_batch.removeFiles(selectedFiles());
}

void BatchMainWindow::reloadFiles()
{
    const auto path = selectedPath();
    m_files->reload();
    m_queueModel->countsChanged();
    summarise();
    const auto& all = m_batch.fileArray();
    auto place = std::find(all.begin(), all.end(), path);
    if (place == all.end())
        place = all.begin();
    if (place != all.end())
        m_table->setCurrentIndex(
            m_filter->mapFromSource(m_files->index(static_cast<int>(place - all.begin()), 0)));
    else
        previewCleared();
    updateStatus();
}

void BatchMainWindow::fileChanged(std::size_t index)
{
    m_files->fileChanged(index);
    if (m_batch.isProcessing())
        m_strip->setDone(++m_ended);
}

/// Has the files looked at that nothing is known of.
void BatchMainWindow::summarise()
{
    if (m_batch.isProcessing())
        return;
    std::vector<BackgroundScan<FileSummary>::File> files;
    const auto& all = m_batch.fileArray();
    for (std::size_t i = 0; i < all.size(); ++i)
        if (!m_files->summary(all[i]))
            files.push_back({i, all[i]});
    if (files.empty())
        return;
    m_summaries = std::make_unique<BackgroundScan<FileSummary>>(std::move(files),
        [storage = m_storage](const std::string& path) { return FileSummary::of(path, storage); });
    m_timer.start();
}

void BatchMainWindow::collect()
{
    if (m_summaries) {
        const bool isRunning = m_summaries->isRunning();
        const auto& all = m_batch.fileArray();
        for (auto& [index, summary] : m_summaries->collect())
            if (index < all.size()) { // a scan ends with the list that it was made for
                m_files->setSummary(all[index], std::move(summary));
                m_files->fileChanged(index);
            }
        if (!isRunning)
            m_summaries.reset();
    }
    if (m_isPreviewing) {
        m_isPreviewing = m_batch.collectPreviews();
        m_queueModel->countsChanged();
        m_preview->setEnabled(!m_isPreviewing && !m_batch.taskQueue().empty());
        updateStatus();
    }
    if (!m_summaries && !m_isPreviewing)
        m_timer.stop();
}

void BatchMainWindow::showSelection()
{
    const auto path = selectedPath();
    if (path.empty() || m_batch.isProcessing())
        return;
    m_file->show(path);
    showChanges();
}

void BatchMainWindow::showChanges()
{
    const auto path = selectedPath();
    if (path.empty() || m_batch.isProcessing())
        m_changes->clear();
    else
        m_changes->show(path, static_cast<BatchMode>(m_mode->currentIndex()));
}

void BatchMainWindow::previewCleared()
{
    m_file->clear();
    m_changes->clear();
}

void BatchMainWindow::openSelected()
{
    if (const auto path = selectedPath(); !path.empty())
        emit openAsked({fromUtf8(path)});
}

// The queue

void BatchMainWindow::reloadTaskQueue()
{
    m_queueModel->showLastRun(false);
    const auto count = m_batch.taskQueue().size();
    m_queueTitle->setText(count == 0 ? tr("<b>Queue</b> empty: choose changes on the right")
            : count == 1             ? tr("<b>Queue</b> 1 change, one save a file")
                         : tr("<b>Queue</b> %1 changes, in this order, one save a file").arg(count));
    if (count != 0 && m_banner->isVisible())
        showResultColumns(false);
    for (std::size_t i = 0; i < m_batch.fileArray().size(); ++i)
        if (i < 200) // the rest is asked anew when it comes into sight
            m_files->fileChanged(i);
    m_preview->setEnabled(count != 0);
    showChanges();
    updateStatus();
}

void BatchMainWindow::removeQueueEntries()
{
    const auto rows = m_queue->selectionModel()->selectedRows();
    if (rows.isEmpty() || m_queueModel->showsLastRun())
        return;
    const int row = rows.front().row();
    m_batch.removeQueueEntry(static_cast<std::size_t>(row));
    if (m_queueModel->rowCount() > 0)
        m_queue->selectRow(std::min(row, m_queueModel->rowCount() - 1));
}

void BatchMainWindow::moveQueueEntry(int by)
{
    const auto current = m_queue->currentIndex();
    const int to = current.row() + by;
    if (!current.isValid() || m_queueModel->showsLastRun() || to < 0 || to >= m_queueModel->rowCount())
        return;
    m_batch.moveQueueEntry(static_cast<std::size_t>(current.row()), static_cast<std::size_t>(to));
    m_queue->selectRow(to);
}

void BatchMainWindow::enableSubmit(bool isEnabled)
{
    m_submit->setEnabled(isEnabled);
    m_preview->setEnabled(isEnabled && !m_isPreviewing);
}

// Runs

void BatchMainWindow::previewChanges()
{
    if (m_batch.taskQueue().empty())
        return;
    m_batch.previewChanges(static_cast<BatchMode>(m_mode->currentIndex()));
    m_isPreviewing = true;
    m_preview->setEnabled(false);
    m_timer.start();
    showChanges();
}

void BatchMainWindow::submit()
{
    if (m_submit->isEnabled())
        m_batch.showBatchProcessWindow();
}

void BatchMainWindow::showBatchProcessSheet()
{
    auto* sheet = new SubmitSheet(m_batch.preferences(), m_batch.fileArray().size(), this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    connect(sheet, &QDialog::accepted, this, [this, sheet] {
        m_mode->setCurrentIndex(static_cast<int>(sheet->mode()));
        m_batch.batchProcess(sheet->mode());
    });
    sheet->open();
}

void BatchMainWindow::showProgress(std::size_t fileCount)
{
    m_summaries.reset();
    m_isPreviewing = false;
    m_ended = 0;
    m_strip->begin(fileCount);
    m_tabs->setEnabled(false);
    m_mode->setEnabled(false);
    updateStatus();
}

void BatchMainWindow::updateProgressLabel(const std::string& label)
{
    m_strip->setLabel(fromUtf8(label));
}

void BatchMainWindow::setProgress(std::size_t /*done*/)
{
    // The strip counts the failed files too, so that the time left is right.
}

void BatchMainWindow::endProgress()
{
    m_strip->end();
    m_tabs->setEnabled(true);
    m_mode->setEnabled(true);
    const auto totals = BatchTotals::of(m_batch.results());
    auto text = tr("<b>%1 of %2 files done in %3 s.</b> %4 unchanged, %5 failed")
                    .arg(totals.done)
                    .arg(totals.files)
                    .arg(m_strip->seconds(), 0, 'f', m_strip->seconds() < 10 ? 1 : 0)
                    .arg(totals.unchanged)
                    .arg(totals.failed);
    if (totals.failed != 0)
        text += tr("; the failed files are as they were");
    m_bannerText->setText(text);
    m_retry->setEnabled(totals.failed != 0);
    showResultColumns(true);
}

void BatchMainWindow::runEnded()
{
    // What was written may say something else now.
    for (const auto& result : m_batch.results())
        if (result.status == BatchResult::Status::Done)
            m_files->forgetSummary(result.file);
    summarise();
    showSelection();
    updateStatus();
}

void BatchMainWindow::showResultColumns(bool isOn)
{
    for (const int column : {BatchFileModel::Duration, BatchFileModel::Rate, BatchFileModel::Size,
             BatchFileModel::StartTimecode, BatchFileModel::Reel, BatchFileModel::Folder})
        m_table->setColumnHidden(column, isOn);
    for (const int column : {BatchFileModel::Result, BatchFileModel::Written, BatchFileModel::Verified})
        m_table->setColumnHidden(column, !isOn);
    m_banner->setVisible(isOn);
    if (isOn) {
        m_queueModel->showLastRun(true);
        m_queueTitle->setText(tr("<b>Last run</b>"));
        m_table->sortByColumn(BatchFileModel::Status, Qt::AscendingOrder);
    } else if (m_queueModel->showsLastRun()) {
        m_table->sortByColumn(-1, Qt::AscendingOrder);
        reloadTaskQueue();
    } else {
        m_queueTitle->setText(tr("<b>Queue</b> empty: choose changes on the right"));
    }
}

void BatchMainWindow::updateStatus()
{
    const auto files = m_batch.fileArray().size();
    const auto changes = m_batch.taskQueue().size();
    auto text = tr("<b>%1, %2</b>")
                    .arg(files == 1 ? tr("1 file") : tr("%1 files").arg(files),
                        changes == 1 ? tr("1 change") : tr("%1 changes").arg(changes));
    std::size_t would = 0;
    std::size_t same = 0;
    std::size_t failed = 0;
    std::size_t known = 0;
    for (const auto& preview : m_batch.previews()) {
        if (!preview)
            continue;
        ++known;
        would += preview->status == BatchResult::Status::Done ? 1U : 0U;
        same += preview->status == BatchResult::Status::Unchanged ? 1U : 0U;
        failed += preview->status == BatchResult::Status::Failed ? 1U : 0U;
    }
    if (known != 0)
        text += tr(" \u00B7 %1 would change, %2 stay as they are, %3 would fail")
                    .arg(would)
                    .arg(same)
                    .arg(failed);
    m_status->setText(text);
}

/// The selected files, or all where one or none is selected.
void BatchMainWindow::checkFiles()
{
    if (m_batch.isProcessing() || m_batch.fileArray().empty())
        return;
    auto paths = m_batch.fileArray();
    if (const auto rows = selectedFiles(); rows.size() > 1) {
        paths.clear();
        for (const auto row : rows)
            paths.push_back(m_batch.fileArray()[row]);
    }
    auto* dialog = new CheckDialog(
        std::move(paths),
        [storage = m_storage](const std::string& path) -> Result<Json> {
            RW_TRY(const auto movie, QTMovie::open(path, storage, HeaderReading::Outline));
            return factsJson(MovieFacts::of(movie));
        },
        tr("&Queue What Mends Them"), this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    connect(dialog, &CheckDialog::mendAsked, this, [this](const std::vector<std::string>& edits) {
        const auto plan = planOf(edits);
        if (!plan) {
            alert("The edits do not go together", plan.error().detail, {"OK"});
            return;
        }
        for (const auto& edit : plan->edits)
            m_panels.queue(edit);
        if (plan->conform && plan->conform->frameRate > 0)
            m_panels.conformFrameRate(plan->conform->text);
        else if (plan->conform)
            alert("The exact conform is not queued",
                "A batch conforms by a number of frames a second; use the command line for "
                "--conform-exact.",
                {"OK"});
    });
    dialog->open();
}

void BatchMainWindow::copyAsCommand()
{
    const auto* last = m_batch.lastRun();
    const bool isOld = m_batch.taskQueue().empty() && last;
    const auto settings
        = isOld ? last->settings : m_batch.settings(static_cast<BatchMode>(m_mode->currentIndex()));
    QApplication::clipboard()->setText(
        fromUtf8(batchCommandLine(isOld ? last->queue : m_batch.taskQueue(), settings, m_batch.fileArray())));
    statusBar()->showMessage(tr("The command is on the clipboard."), 5000);
}

void BatchMainWindow::saveReport()
{
    if (!m_batch.lastRun())
        return;
    QFileDialog chooser(this, tr("Save Report"));
    chooser.setWindowModality(Qt::WindowModal);
    chooser.setAcceptMode(QFileDialog::AcceptSave);
    const QString csv = tr("Table (*.csv)");
    const QString json = tr("JSON (*.json)");
    chooser.setNameFilters({csv, json, tr("Text (*.txt)")});
    chooser.selectFile(QStringLiteral("batch-report.csv"));
    makeRoomInFileChooser(chooser);
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty())
        return;
    auto path = chooser.selectedFiles().front();
    const auto& results = m_batch.results();
    const auto& queue = m_batch.lastRun()->queue;
    std::string text;
    if (path.endsWith(QLatin1String(".json"), Qt::CaseInsensitive))
        text = toText(batchReportJson(queue, results), JsonStyle::Indented) + '\n';
    else if (path.endsWith(QLatin1String(".txt"), Qt::CaseInsensitive))
        text = batchReportText(queue, results);
    else
        text = batchReportCsv(results);
    runInBackground(
        this, [path, text] { return FileHelper::writeAtomically(path.toStdString(), text); },
        [this, path](std::error_code error) {
            if (error)
                alert("The report could not be saved", path.toStdString() + ": " + error.message(), {"OK"});
            else
                statusBar()->showMessage(tr("The report is saved: %1").arg(path), 5000);
        });
}

// What the batch asks of its window

std::size_t BatchMainWindow::alert(
    const std::string& title, const std::string& text, const std::vector<std::string>& buttons)
{
    return showAlert(*this, windowTitle(), title, text, buttons);
}

std::optional<std::string> BatchMainWindow::chooseFolder(const std::string& title)
{
    QFileDialog chooser(this, fromUtf8(title));
    chooser.setWindowModality(Qt::WindowModal);
    chooser.setFileMode(QFileDialog::Directory);
    chooser.setOption(QFileDialog::ShowDirsOnly);
    makeRoomInFileChooser(chooser);
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty())
        return std::nullopt;
    return chooser.selectedFiles().front().toStdString();
}

void BatchMainWindow::closeWindow()
{
    if (std::exchange(m_isClosed, true))
        return;
    m_file->clear();
    hide();
    emit closed();
}

void BatchMainWindow::closeEvent(QCloseEvent* event)
{
    event->ignore();
    if (!m_isClosed && m_batch.windowShouldClose())
        closeWindow();
}

void BatchMainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void BatchMainWindow::dropEvent(QDropEvent* event)
{
    QStringList paths;
    for (const auto& url : event->mimeData()->urls())
        if (url.isLocalFile())
            paths << url.toLocalFile();
    event->acceptProposedAction();
    addPaths(paths);
}

void BatchMainWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape && m_batch.isProcessing())
        m_batch.cancelProcessing();
    else
        QMainWindow::keyPressEvent(event);
}

bool BatchMainWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyRelease && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete) {
        if (watched == m_queue)
            removeQueueEntries();
        else if (watched == m_table)
            removeFiles();
    }
    if (watched == m_queue && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        const bool isUp = key->key() == Qt::Key_Up;
        if (key->modifiers() == Qt::AltModifier && (isUp || key->key() == Qt::Key_Down)) {
            moveQueueEntry(isUp ? -1 : 1);
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

} // namespace reelwright
