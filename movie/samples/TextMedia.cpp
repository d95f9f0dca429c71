#include "movie/samples/TextMedia.h"

#include "movie/atoms/ByteReader.h"
#include "movie/atoms/TextEncoding.h"
#include "movie/files/MediaSources.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace reelwright::textMedia {
namespace {

    constexpr std::uint32_t kUnicode = 0x0100; ///< in `encd`
    /// Pieces of media that lie so near to each other are read at once.
    constexpr std::uint64_t kMostGap = 4096;
    constexpr std::uint64_t kMostAtOnce = 1U << 20U;

    bool startsWith(ByteSpan bytes, std::initializer_list<unsigned char> mark)
    {
        return bytes.size() >= mark.size()
            && std::equal(mark.begin(), mark.end(), bytes.begin(),
                [](unsigned char a, std::byte b) { return static_cast<std::byte>(a) == b; });
    }

    /// Does an `encd` atom among these extensions say Unicode?
    bool saysUnicode(ByteSpan extensions)
    {
        while (const auto header = AtomHeader::parse(extensions)) {
            if (header->size < header->headerSize || header->size > extensions.size())
                return false;
            if (header->type == "encd"_cc) {
                ByteReader in {extensions.subspan(static_cast<std::size_t>(header->headerSize))};
                return (in.u32() & 0xFFFFU) == kUnicode && in.ok();
            }
            extensions = extensions.subspan(static_cast<std::size_t>(header->size));
        }
        return false;
    }

