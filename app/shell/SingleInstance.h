#pragma once

#include <QLocalServer>
#include <QObject>
#include <QString>
#include <QStringList>

#include <chrono>
#include <memory>

class QLockFile;

namespace reelwright {

/// Sees to one running program for a user and a desktop session: the first one answers, later ones hand their
/// files over and end. Who it is that comes first is decided by a lock that goes with its process, so that a
/// socket left behind by a crash stops nobody.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    enum class Role {
        First, ///< it runs here from now on
        HandedOver, ///< the running one has taken the files
        Alone, ///< another one runs but does not answer, or there is no place for the socket
    };

    /// `socketPath` of at most about a hundred bytes; nothing: no place for one.
    explicit SingleInstance(QString socketPath = sessionSocketPath(), QObject* parent = nullptr);
    ~SingleInstance() override;

    /// Waits no longer than `patience` for an answer of the running program.
    Role start(
        const QStringList& files, std::chrono::milliseconds patience = std::chrono::milliseconds {2000});

    /// In a folder that only this user can enter; a socket for each display.
    static QString sessionSocketPath();

signals:
    /// Another start handed these files over, or none: then it only wants to be seen. The token is what the
    /// desktop gave it to come to the front with, or empty.
    void activated(const QStringList& files, const QString& token);

private:
    bool handOver(const QStringList& files, std::chrono::milliseconds patience);
    void answerNext();

    QString m_socketPath;
    std::unique_ptr<QLockFile> m_lock;
    QLocalServer m_server;
};

} // namespace reelwright
