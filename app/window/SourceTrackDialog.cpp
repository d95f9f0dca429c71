#include "app/window/SourceTrackDialog.h"

#include "attributes/FormatName.h"
#include "report/LanguageName.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr int kMargin = 16;
    constexpr int kSpacing = 8;
    constexpr int kRowHeight = 24;

    QString detailsOf(const SourceTrack& track)
    {
        auto text = QString::fromStdString(formatName(track.format));
        if (track.channels > 0)
            text += track.channels == 1 ? SourceTrackDialog::tr(", mono")
                : track.channels == 2   ? SourceTrackDialog::tr(", stereo")
                                        : SourceTrackDialog::tr(", %1 channels").arg(track.channels);
        else if (track.size.width > 0)
            text += QStringLiteral(", %1 x %2").arg(track.size.width).arg(track.size.height);
        return text;
    }

} // namespace

SourceTrackDialog::SourceTrackDialog(
    const std::vector<SourceTrack>& tracks, const QString& position, QWidget* parent)
    : QDialog(parent)
    , m_table(new QTableWidget(static_cast<int>(tracks.size()), 5))
    , m_atPosition(new QRadioButton(tr("At the &current position (%1)").arg(position)))
{
    setWindowTitle(tr("Insert Track"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    auto* title = new QLabel(tr("The file has several such tracks. &Insert:"));
    title->setBuddy(m_table);
    m_table->setHorizontalHeaderLabels({tr("ID"), tr("Format"), tr("Seconds"), tr("Language"), tr("Name")});
    m_table->setAccessibleName(tr("Tracks of the file"));
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setShowGrid(false);
    m_table->setAlternatingRowColors(true);
    m_table->setTabKeyNavigation(false);
    m_table->verticalHeader()->setVisible(false);
    m_table->verticalHeader()->setDefaultSectionSize(kRowHeight);
    m_table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_table->horizontalHeader()->setHighlightSections(false);
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_table->horizontalHeader()->setStretchLastSection(true);
    for (int row = 0; row < m_table->rowCount(); ++row) {
        const auto& track = tracks[static_cast<std::size_t>(row)];
        const QString cells[] = {QString::number(track.trackID), detailsOf(track),
            QString::number(track.duration.seconds(), 'f', 2),
            QString::fromStdString(languageName(track.language)), QString::fromStdString(track.name)};
        for (int column = 0; column < m_table->columnCount(); ++column)
            m_table->setItem(row, column, new QTableWidgetItem(cells[column]));
    }
    m_table->selectRow(0);
    const bool asksTrack = tracks.size() > 1;
    title->setVisible(asksTrack);
    m_table->setVisible(asksTrack);
    layout->addWidget(title);
    layout->addWidget(m_table);

    auto* atStart = new QRadioButton(tr("At the &start of the movie"));
    atStart->setChecked(true);
    atStart->setVisible(!position.isEmpty());
    m_atPosition->setVisible(!position.isEmpty());
    layout->addWidget(atStart);
    layout->addWidget(m_atPosition);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->button(QDialogButtonBox::Ok)->setText(tr("Insert"));
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_table, &QTableWidget::cellDoubleClicked, this, &QDialog::accept);
    constexpr QSize kWithTable {560, 280};
    if (asksTrack)
        resize(kWithTable);
}

std::size_t SourceTrackDialog::place() const
{
    return static_cast<std::size_t>(std::max(m_table->currentRow(), 0)) + 1;
}

bool SourceTrackDialog::isAtPosition() const
{
    return m_atPosition->isChecked();
}

} // namespace reelwright
