#include "app/window/ExportDialog.h"

#include "app/shell/Appearance.h"
#include "app/shell/Background.h"
#include "app/shell/FileChooser.h"
#include "app/window/TimeEdit.h"
#include "document/MyDocument.h"
#include "movie/FrameRate.h"
#include "movie/QTTrack.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QStorageInfo>
#include <QVBoxLayout>

#include <cmath>

namespace reelwright {
namespace {

    constexpr int kMargin = 16;
    constexpr int kSpacing = 8;
    constexpr int kWidth = 496;
    constexpr int kOwnQuality = -1;
    constexpr int kBitRate = -2;

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    /// The quality that the format begins with, where its encoder knows one.
    std::optional<int> qualityOf(const ExportFormat& format)
    {
        for (const auto& [name, value] : format.settings.videoOptions)
            if (name == "crf")
                return std::stoi(value);
        return std::nullopt;
    }

    bool hasPicture(const ExportFormat& format)
    {
        return !format.settings.copiesMedia && !format.settings.videoEncoder.empty();
    }

    bool hasSound(const ExportFormat& format)
    {
        return !format.settings.copiesMedia && !format.settings.audioEncoder.empty();
    }

    QLabel* note(const QString& name)
    {
        auto* label = new QLabel;
        label->setForegroundRole(QPalette::PlaceholderText);
        label->setWordWrap(true);
        label->setTextFormat(Qt::PlainText);
        label->setObjectName(name);
        return label;
    }

    QHBoxLayout* row(std::initializer_list<QWidget*> widgets)
    {
        auto* layout = new QHBoxLayout;
        layout->setContentsMargins({});
        layout->setSpacing(kSpacing);
        for (auto* widget : widgets)
            layout->addWidget(widget, 1);
        return layout;
    }

} // namespace

ExportDialog::ExportDialog(
    MyDocument& document, ExportController::Panel panel, int unsavedChanges, QWidget* parent)
    : QDialog(parent)
    , m_document(document)
    , m_panel(std::move(panel))
    , m_unsavedChanges(unsavedChanges)
    , m_path(new QLineEdit)
    , m_place(note(QStringLiteral("place")))
    , m_format(new QComboBox)
    , m_formatNote(note(QStringLiteral("formatNote")))
    , m_size(new QComboBox)
    , m_rate(new QComboBox)
    , m_burn(new QCheckBox(tr("&Burn in the timecode")))
    , m_color(new QCheckBox(tr("&Keep color tags")))
    , m_summary(new QLabel)
    , m_export(new QPushButton(tr("&Export")))
{
    setWindowTitle(tr("Export"));
    m_path->setAccessibleName(tr("Save to"));
    auto* choose = new QPushButton(tr("Choose\u2026"));
    choose->setAutoDefault(false);
    choose->setToolTip(tr("Choose the folder and the name"));
    connect(choose, &QPushButton::clicked, this, &ExportDialog::chooseFile);
    connect(m_path, &QLineEdit::textChanged, this, &ExportDialog::updateNotes);

    for (const auto* format : m_panel.formats)
        m_format->addItem(fromUtf8(format->name));
    m_format->setCurrentIndex(static_cast<int>(m_panel.selected));
    m_format->setMaxVisibleItems(static_cast<int>(m_panel.formats.size()));

    auto* form = new QFormLayout;
    form->setContentsMargins({});
    form->setHorizontalSpacing(kSpacing);
    form->setVerticalSpacing(kSpacing);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->setLabelAlignment(Qt::AlignLeft);
    const auto add = [&](const QString& text, QWidget* field, QLayout* whole) {
        auto* label = new QLabel(text);
        label->setBuddy(field);
        form->addRow(label, whole);
    };
    auto* place = row({m_path});
    place->addWidget(choose);
    add(tr("&Save to:"), m_path, place);
    form->addRow(QString(), m_place);
    add(tr("&Format:"), m_format, row({m_format}));
    form->addRow(QString(), m_formatNote);
    auto* line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    form->addRow(line);
    auto* quality = makeQuality();
    add(tr("&Quality:"), m_quality, row({quality}));
    m_rate->setAccessibleName(tr("Frame rate"));
    add(tr("Si&ze:"), m_size, row({m_size, m_rate}));
    auto* sound = makeSound();
    add(tr("S&ound:"), m_sound, row({sound}));
    auto* part = makeRange();
    add(tr("&Range:"), m_all, row({part}));
    form->addRow(QString(), m_rangeNote);
    form->addRow(QString(), row({m_burn, m_color}));
    m_burn->setToolTip(tr("Write the running timecode into the picture."));
    m_color->setToolTip(tr("Tell players what the colors mean, as the movie does."));

    m_summary->setWordWrap(true);
    m_summary->setFrameShape(QFrame::StyledPanel);
    m_summary->setMargin(kSpacing);
    m_summary->setAccessibleName(tr("What is exported"));
    m_summary->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* help = new QPushButton(tr("&Help"));
    auto* cancel = new QPushButton(tr("Cancel"));
    for (auto* button : {help, cancel})
        button->setAutoDefault(false);
    m_export->setDefault(true);
    connect(help, &QPushButton::clicked, this, &ExportDialog::helpAsked);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_export, &QPushButton::clicked, this, &ExportDialog::confirm);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(kSpacing);
    buttons->addWidget(help);
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(m_export);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kMargin);
    layout->addLayout(form);
    layout->addWidget(m_summary);
    layout->addStretch();
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetMinimumSize);
    resize(kWidth, sizeHint().height());

    m_path->setText(fromUtf8(m_panel.suggestedPath) + QStringLiteral("_review.") + fromUtf8(format().extension));
    connect(m_format, &QComboBox::currentIndexChanged, this, &ExportDialog::changeFormat);
    for (auto* box : {m_quality, m_size, m_rate, m_sound, m_soundRate})
        connect(box, &QComboBox::currentIndexChanged, this, &ExportDialog::updateNotes);
    connect(m_bitRate, &QSpinBox::valueChanged, this, &ExportDialog::updateNotes);
    show(m_panel.choices);
    tryHardware();
}

