#include "app/shell/PreferencesDialog.h"

#include "app/shell/Appearance.h"
#include "support/Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    /// Keys that "Restore Defaults" takes away.
    constexpr const char* kKeys[] = {"startupType", "appearance", "autoFlatten", "nonHFSResave"};
    constexpr auto kDisableLogging = "disable-logging";
    constexpr int kExplanationWidth = 380;
    constexpr std::int64_t kChooserAtStart = 0;
    constexpr std::int64_t kBatchAtStart = 1;
    constexpr std::int64_t kNothingAtStart = 2;

    /// A check box with a sentence below that says what comes of it.
    QWidget* explained(QCheckBox* box, const QString& explanation)
    {
        auto* text = new QLabel {explanation};
        text->setWordWrap(true);
        text->setMinimumWidth(kExplanationWidth);
        text->setForegroundRole(QPalette::PlaceholderText);
        box->setAccessibleDescription(explanation);
        auto* both = new QWidget;
        auto* layout = new QVBoxLayout {both};
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(2);
        layout->addWidget(box);
        auto* indented = new QHBoxLayout;
        indented->addSpacing(24);
        indented->addWidget(text);
        layout->addLayout(indented);
        return both;
    }

} // namespace

PreferencesDialog::PreferencesDialog(Preferences& preferences, Preferences& shared, QWidget* parent)
    : QDialog(parent)
    , m_preferences(preferences)
    , m_shared(shared)
    , m_problem(new QLabel)
{
    setWindowTitle(tr("Preferences"));

    auto* form = new QFormLayout;
    form->setVerticalSpacing(14);
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    form->addRow(tr("At &start:"), makeStartup());
    form->addRow(tr("A&ppearance:"), makeAppearance());
    form->addRow(tr("Saving:"), makeFlattening());
    form->addRow(QString {}, makeOtherVolumes());
    form->addRow(tr("Log:"), makeLogging());

    m_problem->setWordWrap(true);
    m_problem->hide();

    auto* buttons = new QDialogButtonBox {QDialogButtonBox::RestoreDefaults | QDialogButtonBox::Close};
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* restore = buttons->button(QDialogButtonBox::RestoreDefaults);
    constexpr int kRoom = 16; // some styles put the text right to the edge
    restore->setMinimumWidth(restore->sizeHint().width() + kRoom);
    connect(restore, &QPushButton::clicked, this, &PreferencesDialog::restoreDefaults);
    buttons->button(QDialogButtonBox::Close)->setDefault(true);

    auto* layout = new QVBoxLayout {this};
    layout->setContentsMargins(20, 20, 20, 16);
    layout->setSpacing(16);
    layout->addLayout(form);
    layout->addWidget(m_problem);
    layout->addStretch();
    layout->addWidget(buttons);
    load();
}

QComboBox* PreferencesDialog::makeStartup()
{
    auto* box = new QComboBox;
    box->setObjectName(QStringLiteral("startupType"));
    box->addItem(tr("Choose movies to open"), QVariant::fromValue(qint64 {kChooserAtStart}));
    box->addItem(tr("Begin a new batch"), QVariant::fromValue(qint64 {kBatchAtStart}));
    box->addItem(tr("Show the start window"), QVariant::fromValue(qint64 {kNothingAtStart}));
    m_loaders.emplace_back([this, box] {
        // Every value but two comes to the same.
        const int index = box->findData(QVariant::fromValue(qint64 {m_preferences.integer("startupType")}));
        box->setCurrentIndex(index < 0 ? box->count() - 1 : index);
    });
    connect(box, &QComboBox::currentIndexChanged, this, [this, box] {
        if (!m_isLoading)
            report(m_preferences.set("startupType", std::int64_t {box->currentData().toLongLong()}));
    });
    return box;
}

QComboBox* PreferencesDialog::makeAppearance()
{
    using Kind = Appearance::Kind;
    auto* box = new QComboBox;
    box->setObjectName(QStringLiteral("appearance"));
    box->addItem(tr("System"), Appearance::name(Kind::System));
    box->addItem(tr("Light"), Appearance::name(Kind::Light));
    box->addItem(tr("Dark"), Appearance::name(Kind::Dark));
    m_loaders.emplace_back([this, box] {
        const auto index = box->findData(QString::fromStdString(m_preferences.text("appearance")));
        box->setCurrentIndex(std::max(index, 0));
    });
    connect(box, &QComboBox::currentIndexChanged, this, [this, box] {
        if (m_isLoading)
            return;
        report(m_preferences.set("appearance", box->currentData().toString().toStdString()));
        emit appearanceChanged();
    });
    return box;
}

QCheckBox* PreferencesDialog::makeCheckBox(const QString& name, const QString& text,
    const std::function<bool()>& read, const std::function<void(bool)>& write)
{
    auto* box = new QCheckBox {text};
    box->setObjectName(name);
    m_loaders.emplace_back([box, read] { box->setChecked(read()); });
    connect(box, &QCheckBox::toggled, this, [this, write](bool isOn) {
        if (!m_isLoading)
            write(isOn);
    });
    return box;
}

QWidget* PreferencesDialog::makeFlattening()
{
    // Only 1 flattens without a question.
    auto* box = makeCheckBox(
        QStringLiteral("autoFlatten"), tr("&Flatten movies without asking"),
        [this] { return m_preferences.integer("autoFlatten") == 1; },
        [this](bool isOn) { report(m_preferences.set("autoFlatten", std::int64_t {isOn ? 1 : 0})); });
    return explained(box,
        tr("When a movie refers to media in other files, saving copies them into the movie's own file. The "
           "file "
           "then stands by itself, and becomes larger."));
}

QWidget* PreferencesDialog::makeOtherVolumes()
{
    auto* box = makeCheckBox(
        QStringLiteral("nonHFSResave"), tr("Save as a &new file on FAT, NTFS and network volumes"),
        [this] { return m_preferences.boolean("nonHFSResave"); },
        [this](bool isOn) { report(m_preferences.set("nonHFSResave", isOn)); });
    return explained(box,
        tr("Safer on volumes that keep no journal, but the whole movie is written each time. When off, "
           "movies are "
           "updated in their own file there too."));
}

QWidget* PreferencesDialog::makeLogging()
{
    auto* box = makeCheckBox(
        QStringLiteral("logging"), tr("&Keep a log"), [this] { return !m_shared.boolean(kDisableLogging); },
        [this](bool isOn) {
            report(isOn ? m_shared.remove(kDisableLogging) : m_shared.set(kDisableLogging, true));
            emit loggingChanged();
        });
    return explained(box,
        tr("What the program does is written to a file on this computer; it helps to find out what went "
           "wrong. "
           "Applies to all programs of the maker."));
}

void PreferencesDialog::load()
{
    m_isLoading = true;
    for (const auto& loader : m_loaders)
        loader();
    m_isLoading = false;
}

void PreferencesDialog::report(std::error_code error)
{
    m_problem->setVisible(bool(error));
    if (error)
        m_problem->setText(tr("This holds until Reelwright ends only, because it could not be saved: %1")
                               .arg(QString::fromStdString(error.message())));
}

void PreferencesDialog::restoreDefaults()
{
    std::error_code firstError;
    const auto note = [&](std::error_code error) {
        if (!firstError)
            firstError = error;
    };
    for (const auto* key : kKeys)
        note(m_preferences.remove(key));
    note(m_shared.remove(kDisableLogging));
    load();
    report(firstError);
    emit appearanceChanged();
    emit loggingChanged();
}

} // namespace reelwright
