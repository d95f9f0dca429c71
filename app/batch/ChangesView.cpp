#include "app/batch/ChangesView.h"

#include "app/shell/Background.h"
#include "support/FileHelper.h"

#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QTableWidget>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    constexpr int kMostRows = 500; ///< a movie of many tracks can have more than anybody reads

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    QString roadText(const BatchResult& result)
    {
        switch (result.road) {
        case BatchResult::Road::InPlace:
            return ChangesView::tr("header %1, saved in place")
                .arg(fromUtf8(FileHelper::formatFileSize(result.headerBytes)));
        case BatchResult::Road::WholeFile:
            return ChangesView::tr("written as a whole: %1").arg(fromUtf8(result.output));
        case BatchResult::Road::Nothing:
            break;
        }
        return result.status == BatchResult::Status::Failed ? ChangesView::tr("not written")
                                                            : ChangesView::tr("nothing to save");
    }

    bool isDark(const QWidget& widget)
    {
        return widget.palette().color(QPalette::Base).lightness() < 128;
    }

} // namespace

ChangesView::ChangesView(KWBatchDocument& batch, QWidget* parent)
    : QWidget(parent)
    , m_batch(batch)
    , m_title(new QLabel)
    , m_road(new QLabel)
    , m_table(new QTableWidget(0, 3))
{
    m_table->setHorizontalHeaderLabels({tr("Where"), tr("Before"), tr("After")});
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->setColumnWidth(0, 240);
    m_table->setColumnWidth(1, 200);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setDefaultSectionSize(24);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setAlternatingRowColors(true);
    m_table->setShowGrid(false);
    m_table->setAccessibleName(tr("Changes of the selected file"));
    m_title->setTextFormat(Qt::RichText);
    m_title->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_road->setForegroundRole(QPalette::PlaceholderText);
    auto* head = new QHBoxLayout;
    head->addWidget(m_title, 1);
    head->addWidget(m_road);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addLayout(head);
    layout->addWidget(m_table, 1);
}

void ChangesView::clear()
{
    ++m_asked;
    m_table->setRowCount(0);
    m_title->clear();
    m_road->clear();
}

void ChangesView::show(const std::string& path, BatchMode mode)
{
    const auto asked = ++m_asked;
    if (m_batch.taskQueue().empty()) {
        clear();
        return;
    }
    runInBackground(this, m_batch.previewTask(path, mode), [this, asked, path](const BatchPreview& preview) {
        if (asked == m_asked)
            showPreview(path, preview);
    });
}

void ChangesView::showPreview(const std::string& path, const BatchPreview& preview)
{
    m_title->setText(
        tr("<b>%1</b> what the batch would do").arg(QFileInfo {fromUtf8(path)}.fileName().toHtmlEscaped()));
    m_road->setText(roadText(preview.result));
    m_table->setRowCount(0);
    if (!preview.result.error.empty())
        addRow(tr("Cannot be saved"), {}, fromUtf8(preview.result.error), true);
    for (const auto& change : preview.changes) {
        if (m_table->rowCount() >= kMostRows)
            break;
        addRow(fromUtf8(change.path), fromUtf8(valueText(change.before)), fromUtf8(valueText(change.after)));
    }
    const auto& queue = m_batch.taskQueue();
    for (std::size_t i = 0; i < std::min(queue.size(), preview.result.steps.size()); ++i)
        if (preview.result.steps[i] == StepOutcome::Nothing)
            addRow(fromUtf8(queue[i].desc), {}, tr("nothing to do"));
    for (const auto& warning : preview.result.warnings)
        addRow(tr("Warning"), {}, fromUtf8(warning), true);
}

void ChangesView::addRow(const QString& where, const QString& before, const QString& after, bool isProblem)
{
    const int row = m_table->rowCount();
    m_table->insertRow(row);
    m_table->setItem(row, 0, new QTableWidgetItem(where));
    m_table->setItem(row, 1, new QTableWidgetItem(before));
    auto* last = new QTableWidgetItem(after);
    last->setToolTip(after);
    const bool dark = isDark(*this);
    last->setForeground(isProblem ? (dark ? QColor(0xff, 0xb3, 0x5c) : QColor(0xa0, 0x52, 0x00))
                                  : (dark ? QColor(0x7f, 0xd0, 0x8a) : QColor(0x1e, 0x7d, 0x34)));
    m_table->setItem(row, 2, last);
}

} // namespace reelwright
