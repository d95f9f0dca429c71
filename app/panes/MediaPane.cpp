#include "app/panes/MediaPane.h"

#include "app/shell/Background.h"
#include "app/window/WindowActions.h"
#include "document/MyDocument.h"
#include "edits/TrackEdits.h"
#include "report/LanguageName.h"
#include "support/FileHelper.h"
#include "tracks/KWQuickTime.h"

#include <QAction>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QScrollArea>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace reelwright {
namespace {

    constexpr int kRowHeight = 24;
    constexpr int kMostRowsShown = 6; ///< of a table; the others are scrolled to

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    QLabel* makeTitle(const QString& text)
    {
        auto* title = new QLabel(text);
        auto font = title->font();
        font.setBold(true);
        title->setFont(font);
        return title;
    }

    QTableWidget* makeTable(const QStringList& columns, const QString& name)
    {
        auto* table = new QTableWidget(0, static_cast<int>(columns.size()));
        table->setHorizontalHeaderLabels(columns);
        table->setAccessibleName(name);
        table->setEditTriggers(QAbstractItemView::NoEditTriggers);
        table->setSelectionBehavior(QAbstractItemView::SelectRows);
        table->setAlternatingRowColors(true);
        table->setShowGrid(false);
        table->setTabKeyNavigation(false);
        table->verticalHeader()->setVisible(false);
        table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
        table->verticalHeader()->setDefaultSectionSize(kRowHeight);
        table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        table->horizontalHeader()->setHighlightSections(false);
        table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
        table->horizontalHeader()->setStretchLastSection(true);
        return table;
    }

    /// As high as its rows, up to a few.
    void fitHeight(QTableWidget& table)
    {
        const int rows = std::clamp(table.rowCount(), 1, kMostRowsShown);
        table.setFixedHeight(
            table.horizontalHeader()->sizeHint().height() + rows * kRowHeight + 2 * table.frameWidth());
    }

    /// With the action's whole text, its "…" included.
    QPushButton* makeButton(QAction* action)
    {
        auto* button = new QPushButton(action->text().remove(QLatin1Char('&')));
        button->setToolTip(action->toolTip());
        button->setAutoDefault(false);
        button->setEnabled(action->isEnabled());
        QObject::connect(button, &QPushButton::clicked, action, &QAction::trigger);
        QObject::connect(action, &QAction::enabledChanged, button, &QWidget::setEnabled);
        return button;
    }

    constexpr int kPercent = 100;
    constexpr int kFixedOne = 256;

    std::int16_t fixedOf(int percent)
    {
        return static_cast<std::int16_t>(std::lround(percent * double {kFixedOne} / kPercent));
    }

    int percentOf(int fixed)
    {
        return static_cast<int>(std::lround(fixed * double {kPercent} / kFixedOne));
    }

    /// The letters of a packed ISO 639-2 code, empty for a Macintosh one.
    QString lettersOf(std::uint16_t code)
    {
        constexpr std::uint16_t kLastMacintosh = 0x400;
        constexpr std::uint16_t kUnspecified = 0x7FFF;
        QString letters;
        if (code < kLastMacintosh || code == kUnspecified)
            return letters;
        for (const unsigned shift : {10U, 5U, 0U})
            letters += QLatin1Char(static_cast<char>(0x60 + ((code >> shift) & 0x1FU)));
        return letters;
    }

} // namespace

