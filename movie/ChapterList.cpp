#include "movie/ChapterList.h"

#include "movie/TextTrack.h"
#include "movie/atoms/ByteReader.h"
#include "movie/atoms/TextEncoding.h"
#include "movie/atoms/UserData.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <optional>
#include <set>

namespace reelwright::chapterList {
namespace {

    constexpr FourCC kReference = "chap"_cc;
    constexpr FourCC kList = "chpl"_cc;
    constexpr FourCC kMark = "kgit"_cc; ///< reads "tigk" as metadata keys are handed out
    constexpr std::int32_t kListScale = 10'000'000; ///< units of a `chpl` list a second
    constexpr std::size_t kMaxListName = UINT8_MAX;

    bool isMarked(const QTTrack& track)
    {
        const auto item = userData::item(track.atom(), kMark);
        return item && *item == Bytes::copyOf("chap");
    }

    /// The IDs that the tracks of a movie refer to, in order.
    std::vector<std::uint32_t> referredIDs(const QTMovie& movie)
    {
        std::vector<std::uint32_t> ids;
        std::set<std::uint32_t> known;
        for (const auto& track : movie.tracks()) {
            const auto references = track.references();
            if (const auto found = references.find(kReference); found != references.end())
                for (const auto id : found->second)
                    if (known.insert(id).second)
                        ids.push_back(id);
        }
        return ids;
    }

    /// A `chpl` list: version and flags; in version 1 a reserved byte and a 32-bit count, in version 0 a
    /// count of 8 bits; for each chapter a 64-bit start and a counted name.
    std::vector<Chapter> readList(const Bytes& payload)
    {
        ByteReader in {payload.span()};
        const auto version = in.u8();
        in.skip(3);
        if (version != 0)
            in.skip(1);
        const std::uint32_t count = version == 0 ? in.u8() : in.u32();
        std::vector<Chapter> chapters;
        for (std::uint32_t i = 0; i < count && in.ok(); ++i) {
            const auto start = in.u64();
            const auto name = in.bytes(in.u8());
            if (in.ok() && start <= INT64_MAX)
                chapters.push_back({decodeText(name), {static_cast<std::int64_t>(start), kListScale}});
        }
        return chapters;
    }

    Bytes writeList(const Bytes& former, const std::vector<Chapter>& chapters)
    {
        ByteReader head {former.span()};
        const auto version = head.u8();
        const auto flags = head.u24();
        const auto count = version == 0 ? std::min<std::size_t>(chapters.size(), UINT8_MAX) : chapters.size();
        ByteWriter out;
        out.u8(version).u24(flags);
        if (version == 0)
            out.u8(static_cast<std::uint8_t>(count));
        else
            out.u8(0).u32(static_cast<std::uint32_t>(count));
        for (std::size_t i = 0; i < count; ++i) {
            const auto start = atScale(chapters[i].start, kListScale).value;
            const auto name = chapters[i].name.substr(0, fittingUtf8(chapters[i].name, kMaxListName));
            out.u64(static_cast<std::uint64_t>(std::max<std::int64_t>(start, 0)));
            out.u8(static_cast<std::uint8_t>(name.size())).text(name);
        }
        return out.toBytes();
    }

    /// The track that `read` goes by: the first that has chapters, else the first.
    std::optional<QTTrack> currentTrack(const QTMovie& movie)
    {
        const auto all = tracks(movie);
        const auto found = std::find_if(
            all.begin(), all.end(), [](const QTTrack& track) { return track.media().sampleCount() > 0; });
        if (found != all.end())
            return *found;
        return all.empty() ? std::nullopt : std::optional {all.front()};
    }

