#include "conform/ExactConform.h"

#include "conform/KWConformController.h"
#include "conform/SoundRate.h"
#include "movie/ChapterList.h"
#include "movie/atoms/ByteReader.h"
#include "support/KWLog.h"
#include "timecode/KWTimecodeController.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>

namespace reelwright {
namespace {

    __extension__ using Wide = __int128;

    tl::unexpected<MovieError> refused(std::string where, std::string why)
    {
        return failure(MovieError::Code::Refused, std::move(where), std::move(why));
    }

    /// A factor in lowest terms.
    struct Factor
    {
        std::int64_t num = 1;
        std::int64_t den = 1;

        static std::optional<Factor> of(Wide num, Wide den)
        {
            Wide a = num;
            Wide b = den;
            while (b != 0)
                a = std::exchange(b, a % b);
            num /= a;
            den /= a;
            if (num > INT64_MAX || den > INT64_MAX)
                return std::nullopt;
            return Factor {static_cast<std::int64_t>(num), static_cast<std::int64_t>(den)};
        }
        /// What a time must be multiplied with so that its product with this is whole.
        [[nodiscard]] std::int64_t missingFor(std::int64_t time) const
        {
            return den / std::gcd(den, time % den == 0 ? den : time);
        }
        /// To the nearest, halves away from zero.
        [[nodiscard]] std::int64_t rounded(std::int64_t time) const
        {
            const auto product = static_cast<Wide>(time < 0 ? -time : time) * num;
            const auto whole = static_cast<std::int64_t>((product * 2 + den) / (static_cast<Wide>(den) * 2));
            return time < 0 ? -whole : whole;
        }
    };

    /// A time scale, and what times in the old one are multiplied with.
    struct Scale
    {
        std::uint32_t units = 0;
        Factor factor;
    };

    /// A scale of a multiple of `base` units in which all those times are whole numbers of 32 bits. `speed`
    /// is how much faster everything is to be.
    std::optional<Scale> wholeScale(
        std::int64_t oldScale, const Factor& speed, std::int64_t base, const std::set<std::int64_t>& times)
    {
        auto factor
            = Factor::of(static_cast<Wide>(base) * speed.den, static_cast<Wide>(oldScale) * speed.num);
        if (!factor || base <= 0 || base > INT32_MAX)
            return std::nullopt;
        std::int64_t multiple = 1;
        for (const auto time : times) {
            multiple = std::lcm(multiple, factor->missingFor(time));
            if (multiple > INT32_MAX / base)
                return std::nullopt;
        }
        factor = Factor::of(static_cast<Wide>(factor->num) * multiple, factor->den);
        if (!factor)
            return std::nullopt;
        for (const auto time : times)
            if (static_cast<Wide>(time) * factor->num / factor->den > UINT32_MAX - 1)
                return std::nullopt;
        return Scale {static_cast<std::uint32_t>(base * multiple), *factor};
    }

    /// The wished-for scale where it serves as it is; else the smaller of its multiples and those of the old
    /// one at the new speed.
    std::optional<Scale> chooseScale(std::int64_t oldScale, const Factor& speed,
        std::optional<std::int64_t> wish, const std::set<std::int64_t>& times)
    {
        const auto wished = wish ? wholeScale(oldScale, speed, *wish, times) : std::nullopt;
        if (wished && wished->units == *wish)
            return wished;
        const auto base = Factor::of(static_cast<Wide>(oldScale) * speed.num, speed.den);
        const auto own = base ? wholeScale(oldScale, speed, base->num, times) : std::nullopt;
        return !own || (wished && wished->units < own->units) ? wished : own;
    }

    /// The time scale that files of such a rate usually have: 24000 for 24000/1001, 25000 for 25.
    std::int64_t usualScale(const ExactRate& rate)
    {
        constexpr std::int64_t kFine = 1000;
        return rate.den >= kFine || rate.num > INT32_MAX / kFine ? rate.num : rate.num * kFine;
    }

