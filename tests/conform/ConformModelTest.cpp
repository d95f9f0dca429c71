#include "conform/ConformPlan.h"
#include "tests/conform/ConformTest.h"

#include <fmt/format.h>

namespace reelwright {
namespace {

    using test::OffRateMovie;

    /// The timing fields of one track, or of the movie header, as plain numbers.
    struct Fields
    {
        char kind = 'v'; ///< v, s, t; m for the movie header
        std::uint32_t scale = 0;
        std::uint32_t duration = 0;
        std::uint32_t trackDuration = 0;
        std::vector<std::uint32_t> editDurations {};
        std::vector<std::uint32_t> sampleDurations {};
        std::uint32_t special = 0; ///< frame duration of a timecode, sample rate of sound
        bool operator==(const Fields&) const = default;
    };
    using FieldsOfMovie = std::vector<Fields>;

    std::uint32_t be(ByteSpan bytes, std::size_t at, unsigned width = 4)
    {
        std::uint32_t value = 0;
        for (unsigned i = 0; i < width; ++i)
            value = value * 256 + std::to_integer<std::uint32_t>(bytes[at + i]);
        return value;
    }

    /// Reads them by their places in the format; knows nothing of the engine and of the walk.
    void readFields(ByteSpan bytes, FieldsOfMovie& fields)
    {
        for (std::size_t at = 0; at + 8 <= bytes.size();) {
            const auto atom = bytes.subspan(at, be(bytes, at));
            const std::string type {reinterpret_cast<const char*>(&bytes[at + 4]), 4}; // NOLINT
            if (type == "trak")
                fields.emplace_back();
            if (type == "mvhd")
                fields = {{'m', be(atom, 20), be(atom, 24)}};
            else if (type == "tkhd")
                fields.back().trackDuration = be(atom, 28);
            else if (type == "smhd" || type == "gmhd")
                fields.back().kind = type == "smhd" ? 's' : 't';
            else if (type == "mdhd")
                std::tie(fields.back().scale, fields.back().duration)
                    = std::pair {be(atom, 20), be(atom, 24)};
            else if (type == "elst")
                for (std::size_t i = 0; i < be(atom, 12); ++i)
                    fields.back().editDurations.push_back(be(atom, 16 + i * 12));
            else if (type == "stts")
                for (std::size_t i = 0; i < be(atom, 12); ++i)
                    fields.back().sampleDurations.push_back(be(atom, 20 + i * 8));
            else if (type == "stsd" && fields.back().kind != 'v')
                fields.back().special = fields.back().kind == 't' ? be(atom, 44) : be(atom, 48, 2);
            else if (type == "moov" || type == "trak" || type == "edts" || type == "mdia" || type == "minf"
                || type == "stbl")
                readFields(atom.subspan(8), fields);
            at += atom.size();
        }
    }

    double snap(double rate)
    {
        return rate > 23.9 && rate < 24 ? 23.976
            : rate > 29.9 && rate < 30  ? 29.97
            : rate > 59.9 && rate < 60  ? 59.94
                                        : rate;
    }

    std::uint32_t nearest(double value)
    {
        return static_cast<std::uint32_t>(std::floor(value + 0.5));
    }

