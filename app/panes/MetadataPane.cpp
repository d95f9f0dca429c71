#include "app/panes/MetadataPane.h"

#include "app/panes/MetadataDelegate.h"
#include "app/panes/MetadataDialogs.h"
#include "app/shell/FileChooser.h"
#include "attributes/MetadataPresets.h"
#include "document/DocumentWindow.h"
#include "document/MyDocument.h"
#include "report/LanguageName.h"
#include "report/MetadataFacts.h"
#include "support/FileHelper.h"

#include <QComboBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QPixmap>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QShortcut>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <set>

namespace reelwright {
namespace {

    enum Column { Description, Value, StorageName };
    constexpr int kRowRole = Qt::UserRole;
    constexpr std::uint32_t kJpeg = 13;
    constexpr std::uint32_t kPng = 14;
    constexpr std::uint32_t kBmp = 27;
    constexpr std::size_t kMostPicture = 32'000'000; ///< bytes of a picture that is shown
    constexpr std::size_t kMostShown = 1000; ///< characters of a value that its cell shows
    constexpr int kPictureHeight = 48;

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    QString beginning(const std::string& value)
    {
        auto text
            = QString::fromUtf8(value.data(), static_cast<qsizetype>(std::min(value.size(), 4 * kMostShown)));
        text.truncate(static_cast<qsizetype>(kMostShown));
        text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
        return text;
    }

    QString kindName(std::uint32_t type)
    {
        return type == kJpeg ? MetadataPane::tr("JPEG picture")
            : type == kPng   ? MetadataPane::tr("PNG picture")
            : type == kBmp   ? MetadataPane::tr("BMP picture")
                             : MetadataPane::tr("Data");
    }

    bool isPicture(const QTMetaData::Item& item)
    {
        return (item.dataType == kJpeg || item.dataType == kPng || item.dataType == kBmp)
            && item.value.size() <= kMostPicture;
    }

    QPixmap pictureOf(const QTMetaData::Item& item)
    {
        const auto bytes = item.value.span();
        QPixmap picture;
        picture.loadFromData(reinterpret_cast<const uchar*>(bytes.data()), static_cast<uint>(bytes.size()));
        return picture.isNull() ? picture : picture.scaledToHeight(kPictureHeight, Qt::SmoothTransformation);
    }

    QString languageOf(const KWMetadataItem& row)
    {
        constexpr std::uint32_t kCode = 0xFFFF;
        if (row.storedKey.empty() || !row.item.isText())
            return {};
        const auto code = static_cast<std::uint16_t>(row.item.locale & kCode);
        const bool isSaid = row.item.storage == QTMetaData::Storage::UserData || code != 0;
        return isSaid ? fromUtf8(languageName(code)) : QString {};
    }

    /// Is that what the system's language is called in files?
    bool isSystemLanguage(const QString& name)
    {
        const QLocale system;
        return name == QLocale::languageToString(system.language()) || name == system.bcp47Name()
            || (name.size() == 3 && QLocale(name).language() == system.language());
    }

    QPushButton* button(const QString& title, const QString& toolTip)
    {
        auto* made = new QPushButton(title);
        made->setToolTip(toolTip);
        return made;
    }

} // namespace

MetadataPane::MetadataPane(MyDocument& document, DocumentWindow& window, QWidget* parent)
    : Pane(parent)
    , m_document(document)
    , m_panel(document, window)
    , m_search(new QLineEdit)
    , m_language(new QComboBox)
    , m_tree(new QTreeWidget)
    , m_add(new QToolButton)
    , m_remove(button(tr("Remove"), tr("Removes the selected value")))
    , m_import(button(tr("Import…"), tr("Values from a list or from another movie")))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    auto* top = new QHBoxLayout;
    m_search->setPlaceholderText(tr("Search"));
    m_search->setAccessibleName(tr("Search metadata"));
    m_search->setClearButtonEnabled(true);
    m_search->addAction(QIcon::fromTheme(QStringLiteral("edit-find")), QLineEdit::LeadingPosition);
    m_language->setAccessibleName(tr("Language"));
    top->addWidget(m_search, 1);
    top->addWidget(m_language);
    layout->addLayout(top);

