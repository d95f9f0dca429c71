#include "conform/ConformPlan.h"

#include "movie/atoms/ByteReader.h"
#include "support/KWLog.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace reelwright {
namespace {

    using Notes = KWQuickTimeParser::Notes;
    using Offsets = KWQuickTimeParser::Offsets;

    constexpr std::uint32_t kUnknown = UINT32_MAX; ///< a duration of all ones

    tl::unexpected<MovieError> refused(const std::string& atom, std::uint64_t position, std::string why)
    {
        return failure(MovieError::Code::Refused, atom, std::move(why), position);
    }

    /// "÷ 1.25", "× 2"
    std::string byFactor(const char* sign, double factor)
    {
        return fmt::format("{} {:.6g}", sign, factor);
    }

    /// Goes over the atoms in the order in which they count: whether durations are multiplied by 100 is found
    /// out on the way.
    class Planner
    {
    public:
        Planner(const RandomReader& bytes, const ConformPlan::Request& request)
            : m_bytes(bytes)
            , m_fileSize(bytes.size())
            , m_log(request.notes == Notes::Log)
        {
        }

        Result<ConformPlan> plan(const ConformPlan::Request& request)
        {
            log("Conforming file from {:f} to {:f}...", request.fromFrameRate, request.toFrameRate);
            auto walk = KWQuickTimeParser::walk(m_bytes,
                {"mvhd", "trak", "tkhd", "edts", "elst", "mdia", "mdhd", "stbl", "stsd", "stts", "minf",
                    "smhd", "tmcd", "gmhd", "vide"},
                request.notes);
            if (!walk) {
                log("Error: unable to conform file - couldn't generate offsets.");
                return failure(MovieError::Code::Refused, {}, "the file is empty or cannot be read");
            }
            m_plan.walk = std::move(*walk);
            for (const double rate : {request.fromFrameRate, request.toFrameRate})
                if (!std::isfinite(rate) || rate <= 0)
                    return failure(MovieError::Code::Refused, {},
                        fmt::format("{} is no frame rate to conform from or to", rate));
            m_plan.rates = ConformRates::between(request.fromFrameRate, request.toFrameRate);
            log("Ratio: {:f}", m_plan.rates.durationFactor);
            logOffsets();
            RW_CHECK(checkLayout());
            if (request.stripEditLists)
                RW_CHECK(stripEditLists());
            RW_CHECK(probeTimeScales());
            RW_CHECK(movieHeaders());
            RW_CHECK(trackHeaders());
            RW_CHECK(editLists());
            RW_CHECK(mediaHeaders());
            RW_CHECK(sampleTables());
            RW_CHECK(descriptions());
            return std::move(m_plan);
        }

    private:
        template <class... Args> void log(fmt::format_string<Args...> format, Args&&... args) const
        {
            if (m_log)
                KWLog::appendLog(format, std::forward<Args>(args)...);
        }
        /// For lines in loops.
        template <class... Args> void note(fmt::format_string<Args...> format, Args&&... args) const
        {
            if (m_log)
                KWLog::fastAppendLog(format, std::forward<Args>(args)...);
        }

        void logOffsets() const
        {
            std::string text;
            for (const auto& [type, offsets] : m_plan.walk.offsets)
                text += fmt::format("{}{} = ({})", text.empty() ? "" : "; ", type, fmt::join(offsets, ", "));
            log("Offsets: {}", text);
        }

        [[nodiscard]] const Offsets& offsets(std::string_view type) const
        {
            static const Offsets kNone;
            const auto found = m_plan.walk.offsets.find(type);
            return found == m_plan.walk.offsets.end() ? kNone : found->second;
        }

        /// A field's bytes; nothing where the atom does not hold them whole.
        std::optional<std::uint32_t> read(
            std::uint64_t atom, std::uint64_t distance, std::size_t width = 4) const
        {
            std::array<std::byte, 4> field {};
            const auto part = std::span {field}.first(width);
            if (distance + width > sizeOf(atom) || m_bytes.readAt(atom + distance, part).value_or(0) != width)
                return std::nullopt;
            return width == 2 ? KWQuickTimeParser::unsignedInt16FromData(field)
                              : KWQuickTimeParser::unsignedInt32FromData(field);
        }

        [[nodiscard]] std::uint32_t sizeOf(std::uint64_t atom) const
        {
            std::array<std::byte, 4> field {};
            return m_bytes.readAt(atom, field).value_or(0) == field.size()
                ? KWQuickTimeParser::unsignedInt32FromData(field)
                : 0;
        }

