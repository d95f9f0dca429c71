#include "picture/PictureLoader.h"

#include "movie/QTTrack.h"
#include "support/KWLog.h"

#include <dlfcn.h>

namespace reelwright {
namespace {

    class StreamSource final : public picture::ByteSource
    {
    public:
        explicit StreamSource(MovieStream stream)
            : m_stream(std::move(stream))
        {
        }
        [[nodiscard]] std::uint64_t size() const override { return m_stream.size(); }
        std::int64_t readAt(std::uint64_t offset, std::span<std::byte> out) override
        {
            const auto read = m_stream.readAt(offset, out);
            return read ? static_cast<std::int64_t>(*read) : -1;
        }

    private:
        MovieStream m_stream;
    };

} // namespace

Result<picture::PictureLibrary*> pictureLibrary()
{
    void* module = dlopen(picture::kPictureModule, RTLD_NOW | RTLD_LOCAL); // stays for as long as the program
    void* function = module ? dlsym(module, picture::kMakePictureLibrary) : nullptr;
    if (!function) {
        KWLog::appendLog("Unable to load {}: {}", picture::kPictureModule, dlerror());
        return failure(MovieError::Code::Unsupported, {},
            "pictures cannot be decoded: a part of this program is missing or cannot be loaded (the log says "
            "which); install it again");
    }
    return reinterpret_cast<picture::MakePictureLibrary*>(function)();
}

Result<std::unique_ptr<picture::ByteSource>> pictureSource(const QTMovie& movie)
{
    RW_TRY(auto stream, MovieStream::openForPlaying(movie));
    return std::make_unique<StreamSource>(std::move(stream));
}

std::vector<int> playingTracks(const QTMovie& movie)
{
    std::vector<int> tracks;
    for (const auto& track : movie.tracks())
        if (track.isEnabled())
            tracks.push_back(static_cast<int>(track.trackID()));
    return tracks;
}

Result<void> pictureResult(const std::string& text, const QTMovie& movie)
{
    if (text.empty())
        return {};
    return failure(MovieError::Code::Unsupported, movie.fileName(), text);
}

} // namespace reelwright