    m_tree->setAccessibleName(tr("Metadata"));
    m_tree->setHeaderLabels({tr("Description"), tr("Value"), tr("Storage")});
    m_tree->setIndentation(8);
    m_tree->setIconSize({2 * kPictureHeight, kPictureHeight});
    m_tree->setWordWrap(true);
    m_tree->setItemDelegate(new MetadataDelegate(m_tree));
    m_tree->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed
        | QAbstractItemView::SelectedClicked);
    m_tree->header()->setStretchLastSection(false);
    m_tree->header()->setSectionResizeMode(Value, QHeaderView::Stretch);
    m_tree->header()->setSectionResizeMode(StorageName, QHeaderView::ResizeToContents);
    m_tree->header()->resizeSection(Description, 150);
    layout->addWidget(m_tree, 1);

    auto* bottom = new QHBoxLayout;
    m_add->setText(tr("Add"));
    m_add->setIcon(QIcon::fromTheme(QStringLiteral("list-add")));
    m_add->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_add->setPopupMode(QToolButton::InstantPopup);
    m_add->setMenu(new QMenu(m_add));
    m_remove->setIcon(QIcon::fromTheme(QStringLiteral("list-remove")));
    auto* exporting = button(tr("Export…"), tr("The list as a file"));
    bottom->addWidget(m_add);
    bottom->addWidget(m_remove);
    bottom->addStretch(1);
    bottom->addWidget(m_import);
    bottom->addWidget(exporting);
    layout->addLayout(bottom);

    connect(m_search, &QLineEdit::textChanged, this, &MetadataPane::filter);
    connect(m_language, &QComboBox::activated, this, &MetadataPane::filter);
    connect(m_tree, &QTreeWidget::itemChanged, this, &MetadataPane::takeChange);
    connect(m_tree, &QTreeWidget::itemSelectionChanged, this, &MetadataPane::updateButtons);
    connect(m_add->menu(), &QMenu::aboutToShow, this, &MetadataPane::fillAddMenu);
    connect(m_remove, &QPushButton::clicked, this, &MetadataPane::removeMetaData);
    connect(m_import, &QPushButton::clicked, this, &MetadataPane::importMetadata);
    connect(exporting, &QPushButton::clicked, this, &MetadataPane::exportMetadata);
    const auto onKey = [this](Qt::Key key, auto work) {
        auto* shortcut = new QShortcut(QKeySequence(key), m_tree);
        shortcut->setContext(Qt::WidgetShortcut);
        connect(shortcut, &QShortcut::activated, this, work);
    };
    onKey(Qt::Key_Delete, [this] { removeMetaData(); });
    onKey(Qt::Key_Insert, [this] { m_add->showMenu(); });
}

void MetadataPane::reload()
{
    // Filled when it is seen: a movie may have tens of thousands of items.
    m_isStale = true;
    if (isVisible())
        fill();
}

void MetadataPane::showEvent(QShowEvent* event)
{
    Pane::showEvent(event);
    if (m_isStale)
        fill();
}

bool MetadataPane::isShown(const std::vector<KWMetadataItem>& rows) const
{
    const auto isSame = [](const KWMetadataItem& a, const KWMetadataItem& b) {
        return a.description == b.description && a.storedKey == b.storedKey && a.value == b.value
            && a.item.locale == b.item.locale && a.item.value == b.item.value;
    };
    return std::equal(rows.begin(), rows.end(), m_rows.begin(), m_rows.end(), isSame);
}