const ExportFormat& ExportDialog::format() const
{
    return *m_panel.formats[static_cast<std::size_t>(std::max(m_format->currentIndex(), 0))];
}

QString ExportDialog::path() const
{
    return m_path->text();
}

QWidget* ExportDialog::makeQuality()
{
    auto* widget = new QWidget;
    m_quality = new QComboBox;
    m_bitRate = new QSpinBox;
    m_bitRate->setRange(1, 2000);
    m_bitRate->setValue(12);
    m_bitRate->setSuffix(tr(" Mb/s"));
    m_bitRate->setAccessibleName(tr("Bit rate"));
    m_hardware = new QCheckBox(tr("&Hardware encoder"));
    m_hardware->setToolTip(tr("Faster, at somewhat lower quality for the same size."));
    auto* layout = row({m_quality, m_bitRate, m_hardware});
    widget->setLayout(layout);
    return widget;
}

QWidget* ExportDialog::makeSound()
{
    auto* widget = new QWidget;
    m_sound = new QComboBox;
    m_soundRate = new QComboBox;
    m_soundRate->setAccessibleName(tr("Sample rate"));
    for (const int rate : {0, 44100, 48000, 96000})
        m_soundRate->addItem(rate == 0 ? tr("rate as it is") : tr("%1 Hz").arg(QLocale().toString(rate)), rate);
    auto* layout = row({m_sound});
    layout->addWidget(m_soundRate);
    widget->setLayout(layout);
    return widget;
}

QWidget* ExportDialog::makeRange()
{
    auto* widget = new QWidget;
    m_all = new QRadioButton(tr("A&ll"));
    m_part = new QRadioButton(tr("Fro&m"));
    m_from = new TimeEdit(widget);
    m_to = new TimeEdit(widget);
    m_from->setAccessibleName(tr("From"));
    m_to->setAccessibleName(tr("To"));
    m_rangeNote = note(QStringLiteral("rangeNote"));
    m_all->setChecked(true);
    const auto& movie = m_document.movie();
    const auto style = m_document.timeStyle();
    const auto last = movie.duration();
    m_from->setText(fromUtf8(ShownTime::typedText({0, movie.timeScale()}, ShownTime::Kind::Place, style, movie)));
    // The label of the end belongs to the frame behind the last one: none.
    const bool isLabel = style == ShownTime::Style::Timecode;
    m_to->setText(fromUtf8(ShownTime::typedText(last, ShownTime::Kind::Place,
        isLabel ? ShownTime::Style::Defined : style, movie)));
    if (isLabel)
        m_to->clear();
    m_to->setPlaceholderText(tr("the end"));
    for (auto* field : {m_from, m_to}) {
        field->setRemarks([this](const QString& typed) { return m_document.timeRemark(typed.toStdString()); });
        connect(field, &TimeEdit::remarkChanged, this, &ExportDialog::updateNotes);
        connect(field, &QLineEdit::textEdited, this, [this] { m_part->setChecked(true); });
    }
    connect(m_part, &QRadioButton::toggled, this, &ExportDialog::updateNotes);
    auto* layout = new QHBoxLayout(widget);
    layout->setContentsMargins({});
    layout->setSpacing(kSpacing);
    layout->addWidget(m_all);
    layout->addWidget(m_part);
    layout->addWidget(m_from, 1);
    layout->addWidget(new QLabel(tr("to")));
    layout->addWidget(m_to, 1);
    return widget;
}

