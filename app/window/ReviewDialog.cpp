#include "app/window/ReviewDialog.h"

#include "app/shell/Background.h"
#include "app/window/FactsLoader.h"
#include "document/MyDocument.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    constexpr int kMargin = 16;
    constexpr int kSpacing = 8;

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    QString bytesInWords(std::uint64_t bytes)
    {
        return QLocale().formattedDataSize(static_cast<qint64>(bytes), 1, QLocale::DataSizeSIFormat);
    }

} // namespace

QString saveInWords(const FactsLoader& facts)
{
    const auto& pending = facts.pendingSave();
    if (!pending)
        return {};
    if (!pending->hasFile)
        return ReviewDialog::tr("not saved yet");
    if (pending->inPlace)
        return ReviewDialog::tr("header %1, saved in place").arg(bytesInWords(pending->bytes));
    return ReviewDialog::tr("writes %1 anew: %2")
        .arg(bytesInWords(pending->bytes), fromUtf8(pending->whyAnew));
}

QString changesInWords(int count)
{
    return count == 1 ? ReviewDialog::tr("1 change") : ReviewDialog::tr("%1 changes").arg(count);
}

ReviewDialog::ReviewDialog(MyDocument& document, const FactsLoader& facts, QWidget* parent)
    : QDialog(parent)
    , m_document(document)
    , m_facts(facts)
    , m_title(new QLabel)
    , m_how(new QLabel)
    , m_tree(new QTreeWidget)
{
    setWindowTitle(tr("Review Changes"));
    constexpr QSize kUsualSize {736, 408};
    resize(kUsualSize);
    auto bold = m_title->font();
    bold.setBold(true);
    m_title->setFont(bold);
    m_how->setWordWrap(true);
    m_tree->setHeaderLabels({tr("Change"), tr("Before"), tr("After"), QString()});
    m_tree->setAccessibleName(tr("Changes"));
    m_tree->setUniformRowHeights(false);
    m_tree->header()->setStretchLastSection(false);
    m_tree->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_tree->header()->setSectionResizeMode(3, QHeaderView::ResizeToContents);
    constexpr int kValueWidth = 160;
    m_tree->setColumnWidth(1, kValueWidth);
    m_tree->setColumnWidth(2, kValueWidth);

    auto* buttons = new QDialogButtonBox;
    m_undoAll = buttons->addButton(tr("Undo All"), QDialogButtonBox::ResetRole);
    buttons->addButton(QDialogButtonBox::Close);
    m_save = buttons->addButton(tr("&Save"), QDialogButtonBox::AcceptRole);
    for (auto* button : buttons->buttons())
        qobject_cast<QPushButton*>(button)->setAutoDefault(false);
    m_save->setDefault(true);
    m_save->setFocus();
    connect(m_undoAll, &QPushButton::clicked, this, [this] {
        m_document.revertToSaved();
        load();
    });
    connect(m_save, &QPushButton::clicked, this, [this] {
        accept();
        m_document.saveDocument();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    layout->addWidget(m_title);
    layout->addWidget(m_how);
    layout->addWidget(m_tree, 1);
    layout->addWidget(
        new QLabel(tr("Undoing one change keeps the others; Edit \u25B8 Undo brings it back.")));
    layout->addWidget(buttons);
    connect(&m_facts, &FactsLoader::loaded, this, [this] { m_how->setText(saveInWords(m_facts)); });
    load();
}

void ReviewDialog::load()
{
    m_how->setText(saveInWords(m_facts));
    m_tree->clear();
    m_title->setText(tr("Comparing\u2026"));
    runInBackground(
        this,
        [steps = m_document.history().unsavedSteps(), movie = m_document.movie()] {
            return reviewSteps(steps, movie);
        },
        [this](const std::vector<ReviewedStep>& steps) {
            int count = 0;
            m_tree->clear();
            for (const auto& step : steps) {
                auto* group = new QTreeWidgetItem(m_tree, {fromUtf8(step.name)});
                auto bold = m_tree->font();
                bold.setBold(true);
                group->setFont(0, bold);
                for (const auto& change : step.changes) {
                    new QTreeWidgetItem(group,
                        {fromUtf8(change.path), fromUtf8(valueText(change.before)),
                            fromUtf8(valueText(change.after))});
                    ++count;
                }
                group->setExpanded(true);
                auto* button = new QPushButton(tr("Undo"));
                button->setAutoDefault(false);
                button->setEnabled(step.canBeUndoneAlone);
                button->setAccessibleName(tr("Undo %1").arg(fromUtf8(step.name)));
                if (!step.canBeUndoneAlone)
                    button->setToolTip(tr("A later change cannot be repeated; undo that first."));
                // Not within the click: the button goes with the list.
                connect(
                    button, &QPushButton::clicked, this, [this, index = step.index] { undo(index); },
                    Qt::QueuedConnection);
                m_tree->setItemWidget(group, 3, button);
            }
            m_title->setText(steps.empty() ? tr("There are no changes")
                                           : changesInWords(count)
                        + tr(" will be saved to %1").arg(fromUtf8(m_document.displayName())));
            m_undoAll->setEnabled(!steps.empty());
            m_save->setEnabled(!steps.empty());
        });
}

void ReviewDialog::undo(std::size_t index)
{
    if (const auto done = m_document.undoStep(index); !done)
        QMessageBox::warning(this, windowTitle(), fromUtf8(done.error().detail));
    load();
}

} // namespace reelwright