void MetadataPane::fill()
{
    m_isStale = false;
    const auto* track = m_document.selectedTrack();
    const auto trackID = track ? std::optional(track->trackID()) : std::nullopt;
    auto rows = m_panel.rows();
    const bool isSameOwner = trackID == m_trackID;
    if (isSameOwner && isShown(rows)) {
        m_rows = std::move(rows); // their bytes are those of the present movie
        return;
    }
    const auto* current = rowOf(m_tree->currentItem());
    const auto currentKey = current ? current->key : std::string {};
    m_trackID = trackID;
    m_rows = std::move(rows);
    const QScopedValueRollback isFilling {m_isFilling, true};
    m_tree->setUpdatesEnabled(false);
    m_tree->clear();
    m_import->setEnabled(!trackID);

    const auto chosen = isSameOwner ? m_language->currentText() : QString {};
    QStringList languages;
    std::set<QString> known;
    for (const auto& row : m_rows)
        if (const auto name = languageOf(row); !name.isEmpty() && known.insert(name).second)
            languages << name;
    std::stable_sort(languages.begin(), languages.end(),
        [](const QString& a, const QString& b) { return isSystemLanguage(a) && !isSystemLanguage(b); });
    m_language->clear();
    m_language->addItem(tr("All languages"));
    m_language->addItems(languages);
    m_language->setCurrentIndex(std::max(0, m_language->findText(chosen)));
    m_language->setEnabled(!languages.isEmpty());

    for (std::size_t i = 0; i < m_rows.size(); ++i)
        addRow(i);
    m_tree->expandAll();
    for (int i = 0; i < m_tree->topLevelItemCount(); ++i)
        m_tree->setFirstColumnSpanned(i, {}, true);
    filter();
    if (!currentKey.empty() && isSameOwner)
        if (auto* item = itemOf(currentKey))
            m_tree->setCurrentItem(item);
    m_tree->setUpdatesEnabled(true);
    updateButtons();
}

QTreeWidgetItem* MetadataPane::groupNamed(const QString& name)
{
    for (int i = 0; i < m_tree->topLevelItemCount(); ++i)
        if (m_tree->topLevelItem(i)->text(Description) == name)
            return m_tree->topLevelItem(i);
    // In the order of the presets; what is no preset comes last.
    const auto place = [](const QString& group) {
        const auto& groups = MetadataPresets::groups();
        const auto found = std::find_if(
            groups.begin(), groups.end(), [&](const auto& one) { return fromUtf8(one.name) == group; });
        return group == tr("Movie") ? -1 : static_cast<int>(found - groups.begin());
    };
    int before = 0;
    while (before < m_tree->topLevelItemCount()
        && place(m_tree->topLevelItem(before)->text(Description)) < place(name))
        ++before;
    auto* group = new QTreeWidgetItem({name});
    auto font = m_tree->font();
    font.setBold(true);
    group->setFont(Description, font);
    group->setFlags(Qt::ItemIsEnabled);
    for (const int column : {Description, Value, StorageName})
        group->setBackground(column, palette().brush(QPalette::AlternateBase));
    m_tree->insertTopLevelItem(before, group);
    return group;
}

void MetadataPane::addRow(std::size_t index)
{
    const auto& row = m_rows[index];
    const bool isMovieRow = row.storedKey.empty();
    const auto preset = MetadataPresets::groupName(row.key);
    auto* group = groupNamed(isMovieRow ? tr("Movie") : preset.empty() ? tr("Other") : fromUtf8(preset));
    auto* item = new QTreeWidgetItem(group);
    const bool isRaw = row.description == row.key;
    item->setText(
        Description, fromUtf8(isMovieRow || isRaw ? row.description : MetadataPresets::name(row.key)));
    item->setToolTip(Description, fromUtf8(isMovieRow ? row.description : row.key));
    item->setData(Description, kRowRole, static_cast<qulonglong>(index));
    const bool isText = isMovieRow || row.item.isText();
    if (isText) {
        item->setText(Value, beginning(row.value));
        item->setData(Value, MetadataDelegate::kValueRole, fromUtf8(row.value));
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable);
    } else {
        item->setText(Value,
            tr("%1, %2").arg(
                kindName(row.item.dataType), fromUtf8(FileHelper::formatFileSize(row.item.value.size()))));
        item->setForeground(Value, palette().brush(QPalette::PlaceholderText));
        if (isPicture(row.item))
            item->setIcon(Value, QIcon(pictureOf(row.item)));
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    }
    if (row.item.keyFormat != FourCC {})
        item->setText(StorageName, QString::fromUtf8(storageName(row.item.storage)));
    item->setForeground(StorageName, palette().brush(QPalette::PlaceholderText));
    if (const auto language = languageOf(row); !language.isEmpty())
        item->setToolTip(Value, tr("Language: %1").arg(language));
}

