#pragma once

#include "document/MyDocument.h"

#include <QObject>
#include <QSet>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace reelwright {

/// Opens movie files off the main thread, all at the same time, and hands each over when it is there. What
/// failed of one call is told once, at its end.
class MovieOpener : public QObject
{
    Q_OBJECT

public:
    struct Failure
    {
        QString path;
        MovieError error;
    };
    /// Takes a movie over, or says why not.
    using Receiver = std::function<std::optional<MovieError>(MyDocument::OpenedMovie opened)>;

    MovieOpener(std::shared_ptr<Storage> storage, Receiver receiver, QObject* parent = nullptr);
    ~MovieOpener() override;

    /// Absolute paths. One that is being opened already is not opened twice.
    void open(const QStringList& paths);
    [[nodiscard]] bool isBusy() const { return !m_underWay.isEmpty(); }

signals:
    void busyChanged(bool isBusy);
    /// All files of one call were handed over or failed; `failures` in the order of the call.
    void finished(const std::vector<reelwright::MovieOpener::Failure>& failures);

private:
    struct Call;
    struct Found;

    void receive(Call& call, std::size_t index, Found found);

    std::shared_ptr<Storage> m_storage;
    Receiver m_receiver;
    QSet<QString> m_underWay;
};

} // namespace reelwright
