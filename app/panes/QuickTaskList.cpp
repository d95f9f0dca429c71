#include "app/panes/QuickTaskList.h"

#include <QAction>
#include <QApplication>
#include <QHeaderView>
#include <QIcon>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <map>

namespace reelwright {
namespace {

    constexpr int kRow = 40;
    constexpr int kGroupRow = 24;
    constexpr int kMargin = 8;
    constexpr int kNoteRoom = 112;

    enum Role { Tag = Qt::UserRole, Text, Note, IsEmphasised };

    /// Two lines: what it is called, and smaller what it does; at the end the note.
    class TaskDelegate final : public QStyledItemDelegate
    {
    public:
        using QStyledItemDelegate::QStyledItemDelegate;

        [[nodiscard]] QSize sizeHint(
            const QStyleOptionViewItem& option, const QModelIndex& index) const override
        {
            const bool isTask = index.parent().isValid();
            const int lines = option.fontMetrics.height() * (isTask ? 2 : 1) + kMargin;
            return {100, std::max(lines, isTask ? kRow : kGroupRow)};
        }

        void paint(
            QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
        {
            QStyleOptionViewItem row = option;
            initStyleOption(&row, index);
            const auto title = row.text;
            row.text.clear();
            const auto* style = row.widget ? row.widget->style() : QApplication::style();
            style->drawControl(QStyle::CE_ItemViewItem, &row, painter, row.widget);
            const bool isSelected = (option.state & QStyle::State_Selected) != 0;
            const auto group = option.palette.currentColorGroup();
            const auto plain
                = option.palette.color(group, isSelected ? QPalette::HighlightedText : QPalette::Text);
            const auto quiet = isSelected ? plain : option.palette.color(group, QPalette::PlaceholderText);
            const auto emphasis = isSelected                             ? plain
                : option.palette.color(QPalette::Base).lightness() < 128 ? QColor(0x7f, 0xd0, 0x8a)
                                                                         : QColor(0x1e, 0x7d, 0x34);
            auto area = option.rect.adjusted(kMargin / 2, 0, -kMargin, 0);
            painter->save();
            auto font = option.font;
            if (!index.parent().isValid()) {
                font.setBold(true);
                painter->setFont(font);
                painter->setPen(plain);
                painter->drawText(area, Qt::AlignVCenter | Qt::AlignLeft, title);
                area.setLeft(area.left() + QFontMetrics(font).horizontalAdvance(title) + kMargin);
                painter->setFont(option.font);
                painter->setPen(quiet);
                painter->drawText(area, Qt::AlignVCenter | Qt::AlignLeft, index.data(Text).toString());
            } else {
                const auto note = index.data(Note).toString();
                if (!note.isEmpty()) {
                    painter->setPen(index.data(IsEmphasised).toBool() ? emphasis : quiet);
                    painter->drawText(area, Qt::AlignVCenter | Qt::AlignRight, note);
                    area.setRight(area.right() - kNoteRoom);
                }
                const auto top = QRect(area.topLeft(), QSize(area.width(), area.height() / 2));
                painter->setPen(plain);
                painter->drawText(top, Qt::AlignBottom | Qt::AlignLeft,
                    option.fontMetrics.elidedText(title, Qt::ElideRight, area.width()));
                font.setPointSizeF(font.pointSizeF() * 0.92);
                painter->setFont(font);
                painter->setPen(quiet);
                painter->drawText(area.adjusted(0, area.height() / 2, 0, 0), Qt::AlignTop | Qt::AlignLeft,
                    QFontMetrics(font).elidedText(index.data(Text).toString(), Qt::ElideRight, area.width()));
            }
            painter->restore();
        }
    };

} // namespace

QuickTaskList::QuickTaskList(TaskPlace place, QWidget* parent)
    : QWidget(parent)
    , m_search(new QLineEdit)
    , m_tree(new QTreeWidget)
{
    m_search->setClearButtonEnabled(true);
    m_search->addAction(QIcon::fromTheme(QStringLiteral("edit-find")), QLineEdit::LeadingPosition);
    m_search->setAccessibleName(tr("Search the tasks"));
    m_search->installEventFilter(this);
    m_tree->setHeaderHidden(true);
    m_tree->setUniformRowHeights(false);
    m_tree->setItemDelegate(new TaskDelegate(m_tree));
    m_tree->setAccessibleName(tr("Quick tasks"));
    m_tree->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_tree->setIndentation(kMargin * 2);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->setSpacing(kMargin);
    layout->addWidget(m_search);
    layout->addWidget(m_tree, 1);
    fill(place);
    connect(m_search, &QLineEdit::textChanged, this, [this] { filter(); });
    connect(m_search, &QLineEdit::returnPressed, this, &QuickTaskList::activated);
    connect(m_tree, &QTreeWidget::currentItemChanged, this, &QuickTaskList::currentChanged);
    connect(m_tree, &QTreeWidget::itemActivated, this, [this](const QTreeWidgetItem* item) {
        if (item->parent())
            emit activated();
    });
}

void QuickTaskList::fill(TaskPlace place)
{
    std::map<TaskGroup, QTreeWidgetItem*> groups;
    int count = 0;
    for (const auto& task : quickTasks()) {
        const auto description = QString::fromUtf8(task.descriptionIn(place).c_str());
        if (description.isEmpty())
            continue; // not for here
        auto*& group = groups[task.group];
        if (!group) {
            group = new QTreeWidgetItem(m_tree, {QString::fromUtf8(groupTitle(task.group))});
            group->setFlags(Qt::ItemIsEnabled);
        }
        auto* item = new QTreeWidgetItem(group, {QString::fromUtf8(task.name)});
        item->setData(0, Tag, task.tag);
        item->setData(0, Text, description);
        item->setToolTip(0, description);
        item->setData(0, Qt::AccessibleDescriptionRole, description);
        ++count;
    }
    for (auto& [kind, group] : groups)
        group->setData(0, Text,
            tr("%n task(s)", nullptr, group->childCount())
                .replace(QLatin1String("(s)"), QLatin1String(group->childCount() == 1 ? "" : "s")));
    m_search->setPlaceholderText(tr("Search %1 tasks").arg(count));
    m_tree->expandAll();
    if (auto* first = m_tree->topLevelItem(0))
        m_tree->setCurrentItem(first->child(0));
}

const QuickTask* QuickTaskList::current() const
{
    const auto* item = m_tree->currentItem();
    return item && item->parent() ? quickTaskWithTag(item->data(0, Tag).toInt()) : nullptr;
}

QTreeWidgetItem* QuickTaskList::itemOf(int tag) const
{
    for (int i = 0; i < m_tree->topLevelItemCount(); ++i)
        for (int j = 0; j < m_tree->topLevelItem(i)->childCount(); ++j)
            if (auto* item = m_tree->topLevelItem(i)->child(j); item->data(0, Tag).toInt() == tag)
                return item;
    return nullptr;
}

void QuickTaskList::select(int tag)
{
    if (auto* item = itemOf(tag))
        m_tree->setCurrentItem(item);
}

void QuickTaskList::setNote(int tag, const QString& note, Emphasis emphasis)
{
    if (auto* item = itemOf(tag)) {
        item->setData(0, Note, note);
        item->setData(0, IsEmphasised, emphasis == Emphasis::New);
    }
    if (m_onlyEmphasised)
        filter();
}

void QuickTaskList::setOnlyEmphasised(bool isOn)
{
    m_onlyEmphasised = isOn;
    filter();
}

void QuickTaskList::filter()
{
    const auto words = m_search->text().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    QTreeWidgetItem* first = nullptr;
    for (int i = 0; i < m_tree->topLevelItemCount(); ++i) {
        auto* group = m_tree->topLevelItem(i);
        int shown = 0;
        for (int j = 0; j < group->childCount(); ++j) {
            auto* item = group->child(j);
            const auto text = item->text(0) + QLatin1Char(' ') + item->data(0, Text).toString();
            bool fits = !m_onlyEmphasised || item->data(0, IsEmphasised).toBool();
            for (const auto& word : words)
                fits = fits && text.contains(word, Qt::CaseInsensitive);
            item->setHidden(!fits);
            shown += fits ? 1 : 0;
            if (fits && !first)
                first = item;
        }
        group->setHidden(shown == 0);
    }
    const auto* item = m_tree->currentItem();
    if (!item || item->isHidden())
        m_tree->setCurrentItem(first);
}

bool QuickTaskList::eventFilter(QObject* watched, QEvent* event)
{
    // Down goes from the field into the list.
    if (watched == m_search && event->type() == QEvent::KeyPress
        && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Down) {
        m_tree->setFocus();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace reelwright