void MetadataPane::filter()
{
    const auto words = m_search->text();
    const auto language = m_language->currentIndex() > 0 ? m_language->currentText() : QString {};
    for (int g = 0; g < m_tree->topLevelItemCount(); ++g) {
        auto* group = m_tree->topLevelItem(g);
        bool isAny = false;
        for (int i = 0; i < group->childCount(); ++i) {
            auto* item = group->child(i);
            const auto* row = rowOf(item);
            const bool isFound = words.isEmpty()
                || item->text(Description).contains(words, Qt::CaseInsensitive)
                || item->text(Value).contains(words, Qt::CaseInsensitive)
                || (row && fromUtf8(row->key).contains(words, Qt::CaseInsensitive));
            const bool isSpoken
                = language.isEmpty() || (row && (languageOf(*row).isEmpty() || languageOf(*row) == language));
            item->setHidden(!isFound || !isSpoken);
            isAny = isAny || (isFound && isSpoken);
        }
        group->setHidden(!isAny);
    }
}

const KWMetadataItem* MetadataPane::rowOf(const QTreeWidgetItem* item) const
{
    if (!item || !item->parent())
        return nullptr;
    const auto index = item->data(Description, kRowRole).toULongLong();
    return index < m_rows.size() ? &m_rows[index] : nullptr;
}

QTreeWidgetItem* MetadataPane::itemOf(const std::string& key) const
{
    for (int g = 0; g < m_tree->topLevelItemCount(); ++g)
        for (int i = 0; i < m_tree->topLevelItem(g)->childCount(); ++i) {
            auto* item = m_tree->topLevelItem(g)->child(i);
            if (const auto* row = rowOf(item); row && row->key == key)
                return item;
        }
    return nullptr;
}

void MetadataPane::updateButtons()
{
    const auto* row = rowOf(m_tree->currentItem());
    m_remove->setEnabled(row && !m_tree->selectedItems().isEmpty());
    m_add->setEnabled(m_document.selectedRow().has_value());
}

void MetadataPane::takeChange(QTreeWidgetItem* item, int column)
{
    if (m_isFilling || column != Value)
        return;
    const auto* row = rowOf(item);
    if (!row)
        return;
    const auto value = item->data(Value, MetadataDelegate::kValueRole).toString().toStdString();
    const auto before = *row;
    // The editor has to be gone before rows are.
    QMetaObject::invokeMethod(
        this,
        [this, before, value] {
            if (!m_panel.setValue(before, value)) {
                m_rows.clear(); // what was typed is shown, and has not been taken
                reload();
            }
        },
        Qt::QueuedConnection);
}

void MetadataPane::fillAddMenu()
{
    auto* menu = m_add->menu();
    qDeleteAll(menu->findChildren<QMenu*>(Qt::FindDirectChildrenOnly)); // clear leaves these
    menu->clear();
    std::set<std::string> used;
    for (const auto& row : m_rows)
        used.insert(row.key);
    for (const auto& group : MetadataPresets::groups()) {
        auto* submenu = menu->addMenu(fromUtf8(group.name));
        for (const auto& key : group.keys) {
            const bool isUsed = used.count(key.key) != 0;
            auto* action
                = submenu->addAction(isUsed ? tr("%1\tin use").arg(fromUtf8(key.name)) : fromUtf8(key.name));
            action->setEnabled(!isUsed);
            connect(action, &QAction::triggered, this, [this, name = key.key] { addPreset(name); });
        }
    }
    menu->addSeparator();
    connect(
        menu->addAction(tr("Custom...")), &QAction::triggered, this, &MetadataPane::showAddMetaDataDialog);
}

