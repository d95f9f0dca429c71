#include "app/window/TrackTableModel.h"

#include "document/MyDocument.h"
#include "edits/TrackEdits.h"
#include "report/MovieFacts.h"

#include <QGuiApplication>
#include <QPalette>
#include <QRegularExpression>

#include <algorithm>

namespace reelwright {
namespace {

    /// The document's column of one of the table's; nothing for those that are the table's own.
    std::optional<TrackColumn> documentColumn(int column)
    {
        switch (column) {
        case TrackTableModel::kTrack:
            return TrackColumn::TrackView;
        case TrackTableModel::kIn:
            return TrackColumn::In;
        case TrackTableModel::kDuration:
            return TrackColumn::Duration;
        case TrackTableModel::kEnabled:
            return TrackColumn::Enabled;
        default:
            return std::nullopt;
        }
    }

    /// What kind of track it is, where its label says "Text" or "Unknown".
    QString kindOfTrack(const TrackFacts& track, const MovieFacts& facts)
    {
        for (const auto& other : facts.tracks)
            if (const auto chapters = other.references.find("chap"_cc); chapters != other.references.end()
                && std::find(chapters->second.begin(), chapters->second.end(), track.id)
                    != chapters->second.end())
                return TrackTableModel::tr("Chapters");
        struct Name
        {
            FourCC mediaType;
            const char* name;
        };
        constexpr Name kNames[] = {
            {"meta"_cc, QT_TRANSLATE_NOOP("reelwright::TrackTableModel", "Metadata")},
            {"hint"_cc, QT_TRANSLATE_NOOP("reelwright::TrackTableModel", "Hint")},
            {"sbtl"_cc, QT_TRANSLATE_NOOP("reelwright::TrackTableModel", "Subtitles")},
            {"subt"_cc, QT_TRANSLATE_NOOP("reelwright::TrackTableModel", "Subtitles")},
        };
        for (const auto& known : kNames)
            if (track.mediaType == known.mediaType)
                return TrackTableModel::tr(known.name);
        return {};
    }

} // namespace

TrackTableModel::TrackTableModel(MyDocument& document, QObject* parent)
    : QAbstractTableModel(parent)
    , m_document(document)
{
    reload();
}

TrackTableModel::Row TrackTableModel::makeRow(std::size_t row) const
{
    const auto& list = m_document.trackList();
    const auto text = [&](TrackColumn column) {
        return QString::fromStdString(list.value(column, row).value_or(std::string {}));
    };
    Row made;
    const auto* track = list.track(row);
    if (track) {
        made.trackID = track->trackID();
        made.enabled = track->enabled();
    }
    made.typeCode = list.typeCode(row);
    made.title = QString::fromStdString(list.title(row));
    made.name = track ? QString::fromStdString(track->track().name())
                      : QString::fromStdString(m_document.displayName());
    if (!track)
        return made;
    const auto style = m_document.timeStyle();
    if (style == ShownTime::Style::Defined) {
        made.in = made.typedIn = text(TrackColumn::In);
        made.duration = made.typedDuration = text(TrackColumn::Duration);
        return made;
    }
    using Kind = ShownTime::Kind;
    const auto typed = [&](const QTTime& time, Kind kind) {
        return QString::fromStdString(ShownTime::typedText(time, kind, style, m_document.movie()));
    };
    made.in = QString::fromStdString(m_document.shownTime(track->inPoint(), Kind::Place));
    made.duration = QString::fromStdString(m_document.shownTime(track->duration(), Kind::Length));
    made.typedIn = typed(track->inPoint(), Kind::Place);
    made.typedDuration = typed(track->duration(), Kind::Length);
    return made;
}

void TrackTableModel::reload()
{
    std::vector<Row> rows;
    for (std::size_t row = 0; row < m_document.trackList().rowCount(); ++row)
        rows.push_back(makeRow(row));
    const bool sameTracks = std::equal(rows.begin(), rows.end(), m_rows.begin(), m_rows.end(),
        [](const Row& a, const Row& b) { return a.trackID == b.trackID; });
    if (!sameTracks) {
        beginResetModel();
        m_rows = std::move(rows);
        m_toolTips.clear();
        endResetModel();
        return;
    }
    // The selection, and an editor that is open, stay.
    for (std::size_t row = 0; row < rows.size(); ++row) {
        if (rows[row] == m_rows[row])
            continue;
        m_rows[row] = std::move(rows[row]);
        const int number = static_cast<int>(row);
        emit dataChanged(index(number, 0), index(number, kColumnCount - 1));
    }
}

void TrackTableModel::setFacts(const MovieFacts& facts)
{
    std::map<std::uint32_t, Details> details;
    for (const auto& track : facts.tracks) {
        auto& made = details[track.id];
        made.kind = kindOfTrack(track, facts);
        made.language = QString::fromStdString(track.language);
        made.format = track.format ? QString::fromStdString(track.format->text()) : QString();
        if (track.kind && track.kind->typeCode == KWMovTrack::kVideo && track.size)
            made.more = tr("%1 \u00D7 %2").arg(track.size->width).arg(track.size->height);
        else if (track.sampleRate > 0)
            made.more = tr("%1 Hz").arg(track.sampleRate);
    }
    if (details == m_details)
        return;
    m_details = std::move(details);
    if (!m_rows.empty())
        emit dataChanged(index(0, kName), index(rowCount() - 1, kColumnCount - 1), {Qt::DisplayRole});
}

void TrackTableModel::setToolTips(QStringList toolTips)
{
    m_toolTips = std::move(toolTips);
    if (!m_rows.empty())
        emit dataChanged(index(0, 0), index(rowCount() - 1, kColumnCount - 1), {Qt::ToolTipRole});
}

int TrackTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

int TrackTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : kColumnCount;
}

