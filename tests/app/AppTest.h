#pragma once

#include "app/shell/QtMainThread.h"
#include "document/MyDocument.h"
#include "support/Preferences.h"
#include "tests/helpers/ForwardingStorage.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace reelwright::test {

constexpr int kWait = 10'000;

/// The real file system, in which saves can be made to fail, or to wait at their first step.
class GatedStorage : public ForwardingStorage
{
public:
    std::atomic<bool> refusesWriting = false;
    std::atomic<bool> isClosed = false; ///< writers wait for `open`
    std::atomic<int> waiting = 0; ///< writers that wait, and readers
    std::atomic<bool> gatesReads = false; ///< readers of the files that are opened from then on wait as well
    std::atomic<int> mainThreadReads = 0; ///< readers that would have kept the interface, and may pass

    void openGate()
    {
        {
            const std::lock_guard lock {m_mutex};
            isClosed = false;
        }
        m_opened.notify_all();
    }

    Result<std::shared_ptr<StorageFile>> open(const std::string& path, Access access) override
    {
        if (access == Access::ReadWrite)
            RW_CHECK(pass(path));
        auto file = ForwardingStorage::open(path, access);
        if (file && gatesReads)
            return std::make_shared<GatedFile>(*this, *file);
        return file;
    }
    Result<std::shared_ptr<StorageFile>> createSibling(
        const std::string& path, std::string& siblingPath) override
    {
        RW_CHECK(pass(path));
        return ForwardingStorage::createSibling(path, siblingPath);
    }
    std::string volumeType(const std::string&) override { return "ext4"; }

private:
    /// A file whose readers wait.
    class GatedFile final : public ForwardingFile
    {
    public:
        GatedFile(GatedStorage& storage, std::shared_ptr<StorageFile> real)
            : ForwardingFile(std::move(real))
            , m_storage(storage)
        {
        }
        Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) override
        {
            if (m_storage.isClosed && QThread::currentThread() == qApp->thread())
                ++m_storage.mainThreadReads;
            else
                m_storage.wait();
            return ForwardingFile::readAt(offset, out);
        }

    private:
        GatedStorage& m_storage;
    };

    void wait()
    {
        std::unique_lock lock {m_mutex};
        ++waiting;
        m_opened.wait(lock, [this] { return !isClosed; });
        --waiting;
    }

    Result<void> pass(const std::string& path)
    {
        wait();
        if (refusesWriting)
            return systemFailure(EACCES, path, "the test does not want it");
        return {};
    }

    std::mutex m_mutex;
    std::condition_variable m_opened;
};

/// A folder, preferences and documents. The log and the preferences of the process go to the folder.
class AppFixture
{
public:
    AppFixture()
    {
        qputenv("REELWRIGHT_LIBRARY_DIR", folder.filePath(QStringLiteral("log")).toUtf8());
        qputenv("REELWRIGHT_PREFS_DIR", folder.filePath(QStringLiteral("preferences")).toUtf8());
        qputenv("REELWRIGHT_SOUND", "off");
        qputenv("REELWRIGHT_RENDERER", "software");
    }

    /// A copy of a sample clip.
    QString sample(const char* name, const char* as = nullptr)
    {
        const auto path = folder.filePath(QString::fromLatin1(as ? as : name));
        QFile::remove(path);
        if (!QFile::copy(QStringLiteral(REELWRIGHT_SOURCE_DIR "/samples/") + QString::fromLatin1(name), path))
            qFatal("no copy of %s", name);
        return path;
    }
    /// A document of that file.
    std::unique_ptr<MyDocument> open(const QString& path)
    {
        auto document = std::make_unique<MyDocument>(
            DocumentEnvironment {mainThread, notifications, preferences, storage});
        if (!document->readFromURL(path.toStdString()))
            qFatal("%s does not open", qPrintable(path));
        return document;
    }

    QTemporaryDir folder;
    QtMainThread mainThread;
    NotificationCenter notifications;
    Preferences preferences {folder.filePath(QStringLiteral("test.plist")).toStdString()};
    std::shared_ptr<GatedStorage> storage = std::make_shared<GatedStorage>();
};

} // namespace reelwright::test
