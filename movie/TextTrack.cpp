#include "movie/TextTrack.h"

#include "movie/TrackBuilder.h"
#include "movie/files/MediaSources.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright::textMedia {
namespace {

    NewSamples samplesOf(const NewTexts& texts)
    {
        NewSamples media {{texts.description}, texts.mediaTimeScale, {}};
        media.samples.reserve(texts.texts.size());
        for (std::size_t i = 0; i < texts.texts.size(); ++i) {
            const auto start = i == 0 ? 0 : texts.texts[i].start;
            const auto end = i + 1 < texts.texts.size() ? texts.texts[i + 1].start : texts.end;
            media.samples.push_back(
                {encode(texts.texts[i].text, texts.description.type), end > start ? end - start : 0, 1});
        }
        return media;
    }

    /// Sample tables over samples that lie in one block of memory, a chunk for each run of one description.
    Result<void> fillTables(QTMovie& movie, Atom& trak, const NewSamples& media)
    {
        for (const auto& description : media.descriptions)
            addSampleDescription(trak, description);
        ByteWriter block;
        for (const auto& sample : media.samples) {
            if (sample.duration > UINT32_MAX)
                return failure(MovieError::Code::Refused, movie.fileName(),
                    "a text of the track lasts too long for one sample");
            block.bytes(sample.bytes.span());
        }
        SampleTableBuilder tables;
        auto offset = media.samples.empty() ? 0 : movie.sources().addMemory(Bytes::adopt(block.take()));
        std::uint32_t description = 0;
        for (const auto& sample : media.samples) {
            if (description != sample.description)
                tables.beginChunk(offset, description = sample.description);
            const auto size = static_cast<std::uint32_t>(sample.bytes.size());
            RW_CHECK(tables.add({static_cast<std::uint32_t>(sample.duration), size}));
            offset += size;
        }
        tables.write(*editSampleTables(trak));
        return {};
    }

    std::uint64_t durationOf(const NewSamples& media)
    {
        std::uint64_t sum = 0;
        for (const auto& sample : media.samples)
            sum += sample.duration;
        return sum;
    }

    NewTrack trackFor(const QTMovie& movie, std::int32_t mediaTimeScale, std::uint64_t mediaDuration)
    {
        NewTrack track;
        track.mediaType = QTMediaTypeText;
        track.mediaTimeScale = static_cast<std::uint32_t>(mediaTimeScale);
        track.mediaDuration = mediaDuration;
        if (movie.file() && !movie.file()->isQuickTime())
            track.family = NewTrack::Family::Iso;
        track.language = NewTrack::unspecifiedLanguage(track.family);
        track.time = movie.movieHeader().modificationTime;
        return track;
    }

} // namespace

Result<QTTrack> addTrack(QTMovie& movie, const NewTexts& texts, std::uint32_t flags, QTSize size)
{
    auto settings = trackFor(movie, texts.mediaTimeScale, texts.end);
    settings.flags = flags;
    settings.width = size.width;
    settings.height = size.height;
    auto trak = makeTrack(settings);
    RW_CHECK(fillTables(movie, trak, samplesOf(texts)));
    RW_TRY(const auto track, movie.addTrack(std::move(trak)));
    EditList whole;
    whole.edits.push_back(
        {static_cast<std::uint64_t>(std::max<std::int64_t>(
             rescale(static_cast<std::int64_t>(texts.end), movie.timeScale(), texts.mediaTimeScale), 0)),
            0, 1 << 16});
    RW_CHECK(track.setEditList(whole));
    return track;
}

namespace {

    Result<void> replace(
        QTMovie& movie, const QTTrack& track, const NewSamples& media, std::uint64_t mediaDuration)
    {
        auto settings = trackFor(movie, media.mediaTimeScale, mediaDuration);
        settings.language = track.media().header().language;
        auto fresh = makeTrack(settings);
        RW_CHECK(fillTables(movie, fresh, media));
        return takeMedia(track, fresh);
    }

} // namespace

Result<void> replaceMedia(QTMovie& movie, const QTTrack& track, const NewTexts& texts)
{
    return replace(movie, track, samplesOf(texts), texts.end);
}

Result<void> replaceMedia(QTMovie& movie, const QTTrack& track, const NewSamples& media)
{
    return replace(movie, track, media, durationOf(media));
}

} // namespace reelwright::textMedia
