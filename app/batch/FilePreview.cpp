#include "app/batch/FilePreview.h"

#include "app/player/MovieView.h"
#include "app/player/Scrubber.h"
#include "app/shell/Background.h"
#include "document/MyDocument.h"
#include "report/InfoReport.h"
#include "report/MovieFacts.h"
#include "support/FileHelper.h"
#include "tracks/KWQuickTime.h"

#include <QFileInfo>
#include <QFontDatabase>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    constexpr QSize kPicture {320, 180};
    constexpr int kSpacing = 8;

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

} // namespace

struct FilePreview::Loaded
{
    std::string path;
    std::shared_ptr<const QTMovie> movie; ///< null where it cannot be opened
    FileSummary summary;
    std::string report;
};

FilePreview::FilePreview(std::shared_ptr<Storage> storage, QWidget* parent)
    : QWidget(parent)
    , m_storage(std::move(storage))
    , m_view(new MovieView)
    , m_scrubber(new Scrubber)
    , m_play(new QToolButton)
    , m_time(new QLabel)
    , m_name(new QLabel)
    , m_facts(new QFormLayout)
    , m_open(new QPushButton(tr("Open")))
{
    m_view->setMinimumSize(kPicture);
    m_view->setMaximumSize(kPicture);
    m_play->setIcon(style()->standardIcon(QStyle::SP_MediaPlay));
    m_play->setAccessibleName(tr("Play"));
    m_play->setAutoRaise(true);
    m_time->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_time->setMinimumWidth(m_time->fontMetrics().horizontalAdvance(QStringLiteral("00:00:00:00")));
    m_time->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_time->setAccessibleName(tr("Timecode"));
    auto* controls = new QHBoxLayout;
    controls->addWidget(m_play);
    controls->addWidget(m_scrubber, 1);
    controls->addWidget(m_time);
    auto* picture = new QVBoxLayout;
    picture->addWidget(m_view);
    picture->addLayout(controls);
    picture->addStretch();

    m_name->setTextFormat(Qt::PlainText);
    auto font = m_name->font();
    font.setBold(true);
    m_name->setFont(font);
    m_name->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_facts->setVerticalSpacing(4);
    m_facts->setLabelAlignment(Qt::AlignLeft);
    auto* facts = new QVBoxLayout;
    facts->addWidget(m_name);
    facts->addLayout(m_facts);
    facts->addStretch();
    facts->addWidget(m_open, 0, Qt::AlignLeft);
    m_open->setToolTip(tr("Open the file in a window of its own"));

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins({});
    layout->setSpacing(kSpacing * 2);
    layout->addLayout(picture);
    layout->addLayout(facts, 1);

    connect(m_play, &QToolButton::clicked, m_view, &MovieView::togglePlaying);
    connect(m_view, &MovieView::playStateChanged, this, [this](bool isPlaying) {
        m_play->setIcon(style()->standardIcon(isPlaying ? QStyle::SP_MediaPause : QStyle::SP_MediaPlay));
        m_play->setAccessibleName(isPlaying ? tr("Pause") : tr("Play"));
    });
    m_scrubber->setAccessibleName(tr("Position"));
    connect(m_view, &MovieView::durationChanged, m_scrubber, &Scrubber::setDuration);
    connect(m_view, &MovieView::timeChanged, this, &FilePreview::followTime);
    connect(m_scrubber, &Scrubber::timeChosen, m_view, &MovieView::setCurrentTime);
    connect(m_scrubber, &Scrubber::stepChosen, this, [this](int frames) { m_view->stepForward(frames); });
    connect(m_open, &QPushButton::clicked, this, &FilePreview::openAsked);
    clear();
}

FilePreview::~FilePreview() = default;

void FilePreview::followTime(const QTTime& time)
{
    m_scrubber->setTime(time);
    if (m_movie && MyDocument::isTimecodeAtHand(time, *m_movie))
        m_time->setText(fromUtf8(MyDocument::timecodeAt(time, *m_movie)));
}

void FilePreview::show(const std::string& path)
{
    if (path == m_path)
        return;
    m_path = path;
    runInBackground(
        this,
        [path, storage = m_storage] {
            Loaded loaded;
            loaded.path = path;
            loaded.summary = FileSummary::of(path, storage);
            auto movie = QTMovie::open(path, storage);
            if (movie) {
                static_cast<void>(
                    MyDocument::timecodeAt({0, movie->timeScale()}, *movie)); // at hand from now on
                loaded.report = infoReport(MovieFacts::of(*movie));
                loaded.movie = std::make_shared<const QTMovie>(std::move(*movie));
            } else {
                loaded.report = reasonFor(movie.error(), path);
            }
            return loaded;
        },
        [this](Loaded loaded) {
            if (loaded.path == m_path)
                take(std::move(loaded));
        });
}

void FilePreview::take(Loaded loaded)
{
    m_movie = std::move(loaded.movie);
    m_report = fromUtf8(loaded.report);
    m_name->setText(QFileInfo {fromUtf8(loaded.path)}.fileName());
    m_name->setToolTip(fromUtf8(loaded.path));
    showFacts(loaded.summary);
    m_open->setEnabled(true);
    m_play->setEnabled(m_movie != nullptr);
    m_scrubber->setEnabled(m_movie != nullptr);
    m_time->clear();
    if (m_movie)
        m_view->setMovie(*m_movie);
    else
        m_view->clear();
    emit movieChanged();
}

void FilePreview::showFacts(const FileSummary& summary)
{
    while (m_facts->rowCount() > 0)
        m_facts->removeRow(0);
    const auto add = [this](const QString& name, const QString& text) {
        if (text.isEmpty())
            return;
        auto* title = new QLabel(name);
        title->setForegroundRole(QPalette::PlaceholderText);
        auto* value = new QLabel(text);
        value->setTextFormat(Qt::PlainText);
        value->setWordWrap(true);
        m_facts->addRow(title, value);
    };
    if (!summary.error.empty()) {
        add(tr("Error"), fromUtf8(summary.error));
        return;
    }
    add(tr("Format"), fromUtf8(summary.format));
    if (summary.width != 0)
        add(tr("Size"),
            tr("%1 \u00D7 %2, %3 fps")
                .arg(summary.width)
                .arg(summary.height)
                .arg(summary.frameRate, 0, 'g', 5));
    add(tr("Duration"), fromUtf8(summary.duration));
    add(tr("Sound"), summary.sound.empty() ? tr("none") : fromUtf8(summary.sound));
    add(tr("Timecode"), summary.startTimecode.empty() ? tr("none") : fromUtf8(summary.startTimecode));
    add(tr("Reel"), summary.reel.empty() ? tr("none") : fromUtf8(summary.reel));
    add(tr("Header"),
        tr("%1, %2").arg(fromUtf8(FileHelper::formatFileSize(summary.headerBytes)),
            summary.hindrance.empty() ? tr("in place") : tr("written anew")));
}

void FilePreview::clear()
{
    m_path.clear();
    m_movie.reset();
    m_report.clear();
    m_view->clear();
    m_name->clear();
    m_time->clear();
    while (m_facts->rowCount() > 0)
        m_facts->removeRow(0);
    for (QWidget* widget :
        {static_cast<QWidget*>(m_open), static_cast<QWidget*>(m_play), static_cast<QWidget*>(m_scrubber)})
        widget->setEnabled(false);
    emit movieChanged();
}

} // namespace reelwright