void MetadataPane::addPreset(const std::string& key)
{
    if (!m_panel.addMetadata(key, {}))
        return;
    m_search->clear();
    m_language->setCurrentIndex(0);
    fill();
    if (auto* item = itemOf(key)) {
        m_tree->setCurrentItem(item, Value);
        m_tree->editItem(item, Value);
    }
}

void MetadataPane::showAddMetaDataDialog()
{
    // Until it has a key that can be written, or the user gives up.
    auto added = askForMetadata(this, {});
    while (added && !m_panel.addMetadata(added->key, added->value))
        added = askForMetadata(this, *added);
}

void MetadataPane::removeMetaData()
{
    if (const auto* row = rowOf(m_tree->currentItem()))
        m_panel.removeMetadata(KWMetadataItem(*row));
}

void MetadataPane::importMetadata()
{
    QFileDialog chooser {this, tr("Import Metadata")};
    chooser.setFileMode(QFileDialog::ExistingFile);
    chooser.setNameFilters({tr("All lists (*.csv *.txt *.json *.mov *.qt *.mp4 *.m4v)"),
        tr("QuickTime Movie (*.mov *.qt *.mp4 *.m4v)"), tr("CSV (*.csv)"), tr("Text (*.txt)"),
        tr("JSON (*.json)")});
    makeRoomInFileChooser(chooser);
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty())
        return;
    const auto path = chooser.selectedFiles().first().toStdString();
    auto rows = MetadataList::read(path);
    if (!rows) {
        m_panel.tellUnreadable(rows.error());
        return;
    }
    if (const auto chosen = askWhatToImport(this, std::move(*rows)))
        m_panel.importMetadata(*chosen, path);
}

void MetadataPane::exportMetadata()
{
    struct Choice
    {
        QString filter;
        MetadataList::Format format;
        const char* ending;
    };
    const Choice choices[] = {
        {tr("CSV (*.csv)"), MetadataList::Format::Csv, "csv"},
        {tr("Text (*.txt)"), MetadataList::Format::Text, "txt"},
        {tr("CSV, quoted (RFC 4180) (*.csv)"), MetadataList::Format::QuotedCsv, "csv"},
        {tr("JSON (*.json)"), MetadataList::Format::JsonList, "json"},
    };
    QStringList filters;
    for (const auto& choice : choices)
        filters << choice.filter;
    QFileDialog chooser {this, tr("Export Metadata")};
    chooser.setAcceptMode(QFileDialog::AcceptSave);
    chooser.setNameFilters(filters);
    chooser.setDefaultSuffix(QString::fromUtf8(choices[0].ending));
    connect(&chooser, &QFileDialog::filterSelected, &chooser, [&](const QString& filter) {
        for (const auto& choice : choices)
            if (choice.filter == filter)
                chooser.setDefaultSuffix(QString::fromUtf8(choice.ending));
    });
    chooser.selectFile(fromUtf8(m_panel.exportName()));
    makeRoomInFileChooser(chooser);
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty())
        return;
    const auto index = std::max<qsizetype>(0, filters.indexOf(chooser.selectedNameFilter()));
    m_panel.writeExport(chooser.selectedFiles().first().toStdString(), choices[index].format);
}

void MetadataPane::copyFromMovie()
{
    QFileDialog chooser {this, tr("Copy Attributes and Metadata From")};
    chooser.setFileMode(QFileDialog::ExistingFile);
    chooser.setNameFilters({tr("Movies (*.mov *.qt *.mp4 *.m4v)"), tr("All files (*)")});
    makeRoomInFileChooser(chooser);
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty())
        return;
    const auto path = chooser.selectedFiles().first();
    if (const auto subjects = askWhatToCopy(this, path.section(QLatin1Char('/'), -1)))
        m_panel.copyFrom(path.toStdString(), *subjects);
}

} // namespace reelwright