    /// The rows of a table of 32-bit fields: version, flags, count, rows. The fields of one column are read
    /// or changed; nothing where the table is not there.
    struct Column
    {
        FourCC type;
        std::size_t rowSize;
        std::size_t offset;
        bool isSigned;
    };
    constexpr Column kDurations {"stts"_cc, 8, 4, false};
    constexpr Column kOffsets {"ctts"_cc, 8, 4, true};

    template <class Visit> void forEachField(ByteSpan table, const Column& column, const Visit& visit)
    {
        constexpr std::size_t kHead = 8;
        if (table.size() < kHead)
            return;
        const std::size_t rows = std::min<std::size_t>(
            readBigEndian32(table.data() + 4), (table.size() - kHead) / column.rowSize);
        for (std::size_t i = 0; i < rows; ++i) {
            const auto at = kHead + i * column.rowSize + column.offset;
            const auto value = readBigEndian32(table.data() + at);
            visit(
                at, column.isSigned ? std::int64_t {static_cast<std::int32_t>(value)} : std::int64_t {value});
        }
    }

    /// A media and its times.
    class MediaTimes
    {
    public:
        explicit MediaTimes(const QTTrack& track)
            : m_track(track)
        {
        }

        /// All times of the media that have to be whole. Errors: those of QTTrack::editList.
        Result<std::set<std::int64_t>> all() const
        {
            std::set<std::int64_t> times;
            if (const auto* stbl = tables())
                for (const auto& column : {kDurations, kOffsets})
                    if (const auto* table = stbl->find(column.type))
                        forEachField(table->head.span(), column,
                            [&](std::size_t, std::int64_t value) { times.insert(std::abs(value)); });
            if (const auto header = m_track.media().header(); header.duration <= INT64_MAX)
                times.insert(static_cast<std::int64_t>(header.duration));
            if (m_track.atom().find({"edts"_cc, "elst"_cc})) {
                RW_TRY(const auto list, m_track.editList());
                for (const auto& edit : list.edits)
                    if (!edit.isEmpty())
                        times.insert(std::abs(edit.mediaTime));
            }
            return times;
        }

        Result<void> setScale(const Scale& scale) const
        {
            auto* trak = m_track.editAtom();
            auto* media = trak ? trak->edit("mdia"_cc) : nullptr;
            if (!media || !media->find("mdhd"_cc))
                return refused("mdia", fmt::format("track {} has no media header", m_track.trackID()));
            auto header = m_track.media().header();
            header.timeScale = scale.units;
            if (header.duration <= INT64_MAX)
                header.duration = static_cast<std::uint64_t>(
                    scale.factor.rounded(static_cast<std::int64_t>(header.duration)));
            media->setLeaf("mdhd"_cc, header.write());
            if (auto* stbl = media->edit({"minf"_cc, "stbl"_cc}))
                for (const auto& column : {kDurations, kOffsets})
                    if (stbl->find(column.type))
                        changeColumn(*stbl->edit(column.type), column, scale.factor);
            return changeShifts(*media, scale.factor);
        }

    private:
        [[nodiscard]] const Atom* tables() const
        {
            const auto* media = m_track.media().atom();
            return media ? media->find({"minf"_cc, "stbl"_cc}) : nullptr;
        }

        static void changeColumn(Atom& table, const Column& column, const Factor& factor)
        {
            if (factor.num == factor.den)
                return;
            auto bytes = table.head.toVector();
            forEachField(table.head.span(), column,
                [&](std::size_t at, std::int64_t value) { put32(bytes, at, factor.rounded(value)); });
            table.head = Bytes::adopt(std::move(bytes));
        }

        /// The limits of composition offsets (`cslg`), of version 0.
        static Result<void> changeShifts(Atom& media, const Factor& factor)
        {
            auto* shifts = media.edit({"minf"_cc, "stbl"_cc, "cslg"_cc});
            if (!shifts)
                return {};
            constexpr std::size_t kSize = 24;
            if (shifts->head.size() != kSize || shifts->head.span()[0] != std::byte {})
                return refused(
                    "stbl/cslg", "the limits of composition offsets are of a form that cannot be scaled");
            auto bytes = shifts->head.toVector();
            for (std::size_t at = 4; at < kSize; at += 4)
                put32(bytes, at,
                    factor.rounded(
                        static_cast<std::int32_t>(readBigEndian32(shifts->head.span().data() + at))));
            shifts->head = Bytes::adopt(std::move(bytes));
            return {};
        }