    /// A time scale in which all starts are exact; where that would be too fine for samples of the movie's
    /// length, the movie's, and where even that is, the classic one.
    std::int32_t scaleFor(const std::vector<Chapter>& chapters, const QTTime& duration)
    {
        constexpr std::int64_t kFinest = 1'000'000;
        constexpr std::int32_t kClassic = 600;
        const auto fits = [&](std::int32_t scale) { return atScale(duration, scale).value <= UINT32_MAX; };
        auto exact = std::int64_t {duration.scale};
        for (const auto& [name, start] : chapters)
            if (atScale(start, static_cast<std::int32_t>(exact)) != start) {
                exact = std::lcm(exact, std::int64_t {start.scale});
                if (exact > kFinest)
                    break;
            }
        if (exact <= kFinest && fits(static_cast<std::int32_t>(exact)))
            return static_cast<std::int32_t>(exact);
        return fits(duration.scale) ? duration.scale : kClassic;
    }

    /// The description that a rewritten track keeps, made to point at the movie's own file.
    Atom descriptionFor(const std::optional<QTTrack>& track)
    {
        const auto former = track ? track->media().sampleDescription(1) : std::nullopt;
        constexpr std::size_t kReserved = 6; // bytes, before the index of the data reference
        if (!former || former->entry().head.size() < kReserved + 2 || !former->entry().children.empty())
            return TextStyle {}.description(textMedia::kQuickTimeText);
        auto kept = former->entry();
        ByteWriter head;
        head.bytes(kept.head.slice(0, kReserved).span()).u16(1).bytes(kept.head.slice(kReserved + 2).span());
        kept.head = head.toBytes();
        return kept;
    }

    /// Shows the chapters where they start. The media begin with the first of them.
    ///
    ///     |  gap  | 1 | 2   | 3 |      the gap ends on a whole unit of the movie; where the first chapter
    ///                                  starts between two, so much of its media is left out
    Result<void> showFrom(
        const QTTrack& track, const QTTime& first, const QTTime& duration, std::int32_t mediaScale)
    {
        auto gap = atScale(first, duration.scale);
        if (gap < first)
            ++gap.value;
        EditList list;
        constexpr std::int32_t kNormalRate = 1 << 16;
        if (gap.value > 0)
            list.edits.push_back({static_cast<std::uint64_t>(gap.value), -1, kNormalRate});
        const auto rest = std::max<std::int64_t>(duration.value - gap.value, 0);
        const auto left = atScale(gap, mediaScale).value - atScale(first, mediaScale).value;
        list.edits.push_back(
            {static_cast<std::uint64_t>(rest), std::max<std::int64_t>(left, 0), kNormalRate});
        return track.setEditList(list);
    }

