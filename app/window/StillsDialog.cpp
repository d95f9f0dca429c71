#include "app/window/StillsDialog.h"

#include "app/shell/FileChooser.h"
#include "document/MyDocument.h"

#include <QComboBox>
#include <QDoubleSpinBox>
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
#include <QSpinBox>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    constexpr int kMargin = 16;
    constexpr int kSpacing = 8;
    constexpr int kWidth = 456;
    constexpr int kMostCells = 50; ///< of a sheet, in each direction

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

} // namespace

StillsDialog::StillsDialog(MyDocument& document, Scope scope, const QTTime& time, QWidget* parent)
    : QDialog(parent)
    , m_document(document)
    , m_time(time)
    , m_path(new QLineEdit)
    , m_format(new QComboBox)
    , m_shown(new QRadioButton(tr("The picture on &show")))
    , m_every(new QRadioButton(tr("A picture &every")))
    , m_sheet(new QRadioButton(tr("A &contact sheet of")))
    , m_step(new QDoubleSpinBox)
    , m_columns(new QSpinBox)
    , m_rows(new QSpinBox)
    , m_note(new QLabel)
    , m_export(new QPushButton(tr("E&xport")))
{
    setWindowTitle(scope == Scope::Shown ? tr("Export Frame") : tr("Export Stills"));
    const auto& exporter = m_document.exporter();
    for (const auto& format : ExportController::imageFormats())
        m_format->addItem(QLatin1String(format.title));
    m_format->setCurrentIndex(static_cast<int>(exporter.selectedImageFormat()));
    m_step->setRange(0.04, 86400);
    m_step->setValue(10);
    m_step->setSuffix(tr(" s"));
    m_step->setAccessibleName(tr("Seconds between pictures"));
    m_columns->setRange(1, kMostCells);
    m_columns->setValue(5);
    m_columns->setAccessibleName(tr("Columns"));
    m_rows->setRange(1, kMostCells);
    m_rows->setValue(4);
    m_rows->setAccessibleName(tr("Rows"));
    m_note->setForegroundRole(QPalette::PlaceholderText);
    m_note->setWordWrap(true);
    (scope == Scope::Shown ? m_shown : scope == Scope::Every ? m_every : m_sheet)->setChecked(true);

    auto* choose = new QPushButton(tr("Choose\u2026"));
    choose->setAutoDefault(false);
    choose->setToolTip(tr("Choose the folder and the name"));
    auto* place = new QHBoxLayout;
    place->addWidget(m_path, 1);
    place->addWidget(choose);
    auto* form = new QFormLayout;
    form->setHorizontalSpacing(kSpacing);
    form->setVerticalSpacing(kSpacing);
    form->setLabelAlignment(Qt::AlignLeft);
    const auto add = [&](const QString& text, QWidget* field, QLayout* whole) {
        auto* label = new QLabel(text);
        label->setBuddy(field);
        form->addRow(label, whole);
    };
    add(tr("Save &to:"), m_path, place);
    auto* format = new QHBoxLayout;
    format->addWidget(m_format, 1);
    add(tr("&Format:"), m_format, format);
    m_path->setAccessibleName(tr("Save to"));
    const auto row = [&](QRadioButton* button, std::initializer_list<QWidget*> fields) {
        auto* layout = new QHBoxLayout;
        layout->setSpacing(kSpacing);
        layout->addWidget(button);
        for (auto* field : fields)
            layout->addWidget(field);
        layout->addStretch();
        form->addRow(layout);
    };
    row(m_shown, {});
    row(m_every, {m_step});
    row(m_sheet, {m_columns, new QLabel(tr("by")), m_rows});
    form->addRow(m_note);

    auto* help = new QPushButton(tr("&Help"));
    auto* cancel = new QPushButton(tr("Cancel"));
    for (auto* button : {help, cancel})
        button->setAutoDefault(false);
    m_export->setDefault(true);
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
    layout->addStretch();
    layout->addLayout(buttons);
    resize(kWidth, sizeHint().height());

    const auto& own = m_document.path();
    const auto folder = own.empty() ? QString() : QFileInfo(fromUtf8(own)).absolutePath() + QLatin1Char('/');
    const auto name = QFileInfo(fromUtf8(exporter.suggestedImageName(this->format()))).fileName();
    m_path->setText(folder + name);
    connect(choose, &QPushButton::clicked, this, &StillsDialog::chooseFile);
    connect(help, &QPushButton::clicked, this, &StillsDialog::helpAsked);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_export, &QPushButton::clicked, this, &StillsDialog::confirm);
    connect(m_path, &QLineEdit::textChanged, this, &StillsDialog::follow);
    connect(m_format, &QComboBox::currentIndexChanged, this, &StillsDialog::follow);
    for (auto* button : {m_shown, m_every, m_sheet})
        connect(button, &QRadioButton::toggled, this, &StillsDialog::follow);
    connect(m_step, &QDoubleSpinBox::valueChanged, this, [this] { m_every->setChecked(true), follow(); });
    for (auto* box : {m_columns, m_rows})
        connect(box, &QSpinBox::valueChanged, this, [this] { m_sheet->setChecked(true), follow(); });
    follow();
}