MediaPane::MediaPane(
    MyDocument& document, DocumentWindow& window, const WindowActions& actions, QWidget* parent)
    : Pane(parent)
    , m_document(document)
    , m_window(window)
{
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    m_description = makeTitle({});
    m_description->setWordWrap(true);
    m_description->setAccessibleName(tr("Media"));
    m_description->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_description);
    layout->addWidget(makeFields());

    m_channelsTitle = makeTitle(tr("Channels"));
    m_channels = makeTable({tr("Channel"), tr("Label")}, tr("Channels"));
    layout->addSpacing(kSpacing);
    layout->addWidget(m_channelsTitle);
    layout->addWidget(m_channels);
    layout->addSpacing(kSpacing);
    layout->addWidget(makeTitle(tr("Edit list")));
    m_segments
        = makeTable({tr("In the movie"), tr("Duration"), tr("Media from"), tr("Rate")}, tr("Edit list"));
    layout->addWidget(m_segments);
    layout->addSpacing(kSpacing);
    layout->addWidget(makeTitle(tr("Samples")));
    m_figures = new QLabel;
    m_figures->setWordWrap(true);
    m_figures->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_figures->setAccessibleName(tr("Samples"));
    layout->addWidget(m_figures);
    layout->addStretch();

    auto* scrolled = new QScrollArea;
    scrolled->setAccessibleName(tr("Media"));
    scrolled->setWidget(content);
    scrolled->setWidgetResizable(true);
    scrolled->setFrameShape(QFrame::NoFrame);
    scrolled->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scrolled->viewport()->setAutoFillBackground(false);
    content->setAutoFillBackground(false);
    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(kMargin, kSpacing, kMargin, kMargin);
    buttons->setSpacing(kSpacing);
    buttons->addWidget(makeButton(actions.addMedia));
    buttons->addWidget(makeButton(actions.deleteMedia));
    buttons->addStretch();
    buttons->addWidget(makeButton(actions.extractTrack));
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins({});
    outer->setSpacing(0);
    outer->addWidget(scrolled, 1);
    outer->addLayout(buttons);
}

QSpinBox* MediaPane::makeNumber(int least, int most, const QString& suffix, const QString& name,
    const QString& toolTip, Edit (*make)(const TrackSelector&, int))
{
    auto* number = new QSpinBox;
    number->setRange(least, most);
    number->setSuffix(suffix);
    number->setKeyboardTracking(false); // a number that is being typed is no edit yet
    number->setAccessibleName(name);
    number->setToolTip(toolTip);
    number->setFocusPolicy(Qt::StrongFocus); // the wheel scrolls the pane
    connect(number, &QSpinBox::valueChanged, this, [this, make](int value) {
        perform([make, value](const TrackSelector& track) { return make(track, value); });
    });
    return number;
}

QWidget* MediaPane::makeFields()
{
    auto* fields = new QWidget;
    auto* form = new QFormLayout(fields);
    form->setContentsMargins({});
    form->setSpacing(kSpacing);
    form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_name = new QLineEdit;
    m_name->setAccessibleName(tr("Name"));
    m_name->setToolTip(tr("The track's own name; empty for none"));
    connect(m_name, &QLineEdit::editingFinished, this, [this] {
        if (m_name->isModified())
            perform([name = m_name->text().toStdString()](
                        const TrackSelector& track) { return edits::setTrackName(track, name); });
        m_name->setModified(false);
    });
    form->addRow(tr("&Name:"), m_name);

    m_language = new QLineEdit;
    m_language->setAccessibleName(tr("Language"));
    m_language->setToolTip(tr("Three letters, as eng, deu or und (ISO 639-2)"));
    m_language->setMaxLength(3);
    constexpr int kLettersWidth = 64;
    m_language->setFixedWidth(kLettersWidth);
    m_languageName = new QLabel;
    connect(m_language, &QLineEdit::editingFinished, this, &MediaPane::setLanguage);
    auto* language = new QHBoxLayout;
    language->setSpacing(kSpacing);
    language->addWidget(m_language);
    language->addWidget(m_languageName, 1);
    auto* languageLabel = new QLabel(tr("&Language:"));
    languageLabel->setBuddy(m_language);
    form->addRow(languageLabel, language);

    constexpr int kLoudest = 400;
    m_volume = makeNumber(0, kLoudest, tr(" %"), tr("Volume"), tr("100 % is full volume"),
        [](const TrackSelector& track, int value) { return edits::setTrackVolume(track, fixedOf(value)); });
    m_balance = makeNumber(-kPercent, kPercent, tr(" %"), tr("Balance"), tr("-100 % is left, 100 % is right"),
        [](const TrackSelector& track, int value) { return edits::setTrackBalance(track, fixedOf(value)); });
    m_layer = makeNumber(INT16_MIN, INT16_MAX, {}, tr("Layer"), tr("Tracks of lower layers stand in front"),
        [](const TrackSelector& track, int value) {
            return edits::setTrackLayer(track, static_cast<std::int16_t>(value));
        });
    m_group = makeNumber(INT16_MIN, INT16_MAX, {}, tr("Alternate group"),
        tr("Of the tracks of one group one plays, as of several languages; 0 is none"),
        [](const TrackSelector& track, int value) {
            return edits::setTrackGroup(track, static_cast<std::int16_t>(value));
        });
    const auto pair
        = [&](const QString& firstName, QSpinBox* first, const QString& secondName, QSpinBox* second) {
              auto* line = new QWidget;
              auto* row = new QHBoxLayout(line);
              row->setContentsMargins({});
              row->setSpacing(kSpacing);
              auto* label = new QLabel(secondName);
              label->setBuddy(second);
              row->addWidget(first, 1);
              row->addWidget(label);
              row->addWidget(second, 1);
              auto* name = new QLabel(firstName);
              name->setBuddy(first);
              form->addRow(name, line);
              return line;
          };
    m_sound = pair(tr("V&olume:"), m_volume, tr("&Balance:"), m_balance);
    pair(tr("La&yer:"), m_layer, tr("Alternate &group:"), m_group);
    return fields;
}