    Result<void> writeTrack(QTMovie& movie, const std::vector<Chapter>& chapters)
    {
        const auto duration = movie.duration();
        if (duration.scale <= 0)
            return failure(MovieError::Code::Corrupt, movie.fileName(), "the movie has no time scale");
        auto track = currentTrack(movie);
        const auto scale = scaleFor(chapters, duration);
        const auto first = chapters.front().start;
        const auto origin = atScale(first, scale).value;
        std::vector<textMedia::TimedText> texts;
        texts.reserve(chapters.size());
        for (const auto& [name, start] : chapters) {
            const auto time = atScale(start, scale).value - origin;
            texts.push_back({name, static_cast<std::uint64_t>(std::max<std::int64_t>(time, 0))});
        }
        // As long as the movie, also where the first chapter begins later and the edit list cuts the rest
        // off: there are readers that take the media's length for the end of the last chapter.
        const auto end = atScale(duration, scale).value;
        const textMedia::NewTexts media {descriptionFor(track), scale, texts,
            std::max(static_cast<std::uint64_t>(end), texts.back().start)};
        if (track) {
            RW_CHECK(textMedia::replaceMedia(movie, *track, media));
        } else {
            const auto video = movie.tracksOfMediaType(QTMediaTypeVideo);
            const auto others = video.empty() ? movie.tracks() : video;
            RW_TRY(track, textMedia::addTrack(movie, media, TrackHeader::kInMovie | TrackHeader::kInPreview));
            RW_CHECK(others.empty() ? mark(movie, *track)
                                    : others.front().addReference(kReference, track->trackID()));
        }
        return showFrom(*track, first, duration, scale);
    }

} // namespace

bool isChapterTrack(const QTTrack& track)
{
    if (!textMedia::isTextTrack(track))
        return false;
    const auto ids = referredIDs(track.movie());
    return std::find(ids.begin(), ids.end(), track.trackID()) != ids.end()
        || (isMarked(track) && track.movie().tracks().size() == 1);
}

std::vector<QTTrack> tracks(const QTMovie& movie)
{
    const auto all = movie.tracks();
    std::multimap<std::uint32_t, const QTTrack*> texts;
    for (const auto& track : all)
        if (textMedia::isTextTrack(track))
            texts.emplace(track.trackID(), &track);
    std::vector<QTTrack> found;
    for (const auto id : texts.empty() ? std::vector<std::uint32_t> {} : referredIDs(movie))
        for (auto [text, end] = texts.equal_range(id); text != end; ++text)
            found.push_back(*text->second);
    if (found.empty() && all.size() == 1 && isChapterTrack(all.front()))
        found.push_back(all.front());
    return found;
}

Result<void> mark(QTMovie& movie, const QTTrack& track)
{
    auto* trak = track.editAtom();
    if (!trak)
        return failure(MovieError::Code::Refused, movie.fileName(), "the movie is not editable");
    if (!isMarked(track))
        userData::setItem(*trak, kMark, Bytes::copyOf("chap"));
    return {};
}

Result<std::vector<Chapter>> read(const QTMovie& movie)
{
    std::optional<MovieError> problem;
    for (const auto& track : tracks(movie)) {
        auto texts = textMedia::shownTexts(track);
        if (!texts) {
            if (!problem)
                problem = std::move(texts).error();
            continue;
        }
        if (texts->empty())
            continue;
        std::vector<Chapter> chapters;
        chapters.reserve(texts->size());
        for (auto& shown : *texts)
            chapters.push_back({std::move(shown.text), shown.start});
        return chapters;
    }
    if (const auto list = movie.userDataItem(kList))
        if (auto chapters = readList(*list); !chapters.empty())
            return chapters;
    if (problem)
        return tl::unexpected<MovieError>(std::move(*problem));
    return std::vector<Chapter> {};
}

Result<void> stretchList(QTMovie& movie, const QTTime& former)
{
    __extension__ using Wide = __int128;
    const auto list = movie.userDataItem(kList);
    const auto present = movie.duration();
    if (!list || former.value <= 0 || former.scale <= 0 || present.scale <= 0 || former == present)
        return {};
    auto chapters = readList(*list);
    for (auto& [name, start] : chapters) {
        constexpr Wide kMost = Wide {1} << 90; // room for the next product
        const Wide moved = std::min(static_cast<Wide>(start.value) * present.value / present.scale, kMost);
        start.value = static_cast<std::int64_t>(
            std::clamp<Wide>((moved * former.scale + former.value / 2) / former.value, 0, INT64_MAX));
    }
    return movie.setUserDataItem(kList, writeList(*list, chapters));
}

void readAhead(const QTMovie& movie)
{
    static_cast<void>(read(movie));
}

Result<void> replace(QTMovie& movie, const std::vector<Chapter>& chapters)
{
    if (!movie.isEditable())
        return failure(MovieError::Code::Refused, movie.fileName(), "the movie is not editable");
    for (const auto& [name, start] : chapters)
        if (name.size() > textMedia::kMaxText)
            return failure(MovieError::Code::Refused, movie.fileName(),
                fmt::format("the name of a chapter has {} bytes of UTF-8; at most {} can be stored",
                    name.size(), textMedia::kMaxText));
    if (chapters.size() > textMedia::kMaxSamples)
        return failure(MovieError::Code::Refused, movie.fileName(),
            fmt::format(
                "these are {} chapters; at most {} can be stored", chapters.size(), textMedia::kMaxSamples));
    const auto list = movie.userDataItem(kList);
    if (!chapters.empty()) {
        RW_CHECK(writeTrack(movie, chapters));
        if (list)
            return movie.setUserDataItem(kList, writeList(*list, chapters));
        return {};
    }
    RW_CHECK(movie.removeTracks(tracks(movie)));
    if (list)
        RW_CHECK(movie.removeUserDataItem(kList));
    return {};
}

} // namespace reelwright::chapterList
