#include "app/shell/Diagnostics.h"

#include "app/shell/AboutBox.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLocale>
#include <QSaveFile>
#include <QScreen>
#include <QSysInfo>
#include <QThread>

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <memory>
#include <system_error>

namespace reelwright {
namespace {

    constexpr int kOwnerOnly = 0600;
    constexpr const char* kMarkPrefix = "running-";

    struct ArchiveCloser
    {
        void operator()(struct archive* archive) const { archive_write_free(archive); }
    };
    struct EntryCloser
    {
        void operator()(struct archive_entry* entry) const { archive_entry_free(entry); }
    };

    bool addFile(struct archive& archive, const QString& name, const QByteArray& content)
    {
        const std::unique_ptr<struct archive_entry, EntryCloser> entry {archive_entry_new()};
        archive_entry_set_pathname_utf8(entry.get(), name.toUtf8().constData());
        archive_entry_set_size(entry.get(), content.size());
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_perm(entry.get(), kOwnerOnly);
        archive_entry_set_mtime(entry.get(), std::time(nullptr), 0);
        return archive_write_header(&archive, entry.get()) == ARCHIVE_OK
            && archive_write_data(&archive, content.constData(), static_cast<std::size_t>(content.size()))
            == content.size();
    }

    la_ssize_t writeTo(struct archive*, void* device, const void* bytes, std::size_t size)
    {
        return static_cast<QSaveFile*>(device)->write(
            static_cast<const char*>(bytes), static_cast<qint64>(size));
    }

    volatile std::sig_atomic_t crashMark = -1;

    void writeCrash(int number)
    {
        std::signal(number, SIG_DFL); // NOLINT: as above
        static_cast<void>(!::write(static_cast<int>(crashMark), "crashed\n", 8));
        ::raise(number);
    }

    /// Is a run at work whose mark this is? Its lock goes with it.
    bool isAlive(const std::string& mark)
    {
        const FileDescriptor file {::open(mark.c_str(), O_RDWR | O_CLOEXEC)};
        return file && ::flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    }

} // namespace

QString systemFacts()
{
    QStringList facts;
    facts << QStringLiteral("Reelwright: ") + QCoreApplication::applicationVersion();
    facts << QStringLiteral("System: %1, kernel %2, %3")
                 .arg(QSysInfo::prettyProductName(), QSysInfo::kernelVersion(),
                     QSysInfo::currentCpuArchitecture());
    facts << QStringLiteral("Processors: %1").arg(QThread::idealThreadCount());
    facts << QStringLiteral("Locale: %1").arg(QLocale().name());
    facts << QStringLiteral("Desktop: %1 (%2), platform %3")
                 .arg(qEnvironmentVariable("XDG_CURRENT_DESKTOP"), qEnvironmentVariable("XDG_SESSION_TYPE"),
                     QGuiApplication::platformName());
    for (const auto* screen : QGuiApplication::screens())
        facts << QStringLiteral("Screen: %1 x %2, ratio %3")
                     .arg(screen->size().width())
                     .arg(screen->size().height())
                     .arg(screen->devicePixelRatio());
    for (const auto& library : usedLibraries())
        facts << QStringLiteral("%1: %2").arg(library.name, library.version);
    return facts.join(QLatin1Char('\n')) + QLatin1Char('\n');
}

std::optional<QString> writeDiagnostics(const QString& path, QString facts, const QStringList& files)
{
    QSaveFile target {path};
    if (!target.open(QIODevice::WriteOnly))
        return target.errorString();
    const std::unique_ptr<struct archive, ArchiveCloser> archive {archive_write_new()};
    bool isGood = archive_write_set_format_zip(archive.get()) == ARCHIVE_OK
        && archive_write_open(archive.get(), &target, nullptr, writeTo, nullptr) == ARCHIVE_OK;
    for (const auto& name : files) {
        QFile file {name};
        if (!file.open(QIODevice::ReadOnly))
            facts += QStringLiteral("Not read: %1 (%2)\n").arg(name, file.errorString());
        else
            isGood = isGood
                && addFile(*archive, QStringLiteral("logs/") + QFileInfo {name}.fileName(), file.readAll());
    }
    isGood = isGood && addFile(*archive, QStringLiteral("system.txt"), facts.toUtf8())
        && archive_write_close(archive.get()) == ARCHIVE_OK;
    if (!isGood || !target.commit())
        return target.error() == QFileDevice::NoError ? QString::fromUtf8(archive_error_string(archive.get()))
                                                      : target.errorString();
    return std::nullopt;
}

RunMarker::RunMarker(const std::string& folder)
{
    namespace fs = std::filesystem;
    std::error_code error;
    fs::create_directories(folder, error);
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (!entry.path().filename().string().starts_with(kMarkPrefix) || isAlive(entry.path()))
            continue;
        m_hasCrashed = m_hasCrashed || entry.file_size(error) > 0;
        fs::remove(entry.path(), error);
    }
    m_path = fmt::format("{}/{}{}", folder, kMarkPrefix, QCoreApplication::applicationPid());
    m_file = FileDescriptor {::open(m_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kOwnerOnly)};
    if (m_file)
        ::flock(m_file.get(), LOCK_EX | LOCK_NB);
}

void RunMarker::noteCrashes() const
{
    if (!m_file)
        return;
    crashMark = m_file.get();
    for (const int number : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL})
        std::signal(number, writeCrash); // NOLINT: only calls what handlers may call
}

RunMarker::~RunMarker()
{
    std::error_code error;
    if (m_file)
        std::filesystem::remove(m_path, error);
}

} // namespace reelwright
