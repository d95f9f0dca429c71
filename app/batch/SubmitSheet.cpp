#include "app/batch/SubmitSheet.h"

#include "app/shell/FileChooser.h"
#include "support/Preferences.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    constexpr int kMargin = 16;
    constexpr int kIndent = 24;
    constexpr int kMostJobs = 16;

    QHBoxLayout* indented(std::initializer_list<QWidget*> widgets)
    {
        auto* row = new QHBoxLayout;
        row->addSpacing(kIndent);
        for (auto* widget : widgets)
            row->addWidget(widget);
        return row;
    }

} // namespace

SubmitSheet::SubmitSheet(Preferences& preferences, std::size_t files, QWidget* parent)
    : QDialog(parent)
    , m_preferences(preferences)
    , m_type(new QButtonGroup(this))
    , m_extension(new QLineEdit(QString::fromStdString(preferences.text("batchExtension"))))
    , m_directory(new QLineEdit(QString::fromStdString(preferences.text("batchDirectory"))))
    , m_browse(new QPushButton(tr("&Browse\u2026")))
    , m_forceResave(new QCheckBox(tr("&Write each file anew, header first")))
    , m_verify(new QCheckBox(tr("&Verify media (reads all media twice)")))
    , m_keepDates(new QCheckBox(tr("&Keep the files' dates")))
    , m_jobs(new QSpinBox)
{
    setWindowTitle(tr("Submit Batch"));
    setWindowModality(Qt::WindowModal);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    const auto addType = [&](BatchMode mode, const QString& text) {
        auto* button = new QRadioButton(text);
        m_type->addButton(button, static_cast<int>(mode));
        layout->addWidget(button);
    };
    layout->addWidget(new QLabel(files == 1 ? tr("Where does the changed file go?")
                                            : tr("Where do the %1 changed files go?").arg(files)));
    addType(BatchMode::InPlace, tr("&Save each file in place"));
    m_forceResave->setToolTip(tr("The old file goes to the trash. Slow: all media are copied."));
    m_forceResave->setChecked(preferences.integer("batchForceResave") == 1);
    layout->addLayout(indented({m_forceResave}));
    addType(BatchMode::AppendText, tr("Save copies beside the files, with this &text behind their names:"));
    m_extension->setAccessibleName(tr("Text to append"));
    layout->addLayout(indented({m_extension}));
    addType(BatchMode::OutputFolder, tr("Save copies into this &folder:"));
    m_directory->setAccessibleName(tr("Output folder"));
    layout->addLayout(indented({m_directory, m_browse}));
    auto* note = new QLabel(tr("A file that is there already under that name goes to the trash."));
    note->setForegroundRole(QPalette::PlaceholderText);
    layout->addLayout(indented({note}));

    layout->addSpacing(kMargin);
    layout->addWidget(m_verify);
    layout->addWidget(m_keepDates);
    m_verify->setChecked(preferences.boolean("batchVerify"));
    m_keepDates->setChecked(preferences.boolean("batchKeepDates"));
    m_jobs->setRange(1, kMostJobs);
    m_jobs->setValue(static_cast<int>(preferences.integer("batchJobs")));
    m_jobs->setToolTip(
        tr("A disk with heads that move is quickest with one, a solid state or network disk with more."));
    auto* jobs = new QHBoxLayout;
    auto* jobsLabel = new QLabel(tr("Files at a ti&me:"));
    jobsLabel->setBuddy(m_jobs);
    jobs->addWidget(jobsLabel);
    jobs->addWidget(m_jobs);
    jobs->addStretch();
    layout->addLayout(jobs);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    auto* submit = buttons->addButton(tr("Submit &Batch"), QDialogButtonBox::AcceptRole);
    submit->setDefault(true);
    layout->addSpacing(kMargin);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &SubmitSheet::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &SubmitSheet::reject);
    connect(m_type, &QButtonGroup::idClicked, this, [this] { changeBatchTypeSelection(); });
    connect(m_browse, &QPushButton::clicked, this, &SubmitSheet::browse);

    auto* button = m_type->button(static_cast<int>(preferences.integer("batchUpdateType")));
    (button ? button : m_type->button(0))->setChecked(true);
    changeBatchTypeSelection();
}

BatchMode SubmitSheet::mode() const
{
    return static_cast<BatchMode>(m_type->checkedId());
}

void SubmitSheet::changeBatchTypeSelection()
{
    m_forceResave->setEnabled(mode() == BatchMode::InPlace);
    m_extension->setEnabled(mode() == BatchMode::AppendText);
    m_directory->setEnabled(mode() == BatchMode::OutputFolder);
    m_browse->setEnabled(mode() == BatchMode::OutputFolder);
}

void SubmitSheet::browse()
{
    QFileDialog chooser(this, tr("Choose the folder for the changed files"), m_directory->text());
    chooser.setWindowModality(Qt::WindowModal);
    chooser.setFileMode(QFileDialog::Directory);
    chooser.setOption(QFileDialog::ShowDirsOnly);
    makeRoomInFileChooser(chooser);
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty())
        return;
    m_directory->setText(chooser.selectedFiles().front());
    m_preferences.set("batchDirectory", m_directory->text().toStdString());
}

void SubmitSheet::accept()
{
    m_preferences.set("batchUpdateType", std::int64_t {m_type->checkedId()});
    m_preferences.set("batchExtension", m_extension->text().toStdString());
    m_preferences.set("batchDirectory", m_directory->text().toStdString());
    m_preferences.set("batchForceResave", std::int64_t {m_forceResave->isChecked() ? 1 : 0});
    m_preferences.set("batchVerify", m_verify->isChecked());
    m_preferences.set("batchKeepDates", m_keepDates->isChecked());
    m_preferences.set("batchJobs", std::int64_t {m_jobs->value()});
    QDialog::accept();
}

} // namespace reelwright