QVariant TrackTableModel::text(const Row& row, int column) const
{
    const auto known = row.trackID ? m_details.find(*row.trackID) : m_details.end();
    const auto details = known == m_details.end() ? Details {} : known->second;
    switch (column) {
    case kTrack:
        return row.title;
    case kName:
        return row.name;
    case kNumber:
        return row.trackID ? QVariant(*row.trackID) : QVariant();
    case kLanguage:
        return details.language;
    case kFormat:
        return details.format;
    case kDetails:
        return details.more;
    case kIn:
        return row.in;
    case kDuration:
        return row.duration;
    default:
        return {};
    }
}

QString TrackTableModel::editText(const Row& row, int column) const
{
    return column == kIn ? row.typedIn : column == kDuration ? row.typedDuration : text(row, column).toString();
}

ShownTime::Remark TrackTableModel::remark(const QModelIndex& index, const QString& typed) const
{
    const auto column = documentColumn(index.column());
    return column && editText(m_rows[static_cast<std::size_t>(index.row())], index.column()) != typed
        ? m_document.columnRemark(*column, static_cast<std::size_t>(index.row()), typed.toStdString())
        : ShownTime::Remark {};
}

QVariant TrackTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const auto& row = m_rows[static_cast<std::size_t>(index.row())];
    switch (role) {
    case Qt::DisplayRole:
        // A track without a name of its own still tells itself apart.
        if (index.column() == kName && row.trackID && row.name.isEmpty())
            if (const auto known = m_details.find(*row.trackID); known != m_details.end())
                return QStringList(
                    {known->second.kind, known->second.language, known->second.format, known->second.more})
                    .filter(QRegularExpression(QStringLiteral(".")))
                    .join(QStringLiteral(" \u00B7 "));
        return text(row, index.column());
    case Qt::ForegroundRole:
        if (index.column() == kName && row.trackID && row.name.isEmpty())
            return QGuiApplication::palette().color(QPalette::PlaceholderText);
        return {};
    case Qt::EditRole:
        return editText(row, index.column());
    case Qt::CheckStateRole:
        if (index.column() == kEnabled && row.enabled)
            return *row.enabled ? Qt::Checked : Qt::Unchecked;
        return {};
    case Qt::ToolTipRole:
        return m_toolTips.value(index.row());
    case Qt::AccessibleTextRole:
        if (index.column() == kEnabled && row.enabled)
            return *row.enabled ? tr("%1 is enabled").arg(row.title) : tr("%1 is disabled").arg(row.title);
        return text(row, index.column());
    case kTypeCodeRole:
        return row.typeCode ? QVariant(*row.typeCode) : QVariant();
    default:
        return {};
    }
}

QVariant TrackTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::TextAlignmentRole)
        return QVariant::fromValue(Qt::Alignment(Qt::AlignCenter));
    if (role != Qt::DisplayRole)
        return {};
    switch (section) {
    case kTrack:
        return tr("Track");
    case kName:
        return tr("Name");
    case kNumber:
        return tr("Number");
    case kLanguage:
        return tr("Language");
    case kFormat:
        return tr("Format");
    case kDetails:
        return tr("Details");
    case kIn:
        return tr("In");
    case kDuration:
        return tr("Duration");
    case kEnabled:
        return tr("Enabled");
    default:
        return {};
    }
}

Qt::ItemFlags TrackTableModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    auto flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemNeverHasChildren;
    const auto column = documentColumn(index.column());
    if (column && m_document.trackList().isEditable(*column, static_cast<std::size_t>(index.row())))
        flags |= *column == TrackColumn::Enabled ? Qt::ItemIsUserCheckable : Qt::ItemIsEditable;
    if (index.column() == kName && index.row() > 0)
        flags |= Qt::ItemIsEditable;
    return flags;
}

bool TrackTableModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!index.isValid())
        return false;
    const auto row = static_cast<std::size_t>(index.row());
    const auto flags = this->flags(index);
    if (role == Qt::CheckStateRole && (flags & Qt::ItemIsUserCheckable)) {
        m_document.setTrackEnabled(row, value.value<Qt::CheckState>() == Qt::Checked);
        return true;
    }
    if (role != Qt::EditRole || !(flags & Qt::ItemIsEditable))
        return false;
    if (index.column() == kName) {
        const auto name = value.toString();
        if (name != m_rows[row].name && m_rows[row].trackID)
            static_cast<void>(m_document.perform(
                edits::setTrackName(TrackSelector::ofTrack(*m_rows[row].trackID), name.toStdString())));
        return true;
    }
    // The text is rounded to whole frames: an editor that was only opened must not move the track to them.
    if (value.toString() != editText(m_rows[row], index.column()))
        m_document.setColumnText(*documentColumn(index.column()), row, value.toString().toStdString());
    return true;
}

} // namespace reelwright