void MediaPane::reload()
{
    const auto* record = m_document.selectedTrack();
    if (!record || !record->track().isValid())
        return;
    const auto& track = record->track();
    const auto header = track.header();
    const QScopedValueRollback filling(m_isFilling, true);
    const auto set = [](QLineEdit* edit, const QString& text) {
        if (edit->text() != text && !(edit->hasFocus() && edit->isModified()))
            edit->setText(text);
    };
    set(m_name, fromUtf8(track.name()));
    const auto code = track.media().header().language;
    set(m_language, lettersOf(code));
    const auto name = fromUtf8(languageName(code));
    m_languageName->setText(!lettersOf(code).isEmpty() ? QString() : name.isEmpty() ? tr("not said") : name);
    const bool isSound = track.mediaType() == QTMediaTypeSound;
    auto* form = qobject_cast<QFormLayout*>(m_sound->parentWidget()->layout());
    m_sound->setVisible(isSound);
    if (form)
        form->labelForField(m_sound)->setVisible(isSound);
    m_volume->setValue(percentOf(header.volume));
    const auto balance = track.media().balance();
    m_balance->setEnabled(balance.has_value());
    m_balance->setValue(percentOf(balance.value_or(0)));
    m_layer->setValue(header.layer);
    m_group->setValue(header.alternateGroup);
    // The tables of a long movie take their time.
    runInBackground(
        this,
        [movie = m_document.movie(), id = track.atom().id] {
            return MediaFacts::of(QTTrack {movie, id});
        },
        [this, generation = ++m_generation](const MediaFacts& facts) {
            if (generation == m_generation)
                showFacts(facts);
        });
}

void MediaPane::showFacts(const MediaFacts& facts)
{
    m_description->setText(facts.description.empty() ? tr("No media") : fromUtf8(facts.description));
    showChannels(facts);
    showSegments(facts);
    const QLocale locale;
    const auto bytes = [](std::uint64_t size) { return fromUtf8(FileHelper::formatFileSize(size)); };
    QStringList lines;
    if (facts.samples == 0) {
        lines << tr("The track has no samples.");
    } else {
        lines << tr("%1 samples in %2 chunks, %3")
                     .arg(locale.toString(facts.samples), locale.toString(facts.chunks), bytes(facts.bytes));
        lines << (facts.smallestSample == facts.largestSample
                ? tr("each of %1").arg(bytes(facts.largestSample))
                : tr("from %1 to %2 each").arg(bytes(facts.smallestSample), bytes(facts.largestSample)));
    }
    if (facts.duration.scale > 0)
        lines << tr("%1 units of 1/%2 second long")
                     .arg(locale.toString(static_cast<qlonglong>(facts.duration.value)),
                         locale.toString(facts.duration.scale));
    if (facts.descriptions > 1)
        lines << tr("%1 sample descriptions; the first is told above").arg(facts.descriptions);
    for (const auto& file : facts.files)
        lines << tr("in another file until it is saved: %1").arg(fromUtf8(file));
    m_figures->setText(lines.join(QLatin1Char('\n')));
}