        Result<std::uint32_t> field(
            const char* type, std::uint64_t atom, std::uint64_t distance, std::size_t width = 4) const
        {
            const auto value = read(atom, distance, width);
            if (!value)
                return refused(
                    type, atom, fmt::format("the {} atom is too short to hold what a conform changes", type));
            return *value;
        }

        void write(const char* type, std::uint64_t atom, std::uint64_t distance, std::uint32_t before,
            std::uint32_t after, const char* name, std::string why, unsigned width = 4)
        {
            if (before != after)
                m_plan.patches.push_back(
                    {atom + distance, width, before, after, type, atom, name, std::move(why)});
        }

        /// A product or quotient as a field takes it: to the nearest, halves away from zero.
        static Result<std::uint32_t> rounded(
            double value, const char* type, std::uint64_t atom, const char* name)
        {
            const auto nearest = std::round(value);
            if (!(nearest >= 0 && nearest <= UINT32_MAX))
                return refused(type, atom,
                    fmt::format(
                        "the new {} would be {:.0f}, which the {} atom cannot hold", name, nearest, type));
            return static_cast<std::uint32_t>(nearest);
        }

        /// Does the position lie in the file? Said in the log where not.
        bool isInFile(const char* type, std::uint64_t position) const
        {
            if (position <= m_fileSize)
                return true;
            log("Error: {} position exceeds file size", type);
            return false;
        }

        [[nodiscard]] bool holds(std::uint64_t position, std::string_view type) const
        {
            return KWQuickTimeParser::closestTrackSiblingToOffset(position, offsets(type), offsets("trak"))
                .has_value();
        }
        [[nodiscard]] bool isSound(std::uint64_t position) const { return holds(position, "smhd"); }
        [[nodiscard]] bool isTimecode(std::uint64_t position) const
        {
            return holds(position, "tmcd") && holds(position, "gmhd");
        }

        /// Fields have their distances in atoms of version 0 only, and only where each atom was met once.
        Result<void> checkLayout()
        {
            for (const auto* type : {"mvhd", "tkhd", "elst", "mdhd", "stts", "stsd", "edts"}) {
                std::set<std::uint64_t> seen;
                for (const auto position : offsets(type))
                    if (!seen.insert(position).second)
                        return refused(type, position,
                            "the walk over the file went round in a circle here; \"Conform exactly\" does "
                            "without "
                            "the walk");
            }
            for (const auto* type : {"mvhd", "tkhd", "mdhd", "elst"})
                for (const auto position : offsets(type)) {
                    RW_TRY(const auto version, field(type, position, 8));
                    if (version >> 24U == 0)
                        continue;
                    log("Error: the {} atom at {} is of version {}, with fields of 64 bits that this conform "
                        "does "
                        "not know; the file is unchanged",
                        type, position, version >> 24U);
                    return refused(type, position,
                        fmt::format(
                            "the {} atom is of version {}, with fields of 64 bits that this conform does "
                            "not know; \"Conform exactly\" does",
                            type, version >> 24U));
                }
            return {};
        }

        Result<void> stripEditLists()
        {
            log("Stripping out edts atoms...");
            for (const auto position : offsets("edts")) {
                if (!isInFile("edts", position))
                    continue;
                RW_TRY(const auto type, field("edts", position, 4));
                write("edts", position, 4, type, "skip"_cc.value, "type", "the edit list is skipped");
            }
            return {};
        }

        Result<void> probeTimeScales()
        {
            if (!m_plan.rates.isStandard)
                return {};
            bool moviesAreFine = true;
            bool mediaIsCoarse = false;
            for (const auto position : offsets("mvhd")) {
                RW_TRY(const auto scale, field("mvhd", position, 20));
                moviesAreFine = moviesAreFine && scale >= kCoarse;
            }
            for (const auto position : offsets("mdhd")) {
                RW_TRY(const auto scale, field("mdhd", position, 20));
                mediaIsCoarse = mediaIsCoarse || scale < kCoarse;
            }
            m_keepsTiming = moviesAreFine && mediaIsCoarse;
            return {};
        }

        /// The raw value times 100 where that applies.
        [[nodiscard]] double raw(std::uint32_t value) const
        {
            return m_isHundredfold ? static_cast<double>(value) * 100 : static_cast<double>(value);
        }
        [[nodiscard]] std::string reason(const std::string& factor) const
        {
            return m_isHundredfold ? "× 100, " + factor : factor;
        }

        /// A duration: times 100, then by the factor unless it is to be kept. All ones mean that it is not
        /// known, and stay.
        Result<std::uint32_t> newDuration(
            std::uint32_t old, bool isScaled, const char* type, std::uint64_t position) const
        {
            if (old == kUnknown)
                return old;
            return rounded(isScaled ? raw(old) * factor() : raw(old), type, position, "duration");
        }
        [[nodiscard]] double factor() const { return m_plan.rates.durationFactor; }