        static void put32(std::vector<std::byte>& bytes, std::size_t at, std::int64_t value)
        {
            for (std::size_t i = 0; i < 4; ++i)
                bytes[at + i]
                    = static_cast<std::byte>(static_cast<std::uint64_t>(value) >> (24 - 8 * i) & 0xFFU);
        }

        QTTrack m_track;
    };

    class Conformer
    {
    public:
        Conformer(QTMovie& movie, const ExactConform::Request& request)
            : m_movie(movie)
            , m_request(request)
        {
        }

        Result<ExactConform::Report> run()
        {
            const auto from = ExactConform::pictureRate(m_movie);
            if (!from)
                return refused(
                    m_movie.fileName(), "the movie has no picture whose frame rate could be conformed");
            m_report.from = *from;
            const auto& to = m_request.rate;
            const auto speed
                = Factor::of(static_cast<Wide>(to.num) * from->den, static_cast<Wide>(to.den) * from->num);
            if (!speed || m_movie.timeScale() <= 0)
                return refused(m_movie.fileName(), "the movie's times cannot be scaled by this factor");
            if (speed->num == speed->den)
                return m_report;
            m_speed = *speed;
            KWLog::appendLog("Conforming frame rate exactly from {} to {}", from->text(), to.text());
            RW_CHECK(medias());
            RW_CHECK(movieTimes());
            RW_CHECK(checkDrift());
            timecode();
            return std::move(m_report);
        }

    private:
        Result<void> medias()
        {
            const auto picture = m_movie.tracksOfMediaType(QTMediaTypeVideo).front();
            RW_CHECK(media(picture, m_speed, usualScale(m_request.rate)));
            m_pictureScale = picture.media().header().timeScale;
            for (const auto& track : m_movie.tracks()) {
                if (track == picture)
                    continue;
                RW_CHECK(track.mediaType() == QTMediaTypeSound ? sound(track)
                                                               : media(track, m_speed, m_pictureScale));
            }
            return {};
        }

        Result<void> media(const QTTrack& track, const Factor& speed, std::optional<std::int64_t> wish)
        {
            const auto scale = track.media().header().timeScale;
            if (!track.media().isValid() || scale == 0)
                return {};
            RW_TRY(const auto times, MediaTimes {track}.all());
            const auto chosen = chooseScale(scale, speed, wish, times);
            if (!chosen)
                return refused(fmt::format("track {}", track.trackID()),
                    fmt::format(
                        "there is no time scale of 32 bits in which its times are whole numbers at {} frames "
                        "a second",
                        m_request.rate.text()));
            m_mediaFactors[track.atom().id] = chosen->factor;
            return MediaTimes {track}.setScale(*chosen);
        }

        Result<void> sound(const QTTrack& track)
        {
            const auto description = track.media().sampleDescription(1);
            const auto rate = description ? soundRate::of(*description) : std::nullopt;
            if (!rate)
                return media(track, m_speed, std::nullopt);
            if (const auto format = KWConformController::formatWithOwnRate(description->format()))
                m_report.warnings.push_back(KWConformController::ownRateWarning(track.trackID(), *format));
            const auto exact = *rate * static_cast<double>(m_speed.num) / static_cast<double>(m_speed.den);
            const auto whole = std::max(1.0, std::round(exact));
            constexpr std::int64_t kFraction = 65536;
            const auto speed = Factor::of(static_cast<Wide>(std::llround(whole)) * kFraction,
                static_cast<Wide>(std::llround(*rate * static_cast<double>(kFraction))));
            RW_CHECK(media(track, speed.value_or(m_speed), std::nullopt));
            auto* descriptions = track.editAtom()->edit({"mdia"_cc, "minf"_cc, "stbl"_cc, "stsd"_cc});
            const auto& file = m_movie.file();
            for (std::size_t i = 0; i < descriptions->children.size(); ++i) {
                const auto own = soundRate::of(SampleDescription {*descriptions->children[i]});
                if (!own)
                    continue;
                RW_TRY(auto changed,
                    soundRate::withRate(*descriptions->children[i], std::round(*own / *rate * whole),
                        !file || file->isQuickTime()));
                descriptions->children[i] = Cow<Atom>(std::move(changed));
            }
            m_report.sounds.push_back({track.trackID(), *rate, whole, whole / exact - 1});
            return {};
        }