void MediaPane::showChannels(const MediaFacts& facts)
{
    m_channelsTitle->setVisible(!facts.channels.empty());
    m_channels->setVisible(!facts.channels.empty());
    m_channels->setRowCount(static_cast<int>(facts.channels.size()));
    for (int row = 0; row < m_channels->rowCount(); ++row) {
        m_channels->setItem(row, 0, new QTableWidgetItem(QString::number(row + 1)));
        m_channels->setItem(
            row, 1, new QTableWidgetItem(fromUtf8(facts.channels[static_cast<std::size_t>(row)])));
    }
    fitHeight(*m_channels);
}

void MediaPane::showSegments(const MediaFacts& facts)
{
    const auto timecode = [this](const QTTime& time) {
        return fromUtf8(KWQuickTime::formattedQTTime(time, m_document.movie()));
    };
    const auto say = [this](const QString& text) {
        m_segments->setRowCount(1);
        m_segments->setItem(0, 0, new QTableWidgetItem(text));
        m_segments->setSpan(0, 0, 1, m_segments->columnCount());
    };
    m_segments->clearSpans();
    m_segments->clearContents();
    if (!facts.problem.empty()) {
        say(tr("It cannot be read: %1").arg(fromUtf8(facts.problem)));
    } else if (facts.segments.empty()) {
        say(tr("None: all of the media plays"));
    } else {
        constexpr std::size_t kMostRows = 10'000;
        m_segments->setRowCount(static_cast<int>(std::min(facts.segments.size(), kMostRows)));
        for (int row = 0; row < m_segments->rowCount(); ++row) {
            const auto& [start, duration, mediaTime, rate] = facts.segments[static_cast<std::size_t>(row)];
            m_segments->setItem(row, 0, new QTableWidgetItem(timecode(start)));
            m_segments->setItem(row, 1, new QTableWidgetItem(timecode(duration)));
            m_segments->setItem(row, 2,
                new QTableWidgetItem(
                    mediaTime ? tr("%1 (%2)").arg(timecode(*mediaTime)).arg(mediaTime->value) : tr("gap")));
            m_segments->setItem(row, 3, new QTableWidgetItem(mediaTime ? QString::number(rate) : QString()));
        }
    }
    fitHeight(*m_segments);
}

void MediaPane::setLanguage()
{
    if (!m_language->isModified())
        return;
    m_language->setModified(false);
    const auto letters = m_language->text().toLower().toStdString();
    const auto code = edits::languageCode(letters);
    if (!code) {
        m_window.alert("Unable to change the language",
            "A language is three letters, such as eng, deu or und (ISO 639-2).", {"OK"});
        reload();
        return;
    }
    perform([code = *code](const TrackSelector& track) { return edits::setTrackLanguage(track, code); });
}

void MediaPane::perform(const std::function<Edit(const TrackSelector&)>& make)
{
    const auto* record = m_document.selectedTrack();
    if (m_isFilling || !record)
        return;
    const auto edit = make(TrackSelector::ofTrack(record->trackID()));
    if (const auto done = m_document.perform(edit, MyDocument::ViewUpdate::Reset); !done) {
        m_window.alert("Unable to change the track", done.error().detail, {"OK"});
        reload();
    }
}

} // namespace reelwright