    bool isPlainAscii(std::string_view text)
    {
        return std::all_of(
            text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    }

    /// A piece of media, and where in it which samples lie.
    struct Piece
    {
        DataReference source;
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
    };
    struct Sample
    {
        std::uint64_t start = 0; ///< in the media's time scale
        std::uint64_t duration = 0;
        std::size_t piece = 0;
        std::uint64_t offset = 0; ///< in the piece
        std::uint32_t size = 0;
        std::uint32_t description = 0;
    };

    /// A track's samples, and the pieces of media that hold them.
    struct SampleMap
    {
        std::vector<Piece> pieces;
        std::vector<Sample> samples;

        static Result<SampleMap> of(const QTTrack& track);
    };

    bool isOneSource(const DataReference& a, const DataReference& b)
    {
        return a.isSelf == b.isSelf && (a.isSelf || a.candidates == b.candidates);
    }

    Result<SampleMap> SampleMap::of(const QTTrack& track)
    {
        const auto media = track.media();
        const auto table = media.sampleTable();
        const auto where = fmt::format("track {}", track.trackID());
        if (table.sampleCount() > kMaxSamples)
            return failure(MovieError::Code::Refused, where,
                fmt::format("the track has {} texts; at most {} are read", table.sampleCount(), kMaxSamples));
        std::vector<std::uint32_t> durations;
        for (std::size_t i = 0; i < table.timeRunCount(); ++i) {
            const auto run = table.timeRun(i);
            const auto left = table.sampleCount() - durations.size();
            durations.insert(durations.end(), std::min<std::size_t>(run.count, left), run.duration);
        }
        const auto references = media.dataReferences();
        DataReference self;
        self.isSelf = true;

        SampleMap map;
        std::uint64_t time = 0;
        std::uint64_t total = 0;
        table.forEachChunk([&](std::uint32_t, const SampleTable::Chunk& chunk) {
            total += chunk.size;
            if (total > kMaxBytes)
                return false;
            const auto description = media.sampleDescription(chunk.description);
            const std::size_t index = description ? description->dataReferenceIndex() : 0;
            const auto& source = index >= 1 && index <= references.size() ? references[index - 1] : self;
            auto* last = map.pieces.empty() ? nullptr : &map.pieces.back();
            // Media in memory lie in blocks of their own, which are not read across.
            const bool joins = last && chunk.offset < MediaSources::kMemoryBase
                && isOneSource(last->source, source) && chunk.offset >= last->offset + last->size
                && chunk.offset - last->offset - last->size <= kMostGap
                && chunk.offset + chunk.size - last->offset <= kMostAtOnce;
            if (!joins)
                map.pieces.push_back({source, chunk.offset, 0});
            auto& piece = map.pieces.back();
            piece.size = chunk.offset + chunk.size - piece.offset;
            auto offset = chunk.offset - piece.offset;
            for (std::uint32_t i = 0; i < chunk.sampleCount; ++i) {
                const auto number = chunk.firstSample + i;
                const auto size = table.sampleSize(number);
                const auto duration = number <= durations.size() ? durations[number - 1] : 0U;
                map.samples.push_back(
                    {time, duration, map.pieces.size() - 1, offset, size, chunk.description});
                time += duration;
                offset += size;
            }
            return true;
        });
        if (total > kMaxBytes)
            return failure(MovieError::Code::Refused, where,
                fmt::format("the track's texts take more than {} bytes", kMaxBytes));
        return map;
    }

    /// When a sample is shown.
    struct Showing
    {
        std::size_t sample = 0;
        QTTime start;
        QTTime end;
    };

    /// Movie times of one edit's media.
    class EditClock
    {
    public:
        EditClock(
            const EditList::Edit& edit, std::uint64_t start, std::int32_t movieScale, std::int32_t mediaScale)
            : m_edit(edit)
            , m_start(static_cast<std::int64_t>(std::min<std::uint64_t>(start, INT64_MAX)))
            , m_movieScale(movieScale)
            , m_mediaScale(mediaScale)
        {
        }

        /// One behind the last media time that the edit shows.
        [[nodiscard]] std::int64_t mediaEnd() const
        {
            const auto duration
                = static_cast<std::int64_t>(std::min<std::uint64_t>(m_edit.duration, INT64_MAX));
            const auto length = rescale(rescale(duration, m_mediaScale, m_movieScale), m_edit.rate, 1 << 16);
            return length > INT64_MAX - m_edit.mediaTime ? INT64_MAX : m_edit.mediaTime + length;
        }

        /// When a media time is shown: exact in the media's time scale, or in one that has both, where that
        /// fits.
        [[nodiscard]] QTTime movieTime(std::int64_t mediaTime) const
        {
            auto offset = mediaTime - m_edit.mediaTime;
            if (m_edit.rate > 0 && m_edit.rate != 1 << 16)
                offset = rescale(offset, 1 << 16, m_edit.rate);
            const QTTime start {m_start, m_movieScale};
            if (atScale(start, m_mediaScale) == start)
                return {atScale(start, m_mediaScale).value + offset, m_mediaScale};
            const auto both = std::lcm<std::int64_t, std::int64_t>(m_movieScale, m_mediaScale);
            const auto scale = both <= INT32_MAX ? static_cast<std::int32_t>(both) : m_mediaScale;
            return {atScale(start, scale).value + rescale(offset, scale, m_mediaScale), scale};
        }

    private:
        const EditList::Edit& m_edit;
        std::int64_t m_start;
        std::int32_t m_movieScale;
        std::int32_t m_mediaScale;
    };

    /// The samples that the edits show, none of them more often than there are samples at most.
    Result<std::vector<Showing>> showings(const QTTrack& track, const std::vector<Sample>& samples)
    {
        RW_TRY(const auto list, track.editList());
        const auto mediaScale = track.media().timeScale();
        std::vector<Showing> shown;
        if (mediaScale <= 0 || track.timeScale() <= 0)
            return shown;
        std::uint64_t start = 0;
        for (std::size_t i = 0; i < list.edits.size(); ++i) {
            const auto& edit = list.edits[i];
            const EditClock clock {edit, start, track.timeScale(), mediaScale};
            start += edit.duration;
            const QTTime editEnd {
                static_cast<std::int64_t>(std::min<std::uint64_t>(start, INT64_MAX)), track.timeScale()};
            if (edit.mediaTime < 0 || samples.empty())
                continue;
            const auto first = static_cast<std::uint64_t>(edit.mediaTime);
            const auto end = static_cast<std::uint64_t>(std::max<std::int64_t>(clock.mediaEnd(), 0));
            const bool isLast = i + 1 == list.edits.size();
            // The sample that is on show when the edit begins, then those that begin within it.
            auto at = std::partition_point(samples.begin(), samples.end(), [&](const Sample& sample) {
                return sample.start + sample.duration <= first && sample.start < first;
            });
            for (; at != samples.end(); ++at) {
                const bool begins = at->start <= first
                    ? at->start == first || at->start + at->duration > first
                    : at->start < end || (isLast && at->start == end);
                if (!begins || (edit.duration == 0 && !isLast) || shown.size() >= kMaxSamples)
                    break;
                const auto sampleEnd = static_cast<std::int64_t>(at->start + at->duration);
                const auto ends = edit.rate > 0 ? clock.movieTime(sampleEnd) : editEnd;
                shown.push_back({static_cast<std::size_t>(at - samples.begin()),
                    clock.movieTime(std::max(edit.mediaTime, static_cast<std::int64_t>(at->start))),
                    std::min(ends, editEnd)});
                if (edit.rate <= 0)
                    break; // one text held
            }
        }
        return shown;
    }

} // namespace

bool isTextTrack(const QTTrack& track)
{
    const auto type = track.mediaType();
    if (type != "text"_cc && type != "sbtl"_cc && type != "subt"_cc)
        return false;
    const auto description = track.media().sampleDescription(1);
    return description && (description->format() == kQuickTimeText || description->format() == kTimedText);
}

std::string decode(ByteSpan sample)
{
    if (sample.size() < 2)
        return {};
    ByteReader in {sample};
    const std::size_t length = in.u16();
    const auto text = sample.subspan(2, std::min(length, sample.size() - 2));
    if (startsWith(text, {0xFE, 0xFF}))
        return decodeUtf16(text.subspan(2), ByteOrder::BigEndian);
    if (startsWith(text, {0xFF, 0xFE}))
        return decodeUtf16(text.subspan(2), ByteOrder::LittleEndian);
    const bool isUtf8 = isValidUtf8(text) && std::find(text.begin(), text.end(), std::byte {0}) == text.end();
    if (!isUtf8 && text.size() % 2 == 0 && saysUnicode(sample.subspan(2 + text.size())))
        return decodeUtf16(text, ByteOrder::BigEndian);
    return decodeText(startsWith(text, {0xEF, 0xBB, 0xBF}) ? text.subspan(3) : text);
}

ByteSpan extensionsOf(ByteSpan sample)
{
    ByteReader in {sample};
    in.skip(in.u16());
    return in.ok() ? in.rest() : ByteSpan {};
}

Bytes encode(std::string_view text, FourCC format, ByteSpan extensions)
{
    text = text.substr(0, fittingUtf8(text, kMaxText));
    ByteWriter out;
    out.u16(static_cast<std::uint16_t>(text.size())).text(text);
    if (format == kQuickTimeText && !isPlainAscii(text))
        out.u32(12).fourCC("encd"_cc).u32(kUnicode);
    out.bytes(extensions);
    return out.toBytes();
}

Result<std::vector<ShownText>> shownTexts(const QTTrack& track)
{
    if (!isTextTrack(track))
        return failure(
            MovieError::Code::Refused, fmt::format("track {}", track.trackID()), "the track holds no text");
    RW_TRY(const auto map, SampleMap::of(track));
    RW_TRY(const auto shown, showings(track, map.samples));
    std::vector<Bytes> read;
    for (const auto& piece : map.pieces) {
        if (piece.size == 0) {
            read.emplace_back();
            continue;
        }
        auto bytes = track.movie().sources().readKept(piece.source, piece.offset, piece.size);
        if (!bytes)
            return tl::unexpected<MovieError>(std::move(bytes).error());
        read.push_back(std::move(*bytes));
    }
    std::vector<ShownText> texts;
    texts.reserve(shown.size());
    for (const auto& [number, start, end] : shown) {
        const auto& sample = map.samples[number];
        auto bytes = read[sample.piece].slice(static_cast<std::size_t>(sample.offset), sample.size);
        auto text = decode(bytes.span());
        texts.push_back({std::move(text), start, end, std::move(bytes), sample.description});
    }
    return texts;
}

} // namespace reelwright::textMedia
