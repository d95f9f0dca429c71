#include "app/batch/BatchPane.h"
#include "attributes/MetadataPresets.h"
#include "batch/BatchPanels.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    QString word(const char* text)
    {
        return QCoreApplication::translate("BatchPane", text);
    }

    QTableWidget* makeTable(const QStringList& titles, const QString& name)
    {
        auto* table = new QTableWidget(0, static_cast<int>(titles.size()));
        table->setHorizontalHeaderLabels(titles);
        table->horizontalHeader()->setStretchLastSection(true);
        table->verticalHeader()->hide();
        table->setEditTriggers(QAbstractItemView::NoEditTriggers);
        table->setSelectionBehavior(QAbstractItemView::SelectRows);
        table->setSelectionMode(QAbstractItemView::SingleSelection);
        table->setAlternatingRowColors(true);
        table->setAccessibleName(name);
        table->setColumnWidth(0, 200);
        return table;
    }

    /// Buttons in a row at the right.
    QHBoxLayout* buttonRow(std::initializer_list<QPushButton*> buttons)
    {
        auto* row = new QHBoxLayout;
        row->addStretch();
        for (auto* button : buttons)
            row->addWidget(button);
        return row;
    }

    class AttributesPane final : public BatchPane
    {
    public:
        explicit AttributesPane(BatchPanels& panels)
            : m_panels(panels)
            , m_table(makeTable({word("Attribute"), word("Value in the selected file")}, word("Attributes")))
            , m_name(new QComboBox)
            , m_value(new QComboBox)
            , m_codes(new QWidget)
            , m_set(new QPushButton(word("&Queue")))
            , m_remove(new QPushButton(word("Queue R&emoval")))
        {
            auto* layout = new QVBoxLayout(this);
            layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
            layout->addWidget(m_table, 1);
            for (const auto name : {kEncodedWidth, kEncodedHeight, kPixelAspectRatio, kGamma, kColor,
                     kColorSpace, kFields, kFieldDominance, kBitDepth})
                m_name->addItem(fromUtf8(std::string(name)));
            m_name->setCurrentText(fromUtf8(std::string(kPixelAspectRatio)));
            auto* codes = new QHBoxLayout(m_codes);
            codes->setContentsMargins({});
            for (auto& [spin, name] : m_code) {
                spin = new QSpinBox;
                spin->setRange(0, 255);
                spin->setAccessibleName(word(name));
                codes->addWidget(new QLabel(word(name)));
                codes->addWidget(spin);
            }
            codes->addStretch();
            auto* form = new QFormLayout;
            form->addRow(word("&Attribute:"), m_name);
            form->addRow(word("&Value:"), m_value);
            form->addRow(QString {}, m_codes);
            layout->addLayout(form);
            layout->addLayout(buttonRow({m_remove, m_set}));
            connect(m_name, &QComboBox::currentTextChanged, this, &AttributesPane::attributeChosen);
            connect(m_value, &QComboBox::currentTextChanged, this, [this] { showCodes(); });
            connect(m_table, &QTableWidget::currentCellChanged, this, &AttributesPane::rowChosen);
            connect(m_set, &QPushButton::clicked, this, &AttributesPane::queueValue);
            connect(m_remove, &QPushButton::clicked, this, [this] { m_panels.removeAttribute(attribute()); });
            attributeChosen();
        }

        void setMovie(const QTMovie* movie) override
        {
            m_entries.clear();
            if (movie)
                if (const auto track = KWMovTrack::firstTrackOfType(KWMovTrack::kVideo, *movie))
                    m_entries
                        = KWImageDescriptionController::imageDescriptionExtensionsForTrack(*track).value_or(
                            std::vector<AttributeEntry> {});
            m_table->setRowCount(static_cast<int>(m_entries.size()));
            int row = 0;
            for (const auto& entry : m_entries) {
                m_table->setItem(row, 0, new QTableWidgetItem(fromUtf8(entry.description)));
                m_table->setItem(row++, 1, new QTableWidgetItem(text(entry)));
            }
        }

    private:
        static QString text(const AttributeEntry& entry)
        {
            if (const auto* value = std::get_if<std::string>(&entry.value))
                return fromUtf8(*value);
            const auto index = static_cast<std::size_t>(std::get<int>(entry.value));
            return index < entry.popupvalues.size() ? fromUtf8(entry.popupvalues[index].name) : QString {};
        }
        [[nodiscard]] AttributeEntry attribute() const
        {
            auto entry = KWImageDescriptionController::attributeNamed(m_name->currentText().toStdString());
            entry.primaries = m_code[0].first->value();
            entry.transfer = m_code[1].first->value();
            entry.matrix = m_code[2].first->value();
            return entry;
        }
        void attributeChosen()
        {
            const auto entry = attribute();
            m_value->clear();
            m_value->setEditable(entry.popupvalues.empty());
            for (const auto& choice : entry.popupvalues)
                m_value->addItem(fromUtf8(choice.name));
            for (const auto& suggestion : entry.combovalues)
                m_value->addItem(fromUtf8(suggestion));
            const auto name = m_name->currentText().toStdString();
            m_remove->setEnabled(name != kEncodedWidth && name != kEncodedHeight && name != kBitDepth);
            showCodes();
        }
        void showCodes()
        {
            m_codes->setVisible(
                m_name->currentText().toStdString() == kColor && m_value->currentIndex() == kColorCustom);
        }
        void rowChosen(int row)
        {
            if (row < 0 || row >= static_cast<int>(m_entries.size()))
                return;
            const auto& entry = m_entries[static_cast<std::size_t>(row)];
            m_name->setCurrentText(fromUtf8(entry.description));
            m_code[0].first->setValue(entry.primaries);
            m_code[1].first->setValue(entry.transfer);
            m_code[2].first->setValue(entry.matrix);
            if (const auto* index = std::get_if<int>(&entry.value))
                m_value->setCurrentIndex(*index);
            else
                m_value->setCurrentText(text(entry));
        }
        void queueValue()
        {
            const auto entry = attribute();
            const AttributeValue value = entry.popupvalues.empty()
                ? AttributeValue {m_value->currentText().toStdString()}
                : AttributeValue {m_value->currentIndex()};
            const bool isThere = std::any_of(m_entries.begin(), m_entries.end(),
                [&](const auto& other) { return other.description == entry.description; });
            if (isThere)
                m_panels.setAttribute(entry, value);
            else
                m_panels.addAttribute(entry, value);
        }

        BatchPanels& m_panels;
        std::vector<AttributeEntry> m_entries; ///< of the selected file
        QTableWidget* m_table;
        QComboBox* m_name;
        QComboBox* m_value;
        QWidget* m_codes;
        std::pair<QSpinBox*, const char*> m_code[3]
            = {{nullptr, "Primaries:"}, {nullptr, "Transfer:"}, {nullptr, "Matrix:"}};
        QPushButton* m_set;
        QPushButton* m_remove;
    };

    class MetadataPane final : public BatchPane
    {
    public:
        explicit MetadataPane(BatchPanels& panels)
            : m_panels(panels)
            , m_table(makeTable({word("Field"), word("Value in the selected file")}, word("Metadata")))
            , m_key(new QComboBox)
            , m_value(new QLineEdit)
            , m_remove(new QPushButton(word("Queue R&emoval")))
        {
            auto* layout = new QVBoxLayout(this);
            layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
            layout->addWidget(m_table, 1);
            m_key->setEditable(true);
            m_key->setInsertPolicy(QComboBox::NoInsert);
            for (const auto& group : MetadataPresets::groups())
                for (const auto& preset : group.keys)
                    m_key->addItem(fromUtf8(preset.key), fromUtf8(group.name + ": " + preset.name));
            m_key->setCurrentText({});
            auto* form = new QFormLayout;
            form->addRow(word("&Key:"), m_key);
            form->addRow(word("&Value:"), m_value);
            layout->addLayout(form);
            auto* queue = new QPushButton(word("&Queue"));
            layout->addLayout(buttonRow({m_remove, queue}));
            connect(queue, &QPushButton::clicked, this, &MetadataPane::queueValue);
            connect(m_remove, &QPushButton::clicked, this, &MetadataPane::queueRemoval);
            connect(m_table, &QTableWidget::currentCellChanged, this, &MetadataPane::rowChosen);
            m_remove->setEnabled(false);
        }

        /// A row for copyright and one for the title, then what the file has.
        void setMovie(const QTMovie* movie) override
        {
            m_items.clear();
            if (movie) {
                KWMetadataItem copyright;
                copyright.key = "com.apple.quicktime.copyright";
                copyright.description = "Copyright";
                copyright.attribute = kCopyrightAttribute;
                copyright.value = KWMetadataController::copyright(*movie).value_or("");
                KWMetadataItem title;
                title.key = "com.apple.quicktime.displayname";
                title.description = "Title";
                title.value = KWMetadataController::displayName(*movie);
                m_items = {copyright, title};
                for (auto& item : KWMetadataController::metaDataArrayFromMetaDataReference(
                         QTMetaDataReference::ofMovie(*movie)))
                    m_items.push_back(std::move(item));
            }
            m_table->setRowCount(static_cast<int>(m_items.size()));
            int row = 0;
            for (const auto& item : m_items) {
                auto* name = new QTableWidgetItem(fromUtf8(item.description));
                name->setToolTip(fromUtf8(item.key));
                m_table->setItem(row, 0, name);
                m_table->setItem(row++, 1, new QTableWidgetItem(fromUtf8(item.value)));
            }
            m_remove->setEnabled(false);
        }

    private:
        void rowChosen(int row)
        {
            m_remove->setEnabled(row >= 0 && row < static_cast<int>(m_items.size()));
            if (!m_remove->isEnabled())
                return;
            const auto& item = m_items[static_cast<std::size_t>(row)];
            m_key->setCurrentText(fromUtf8(item.key));
            m_value->setText(fromUtf8(item.value));
        }
        void queueValue()
        {
            const auto key = m_key->currentText().trimmed().toStdString();
            const auto value = m_value->text().toStdString();
            const bool isThere = std::any_of(
                m_items.begin(), m_items.end(), [&](const auto& item) { return item.key == key; });
            if (isThere) {
                m_panels.setMetadata(key, value);
            } else if (m_panels.addMetadata(key, value)) {
                KWMetadataItem item;
                item.key = key;
                item.value = value;
                item.description = MetadataPresets::description(key);
                if (item.description.empty())
                    item.description = key;
                m_items.push_back(item);
                const int row = m_table->rowCount();
                m_table->insertRow(row);
                m_table->setItem(row, 0, new QTableWidgetItem(fromUtf8(item.description)));
                m_table->setItem(row, 1, new QTableWidgetItem(fromUtf8(value)));
            }
        }
        void queueRemoval()
        {
            const int row = m_table->currentRow();
            if (row < 0 || row >= static_cast<int>(m_items.size()))
                return;
            const auto place = m_items.begin() + row;
            if (!m_panels.removeMetadata(*place))
                return;
            m_items.erase(place);
            m_table->removeRow(row);
        }

        BatchPanels& m_panels;
        std::vector<KWMetadataItem> m_items; ///< as the rows show them
        QTableWidget* m_table;
        QComboBox* m_key;
        QLineEdit* m_value;
        QPushButton* m_remove;
    };

} // namespace

BatchPane* makeAttributesBatchPane(BatchPanels& panels)
{
    return new AttributesPane(panels);
}

BatchPane* makeMetadataBatchPane(BatchPanels& panels)
{
    return new MetadataPane(panels);
}

} // namespace reelwright
