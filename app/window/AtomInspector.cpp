#include "app/window/AtomInspector.h"

#include "app/shell/Background.h"
#include "app/window/AtomModel.h"
#include "document/MyDocument.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QTableWidget>
#include <QTreeView>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    constexpr int kMargin = 16;
    constexpr int kSpacing = 8;
    constexpr QSize kSize {1000, 640};
    constexpr int kTreeWidth = 440;
    /// Bytes of an atom that are looked at for its fields, and shown as bytes.
    constexpr std::size_t kFieldBytes = 256 * 1024;
    constexpr std::size_t kShownBytes = 16 * 1024;

} // namespace

AtomInspector::AtomInspector(MyDocument& document, QWidget* parent)
    : QDialog(parent)
    , m_document(document)
    , m_model(std::make_unique<AtomModel>())
    , m_search(new QLineEdit)
    , m_state(new QLabel)
    , m_tree(new QTreeView)
    , m_fields(new QTableWidget)
    , m_bytes(new QPlainTextEdit)
{
    setWindowTitle(tr("Atoms of %1").arg(QString::fromStdString(document.displayName())));
    resize(kSize);

    m_search->setPlaceholderText(tr("Find: tkhd, trak/tkhd, disabled"));
    m_search->setAccessibleName(tr("Find an atom"));
    m_search->setClearButtonEnabled(true);
    auto* previous = new QPushButton(tr("&Previous"));
    auto* next = new QPushButton(tr("&Next"));
    auto* again = new QPushButton(tr("&Read Again"));
    for (auto* button : {previous, next, again})
        button->setAutoDefault(false);
    next->setDefault(true);
    connect(next, &QPushButton::clicked, this, [this] { find(true); });
    connect(previous, &QPushButton::clicked, this, [this] { find(false); });
    connect(again, &QPushButton::clicked, this, &AtomInspector::load);
    connect(new QShortcut(QKeySequence::Find, this), &QShortcut::activated, this, [this] {
        m_search->setFocus();
        m_search->selectAll();
    });
    auto* top = new QHBoxLayout;
    top->setSpacing(kSpacing);
    top->addWidget(m_search, 1);
    top->addWidget(previous);
    top->addWidget(next);
    top->addWidget(again);

    m_tree->setModel(m_model.get());
    m_tree->setUniformRowHeights(true);
    m_tree->setAlternatingRowColors(true);
    m_tree->setAccessibleName(tr("Atoms"));
    m_tree->header()->setSectionResizeMode(QHeaderView::Interactive);
    connect(m_tree->selectionModel(), &QItemSelectionModel::currentChanged, this, &AtomInspector::showAtom);

    m_fields->setColumnCount(3);
    m_fields->setHorizontalHeaderLabels({tr("Offset"), tr("Field"), tr("Value")});
    m_fields->horizontalHeader()->setStretchLastSection(true);
    m_fields->verticalHeader()->hide();
    m_fields->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_fields->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_fields->setAlternatingRowColors(true);
    m_fields->setAccessibleName(tr("Fields of the selected atom"));

    m_bytes->setReadOnly(true);
    m_bytes->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_bytes->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_bytes->setAccessibleName(tr("Bytes of the selected atom"));

    auto* inside = new QSplitter(Qt::Vertical);
    inside->addWidget(m_fields);
    inside->addWidget(m_bytes);
    auto* splitter = new QSplitter;
    splitter->addWidget(m_tree);
    splitter->addWidget(inside);
    splitter->setSizes({kTreeWidth, kSize.width() - kTreeWidth});

    m_state->setWordWrap(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    layout->addLayout(top);
    layout->addWidget(splitter, 1);
    layout->addWidget(m_state);
    load();
}

AtomInspector::~AtomInspector() = default;

void AtomInspector::load()
{
    const auto path = m_document.path();
    if (path.empty()) {
        m_state->setText(tr("The movie has no file yet."));
        return;
    }
    m_state->setText(tr("Reading..."));
    runInBackground(
        this,
        [path, movie = m_document.movie()] {
            auto tree = AtomTree::read(path, {});
            if (tree)
                tree->markChanges(movie.asSaved().header(), movie.header());
            return tree;
        },
        [this](Result<AtomTree> tree) {
            if (tree)
                showTree(*tree);
            else
                m_state->setText(QString::fromStdString(tree.error().message()));
        });
}

void AtomInspector::showTree(const AtomTree& tree)
{
    m_model->setTree(tree);
    for (int row = 0; row < m_model->rowCount(); ++row) {
        const auto index = m_model->index(row, 0);
        m_tree->expand(index);
        if (m_model->node(index)->type == "moov"_cc)
            m_tree->setCurrentIndex(index);
    }
    for (int column = 0; column < AtomModel::NoteColumn; ++column) {
        m_tree->resizeColumnToContents(column);
        m_tree->setColumnWidth(column, m_tree->columnWidth(column) + kSpacing);
    }
    QStringList remarks {tr("%1 bytes").arg(QLocale().toString(tree.fileSize))};
    for (const auto& [type, count] : tree.omitted)
        remarks << tr("%1 more %2 are not shown")
                       .arg(QLocale().toString(static_cast<qulonglong>(count)), QString::fromStdString(type));
    if (!tree.ending.empty())
        remarks << QString::fromStdString(tree.ending);
    if (m_document.isEdited())
        remarks << tr("bold atoms are what a save changes");
    m_state->setText(remarks.join(QStringLiteral("; ")));
}

void AtomInspector::showAtom(const QModelIndex& index)
{
    const auto asked = ++m_asked;
    const auto* atom = m_model->node(index);
    m_fields->setRowCount(0);
    m_bytes->clear();
    if (!atom)
        return;
    if (atom->change == AtomChange::Added) {
        m_bytes->setPlainText(tr("A save adds this atom; the file does not have it yet."));
        return;
    }
    AtomNode own; // without those inside
    own.type = atom->type;
    own.context = atom->context;
    own.offset = atom->offset;
    own.size = atom->size;
    runInBackground(
        this, [path = m_document.path(), own] { return AtomDetail::read(path, own, kFieldBytes); },
        [this, own, asked](const Result<AtomDetail>& detail) {
            if (asked == m_asked)
                showDetail(own, detail);
        });
}

void AtomInspector::showDetail(const AtomNode& node, const Result<AtomDetail>& detail)
{
    if (!detail) {
        m_bytes->setPlainText(QString::fromStdString(detail.error().message()));
        return;
    }
    m_fields->setRowCount(static_cast<int>(detail->fields.size()));
    for (int row = 0; row < m_fields->rowCount(); ++row) {
        const auto& field = detail->fields[static_cast<std::size_t>(row)];
        const auto item = [](const QString& text) {
            auto* cell = new QTableWidgetItem(text);
            cell->setToolTip(text);
            return cell;
        };
        auto* offset = item(QLocale().toString(node.offset + field.offset));
        offset->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        m_fields->setItem(row, 0, offset);
        m_fields->setItem(row, 1, item(QString::fromStdString(field.name)));
        m_fields->setItem(row, 2, item(QString::fromStdString(field.value)));
    }
    m_fields->resizeColumnsToContents();
    m_fields->horizontalHeader()->setStretchLastSection(true);
    const auto shown = detail->bytes.span().first(std::min(detail->bytes.size(), kShownBytes));
    auto text = QString::fromStdString(hexDump(shown, node.offset));
    if (node.size > shown.size())
        text += tr("%1 more bytes").arg(QLocale().toString(node.size - shown.size()));
    m_bytes->setPlainText(text);
}

void AtomInspector::find(bool forward)
{
    const auto found = m_model->find(m_search->text().trimmed(), m_tree->currentIndex(), forward);
    if (found.isValid()) {
        m_tree->setCurrentIndex(found);
        m_tree->scrollTo(found);
    } else if (!m_search->text().isEmpty()) {
        m_state->setText(tr("No atom \"%1\".").arg(m_search->text()));
    }
}

} // namespace reelwright
