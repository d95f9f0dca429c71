#include "app/panes/QuickTasksPane.h"

#include "app/panes/QuickTaskList.h"
#include "app/shell/Background.h"
#include "app/shell/FileChooser.h"
#include "document/MyDocument.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    constexpr int kMostRows = 200;

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    /// "tracks/2/enabled" is "enabled" of "Track 2"; what is no track's is the movie's.
    std::pair<QString, QString> placeOf(const std::string& path)
    {
        const auto text = fromUtf8(path);
        const auto parts = text.split(QLatin1Char('/'));
        if (parts.size() >= 2 && parts.front() == QLatin1String("tracks"))
            return {QuickTasksPane::tr("Track %1").arg(parts[1]),
                parts.size() == 2 ? QuickTasksPane::tr("track") : parts.mid(2).join(QLatin1Char(' '))};
        return {QuickTasksPane::tr("Movie"), parts.back()};
    }

} // namespace

struct QuickTasksPane::Forecasts
{
    std::map<int, QuickTaskPanel::Forecast> byTag;
};

QuickTasksPane::QuickTasksPane(
    MyDocument& document, DocumentWindow& window, std::function<void(Panel)> showPanel, QWidget* parent)
    : Pane(parent)
    , m_document(document)
    , m_panel(document, window, {[this] { chooseStill(); }, std::move(showPanel)})
    , m_list(new QuickTaskList(TaskPlace::Document))
    , m_title(new QLabel)
    , m_description(new QLabel)
    , m_note(new QLabel)
    , m_changes(new QTableWidget(0, 4))
    , m_run(new QPushButton(tr("&Run")))
    , m_batch(new QPushButton(tr("Use in a &Batch\u2026")))
{
    auto* only = new QCheckBox(tr("Only tasks that would &change this movie"));
    connect(only, &QCheckBox::toggled, m_list, &QuickTaskList::setOnlyEmphasised);
    auto font = m_title->font();
    font.setBold(true);
    m_title->setFont(font);
    m_description->setWordWrap(true);
    m_note->setWordWrap(true);
    m_note->setForegroundRole(QPalette::PlaceholderText);
    m_changes->setHorizontalHeaderLabels({tr("Where"), tr("What"), tr("Before"), tr("After")});
    m_changes->horizontalHeader()->setStretchLastSection(true);
    m_changes->verticalHeader()->hide();
    m_changes->verticalHeader()->setDefaultSectionSize(24);
    m_changes->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_changes->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_changes->setAlternatingRowColors(true);
    m_changes->setShowGrid(false);
    m_changes->setAccessibleName(tr("What the task would change"));
    m_run->setDefault(true);

    auto* list = new QWidget;
    auto* listLayout = new QVBoxLayout(list);
    listLayout->setContentsMargins({});
    listLayout->addWidget(m_list, 1);
    listLayout->addWidget(only);
    auto* below = new QWidget;
    auto* belowLayout = new QVBoxLayout(below);
    belowLayout->setContentsMargins({});
    belowLayout->setSpacing(kSpacing);
    belowLayout->addWidget(m_title);
    belowLayout->addWidget(m_description);
    belowLayout->addWidget(m_note);
    belowLayout->addWidget(m_changes, 1);
    auto* split = new QSplitter(Qt::Vertical);
    split->setChildrenCollapsible(false);
    split->addWidget(list);
    split->addWidget(below);
    split->setSizes({380, 200});
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_batch);
    buttons->addStretch();
    buttons->addWidget(m_run);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    layout->addWidget(split, 1);
    layout->addLayout(buttons);

    connect(m_list, &QuickTaskList::currentChanged, this, &QuickTasksPane::showCurrent);
    connect(m_list, &QuickTaskList::activated, this, &QuickTasksPane::run);
    connect(m_run, &QPushButton::clicked, this, &QuickTasksPane::run);
    connect(m_batch, &QPushButton::clicked, this, [this] {
        if (const auto* task = m_list->current())
            emit batchAsked(task->tag);
    });
    showCurrent();
}