        Result<void> movieHeaders()
        {
            log("Locating movie header...");
            const auto& rates = m_plan.rates;
            for (const auto position : offsets("mvhd")) {
                if (!isInFile("mvhd", position))
                    continue;
                RW_TRY(const auto oldScale, field("mvhd", position, 20));
                std::uint32_t scale = 0;
                if (rates.isStandard && !m_keepsTiming) {
                    m_isHundredfold = m_isHundredfold || oldScale < kCoarse;
                    RW_TRY(
                        scale, rounded(raw(oldScale) / rates.timeScaleRatio, "mvhd", position, "time scale"));
                }
                RW_TRY(const auto duration, field("mvhd", position, 24));
                RW_TRY(const auto changed, newDuration(duration, !m_keepsTiming, "mvhd", position));
                if (scale != 0)
                    write("mvhd", position, 20, oldScale, scale, "time scale",
                        reason(byFactor("÷", rates.timeScaleRatio)));
                write("mvhd", position, 24, duration, changed, "duration", reason(byFactor("×", factor())));
            }
            return {};
        }

        Result<void> trackHeaders()
        {
            log("Locating track headers...");
            for (const auto position : offsets("tkhd")) {
                if (!isInFile("tkhd", position))
                    continue;
                RW_TRY(const auto duration, field("tkhd", position, 28));
                log("Old track duration: {}", duration);
                log("Raw duration: {:f}", raw(duration) * factor());
                RW_TRY(const auto changed, newDuration(duration, !m_keepsTiming, "tkhd", position));
                log("New track duration: {}", changed);
                write("tkhd", position, 28, duration, changed, "duration", reason(byFactor("×", factor())));
            }
            return {};
        }

        Result<void> editLists()
        {
            log("Locating edit list...");
            for (const auto position : offsets("elst")) {
                if (!isInFile("elst", position))
                    continue;
                RW_TRY(const auto count, field("elst", position, 12));
                if (count == 0) // what stands at the first edit's place is another atom
                    continue;
                RW_TRY(const auto duration, field("elst", position, 16));
                RW_TRY(const auto changed, newDuration(duration, true, "elst", position));
                write("elst", position, 16, duration, changed, "duration of the first edit",
                    reason(byFactor("×", factor())));
            }
            return {};
        }

        Result<void> mediaHeaders()
        {
            log("Locating media header...");
            const auto& rates = m_plan.rates;
            for (const auto position : offsets("mdhd")) {
                if (!isInFile("mdhd", position))
                    continue;
                RW_TRY(const auto oldScale, field("mdhd", position, 20));
                if (isSound(position)) {
                    RW_TRY(
                        const auto scale, rounded(oldScale / rates.quotient, "mdhd", position, "time scale"));
                    write("mdhd", position, 20, oldScale, scale, "time scale", byFactor("÷", rates.quotient));
                    continue;
                }
                std::uint32_t scale = oldScale;
                std::string why = byFactor("÷", rates.timeScaleRatio);
                if (rates.isStandard) {
                    double wide = oldScale;
                    if (oldScale < kCoarse) { // here it takes a coarse scale of the media's own
                        m_isHundredfold = true;
                        wide *= 100;
                        why = "× 100, " + why;
                    }
                    RW_TRY(scale, rounded(wide / rates.timeScaleRatio, "mdhd", position, "time scale"));
                }
                RW_TRY(const auto duration, field("mdhd", position, 24));
                log("old mdhd duration: {}", duration);
                log("raw mdhd duration: {:.0f}", raw(duration) * factor());
                RW_TRY(const auto changed, newDuration(duration, true, "mdhd", position));
                log("new mdhd duration: {}", changed);
                write("mdhd", position, 20, oldScale, scale, "time scale", why);
                write("mdhd", position, 24, duration, changed, "duration", reason(byFactor("×", factor())));
            }
            return {};
        }

        Result<std::uint32_t> newSampleDuration(
            std::uint32_t old, bool isTimecode, std::uint64_t position) const
        {
            const auto& rates = m_plan.rates;
            const bool isFilm = rates.to == 23.976;
            double changed = raw(old);
            if (m_isHundredfold && !isTimecode) {
                if (!m_keepsTiming && isFilm)
                    changed = std::trunc(changed * (29.97 / rates.to));
            } else if (rates.isSlowMotion && !isFilm) {
                changed *= 2;
            } else {
                note("Ratio: {:f}", factor());
                note("Raw calc: {:f}", changed * factor());
                if (!m_keepsTiming)
                    changed *= factor();
            }
            return rounded(changed, "stts", position, "sample duration");
        }

