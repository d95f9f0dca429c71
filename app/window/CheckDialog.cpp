#include "app/window/CheckDialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr int kMargin = 16;
    constexpr int kSpacing = 8;
    constexpr int kCollectMilliseconds = 100;
    constexpr QSize kUsualSize {720, 480};

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

} // namespace

CheckDialog::CheckDialog(std::vector<std::string> paths, Ask facts, const QString& mendText, QWidget* parent)
    : QDialog(parent)
    , m_paths(std::move(paths))
    , m_facts(std::move(facts))
    , m_rules(new QComboBox)
    , m_description(new QLabel)
    , m_list(new QTreeWidget)
    , m_summary(new QLabel)
    , m_mend(new QPushButton(mendText))
{
    setWindowTitle(tr("Check"));
    m_rules->setAccessibleName(tr("Rules"));
    for (const auto& name : RuleSet::installed()) {
        const auto rules = RuleSet::find(name);
        m_rules->addItem(rules ? fromUtf8(rules->name) : fromUtf8(name), fromUtf8(name));
    }
    m_rules->insertSeparator(m_rules->count());
    m_rules->addItem(tr("Rules from a File\u2026"));
    m_description->setWordWrap(true);
    m_list->setAccessibleName(tr("What was found"));
    m_list->setHeaderLabels({tr("File and finding"), tr("Mended by")});
    m_list->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_list->header()->setStretchLastSection(false);
    m_list->header()->resizeSection(1, 200);
    m_list->setUniformRowHeights(true);
    m_mend->setEnabled(false);

    auto* choice = new QHBoxLayout;
    auto* label = new QLabel(tr("&Rules:"));
    label->setBuddy(m_rules);
    choice->addWidget(label);
    choice->addWidget(m_rules, 1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    buttons->addButton(m_mend, QDialogButtonBox::ActionRole);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    layout->addLayout(choice);
    layout->addWidget(m_description);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_summary);
    layout->addWidget(buttons);
    resize(kUsualSize);

    m_timer.setInterval(kCollectMilliseconds);
    connect(&m_timer, &QTimer::timeout, this, &CheckDialog::collect);
    connect(m_rules, &QComboBox::activated, this, &CheckDialog::chooseRules);
    connect(m_mend, &QPushButton::clicked, this, [this] {
        const auto edits = m_edits;
        accept();
        emit mendAsked(edits);
    });
    if (m_rules->count() > 2)
        chooseRules(0);
}

void CheckDialog::chooseRules(int index)
{
    if (const auto name = m_rules->itemData(index).toString(); !name.isEmpty()) {
        m_lastRules = index;
        begin(name.toStdString());
        return;
    }
    const auto path
        = QFileDialog::getOpenFileName(this, tr("Rules"), {}, tr("Rules (*.json);;All files (*)"));
    if (path.isEmpty()) {
        m_rules->setCurrentIndex(m_lastRules);
        return;
    }
    m_rules->insertItem(0, QFileInfo {path}.fileName(), path);
    m_rules->setCurrentIndex(0);
    m_lastRules = 0;
    begin(path.toStdString());
}

void CheckDialog::begin(const std::string& rules)
{
    m_scan.reset();
    m_timer.stop();
    m_list->clear();
    m_edits.clear();
    m_checked = m_passed = 0;
    m_mend->setEnabled(false);
    m_summary->clear();
    auto found = RuleSet::find(rules);
    if (!found) {
        m_description->setText(tr("<b>These rules cannot be read.</b> %1")
                                   .arg(fromUtf8(found.error().message()).toHtmlEscaped()));
        return;
    }
    const auto set = std::make_shared<const RuleSet>(std::move(*found));
    m_description->setText(fromUtf8(set->description).toHtmlEscaped());
    std::vector<BackgroundScan<Answer>::File> files;
    for (std::size_t i = 0; i < m_paths.size(); ++i)
        files.push_back({i, m_paths[i]});
    m_scan = std::make_unique<BackgroundScan<Answer>>(
        std::move(files), [set, facts = m_facts](const std::string& path) {
            Answer answer;
            if (const auto known = facts(path))
                answer.result = reelwright::check(*known, *set);
            else
                answer.error = known.error().message();
            return answer;
        });
    m_timer.start();
}

void CheckDialog::collect()
{
    if (!m_scan)
        return;
    const bool isRunning = m_scan->isRunning(); // asked first: what comes after it is collected next time
    m_list->setUpdatesEnabled(false);
    for (const auto& [index, answer] : m_scan->collect())
        show(index, answer);
    m_list->setUpdatesEnabled(true);
    updateSummary();
    if (isRunning)
        return;
    m_timer.stop();
    m_scan.reset();
    m_mend->setEnabled(!m_edits.empty());
}

void CheckDialog::show(std::size_t index, const Answer& answer)
{
    const auto name = QFileInfo {fromUtf8(m_paths[index])}.fileName();
    const bool isRead = answer.error.empty();
    const bool hasPassed = isRead && answer.result.hasPassed();
    ++m_checked;
    m_passed += hasPassed ? 1U : 0U;
    auto* file = new QTreeWidgetItem(m_list,
        {name + QStringLiteral(": ") + fromUtf8(isRead ? answer.result.summary() : answer.error),
            QString {}});
    file->setToolTip(0, fromUtf8(m_paths[index]));
    file->setIcon(
        0, style()->standardIcon(hasPassed ? QStyle::SP_DialogApplyButton : QStyle::SP_MessageBoxCritical));
    for (const auto& finding : answer.result.findings) {
        QStringList edits;
        for (const auto& edit : finding.edits) {
            edits << fromUtf8(edit);
            if (std::find(m_edits.begin(), m_edits.end(), edit) == m_edits.end())
                m_edits.push_back(edit);
        }
        const auto mended = edits.join(QLatin1Char(' '));
        auto* row = new QTreeWidgetItem(file, {fromUtf8(finding.text), mended});
        row->setToolTip(0, fromUtf8(finding.text));
        row->setToolTip(1, mended);
        row->setIcon(0,
            style()->standardIcon(finding.severity == Severity::Error ? QStyle::SP_MessageBoxCritical
                                                                      : QStyle::SP_MessageBoxWarning));
    }
    constexpr std::size_t kMostOpen = 50; // a long list is opened row by row
    file->setExpanded(!hasPassed && m_checked <= kMostOpen);
}

void CheckDialog::updateSummary()
{
    m_summary->setText(
        tr("<b>%1 of %2 passed</b>%3")
            .arg(m_passed)
            .arg(m_checked)
            .arg(
                m_checked == m_paths.size() ? QString {} : tr(", %1 to go").arg(m_paths.size() - m_checked)));
}

} // namespace reelwright
