#include "app/shell/MovieOpener.h"

#include "app/shell/Background.h"
#include "movie/QTMovie.h"

#include <QFileInfo>

#include <cerrno>

namespace reelwright {
namespace {

    /// Why a file is no movie at all: what the file system says, or what the engine misses in it.
    MovieError whyNoMovie(const QString& path, const std::shared_ptr<Storage>& storage)
    {
        const QFileInfo file {path};
        const auto refused = [&](int status, const char* why) {
            return MovieError {MovieError::Code::Io, 0, path.toStdString(), why, status};
        };
        if (!file.exists())
            return refused(ENOENT, "there is no such file");
        if (file.isDir())
            return refused(EISDIR, "it is a folder");
        if (!file.isReadable())
            return refused(EACCES, "it cannot be read");
        if (file.size() == 0)
            return {MovieError::Code::Truncated, 0, path.toStdString(), "it is empty: it has no bytes at all"};
        if (const auto movie = QTMovie::open(path.toStdString(), storage); !movie)
            return movie.error();
        return refused(EAGAIN, "it was changed while it was opened");
    }

} // namespace

/// One call of `open`, while its files come in.
struct MovieOpener::Call
{
    std::size_t left = 0;
    std::vector<std::optional<Failure>> failures; ///< one for each file
};

struct MovieOpener::Found
{
    MyDocument::OpenedMovie opened;
    MovieError noMovie; ///< why `opened` holds nothing
};

MovieOpener::MovieOpener(std::shared_ptr<Storage> storage, Receiver receiver, QObject* parent)
    : QObject(parent)
    , m_storage(std::move(storage))
    , m_receiver(std::move(receiver))
{
}

MovieOpener::~MovieOpener() = default;

void MovieOpener::open(const QStringList& paths)
{
    const bool wasBusy = isBusy();
    QStringList wanted;
    for (const auto& path : paths)
        if (!m_underWay.contains(path)) {
            m_underWay.insert(path);
            wanted.append(path);
        }
    if (wanted.isEmpty()) {
        emit finished({});
        return;
    }
    const auto call = std::make_shared<Call>();
    call->left = static_cast<std::size_t>(wanted.size());
    call->failures.resize(call->left);
    if (!wasBusy)
        emit busyChanged(true);
    for (std::size_t index = 0; index < call->failures.size(); ++index)
        runInBackground(
            this,
            [path = wanted[static_cast<qsizetype>(index)], storage = m_storage] {
                Found found {MyDocument::openMovie(path.toStdString(), storage), {}};
                if (!found.opened.movie)
                    found.noMovie = whyNoMovie(path, storage);
                return found;
            },
            [this, call, index](Found found) { receive(*call, index, std::move(found)); });
}

void MovieOpener::receive(Call& call, std::size_t index, Found found)
{
    const auto path = QString::fromStdString(found.opened.path);
    m_underWay.remove(path);
    const auto error
        = found.opened.movie ? m_receiver(std::move(found.opened)) : std::optional {std::move(found.noMovie)};
    if (error)
        call.failures[index] = Failure {path, *error};
    if (!isBusy())
        emit busyChanged(false);
    if (--call.left > 0)
        return;
    std::vector<Failure> failures;
    for (auto& ofFile : call.failures)
        if (ofFile)
            failures.push_back(std::move(*ofFile));
    emit finished(failures);
}

} // namespace reelwright
