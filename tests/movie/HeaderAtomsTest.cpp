#include "movie/atoms/HeaderAtoms.h"

#include "movie/atoms/ByteReader.h"

#include <gmock/gmock.h>

#include <functional>

namespace reelwright {
namespace {

    constexpr std::uint32_t kUnknown32 = UINT32_MAX;

    /// The fields that a 64-bit version widens.
    struct Times
    {
        std::uint64_t creation = 3'000'000'000;
        std::uint64_t modification = 3'000'000'001;
        std::uint64_t duration = 1234;
    };

    void writeTime(ByteWriter& out, bool wide, std::uint64_t value)
    {
        if (wide)
            out.u64(value);
        else
            out.u32(static_cast<std::uint32_t>(value));
    }

    /// Version, flags, times, what stands between them and the duration, and the duration.
    ByteWriter startOf(
        int version, std::uint32_t flags, const Times& times, std::initializer_list<std::uint32_t> between)
    {
        const bool wide = version == 1;
        ByteWriter out;
        out.u8(static_cast<std::uint8_t>(version)).u24(flags);
        writeTime(out, wide, times.creation);
        writeTime(out, wide, times.modification);
        for (const auto field : between)
            out.u32(field);
        writeTime(out, wide, times.duration);
        return out;
    }

    /// Payloads byte by byte as the format has them; every reserved byte has a value that must come back.
    Bytes mvhd(int version, const Times& times, std::string_view rest = {})
    {
        auto out = startOf(version, 0x0A0B0C, times, {30000});
        out.i32(-0x8000).i16(0x40);
        out.text("reserved10");
        for (std::int32_t i = 0; i < 9; ++i)
            out.i32(i * -1000);
        out.text("preview, poster, current").u32(99).text(rest);
        return out.toBytes();
    }

    Bytes tkhd(int version, const Times& times, std::string_view rest = {})
    {
        auto out = startOf(version, 0x00000F, times, {7, 0xAABBCCDD});
        out.text("reserve8").i16(-1).i16(2).i16(0x100).u16(0xEEFF);
        for (std::int32_t i = 0; i < 9; ++i)
            out.i32(i * -1000);
        out.u32(160U << 16U).u32(90U << 16U).text(rest);
        return out.toBytes();
    }

    Bytes mdhd(int version, const Times& times, std::string_view rest = {})
    {
        auto out = startOf(version, 1, times, {24000});
        out.u16(0x55C4).u16(3).text(rest);
        return out.toBytes();
    }

    Bytes elst(int version, const std::vector<EditList::Edit>& edits, std::string_view rest = {})
    {
        const bool wide = version == 1;
        ByteWriter out;
        out.u8(static_cast<std::uint8_t>(version)).u24(2).u32(static_cast<std::uint32_t>(edits.size()));
        for (const auto& edit : edits) {
            writeTime(out, wide, edit.duration);
            writeTime(out, wide, static_cast<std::uint64_t>(edit.mediaTime));
            out.i32(edit.rate);
        }
        out.text(rest);
        return out.toBytes();
    }

    /// What writing the parsed payload gives; nothing when it cannot be parsed.
    template <class Header> Result<Bytes> again(const Bytes& payload)
    {
        return Header::parse(payload).map([](const Header& header) { return header.write(); });
    }

    struct PayloadFact
    {
        std::string name;
        Bytes payload;
        std::size_t size; ///< without what follows the known fields
        std::function<Result<Bytes>(const Bytes&)> again;
    };

    std::vector<PayloadFact> payloads()
    {
        std::vector<PayloadFact> facts;
        const Times unknown {0, 0, UINT64_MAX};
        const Times wide {UINT32_MAX + 1ULL, UINT64_MAX, 0x1'0000'0000};
        const std::vector<EditList::Edit> edits
            = {{100, -1, 1 << 16}, {600, 400, 1 << 16}, {150, 2000, 0}, {kUnknown32, INT32_MAX, -1}};
        for (const int version : {0, 1})
            for (const std::string_view rest : {"", "what somebody put behind it"}) {
                const auto add = [&](const char* type, const char* what, Bytes payload, auto parse) {
                    facts.push_back({std::string(type) + " version " + std::to_string(version) + ", " + what,
                        payload, payload.size() - rest.size(), parse});
                };
                for (const auto& [what, times] : {std::pair {"known", Times {}}, {"unknown", unknown},
                         {"wide", version == 1 ? wide : Times {}}}) {
                    add("mvhd", what, mvhd(version, times, rest), again<MovieHeader>);
                    add("tkhd", what, tkhd(version, times, rest), again<TrackHeader>);
                    add("mdhd", what, mdhd(version, times, rest), again<MediaHeader>);
                }
                add("elst", "four edits", elst(version, edits, rest), again<EditList>);
                add("elst", "no edits", elst(version, {}, rest), again<EditList>);
            }
        return facts;
    }