        /// Durations and edits, which count in the movie's time scale. Those of the picture become whole
        /// numbers; others are rounded where they end, so that nothing adds up.
        Result<void> movieTimes()
        {
            const auto oldScale = m_movie.timeScale();
            std::set<std::int64_t> pictureTimes;
            const auto picture = m_movie.tracksOfMediaType(QTMediaTypeVideo).front();
            if (picture.atom().find({"edts"_cc, "elst"_cc})) {
                RW_TRY(const auto list, picture.editList());
                for (const auto& edit : list.edits)
                    pictureTimes.insert(
                        static_cast<std::int64_t>(std::min<std::uint64_t>(edit.duration, INT32_MAX)));
            }
            auto scale = chooseScale(oldScale, m_speed, m_pictureScale, pictureTimes);
            if (!scale) // edits that end within a frame
                scale = wholeScale(oldScale, m_speed, m_pictureScale, {});
            if (!scale)
                return refused(
                    m_movie.fileName(), "the movie's time scale cannot be changed to that of the picture");
            const auto scaled = [&](std::uint64_t time) {
                return time > INT64_MAX
                    ? time
                    : static_cast<std::uint64_t>(scale->factor.rounded(static_cast<std::int64_t>(time)));
            };
            const auto former = m_movie.duration();
            for (const auto& track : m_movie.tracks())
                RW_CHECK(trackTimes(track, scaled));
            auto header = m_movie.movieHeader();
            header.timeScale = scale->units;
            header.duration = scaled(header.duration);
            ByteReader in {header.preview.span()};
            ByteWriter preview; // preview, poster, selection and current times
            while (in.left() >= 4)
                preview.u32(
                    static_cast<std::uint32_t>(std::min<std::uint64_t>(scaled(in.u32()), UINT32_MAX)));
            header.preview = preview.toBytes();
            m_movie.editHeader().setLeaf("mvhd"_cc, header.write());
            m_movie.gotoBeginning();
            return chapterList::stretchList(m_movie, former);
        }

        template <class Scaled> Result<void> trackTimes(const QTTrack& track, const Scaled& scaled)
        {
            auto* trak = track.editAtom();
            auto header = track.header();
            header.duration = scaled(header.duration);
            if (trak->find("edts"_cc) && trak->find({"edts"_cc, "elst"_cc})) {
                RW_TRY(auto list, track.editList());
                const auto factor = m_mediaFactors.find(track.atom().id);
                std::uint64_t end = 0;
                std::uint64_t newEnd = 0;
                for (auto& edit : list.edits) {
                    end += edit.duration;
                    edit.duration = scaled(end) - newEnd;
                    newEnd += edit.duration;
                    if (!edit.isEmpty() && factor != m_mediaFactors.end())
                        edit.mediaTime = factor->second.rounded(edit.mediaTime);
                }
                trak->edit("edts"_cc)->setLeaf("elst"_cc, list.write());
            }
            if (trak->find("tkhd"_cc))
                trak->setLeaf("tkhd"_cc, header.write());
            return {};
        }