    /// The conform's rules on these numbers.
    FieldsOfMovie conformed(FieldsOfMovie movie, double o, double n)
    {
        o = snap(o);
        n = snap(n);
        const double q = o / n;
        const bool slow = o == 59.94;
        const bool normal = !((slow && (n == 29.97 || n == 23.976)) || (o == 23.976 && n == 29.97));
        double r = q;
        double f = 1;
        if (slow) {
            r = 29.97 / n;
            f = normal ? 2 : q;
        } else if (o == 25 && n == 23.976) {
            r = 25 / 29.97;
            f = 29.97 / n;
        }
        bool coarse = false;
        for (std::size_t i = 1; i < movie.size(); ++i)
            coarse = coarse || movie[i].scale < 100;
        const bool keep = normal && movie[0].scale >= 100 && coarse;
        double m = 1;
        if (normal && !keep) {
            if (movie[0].scale < 100)
                m = 100;
            movie[0].scale = nearest(movie[0].scale * m / r);
        }
        const auto lasting = [&](std::uint32_t d, bool kept) { return nearest(d * m * (kept ? 1 : f)); };
        movie[0].duration = lasting(movie[0].duration, keep);
        for (std::size_t i = 1; i < movie.size(); ++i) {
            movie[i].trackDuration = lasting(movie[i].trackDuration, keep);
            if (!movie[i].editDurations.empty())
                movie[i].editDurations[0] = lasting(movie[i].editDurations[0], false);
        }
        for (std::size_t i = 1; i < movie.size(); ++i) {
            auto& track = movie[i];
            if (track.kind == 's') {
                track.scale = nearest(track.scale / q);
                continue;
            }
            if (normal) {
                double scale = track.scale;
                if (scale < 100) {
                    scale *= 100;
                    m = 100;
                }
                track.scale = nearest(scale / r);
            }
            track.duration = lasting(track.duration, false);
        }
        for (std::size_t i = 1; i < movie.size(); ++i) {
            auto& track = movie[i];
            if (track.kind == 's') {
                track.special = nearest(track.special / q) % 65536;
                continue;
            }
            for (auto& s : track.sampleDurations) {
                const double raw = s * m;
                if (m == 100 && track.kind != 't')
                    s = !keep && n == 23.976 ? static_cast<std::uint32_t>(raw * (29.97 / n)) : nearest(raw);
                else if (slow && n != 23.976)
                    s = nearest(raw * 2);
                else
                    s = nearest(keep ? raw : raw * f);
            }
            if (track.kind == 't')
                track.special = nearest(track.special * (slow ? q : f));
        }
        return movie;
    }

    std::vector<std::byte> patched(const Bytes& bytes, const ConformPlan& plan)
    {
        auto result = bytes.toVector();
        for (const auto& patch : plan.patches) {
            EXPECT_EQ(be(result, patch.position, patch.width), patch.before) << patch.atom;
            for (unsigned i = 0; i < patch.width; ++i)
                result[patch.position + i]
                    = static_cast<std::byte>(patch.after >> (8 * (patch.width - 1 - i)) & 0xFFU);
        }
        return result;
    }

    std::string text(const FieldsOfMovie& movie)
    {
        std::string result;
        for (const auto& track : movie)
            result += fmt::format("{} {} {} {} [{}] [{}] {}\n", track.kind, track.scale, track.duration,
                track.trackDuration, fmt::join(track.editDurations, " "),
                fmt::join(track.sampleDurations, " "), track.special);
        return result;
    }

    TEST(ConformModel, EveryFieldOfEveryPairOfRatesIsWhatTheRulesSay)
    {
        constexpr double kRates[] = {23.976, 24, 25, 29.97, 30, 50, 59.94};
        constexpr std::uint32_t kScales[] = {30, 600, 1000, 2997, 30000};
        std::size_t cases = 0;
        for (const auto movieScale : kScales)
            for (const auto mediaScale : kScales)
                for (const auto from : kRates)
                    for (const bool hasTimecode : {false, true})
                        for (const unsigned soundTracks : {1U, 2U}) {
                            const auto movie = test::offRateMovie(
                                {movieScale, mediaScale, from, soundTracks, hasTimecode});
                            const auto bytes = test::headerFile(movie);
                            FieldsOfMovie before;
                            readFields(bytes.span(), before);
                            for (const auto to : kRates) {
                                const auto plan = ConformPlan::make(
                                    BytesReader {bytes}, {from, to, false, KWQuickTimeParser::Notes::Quiet});
                                ASSERT_TRUE(plan) << plan.error().message();
                                FieldsOfMovie after;
                                readFields(patched(bytes, *plan), after);
                                ASSERT_EQ(text(after), text(conformed(before, from, to)))
                                    << from << " to " << to << ", movie in " << movieScale << ", media in "
                                    << mediaScale << (hasTimecode ? ", with timecode" : "") << "; before:\n"
                                    << text(before);
                                ++cases;
                            }
                        }
        EXPECT_EQ(cases, 5U * 5 * 7 * 7 * 2 * 2);
    }

} // namespace
} // namespace reelwright