void ExportDialog::chooseFile()
{
    QFileDialog dialog(this, tr("Export"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setWindowModality(Qt::WindowModal);
    makeRoomInFileChooser(dialog);
    dialog.setFileMode(QFileDialog::AnyFile);
    const QFileInfo present {m_path->text()};
    if (present.absoluteDir().exists())
        dialog.setDirectory(present.absolutePath());
    dialog.selectFile(present.fileName());
    dialog.setDefaultSuffix(fromUtf8(format().extension));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return;
    m_overwritten = dialog.selectedFiles().front(); // it was asked there
    m_path->setText(m_overwritten);
}

void ExportDialog::changeFormat()
{
    const auto& chosen = format();
    m_document.exporter().changeQTExportFileType(chosen);
    // The name follows where it has the ending of a format.
    const QFileInfo file {m_path->text()};
    const auto ending = chosen.settings.isImageSequence ? QString() : QLatin1Char('.') + fromUtf8(chosen.extension);
    m_path->setText(file.path() + QLatin1Char('/') + file.completeBaseName() + ending);
    show(ExportChoices {});
    tryHardware();
}

void ExportDialog::fillSizes()
{
    const QSignalBlocker quiet(m_size);
    const auto natural = m_document.movie().naturalSize();
    const QSize whole(static_cast<int>(natural.width), static_cast<int>(natural.height));
    m_size->clear();
    m_size->addItem(tr("%1 \u00D7 %2, as it is").arg(whole.width()).arg(whole.height()), QSize());
    for (const int height : {2160, 1080, 720, 540, 360}) {
        if (height >= whole.height() || whole.isEmpty())
            continue;
        const int width = static_cast<int>(std::lround(double(whole.width()) * height / whole.height() / 2)) * 2;
        m_size->addItem(tr("%1 \u00D7 %2").arg(width).arg(height), QSize(width, height));
    }
    const QSignalBlocker alsoQuiet(m_rate);
    m_rate->clear();
    const auto average = FrameRate::averageOfPicture(m_document.movie());
    const double present
        = average && average->den != 0 ? static_cast<double>(average->num) / static_cast<double>(average->den) : 0;
    m_rate->addItem(tr("%1 fps, as it is").arg(QString::number(present, 'g', 5)), QPoint());
    for (const auto& rate : {QPoint(24000, 1001), QPoint(24, 1), QPoint(25, 1), QPoint(30000, 1001), QPoint(30, 1),
             QPoint(50, 1), QPoint(60000, 1001), QPoint(60, 1)})
        m_rate->addItem(tr("%1 fps").arg(QString::number(double(rate.x()) / rate.y(), 'g', 5)), rate);
}

void ExportDialog::show(const ExportChoices& choices)
{
    const auto& chosen = format();
    const bool picture = hasPicture(chosen);
    const bool sound = hasSound(chosen);
    const QSignalBlocker quietQuality(m_quality);
    const QSignalBlocker quietSound(m_sound);
    m_quality->clear();
    const auto own = qualityOf(chosen);
    const auto rate = chosen.settings.videoBitRate;
    if (chosen.settings.copiesMedia) {
        m_quality->addItem(tr("As it is"), kOwnQuality);
    } else if (own) {
        struct Step
        {
            QString name;
            int difference;
        };
        for (const auto& step : {Step {tr("Highest"), -6}, Step {tr("High"), -3}, Step {tr("Good"), 0},
                 Step {tr("Small"), 5}, Step {tr("Smallest"), 10}})
            m_quality->addItem(step.name, *own + step.difference);
        m_quality->addItem(tr("Bit rate"), kBitRate);
        m_quality->setCurrentIndex(m_quality->findData(*own));
    } else if (rate > 0) {
        m_quality->addItem(tr("Bit rate"), kBitRate);
        m_bitRate->setValue(static_cast<int>(rate / 1'000'000));
    } else {
        m_quality->addItem(picture ? tr("Fixed by the format") : tr("No picture"), kOwnQuality);
    }
    if (choices.videoBitRate) {
        m_quality->setCurrentIndex(m_quality->findData(kBitRate));
        m_bitRate->setValue(static_cast<int>(*choices.videoBitRate / 1'000'000));
    } else if (choices.quality && own) {
        if (m_quality->findData(*choices.quality) < 0)
            m_quality->addItem(tr("%1 of 51").arg(*choices.quality), *choices.quality);
        m_quality->setCurrentIndex(m_quality->findData(*choices.quality));
    }
    m_quality->setEnabled(m_quality->count() > 1);

    fillSizes();
    if (choices.width && choices.height) {
        const QSize size(*choices.width, *choices.height);
        if (m_size->findData(size) < 0)
            m_size->addItem(tr("%1 \u00D7 %2").arg(size.width()).arg(size.height()), size);
        m_size->setCurrentIndex(m_size->findData(size));
    }
    if (choices.frameRate) {
        const QPoint wanted(choices.frameRate->first, choices.frameRate->second);
        if (m_rate->findData(wanted) < 0)
            m_rate->addItem(tr("%1 fps").arg(QString::number(double(wanted.x()) / wanted.y(), 'g', 5)), wanted);
        m_rate->setCurrentIndex(m_rate->findData(wanted));
    }
    for (QWidget* widget : std::initializer_list<QWidget*> {m_size, m_rate, m_burn, m_color})
        widget->setEnabled(picture);

    m_sound->clear();
    if (chosen.settings.copiesMedia) {
        m_sound->addItem(tr("Enabled tracks, as they are"));
    } else if (!sound) {
        m_sound->addItem(tr("No sound in this format"));
    } else {
        m_sound->addItem(tr("Enabled tracks, as they are"), QPoint(0, 0)); // mixed, channels
        m_sound->addItem(tr("Enabled tracks, each as stereo"), QPoint(0, 2));
        m_sound->addItem(tr("Enabled tracks, each as mono"), QPoint(0, 1));
        m_sound->addItem(tr("Enabled tracks, mixed to stereo"), QPoint(1, 2));
        m_sound->addItem(tr("Enabled tracks, mixed to mono"), QPoint(1, 1));
        m_sound->addItem(tr("Enabled tracks, mixed"), QPoint(1, 0));
        if (picture)
            m_sound->addItem(tr("No sound"), QPoint(-1, 0));
        const int mix = choices.mix.value_or(chosen.settings.mixesSound) ? 1 : 0;
        const int found = m_sound->findData(choices.audio ? QPoint(mix, choices.channels.value_or(0)) : QPoint(-1, 0));
        m_sound->setCurrentIndex(std::max(found, 0));
    }
    m_sound->setEnabled(m_sound->count() > 1);
    m_soundRate->setEnabled(sound);
    m_soundRate->setCurrentIndex(std::max(m_soundRate->findData(choices.sampleRate.value_or(0)), 0));
    m_burn->setChecked(choices.burnTimecode);
    m_color->setChecked(choices.color);
    m_hardware->setChecked(choices.hardware);
    updateNotes();
}

void ExportDialog::tryHardware()
{
    m_hardware->setVisible(false);
    if (!hasPicture(format()))
        return;
    runInBackground(
        this, [format = &format()] { return std::pair {format, MovieExport::hardwareEncoder(*format)}; },
        [this](const std::pair<const ExportFormat*, std::string>& found) {
            if (found.first == &format())
                m_hardware->setVisible(!found.second.empty());
        });
}

ExportChoices ExportDialog::choices() const
{
    ExportChoices made;
    const auto& chosen = format();
    if (hasPicture(chosen)) {
        const int quality = m_quality->currentData().toInt();
        if (quality == kBitRate)
            made.videoBitRate = std::int64_t {m_bitRate->value()} * 1'000'000;
        else if (quality >= 0 && qualityOf(chosen) != quality)
            made.quality = quality;
        if (const auto size = m_size->currentData().toSize(); size.isValid() && !size.isEmpty()) {
            made.width = size.width();
            made.height = size.height();
        }
        if (const auto rate = m_rate->currentData().toPoint(); rate.x() > 0)
            made.frameRate = {rate.x(), rate.y()};
        made.burnTimecode = m_burn->isChecked();
        made.color = m_color->isChecked();
        made.hardware = !m_hardware->isHidden() && m_hardware->isChecked();
    }
    if (hasSound(chosen)) {
        const auto sound = m_sound->currentData().toPoint();
        made.audio = sound.x() >= 0;
        if (sound.x() >= 0 && (sound.x() == 1) != chosen.settings.mixesSound)
            made.mix = sound.x() == 1;
        if (sound.y() > 0)
            made.channels = sound.y();
        if (const int rate = m_soundRate->currentData().toInt(); rate > 0)
            made.sampleRate = rate;
    }
    return made;
}

std::optional<ExportRange> ExportDialog::range() const
{
    if (!m_part->isChecked())
        return std::nullopt;
    const auto& movie = m_document.movie();
    const auto start = m_document.readTime(m_from->text().toStdString());
    auto end = m_to->text().isEmpty() ? Result<QTTime> {movie.duration()}
                                      : m_document.readTime(m_to->text().toStdString());
    if (!start || !end)
        return std::nullopt;
    return ExportRange {*start, std::min(*end, movie.duration())};
}

void ExportDialog::updateNotes()
{
    const auto& chosen = format();
    const auto size = [](double bytes) {
        return QLocale().formattedDataSize(static_cast<qint64>(bytes), 0, QLocale::DataSizeSIFormat);
    };
    const QFileInfo file {m_path->text()};
    const QStorageInfo volume {file.absolutePath()};
    const bool isPlace = QFileInfo(file.absolutePath()).isDir() && !file.fileName().isEmpty();
    m_place->setText(isPlace ? tr("In \u201C%1\u201D, %2 free")
                                   .arg(QFileInfo(file.absolutePath()).fileName(), size(double(volume.bytesAvailable())))
                             : tr("This folder is not there."));
    QString about = fromUtf8(chosen.description) + QLatin1Char('.');
    const auto& muxer = chosen.settings.muxer;
    if (!hasSound(chosen) && !chosen.settings.copiesMedia)
        about += QLatin1Char(' ') + tr("This format takes no sound.");
    else if (muxer != "mov" && muxer != "mp4" && muxer != "mxf" && hasPicture(chosen))
        about += QLatin1Char(' ') + tr("This format takes no timecode track.");
    m_formatNote->setText(about);
    m_bitRate->setVisible(m_quality->currentData().toInt() == kBitRate);

    const bool isPart = m_part->isChecked();
    QString problem;
    for (const auto* field : {m_from, m_to})
        if (isPart && !field->remark().text.empty() && problem.isEmpty())
            problem = fromUtf8(field->remark().text);
    bool isWrong = isPart && (m_from->isWrong() || m_to->isWrong());
    const auto part = range();
    if (isPart && !isWrong && (!part || part->end <= part->start)) {
        problem = tr("The range ends before it begins.");
        isWrong = true;
    }
    m_rangeNote->setText(problem);
    m_rangeNote->setVisible(!problem.isEmpty());

    ExportJob job;
    job.format = &chosen;
    job.choices = choices();
    job.range = isWrong ? std::nullopt : part;
    const auto estimate = MovieExport::estimate(m_document.movie(), job);
    const auto length = job.range ? job.range->end - job.range->start : m_document.movie().duration();
    QStringList facts {fromUtf8(ShownTime::text(length, ShownTime::Kind::Length,
        m_document.timeStyle(), m_document.movie()))};
    if (estimate.pictures > 0)
        facts << tr("%1 pictures").arg(QLocale().toString(static_cast<qlonglong>(estimate.pictures)));
    if (estimate.bytes > 0)
        facts << tr("about %1").arg(size(double(estimate.bytes)));
    const auto what = m_unsavedChanges == 0 ? tr("The movie is exported as it is shown.")
        : m_unsavedChanges == 1
        ? tr("The edited movie is exported, 1 unsaved change included.")
        : tr("The edited movie is exported, %1 unsaved changes included.").arg(m_unsavedChanges);
    m_summary->setText(what + QLatin1Char('\n') + facts.join(QStringLiteral(", ")) + QLatin1Char('.'));
    m_export->setEnabled(isPlace && !isWrong);
}

void ExportDialog::confirm()
{
    const QFileInfo file {m_path->text()};
    const auto own = QFileInfo(fromUtf8(m_document.path())).canonicalFilePath();
    if (file.exists() && file.canonicalFilePath() == own) {
        QMessageBox::warning(this, tr("Export"),
            tr("This is the movie\u2019s own file. Export to another name."));
        m_path->setFocus();
        return;
    }
    if (file.exists() && file.absoluteFilePath() != m_overwritten
        && QMessageBox::question(this, tr("Export"),
               tr("\u201C%1\u201D exists already. Replace it?").arg(file.fileName()),
               QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel)
            != QMessageBox::Yes)
        return;
    accept();
}

} // namespace reelwright