void QuickTasksPane::reload()
{
    m_isStale = true;
    if (isVisible())
        forecast();
}

void QuickTasksPane::showEvent(QShowEvent* event)
{
    Pane::showEvent(event);
    forecast();
}

void QuickTasksPane::forecast()
{
    if (!m_isStale || std::exchange(m_isForecasting, true))
        return; // the one that is under way is followed by another
    m_isStale = false;
    runInBackground(
        this,
        [movie = m_document.movie()] {
            Forecasts found;
            for (const auto& task : quickTasks())
                if (*task.description != '\0')
                    found.byTag[task.tag] = QuickTaskPanel::forecast(task, movie);
            return found;
        },
        [this](const Forecasts& found) {
            m_isForecasting = false;
            if (m_isStale)
                forecast();
            else
                take(found);
        });
}

void QuickTasksPane::take(const Forecasts& forecasts)
{
    m_forecasts = forecasts.byTag;
    for (const auto& [tag, forecast] : m_forecasts) {
        const auto count = forecast.changes.size();
        const auto note = !forecast.error.empty() ? tr("not possible")
            : count == 0                          ? tr("no change")
            : count == 1                          ? tr("1 change")
                                                  : tr("%1 changes").arg(count);
        m_list->setNote(tag, note, count == 0 ? QuickTaskList::Emphasis::None : QuickTaskList::Emphasis::New);
    }
    showCurrent();
}

void QuickTasksPane::showCurrent()
{
    const auto* task = m_list->current();
    m_run->setEnabled(task != nullptr);
    m_batch->setEnabled(task != nullptr);
    m_changes->setRowCount(0);
    if (!task)
        return;
    m_title->setText(QString::fromUtf8(task->name));
    if (const auto text = QuickTaskPanel::changeQuickTask(task->tag))
        m_description->setText(fromUtf8(*text));
    const auto known = m_forecasts.find(task->tag);
    if (known == m_forecasts.end()) {
        m_note->clear();
        return;
    }
    const auto& forecast = known->second;
    m_note->setText(!forecast.error.empty() ? fromUtf8(forecast.error)
            : forecast.changes.empty()      ? tr("The task would change nothing in this movie.")
                                            : tr("What it would change:"));
    const bool isDark = palette().color(QPalette::Base).lightness() < 128;
    for (const auto& change : forecast.changes) {
        const int row = m_changes->rowCount();
        if (row >= kMostRows)
            break;
        m_changes->insertRow(row);
        const auto [where, what] = placeOf(change.path);
        auto* after = new QTableWidgetItem(fromUtf8(valueText(change.after)));
        after->setForeground(isDark ? QColor(0x7f, 0xd0, 0x8a) : QColor(0x1e, 0x7d, 0x34));
        m_changes->setItem(row, 0, new QTableWidgetItem(where));
        m_changes->setItem(row, 1, new QTableWidgetItem(what));
        m_changes->setItem(row, 2, new QTableWidgetItem(fromUtf8(valueText(change.before))));
        m_changes->setItem(row, 3, after);
    }
}

void QuickTasksPane::run()
{
    if (const auto* task = m_list->current())
        m_panel.performQuickTask(task->tag);
}

void QuickTasksPane::chooseStill()
{
    auto* chooser = new QFileDialog(window(), tr("Choose the THM file of this movie"));
    chooser->setAttribute(Qt::WA_DeleteOnClose);
    chooser->setWindowModality(Qt::WindowModal);
    chooser->setFileMode(QFileDialog::ExistingFile);
    chooser->setNameFilters({tr("THM files (*.THM *.thm)"), tr("All files (*)")});
    chooser->setDirectory(QFileInfo {fromUtf8(m_document.path())}.path());
    makeRoomInFileChooser(*chooser);
    connect(chooser, &QFileDialog::fileSelected, this,
        [this](const QString& path) { m_panel.quickTaskTHMBrowseDidEnd(path.toStdString()); });
    chooser->open();
}

} // namespace reelwright