    TEST(HeaderAtoms, AreWrittenAsReadAndRefusedWhenTheyAreCutOrOfAnUnknownVersion)
    {
        for (const auto& fact : payloads()) {
            SCOPED_TRACE(fact.name);
            const auto written = fact.again(fact.payload);
            ASSERT_TRUE(written) << written.error().message();
            EXPECT_EQ(*written, fact.payload);
            for (std::size_t length = 0; length < fact.size; ++length) {
                const auto cut = fact.again(fact.payload.slice(0, length));
                ASSERT_FALSE(cut) << length << " bytes";
                EXPECT_THAT(
                    cut.error().code, testing::AnyOf(MovieError::Code::Truncated, MovieError::Code::Corrupt));
                EXPECT_LE(cut.error().offset, length);
            }
            auto bytes = fact.payload.toVector();
            bytes[0] = std::byte {2};
            const auto unknown = fact.again(Bytes::copyOf(bytes));
            ASSERT_FALSE(unknown);
            EXPECT_EQ(unknown.error().code, MovieError::Code::Unsupported);
        }
    }

    TEST(HeaderAtoms, FieldsStandWhereTheFormatHasThem)
    {
        for (const int version : {0, 1}) {
            const auto movie = MovieHeader::parse(mvhd(version, {}));
            ASSERT_TRUE(movie);
            EXPECT_EQ(movie->version, version);
            EXPECT_EQ(movie->flags, 0x0A0B0CU);
            EXPECT_EQ(movie->creationTime, 3'000'000'000U);
            EXPECT_EQ(movie->modificationTime, 3'000'000'001U);
            EXPECT_EQ(movie->timeScale, 30000U);
            EXPECT_EQ(movie->duration, 1234U);
            EXPECT_EQ(movie->preferredRate, -0x8000);
            EXPECT_EQ(movie->preferredVolume, 0x40);
            EXPECT_EQ(movie->matrix.values[8], -8000);
            EXPECT_EQ(movie->nextTrackID, 99U);

            const auto track = TrackHeader::parse(tkhd(version, {}));
            ASSERT_TRUE(track);
            EXPECT_EQ(track->trackID, 7U);
            EXPECT_EQ(track->duration, 1234U);
            EXPECT_EQ(track->layer, -1);
            EXPECT_EQ(track->alternateGroup, 2);
            EXPECT_EQ(track->volume, 0x100);
            EXPECT_EQ(track->matrix.values[1], -1000);
            EXPECT_EQ(track->width >> 16U, 160U);
            EXPECT_EQ(track->height >> 16U, 90U);

            const auto media = MediaHeader::parse(mdhd(version, {}));
            ASSERT_TRUE(media);
            EXPECT_EQ(media->timeScale, 24000U);
            EXPECT_EQ(media->duration, 1234U);
            EXPECT_EQ(media->language, 0x55C4U);
            EXPECT_EQ(media->quality, 3U);

            const auto list = EditList::parse(elst(version, {{100, -1, 1 << 16}, {600, 400, 0}}));
            ASSERT_TRUE(list);
            EXPECT_THAT(list->edits,
                testing::ElementsAre(EditList::Edit {100, -1, 1 << 16}, EditList::Edit {600, 400, 0}));
            EXPECT_TRUE(list->edits[0].isEmpty());
            EXPECT_FALSE(list->edits[1].isEmpty());
        }
    }

    TEST(HeaderAtoms, UnknownDurationStaysUnknownInEitherWidth)
    {
        const Times unknown {0, 0, UINT64_MAX};
        auto header = *MovieHeader::parse(mvhd(0, unknown));
        EXPECT_EQ(header.duration, kUnknownDuration);
        header.creationTime = 0x1'0000'0000; // forces the wide form
        const auto wide = MovieHeader::parse(header.write());
        ASSERT_TRUE(wide);
        EXPECT_EQ(wide->version, 1);
        EXPECT_EQ(wide->duration, kUnknownDuration);
        EXPECT_EQ(TrackHeader::parse(tkhd(0, unknown))->duration, kUnknownDuration);
        EXPECT_EQ(MediaHeader::parse(mdhd(0, unknown))->duration, kUnknownDuration);
        EXPECT_EQ(MediaHeader::parse(mdhd(1, {0, 0, kUnknown32}))->duration, kUnknown32)
            << "32 ones in 64 bits are a length";
    }

    TEST(HeaderAtoms, ShortFormWidensOnlyForValuesThatNeedIt)
    {
        struct WidthFact
        {
            std::uint64_t creation;
            std::uint64_t modification;
            std::uint64_t duration;
            int version;
            const char* why;
        };
        constexpr WidthFact kFacts[] = {
            {UINT32_MAX, UINT32_MAX, UINT32_MAX - 1, 0, "the largest that fit"},
            {0, 0, UINT32_MAX, 1, "would read as unknown in 32 bits"},
            {0, 0, 0x1'0000'0000, 1, "a longer duration"},
            {0x1'0000'0000, 0, 0, 1, "a later time"},
            {0, 0x1'0000'0000, 0, 1, "changed at a later time"},
            {0, 0, kUnknownDuration, 0, "unknown has a short form"},
        };
        const auto check = [](auto header, const WidthFact& fact) {
            header.creationTime = fact.creation;
            header.modificationTime = fact.modification;
            header.duration = fact.duration;
            const auto written = decltype(header)::parse(header.write());
            ASSERT_TRUE(written);
            EXPECT_EQ(written->version, fact.version) << fact.why;
            EXPECT_EQ(written->creationTime, fact.creation) << fact.why;
            EXPECT_EQ(written->modificationTime, fact.modification) << fact.why;
            EXPECT_EQ(written->duration, fact.duration) << fact.why;
            header.version = 1;
            EXPECT_EQ(header.write().span()[0], std::byte {1}) << "a wide header stays wide";
        };
        for (const auto& fact : kFacts) {
            check(*MovieHeader::parse(mvhd(0, {})), fact);
            check(*TrackHeader::parse(tkhd(0, {})), fact);
            check(*MediaHeader::parse(mdhd(0, {})), fact);
        }

        const EditList::Edit edits[]
            = {{0x1'0000'0000, 0, 1}, {1, INT32_MAX + 1LL, 1}, {1, INT32_MIN - 1LL, 1}};
        for (const auto& edit : edits) {
            EditList list;
            list.edits = {{5, 6, 7}, edit};
            const auto written = EditList::parse(list.write());
            ASSERT_TRUE(written);
            EXPECT_EQ(written->version, 1);
            EXPECT_EQ(written->edits, list.edits);
        }
    }

    TEST(HeaderAtoms, EditCountsThatThePayloadCannotHoldAreRefused)
    {
        for (const std::uint32_t count : {3U, 0x1555'5556U, 0xFFFF'FFFFU}) {
            ByteWriter out;
            out.u32(0).u32(count).zeros(24);
            const auto list = EditList::parse(out.toBytes());
            ASSERT_FALSE(list) << count;
            EXPECT_EQ(list.error().code, MovieError::Code::Corrupt);
            EXPECT_EQ(list.error().where, "elst");
        }
    }

    TEST(HeaderAtoms, EditListDurationStopsAtItsLimit)
    {
        EditList list;
        list.edits = {{100, -1, 0}, {200, 0, 0}};
        EXPECT_EQ(list.duration(), 300U);
        list.edits.push_back({UINT64_MAX, 0, 0});
        list.edits.push_back({1, 0, 0});
        EXPECT_GE(list.duration(), UINT64_MAX - 1);
        list.edits = {{UINT64_MAX, 0, 0}};
        EXPECT_NE(list.duration(), kUnknownDuration) << "the longest is still a known length";
    }

} // namespace
} // namespace reelwright
