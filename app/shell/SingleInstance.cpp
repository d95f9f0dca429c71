#include "app/shell/SingleInstance.h"

#include "support/KWLog.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QLockFile>
#include <QThread>
#include <QTimer>

#include <sys/stat.h>
#include <unistd.h>

namespace reelwright {
namespace {

    using std::chrono::milliseconds;

    constexpr char kEnd = '\n';
    const QByteArray kAnswer = QByteArrayLiteral("taken\n");
    constexpr qint64 kLargestMessage = qint64 {1} << 20;
    constexpr milliseconds kPatienceWithClients {5000};

    bool isPrivateFolder(const QByteArray& path)
    {
        struct stat state
        {
        };
        return ::lstat(path.constData(), &state) == 0 && S_ISDIR(state.st_mode) && state.st_uid == ::geteuid()
            && (state.st_mode & 077) == 0;
    }

    /// The session's own folder, else one that is made in the folder for temporary files.
    QByteArray privateFolder()
    {
        const auto session = qgetenv("XDG_RUNTIME_DIR");
        if (session.startsWith('/') && isPrivateFolder(session))
            return session;
        const auto made = "/tmp/reelwright-" + QByteArray::number(::geteuid());
        ::mkdir(made.constData(), 0700);
        return isPrivateFolder(made) ? made : QByteArray {};
    }

    QByteArray request(const QStringList& files)
    {
        auto token = qgetenv("XDG_ACTIVATION_TOKEN");
        if (token.isEmpty())
            token = qgetenv("DESKTOP_STARTUP_ID");
        const QJsonObject object {{QStringLiteral("files"), QJsonArray::fromStringList(files)},
            {QStringLiteral("token"), QString::fromUtf8(token)}};
        return QJsonDocument {object}.toJson(QJsonDocument::Compact) + kEnd;
    }

    milliseconds left(const QDeadlineTimer& deadline)
    {
        return milliseconds {deadline.remainingTime()};
    }

} // namespace

SingleInstance::SingleInstance(QString socketPath, QObject* parent)
    : QObject(parent)
    , m_socketPath(std::move(socketPath))
{
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&m_server, &QLocalServer::newConnection, this, &SingleInstance::answerNext);
}

SingleInstance::~SingleInstance()
{
    m_server.close(); // before the lock goes: nobody else's socket may stand there yet
}

QString SingleInstance::sessionSocketPath()
{
    const auto folder = privateFolder();
    if (folder.isEmpty())
        return {};
    // The display may hold slashes, and the path has to stay short.
    const auto display = qgetenv("WAYLAND_DISPLAY") + '|' + qgetenv("DISPLAY");
    const auto name = QCryptographicHash::hash(display, QCryptographicHash::Sha256).toHex().left(12);
    return QFile::decodeName(folder + "/reelwright-" + name);
}

SingleInstance::Role SingleInstance::start(const QStringList& files, milliseconds patience)
{
    if (m_socketPath.isEmpty())
        return Role::Alone;
    auto lock = std::make_unique<QLockFile>(m_socketPath + QStringLiteral(".lock"));
    lock->setStaleLockTime(0); // a lock is stale when its process is gone, and only then
    if (!lock->tryLock(0)) {
        if (lock->error() == QLockFile::LockFailedError && handOver(files, patience))
            return Role::HandedOver;
        KWLog::appendLog("The running instance does not answer; starting another one.");
        return Role::Alone;
    }
    QLocalServer::removeServer(m_socketPath); // left behind by a crash
    if (!m_server.listen(m_socketPath)) {
        KWLog::appendLog(
            "Cannot listen at {}: {}", m_socketPath.toStdString(), m_server.errorString().toStdString());
        return Role::Alone;
    }
    m_lock = std::move(lock);
    return Role::First;
}

bool SingleInstance::handOver(const QStringList& files, milliseconds patience)
{
    const QDeadlineTimer deadline {patience};
    QLocalSocket socket;
    // Who holds the lock may be about to listen.
    constexpr milliseconds kPause {20};
    for (;;) {
        socket.connectToServer(m_socketPath);
        if (socket.waitForConnected(static_cast<int>(left(deadline).count())))
            break;
        if (left(deadline) <= kPause)
            return false;
        QThread::msleep(static_cast<unsigned long>(kPause.count()));
    }
    socket.write(request(files));
    QByteArray answer;
    while (answer.size() < kAnswer.size()) {
        const auto wait = static_cast<int>(left(deadline).count());
        if (wait <= 0)
            return false;
        if (socket.bytesToWrite() > 0 && !socket.waitForBytesWritten(wait))
            return false;
        if (!socket.waitForReadyRead(static_cast<int>(left(deadline).count())))
            return false;
        answer += socket.readAll();
    }
    return answer == kAnswer;
}

void SingleInstance::answerNext()
{
    while (auto* socket = m_server.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        // One that says nothing must not stay for ever.
        QTimer::singleShot(kPatienceWithClients, socket, &QLocalSocket::abort);
        const auto read = [this, socket] {
            if (socket->bytesAvailable() > kLargestMessage) {
                socket->abort();
                return;
            }
            if (!socket->canReadLine())
                return;
            const auto message = QJsonDocument::fromJson(socket->readLine()).object();
            if (!message.value(QLatin1String("files")).isArray()) {
                socket->abort();
                return;
            }
            QStringList files;
            const auto sent = message.value(QLatin1String("files")).toArray();
            for (const auto& file : sent)
                if (const auto path = file.toString(); path.startsWith(QLatin1Char('/')))
                    files.append(path);
            socket->write(kAnswer);
            socket->disconnectFromServer(); // once that is written
            emit activated(files, message.value(QLatin1String("token")).toString());
        };
        connect(socket, &QLocalSocket::readyRead, this, read);
        if (socket->bytesAvailable() > 0)
            read();
    }
}

} // namespace reelwright