        Result<void> sampleTables()
        {
            log("Locating sample table...");
            constexpr std::uint32_t kMostEntries = 10'000;
            for (const auto position : offsets("stts")) {
                if (!isInFile("stts", position) || isSound(position))
                    continue;
                RW_TRY(const auto count, field("stts", position, 12));
                if (count == 0 || count >= kMostEntries)
                    continue;
                std::vector<std::byte> entries(std::size_t {count} * 8);
                if (16 + entries.size() > sizeOf(position)
                    || m_bytes.readAt(position + 16, entries).value_or(0) != entries.size())
                    return refused("stts", position,
                        fmt::format(
                            "the table of sample times claims {} entries and does not hold them", count));
                const bool timecode = isTimecode(position);
                for (std::uint32_t i = 0; i < count; ++i) {
                    const auto old = readBigEndian32(entries.data() + std::size_t {i} * 8 + 4);
                    note("oldsample: {}", old);
                    RW_TRY(const auto changed, newSampleDuration(old, timecode, position));
                    note("newsample: {}", changed);
                    write("stts", position, 20 + std::uint64_t {i} * 8, old, changed, "sample duration",
                        "as the durations");
                }
            }
            return {};
        }

        Result<void> descriptions()
        {
            log("Locating track description...");
            for (const auto position : offsets("stsd")) {
                if (!isInFile("stsd", position))
                    continue;
                const bool timecode = isTimecode(position);
                const bool sound = !timecode && isSound(position);
                if (!timecode && !sound)
                    continue;
                RW_TRY(const auto count, field("stsd", position, 12));
                if (count == 0) // what stands at the first description's place is another atom
                    continue;
                RW_CHECK(timecode ? timecodeDescription(position) : soundDescription(position));
            }
            return {};
        }

        Result<void> timecodeDescription(std::uint64_t position)
        {
            const auto& rates = m_plan.rates;
            log("Has timecode track");
            RW_TRY(const auto length, field("stsd", position, 44));
            log("timecode stsd duration: {}", length);
            if (rates.isSlowMotion)
                log("isslowmo");
            const double by = rates.isSlowMotion ? rates.quotient : rates.durationFactor;
            RW_TRY(const auto changed, rounded(length * by, "stsd", position, "frame duration"));
            log("timecode new stsd duration: {}", changed);
            write("stsd", position, 44, length, changed, "frame duration of the timecode", byFactor("×", by));
            return {};
        }

        Result<void> soundDescription(std::uint64_t position)
        {
            const auto& rates = m_plan.rates;
            RW_TRY(const auto version, field("stsd", position, 32, 2));
            if (version == 2) {
                log("Error: the sound description at {} is of version 2, which has another field at this "
                    "conform's "
                    "place; the file is unchanged",
                    position);
                return refused("stsd", position,
                    "the sound description is of version 2, whose sample rate lies elsewhere than this "
                    "conform "
                    "writes it; \"Conform exactly\" knows it");
            }
            RW_TRY(const auto rate, field("stsd", position, 48, 2));
            RW_TRY(const auto wide, rounded(rate / rates.quotient, "stsd", position, "sample rate"));
            const auto changed = wide & 0xFFFFU;
            if (wide != changed)
                m_plan.warnings.push_back(
                    fmt::format("the sound would have {} samples a second, which its "
                                "description cannot say; it comes to say {} and the sound "
                                "plays wrong; \"Conform exactly\" can write such a rate",
                        wide, changed));
            write("stsd", position, 48, rate, changed, "sample rate", byFactor("÷", rates.quotient), 2);
            return {};
        }

        static constexpr std::uint32_t kCoarse = 100; ///< time scales below this are multiplied by 100

        const RandomReader& m_bytes;
        const std::uint64_t m_fileSize;
        const bool m_log;
        bool m_isHundredfold = false; ///< once set it stays
        bool m_keepsTiming = false;
        ConformPlan m_plan;
    };

    /// Calls `visit(atom, path)` for the atom and all below it.
    template <class Visit> void forEachAtom(const Atom& atom, const std::string& path, const Visit& visit)
    {
        const auto here = path.empty() ? atom.type.text() : path + '/' + atom.type.text();
        visit(atom, here);
        for (const auto& child : atom.children)
            forEachAtom(*child, here, visit);
    }

    bool endsWith(std::string_view text, std::string_view end)
    {
        return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
    }

