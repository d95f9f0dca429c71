#pragma once

#include "app/QtMainThread.h"
#include "document/MyDocument.h"
#include "support/Preferences.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <semaphore>

namespace reelwright::test {

constexpr int kWait = 10'000;

/// The real file system, in which saves can be made to fail, or to wait at their first step.
class GatedStorage final : public Storage
{
public:
    std::atomic<bool> refusesWriting = false;
    std::atomic<bool> isClosed = false; ///< writers wait for `open`
    std::atomic<int> waiting = 0; ///< writers that wait

    void openGate()
    {
        isClosed = false;
        m_gate.release(waiting);
    }

    Result<std::shared_ptr<StorageFile>> open(const std::string& path, Access access) override
    {
        if (access == Access::ReadWrite)
            RW_CHECK(pass(path));
        return m_real->open(path, access);
    }
    Result<std::shared_ptr<StorageFile>> createSibling(
        const std::string& path, std::string& siblingPath) override
    {
        RW_CHECK(pass(path));
        return m_real->createSibling(path, siblingPath);
    }
    bool exists(const std::string& path) override { return m_real->exists(path); }
    Result<void> copyAttributes(const std::string& from, const std::string& to) override
    {
        return m_real->copyAttributes(from, to);
    }
    Result<void> rename(const std::string& from, const std::string& to) override
    {
        return m_real->rename(from, to);
    }
    Result<void> remove(const std::string& path) override { return m_real->remove(path); }
    Result<void> flushFolder(const std::string& path) override { return m_real->flushFolder(path); }
    std::string resolve(const std::string& path) override { return m_real->resolve(path); }
    std::string volumeType(const std::string&) override { return "ext4"; }

private:
    Result<void> pass(const std::string& path)
    {
        if (isClosed) {
            ++waiting;
            m_gate.acquire();
            --waiting;
        }
        if (refusesWriting)
            return systemFailure(EACCES, path, "the test does not want it");
        return {};
    }

    std::shared_ptr<Storage> m_real = Storage::posix(Sync::Off);
    std::counting_semaphore<> m_gate {0};
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
