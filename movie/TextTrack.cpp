#include "movie/TextTrack.h"

#include "movie/TrackBuilder.h"
#include "movie/files/MediaSources.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright::textMedia {
namespace {

    constexpr std::uint16_t kUnspecifiedLanguage = 0x7FFF; ///< of QuickTime media
    constexpr std::uint16_t kUndeterminedLanguage = 0x55C4; ///< "und", packed

    /// Sample tables over samples that lie in one block of memory.
    Result<void> fillTables(QTMovie& movie, Atom& trak, const NewTexts& texts)
    {
        addSampleDescription(trak, texts.description);
        SampleTableBuilder tables;
        ByteWriter media;
        std::vector<SampleTableBuilder::Sample> samples;
        samples.reserve(texts.texts.size());
        for (std::size_t i = 0; i < texts.texts.size(); ++i) {
            const auto start = i == 0 ? 0 : texts.texts[i].start;
            const auto end = i + 1 < texts.texts.size() ? texts.texts[i + 1].start : texts.end;
            const auto duration = end > start ? end - start : 0;
            if (duration > UINT32_MAX)
                return failure(MovieError::Code::Refused, movie.fileName(),
                    "a text of the track lasts too long for one sample");
            const auto bytes = encode(texts.texts[i].text, texts.description.type);
            media.bytes(bytes.span());
            samples.push_back(
                {static_cast<std::uint32_t>(duration), static_cast<std::uint32_t>(bytes.size())});
        }
        if (!samples.empty())
            tables.beginChunk(movie.sources().addMemory(Bytes::adopt(media.take())), 1);
        for (const auto& sample : samples)
            RW_CHECK(tables.add(sample));
        tables.write(*editSampleTables(trak));
        return {};
    }

    NewTrack trackFor(const QTMovie& movie, const NewTexts& texts)
    {
        NewTrack track;
        track.mediaType = QTMediaTypeText;
        track.mediaTimeScale = static_cast<std::uint32_t>(texts.mediaTimeScale);
        track.mediaDuration = texts.end;
        track.language = kUnspecifiedLanguage;
        if (movie.file() && !movie.file()->isQuickTime()) {
            track.family = NewTrack::Family::Iso;
            track.language = kUndeterminedLanguage;
        }
        track.time = movie.movieHeader().modificationTime;
        return track;
    }

} // namespace

Result<QTTrack> addTrack(QTMovie& movie, const NewTexts& texts, std::uint32_t flags, QTSize size)
{
    auto settings = trackFor(movie, texts);
    settings.flags = flags;
    settings.width = size.width;
    settings.height = size.height;
    auto trak = makeTrack(settings);
    RW_CHECK(fillTables(movie, trak, texts));
    RW_TRY(const auto track, movie.addTrack(std::move(trak)));
    EditList whole;
    whole.edits.push_back(
        {static_cast<std::uint64_t>(std::max<std::int64_t>(
             rescale(static_cast<std::int64_t>(texts.end), movie.timeScale(), texts.mediaTimeScale), 0)),
            0, 1 << 16});
    RW_CHECK(track.setEditList(whole));
    return track;
}

Result<void> replaceMedia(QTMovie& movie, const QTTrack& track, const NewTexts& texts)
{
    auto settings = trackFor(movie, texts);
    settings.language = track.media().header().language;
    auto fresh = makeTrack(settings);
    RW_CHECK(fillTables(movie, fresh, texts));
    return takeMedia(track, fresh);
}

} // namespace reelwright::textMedia
