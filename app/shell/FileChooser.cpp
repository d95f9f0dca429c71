#include "app/shell/FileChooser.h"

#include <QFileDialog>
#include <QFileSystemModel>
#include <QHeaderView>
#include <QScreen>
#include <QTreeView>

namespace reelwright {

void makeRoomInFileChooser(QFileDialog& chooser)
{
    constexpr QSize kSize {800, 496};
    chooser.resize(kSize.boundedTo(chooser.screen()->availableSize()));
    auto* model = chooser.findChild<QFileSystemModel*>();
    auto* list = chooser.findChild<QTreeView*>();
    if (!model || !list)
        return;
    // The columns get their widths from what is listed first, before there is anything.
    QObject::connect(model, &QFileSystemModel::directoryLoaded, list, [list] {
        for (int column = 1; column < list->header()->count(); ++column)
            list->resizeColumnToContents(column);
    });
}

} // namespace reelwright