    /// Is it an atom that says when things happen, at its proper place?
    bool isTimingPath(std::string_view path)
    {
        return path == "moov/mvhd" || path == "moov/trak/tkhd" || path == "moov/trak/edts/elst"
            || path == "moov/trak/mdia/mdhd" || path == "moov/trak/mdia/minf/stbl/stts"
            || path == "moov/trak/mdia/minf/stbl/stsd";
    }

    /// Writes the patches that lie in this atom of `layout` into the same atom of `target`.
    Result<void> patchTree(Atom& target, const Atom& layout, std::span<const ConformPatch* const> patches)
    {
        const auto differs = [&] {
            return refused(layout.type.text(), layout.sourceOffset,
                "the header to be saved has another shape than the preview");
        };
        if (target.type != layout.type || target.head.size() != layout.head.size()
            || target.children.size() != layout.children.size())
            return differs();
        const auto headerSize = layout.sizeForm == SizeForm::Extended ? 16U : 8U;
        const auto headStart = layout.sourceOffset + headerSize;
        const auto headEnd = headStart + layout.head.size();
        std::vector<std::byte> head;
        for (std::size_t i = 0; i < patches.size(); ++i) {
            const auto& patch = *patches[i];
            if (patch.position < headStart) {
                if (patch.position != layout.sourceOffset + 4 || headerSize != 8)
                    return differs();
                target.type = FourCC {patch.after};
                continue;
            }
            if (patch.position + patch.width > headEnd)
                continue;
            if (head.empty())
                head = target.head.toVector();
            for (unsigned byte = 0; byte < patch.width; ++byte)
                head[static_cast<std::size_t>(patch.position - headStart) + byte]
                    = static_cast<std::byte>(patch.after >> (8 * (patch.width - 1 - byte)) & 0xFFU);
        }
        if (!head.empty())
            target.head = Bytes::adopt(std::move(head));
        // The patches are sorted, and so are the children.
        auto next = std::find_if(patches.begin(), patches.end(),
            [&](const ConformPatch* patch) { return patch->position >= headEnd; });
        for (std::size_t i = 0; i < layout.children.size() && next != patches.end(); ++i) {
            const auto& child = *layout.children[i];
            const auto end = std::find_if(next, patches.end(), [&](const ConformPatch* patch) {
                return patch->position >= child.sourceOffset + child.size();
            });
            if (end != next)
                RW_CHECK(patchTree(target.children[i].edit(), child, {next, end}));
            next = end;
        }
        return next == patches.end() ? Result<void> {} : differs();
    }

} // namespace

std::uint64_t ConformPlan::byteCount() const
{
    std::uint64_t count = 0;
    for (const auto& patch : patches)
        count += patch.width;
    return count;
}

Result<ConformPlan> ConformPlan::make(const RandomReader& bytes, const Request& request)
{
    return Planner {bytes, request}.plan(request);
}

Result<void> ConformPlan::checkAgainst(const Atom& header) const
{
    std::set<std::uint64_t> known;
    std::optional<MovieError> missed;
    forEachAtom(header, {}, [&](const Atom& atom, const std::string& path) {
        const bool isEdits = endsWith(path, "trak/edts");
        if (!isTimingPath(path) && !isEdits)
            return;
        known.insert(atom.sourceOffset);
        const auto met = walk.offsets.find(atom.type.text());
        if (missed
            || (met != walk.offsets.end()
                && std::find(met->second.begin(), met->second.end(), atom.sourceOffset) != met->second.end()))
            return;
        missed = refused(path, atom.sourceOffset,
            fmt::format(
                "the walk over the file {} at byte {}, at an atom of type \"{}\", before it met this one; "
                "the file is unchanged. \"Conform exactly\" does without the walk",
                walk.ranAway ? "came to a standstill" : "ended", walk.end, walk.lastType))
                     .value();
    });
    if (missed)
        return tl::unexpected<MovieError>(std::move(*missed));
    for (const auto& patch : patches)
        if (!known.contains(patch.atomPosition))
            return refused(patch.atom, patch.position,
                "the walk over the file took bytes for an atom that is none of the movie header's; the file "
                "is "
                "unchanged. \"Conform exactly\" does without the walk");
    return {};
}

Result<void> ConformPlan::applyTo(Atom& header, const Atom& layout) const
{
    std::vector<const ConformPatch*> sorted;
    for (const auto& patch : patches)
        sorted.push_back(&patch);
    std::sort(sorted.begin(), sorted.end(),
        [](const ConformPatch* a, const ConformPatch* b) { return a->position < b->position; });
    if (sorted.empty())
        return {};
    return patchTree(header, layout, sorted);
}

} // namespace reelwright
