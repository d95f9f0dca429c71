#include "app/batch/BatchFileModel.h"

#include "app/batch/StatusIcon.h"
#include "support/FileHelper.h"

#include <QFileInfo>

#include <cmath>

namespace reelwright {
namespace {

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    QString countOf(std::size_t count, const QString& one, const QString& many)
    {
        return count == 1 ? QStringLiteral("1 ") + one : QString::number(count) + QLatin1Char(' ') + many;
    }

    QString rateText(double rate)
    {
        if (rate <= 0)
            return {};
        auto text = QString::number(rate, 'f', 3);
        while (text.endsWith(QLatin1Char('0')))
            text.chop(1);
        if (text.endsWith(QLatin1Char('.')))
            text.chop(1);
        return text;
    }

} // namespace

BatchFileModel::BatchFileModel(KWBatchDocument& batch, QObject* parent)
    : QAbstractTableModel(parent)
    , m_batch(batch)
{
}

void BatchFileModel::reload()
{
    beginResetModel();
    m_rows = m_batch.fileArray().size();
    endResetModel();
}

void BatchFileModel::fileChanged(std::size_t row)
{
    if (row < m_rows)
        emit dataChanged(index(static_cast<int>(row), 0), index(static_cast<int>(row), Columns - 1));
}

void BatchFileModel::setSummary(const std::string& path, FileSummary summary)
{
    m_summaries.insert_or_assign(path, std::move(summary));
}

const FileSummary* BatchFileModel::summary(const std::string& path) const
{
    const auto found = m_summaries.find(path);
    return found == m_summaries.end() ? nullptr : &found->second;
}

const BatchResult* BatchFileModel::resultOf(std::size_t row) const
{
    const auto& results = m_batch.results();
    if (row < results.size() && results[row].status != BatchResult::Status::Waiting)
        return &results[row];
    return nullptr;
}

BatchFileModel::Kind BatchFileModel::kind(std::size_t row) const
{
    const auto kindOf = [](const BatchResult& result, Kind done) {
        switch (result.status) {
        case BatchResult::Status::Failed:
            return Kind::Failed;
        case BatchResult::Status::Unchanged:
            return result.warnings.empty() ? Kind::NoChange : Kind::Warning;
        default:
            return result.warnings.empty() ? done : Kind::Warning;
        }
    };
    const auto& previews = m_batch.previews();
    if (row < previews.size() && previews[row])
        return kindOf(*previews[row], Kind::WouldChange);
    if (const auto* result = resultOf(row))
        return kindOf(*result, Kind::Done);
    const auto* known = summary(m_batch.fileArray()[row]);
    return known && !known->error.empty() ? Kind::Failed : Kind::Unknown;
}

QString BatchFileModel::statusText(std::size_t row) const
{
    const auto& previews = m_batch.previews();
    if (row < previews.size() && previews[row]) {
        const auto& preview = *previews[row];
        if (preview.status == BatchResult::Status::Failed)
            return tr("would fail");
        return preview.changedSteps() == 0 ? tr("no change")
                                           : countOf(preview.changedSteps(), tr("change"), tr("changes"));
    }
    if (const auto* result = resultOf(row))
        return QString::fromUtf8(BatchResult::statusName(result->status));
    const auto* known = summary(m_batch.fileArray()[row]);
    return known && !known->error.empty() ? tr("cannot open") : QString {};
}

QVariant BatchFileModel::text(std::size_t row, int column) const
{
    const auto& path = m_batch.fileArray()[row];
    if (column == Status)
        return statusText(row);
    if (column == Name || column == Folder) {
        const QFileInfo file {fromUtf8(path)};
        return column == Name ? file.fileName() : file.path();
    }
    if (column >= Result) {
        const auto* result = resultOf(row);
        if (!result)
            return {};
        if (column == Result)
            return fromUtf8(result->text());
        if (column == Written)
            return fromUtf8(FileHelper::formatFileSize(result->bytesWritten));
        return result->verified         ? (*result->verified ? tr("same media") : tr("media differ"))
            : result->bytesWritten == 0 ? tr("not written")
                                        : QString {};
    }
    const auto* known = summary(path);
    if (!known || !known->error.empty())
        return {};
    switch (column) {
    case Duration:
        return fromUtf8(known->duration);
    case Rate:
        return rateText(known->frameRate);
    case Size:
        return known->width == 0 ? QString {}
                                 : QStringLiteral("%1 \u00D7 %2").arg(known->width).arg(known->height);
    case StartTimecode:
        return known->startTimecode.empty() ? tr("none") : fromUtf8(known->startTimecode);
    case Reel:
        return known->reel.empty() ? tr("none") : fromUtf8(known->reel);
    default:
        return {};
    }
}

QVariant BatchFileModel::sortValue(std::size_t row, int column) const
{
    const auto* known = summary(m_batch.fileArray()[row]);
    const auto* result = resultOf(row);
    switch (column) {
    case Status:
        return QStringLiteral("%1%2").arg(static_cast<int>(kind(row))).arg(statusText(row));
    case Duration:
        return known ? known->seconds : 0.0;
    case Rate:
        return known ? known->frameRate : 0.0;
    case Size:
        return known ? known->width * known->height : 0;
    case Written:
        return result ? static_cast<qulonglong>(result->bytesWritten) : 0ULL;
    default:
        return text(row, column);
    }
}

int BatchFileModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows);
}

int BatchFileModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : Columns;
}

QVariant BatchFileModel::data(const QModelIndex& index, int role) const
{
    const auto row = static_cast<std::size_t>(index.row());
    if (!index.isValid() || row >= m_batch.fileArray().size())
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return text(row, index.column());
    case Qt::ToolTipRole: {
        const auto* known = summary(m_batch.fileArray()[row]);
        QStringList lines {fromUtf8(m_batch.fileArray()[row])};
        const auto& previews = m_batch.previews();
        const auto* result = row < previews.size() && previews[row] ? &*previews[row] : resultOf(row);
        if (result && !result->error.empty())
            lines << fromUtf8(result->error);
        else if (known && !known->error.empty())
            lines << fromUtf8(known->error);
        if (result)
            for (const auto& warning : result->warnings)
                lines << fromUtf8(warning);
        return lines.join(QLatin1Char('\n'));
    }
    case Qt::DecorationRole:
        return index.column() == Status ? QVariant {statusIcon(kind(row))} : QVariant {};
    case Qt::TextAlignmentRole:
        if ((index.column() >= Duration && index.column() <= StartTimecode) || index.column() == Written)
            return static_cast<int>(Qt::AlignRight | Qt::AlignVCenter);
        return {};
    case SortRole:
        return sortValue(row, index.column());
    case KindRole:
        return static_cast<int>(kind(row));
    case PathRole:
        return fromUtf8(m_batch.fileArray()[row]);
    default:
        return {};
    }
}

QVariant BatchFileModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    static const char* const kTitles[] = {QT_TR_NOOP("Status"), QT_TR_NOOP("Name"), QT_TR_NOOP("Folder"),
        QT_TR_NOOP("Duration"), QT_TR_NOOP("Rate"), QT_TR_NOOP("Size"), QT_TR_NOOP("Start timecode"),
        QT_TR_NOOP("Reel"), QT_TR_NOOP("Result"), QT_TR_NOOP("Written"), QT_TR_NOOP("Verified")};
    return section >= 0 && section < Columns ? tr(kTitles[section]) : QVariant {};
}

} // namespace reelwright