        Result<void> checkDrift()
        {
            const auto duration = m_movie.duration();
            const double frames = duration.scale > 0
                ? static_cast<double>(duration.value) / duration.scale * m_request.rate.value()
                : 0;
            for (auto& row : m_report.sounds) {
                const double exact = row.newRate / (1 + row.driftFrames);
                row.driftFrames = std::abs(row.driftFrames * frames);
                if (row.driftFrames == 0)
                    continue;
                auto what = fmt::format(
                    "track {}: sound of {:.0f} samples a second, where {:.3f} would be exact, is "
                    "{:.2f} frames off the picture at the end",
                    row.trackID, row.newRate, exact, row.driftFrames);
                if (row.driftFrames > 1 && !m_request.acceptDrift)
                    return refused(fmt::format("track {}", row.trackID),
                        what.substr(what.find(": ") + 2)
                            + "; accept the drift (--accept-drift) to do it all the same");
                if (row.driftFrames >= kSmallestDrift)
                    m_report.warnings.push_back(std::move(what));
            }
            return {};
        }

        void timecode()
        {
            for (std::size_t i = m_movie.tracksOfMediaType(QTMediaTypeTimeCode).size(); i > 0; --i) {
                auto rebuilt = m_movie;
                if (KWTimecodeController::replaceTimecodeTrack(
                        rebuilt.tracksOfMediaType(QTMediaTypeTimeCode).front(), rebuilt)) {
                    m_movie = std::move(rebuilt); // its new track is the last one now
                } else {
                    m_report.warnings.emplace_back("a timecode track could not be rebuilt for the new rate");
                    return;
                }
            }
        }

        static constexpr double kSmallestDrift = 0.01;

        QTMovie& m_movie;
        const ExactConform::Request& m_request;
        Factor m_speed;
        std::int64_t m_pictureScale = 0;
        std::map<std::uint64_t, Factor> m_mediaFactors; ///< by the track's atom
        ExactConform::Report m_report;
    };

    /// The whole or NTSC rate whose frames those of the table are, rounded to its time scale.
    std::optional<ExactRate> nominalRate(const SampleTable& table, std::uint32_t scale)
    {
        const auto average
            = static_cast<double>(table.sampleCount()) * scale / static_cast<double>(table.duration());
        const auto whole = std::llround(average);
        const auto ntsc = std::llround(average * 1.001);
        for (const auto& rate : {ExactRate {whole, 1}, ExactRate {ntsc * 1000, 1001}}) {
            if (rate.num <= 0 || (rate.den != 1 && ntsc % 24 != 0 && ntsc % 30 != 0))
                continue;
            const auto length = scale / rate.value();
            const bool fits = std::abs(average / rate.value() - 1) < 1.0 / table.sampleCount();
            bool isRounded = fits;
            for (std::size_t i = 0; i < table.timeRunCount() && isRounded; ++i)
                isRounded = std::abs(table.timeRun(i).duration - length) < 1;
            if (isRounded)
                return rate;
        }
        return std::nullopt;
    }

} // namespace

std::optional<ExactRate> ExactConform::pictureRate(const QTMovie& movie)
{
    const auto video = movie.tracksOfMediaType(QTMediaTypeVideo);
    if (video.empty())
        return std::nullopt;
    const auto media = video.front().media();
    const auto table = media.sampleTable();
    const auto scale = media.header().timeScale;
    if (scale == 0 || table.duration() == 0 || table.duration() > INT64_MAX)
        return std::nullopt;
    const auto rate = [](Wide num, Wide den) {
        const auto factor = Factor::of(num, den);
        return factor ? std::optional {ExactRate {factor->num, factor->den}} : std::nullopt;
    };
    const auto runs = table.timeRunCount();
    if (runs == 1)
        return rate(scale, table.firstDuration());
    if (const auto nominal = nominalRate(table, scale))
        return nominal;
    // The last frame is often cut short or held.
    if (runs == 2 && table.timeRun(1).count == 1 && table.firstDuration() != 0)
        return rate(scale, table.firstDuration());
    return rate(static_cast<Wide>(table.sampleCount()) * scale, static_cast<Wide>(table.duration()));
}

Result<ExactConform::Report> ExactConform::apply(QTMovie& movie, const Request& request)
{
    auto copy = movie;
    const bool wasEditable = copy.isEditable();
    copy.setEditable(true);
    RW_TRY(auto report, (Conformer {copy, request}.run()));
    copy.setEditable(wasEditable);
    movie = std::move(copy);
    return report;
}

} // namespace reelwright
