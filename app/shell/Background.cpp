#include "app/shell/Background.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThreadPool>

namespace reelwright {

QThreadPool* backgroundThreads()
{
    static QPointer<QThreadPool> threads;
    if (!threads && QCoreApplication::instance()) {
        threads = new QThreadPool(QCoreApplication::instance());
        threads->setMaxThreadCount(16); // most of them wait for a disk
    }
    return threads;
}

void runInBackground(std::function<void()> work)
{
    if (auto* threads = backgroundThreads())
        threads->start(std::move(work));
    else
        work();
}

} // namespace reelwright