StillsDialog::Scope StillsDialog::scope() const
{
    return m_shown->isChecked() ? Scope::Shown : m_every->isChecked() ? Scope::Every : Scope::Sheet;
}

const ExportController::ImageFormat& StillsDialog::format() const
{
    const auto index = scope() == Scope::Sheet ? 0 : std::max(m_format->currentIndex(), 0);
    return ExportController::imageFormats()[static_cast<std::size_t>(index)];
}

QString StillsDialog::path() const
{
    return m_path->text();
}

ExportController::Stills StillsDialog::stills() const
{
    switch (scope()) {
    case Scope::Shown:
        return {{m_time}};
    case Scope::Every: {
        constexpr int kScale = 1000;
        auto times = FrameExport::timesEvery(
            m_document.movie(), {static_cast<std::int64_t>(m_step->value() * kScale + 0.5), kScale});
        return {times ? std::move(*times) : std::vector<QTTime> {}};
    }
    case Scope::Sheet:
        break;
    }
    return {{}, m_columns->value(), m_rows->value()};
}

void StillsDialog::chooseFile()
{
    QFileDialog dialog(this, windowTitle());
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    makeRoomInFileChooser(dialog);
    dialog.setFileMode(QFileDialog::AnyFile);
    const QFileInfo present {m_path->text()};
    dialog.setDirectory(present.absolutePath());
    dialog.selectFile(present.fileName());
    dialog.setDefaultSuffix(QLatin1String(format().extension));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return;
    m_overwritten = dialog.selectedFiles().front();
    m_path->setText(m_overwritten);
}

void StillsDialog::follow()
{
    m_format->setEnabled(scope() != Scope::Sheet);
    // The ending follows the kind of image.
    const QFileInfo file {m_path->text()};
    const auto ending = QLatin1String(format().extension);
    for (const auto& known : ExportController::imageFormats())
        if (file.suffix() == QLatin1String(known.extension) && file.suffix() != ending) {
            m_path->setText(file.path() + QLatin1Char('/') + file.completeBaseName() + QLatin1Char('.') + ending);
            return; // comes here again
        }
    const auto wanted = stills();
    const auto size = m_document.movie().naturalSize();
    const auto pixels = tr("%1 \u00D7 %2 pixels").arg(size.width).arg(size.height);
    switch (scope()) {
    case Scope::Shown:
        m_note->setText(tr("At %1, %2.").arg(fromUtf8(m_document.shownTime(m_time)), pixels));
        break;
    case Scope::Every:
        m_note->setText(wanted.times.empty()
                ? tr("These would be more than 100 000 pictures. Take a longer step.")
                : tr("%1 numbered files, %2 each.")
                      .arg(QLocale().toString(static_cast<qulonglong>(wanted.times.size())), pixels));
        break;
    case Scope::Sheet:
        m_note->setText(tr("One PNG file with %1 small pictures from the whole movie and their timecodes.")
                            .arg(wanted.columns * wanted.rows));
        break;
    }
    const bool isPlace = QFileInfo(file.absolutePath()).isDir() && !file.fileName().isEmpty();
    m_export->setEnabled(isPlace && (wanted.columns > 0 || !wanted.times.empty()));
}

void StillsDialog::confirm()
{
    QFileInfo file {m_path->text()};
    if (scope() == Scope::Every)
        file.setFile(fromUtf8(FrameExport::numbered(m_path->text().toStdString(), 0)));
    if (file.exists() && file.absoluteFilePath() != m_overwritten
        && QMessageBox::question(this, windowTitle(),
               tr("\u201C%1\u201D exists already. Replace it?").arg(file.fileName()),
               QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel)
            != QMessageBox::Yes)
        return;
    accept();
}

} // namespace reelwright
