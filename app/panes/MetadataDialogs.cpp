#include "app/panes/MetadataDialogs.h"

#include "app/panes/Pane.h"
#include "edits/CopyEdits.h"
#include "support/Preferences.h"
#include "support/Text.h"

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr auto kCopyChoice = "copyFromSubjects"; ///< preference: names parted by commas

    QDialogButtonBox* addButtons(QDialog& dialog, QBoxLayout& layout, const QString& accept)
    {
        auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
        auto* button = buttons->addButton(accept, QDialogButtonBox::AcceptRole);
        button->setDefault(true);
        QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
        QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
        layout.addWidget(buttons);
        return buttons;
    }

    QVBoxLayout* layOut(QDialog& dialog)
    {
        auto* layout = new QVBoxLayout(&dialog);
        layout->setContentsMargins(Pane::kMargin, Pane::kMargin, Pane::kMargin, Pane::kMargin);
        layout->setSpacing(Pane::kSpacing);
        return layout;
    }

    QString firstLine(const std::string& value)
    {
        constexpr qsizetype kMost = 200;
        return QString::fromStdString(value.substr(0, 4 * kMost)).left(kMost).simplified();
    }

} // namespace

std::optional<KWMetadataValue> askForMetadata(QWidget* parent, const KWMetadataValue& typed)
{
    QDialog dialog {parent};
    dialog.setWindowTitle(QObject::tr("Add Metadata"));
    auto* layout = layOut(dialog);
    auto* form = new QFormLayout;
    auto* key = new QLineEdit(QString::fromStdString(typed.key));
    auto* value = new QPlainTextEdit(QString::fromStdString(typed.value));
    value->setTabChangesFocus(true);
    form->addRow(QObject::tr("&Key:"), key);
    form->addRow(QObject::tr("&Value:"), value);
    layout->addLayout(form);
    addButtons(dialog, *layout, QObject::tr("Add"));
    constexpr QSize kSize {440, 240};
    dialog.resize(kSize);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    return KWMetadataValue {key->text().toStdString(), value->toPlainText().toStdString()};
}

std::optional<std::vector<KWMetadataItem>> askWhatToImport(QWidget* parent, std::vector<KWMetadataItem> rows)
{
    QDialog dialog {parent};
    dialog.setWindowTitle(QObject::tr("Import Metadata"));
    auto* layout = layOut(dialog);
    auto* list = new QTreeWidget;
    list->setAccessibleName(QObject::tr("Metadata to import"));
    list->setHeaderLabels({QObject::tr("Description"), QObject::tr("Value")});
    list->setRootIsDecorated(false);
    list->setUniformRowHeights(true);
    QList<QTreeWidgetItem*> items;
    for (const auto& row : rows) {
        auto* item = new QTreeWidgetItem({QString::fromStdString(row.description), firstLine(row.value)});
        item->setCheckState(0, row.selected ? Qt::Checked : Qt::Unchecked);
        items << item;
    }
    list->addTopLevelItems(items);
    list->resizeColumnToContents(0);
    layout->addWidget(list);
    addButtons(dialog, *layout, QObject::tr("Import"));
    constexpr QSize kSize {560, 400};
    dialog.resize(kSize);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    for (int i = 0; i < list->topLevelItemCount(); ++i)
        rows[static_cast<std::size_t>(i)].selected = list->topLevelItem(i)->checkState(0) == Qt::Checked;
    return rows;
}

std::optional<std::vector<std::string>> askWhatToCopy(QWidget* parent, const QString& fileName)
{
    auto& preferences = Preferences::standard();
    const auto remembered = preferences.text(kCopyChoice);
    const auto chosen = split(remembered, ",");
    QDialog dialog {parent};
    dialog.setWindowTitle(QObject::tr("Copy Attributes and Metadata"));
    auto* layout = layOut(dialog);
    layout->addWidget(new QLabel(QObject::tr("Take from \"%1\":").arg(fileName)));
    std::vector<QCheckBox*> boxes;
    for (const auto& subject : copySubjects()) {
        auto* box = new QCheckBox(QString::fromUtf8(subject.title));
        box->setChecked(remembered.empty()
            || std::find(chosen.begin(), chosen.end(), std::string_view(subject.name)) != chosen.end());
        boxes.push_back(box);
        layout->addWidget(box);
    }
    auto* buttons = addButtons(dialog, *layout, QObject::tr("Copy"));
    const auto update = [&] {
        const bool isAny
            = std::any_of(boxes.begin(), boxes.end(), [](auto* box) { return box->isChecked(); });
        for (auto* button : buttons->buttons())
            if (buttons->buttonRole(button) == QDialogButtonBox::AcceptRole)
                button->setEnabled(isAny);
    };
    for (auto* box : boxes)
        QObject::connect(box, &QCheckBox::toggled, &dialog, update);
    update();
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    std::vector<std::string> subjects;
    std::string names;
    for (std::size_t i = 0; i < boxes.size(); ++i)
        if (boxes[i]->isChecked()) {
            subjects.emplace_back(copySubjects()[i].name);
            names += (names.empty() ? "" : ",") + subjects.back();
        }
    static_cast<void>(preferences.set(kCopyChoice, names)); // a choice that is forgotten costs a click
    return subjects;
}

} // namespace reelwright
