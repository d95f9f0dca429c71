#pragma once

#include "tracks/ShownTime.h"

#include <QAbstractTableModel>

#include <map>
#include <optional>
#include <vector>

namespace reelwright {

class MyDocument;
struct MovieFacts;

/// The rows of the track table: the movie, then its tracks. Keeps what it shows, so that showing costs
/// nothing; `reload` takes it from the document again. Borrows the document.
class TrackTableModel final : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column {
        kTrack,
        kName,
        kIn,
        kDuration,
        kEnabled,
        kNumber,
        kLanguage,
        kFormat,
        kDetails,
        kColumnCount
    };
    /// Those from here on are shown on request.
    static constexpr int kFirstOptional = kNumber;
    /// The type code of the label's row; invalid for a kind without one.
    static constexpr int kTypeCodeRole = Qt::UserRole;

    explicit TrackTableModel(MyDocument& document, QObject* parent = nullptr);

    void reload();
    /// What the reports know of each track: languages, formats, details.
    void setFacts(const MovieFacts& facts);
    /// What there is to say of each row besides, as plain text; in the order of the rows.
    void setToolTips(QStringList toolTips);

    /// The remark on what is being typed into a cell.
    [[nodiscard]] ShownTime::Remark remark(const QModelIndex& index, const QString& typed) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    [[nodiscard]] QVariant headerData(
        int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;

private:
    struct Row
    {
        std::optional<std::uint32_t> trackID; ///< none for the movie
        std::optional<int> typeCode;
        QString title;
        QString name; ///< the track's own
        QString in;
        QString duration;
        QString typedIn; ///< as they are edited
        QString typedDuration;
        std::optional<bool> enabled;
        bool operator==(const Row&) const = default;
    };

    [[nodiscard]] Row makeRow(std::size_t row) const;
    [[nodiscard]] QVariant text(const Row& row, int column) const;
    [[nodiscard]] QString editText(const Row& row, int column) const;

    MyDocument& m_document;
    std::vector<Row> m_rows;
    /// Of one track, from the reports.
    struct Details
    {
        QString kind; ///< "Chapters", "Metadata", where the label says less
        QString language;
        QString format;
        QString more;
        bool operator==(const Details&) const = default;
    };
    std::map<std::uint32_t, Details> m_details; ///< by track ID
    QStringList m_toolTips;
};

} // namespace reelwright
