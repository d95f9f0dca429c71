// The power going, or a call failing, at every step of a save: the file must be the old movie or the new one.

#include "movie/QTTrack.h"
#include "movie/files/MediaSources.h"
#include "movie/saving/MovieSaver.h"
#include "tests/helpers/MovieChecks.h"
#include "tests/helpers/SimulatedStorage.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <set>

namespace reelwright::test {
namespace {

    using HeaderPlace = MovieBuilder::HeaderPlace;
    using testing::HasSubstr;
    using testing::IsEmpty;
    using testing::SizeIs;

    constexpr auto kPath = "/m/a.mov";
    constexpr auto kAttributes = "rw-r----- user.note=kept";

    enum class Edit { Growing, Shrinking, SameSize, NewMedia };
    enum class Mode { InPlace, Flattened };
    enum class Room { None, TooSmall, Before, Behind };

    struct Case
    {
        HeaderPlace place = HeaderPlace::First;
        Room room = Room::None;
        Edit edit = Edit::Growing;
        Mode mode = Mode::InPlace;
    };

    std::string nameOf(const Case& c)
    {
        constexpr const char* kPlaces[] = {"HeaderFirst", "HeaderLast", "HeaderBetween"};
        constexpr const char* kRooms[] = {"NoRoom", "LittleRoom", "RoomBefore", "RoomBehind"};
        constexpr const char* kEdits[] = {"Growing", "Shrinking", "SameSize", "NewMedia"};
        return std::string(kPlaces[static_cast<int>(c.place)]) + '_' + kRooms[static_cast<int>(c.room)] + '_'
            + kEdits[static_cast<int>(c.edit)] + '_' + (c.mode == Mode::InPlace ? "InPlace" : "Flattened");
    }

    void PrintTo(const Case& c, std::ostream* out)
    {
        *out << nameOf(c);
    }

    /// The track that Edit::NewMedia adds.
    const BuiltTrack kAddedTrack {.samples = 5, .samplesPerChunk = 2};
    constexpr std::uint32_t kAddedID = 9;

    MovieBuilder builderOf(const Case& c)
    {
        MovieBuilder built;
        built.headerPlace = c.place;
        built.freeBefore = c.room == Room::Before ? 4000 : c.room == Room::TooSmall ? 60 : 0;
        built.freeAfter = c.room == Room::Behind ? 4000 : c.room == Room::TooSmall ? 33 : 0;
        built.tracks = {{.samples = 8}, {"soun"_cc, 60, 25}};
        built.hasUnknownAtoms = built.isUserDataTerminated = true;
        built.commentSize = 400;
        return built;
    }

    void addTrack(QTMovie& movie)
    {
        // Two blocks, so that media in memory come from more than one place.
        const auto media = MovieBuilder::media(kAddedTrack, kAddedID);
        std::size_t firstChunks = 0;
        for (std::uint32_t sample = 1; sample <= 4; ++sample)
            firstChunks += kAddedTrack.sampleSize(sample);
        const auto first = movie.sources().addMemory(Bytes::copyOf(std::span {media}.first(firstChunks)));
        const auto last = movie.sources().addMemory(Bytes::copyOf(std::span {media}.subspan(firstChunks)));
        const auto second = first + kAddedTrack.sampleSize(1) + kAddedTrack.sampleSize(2);
        const auto atom = MovieBuilder::buildTrack(kAddedTrack, kAddedID, {first, second, last}, true);
        auto track = Atom::parse(Bytes::copyOf(atom), 0);
        ASSERT_TRUE(track);
        movie.editHeader().append(std::move(*track));
    }

    void apply(Edit edit, QTMovie& movie)
    {
        const EditableScope scope {movie};
        switch (edit) {
        case Edit::Growing:
            ASSERT_TRUE(movie.setUserDataItem("TEST"_cc, Bytes::copyOf(std::string(700, 'g'))));
            break;
        case Edit::Shrinking:
            ASSERT_TRUE(movie.removeUserDataItem("\xA9"
                                                 "cmt"_cc));
            break;
        case Edit::SameSize:
            ASSERT_TRUE(movie.tracks().front().setEnabled(false));
            break;
        case Edit::NewMedia:
            addTrack(movie);
            break;
        }
    }

    Result<SaveReport> save(QTMovie& movie, Mode mode)
    {
        return mode == Mode::InPlace ? MovieSaver::updateMovieFile(movie)
                                     : MovieSaver::writeToFile(movie, kPath);
    }

    Result<SaveReport> editAndSave(const std::shared_ptr<SimulatedStorage>& storage, Edit edit, Mode mode)
    {
        RW_TRY(auto movie, QTMovie::open(kPath, storage));
        apply(edit, movie);
        return save(movie, mode);
    }

    DiskState startOf(const MovieBuilder& built)
    {
        SimulatedStorage storage;
        storage.put(kPath, built.build(), kAttributes);
        return storage.now();
    }

    QTMovie openedFrom(const DiskState& state)
    {
        auto movie = QTMovie::open(kPath, SimulatedStorage::fromState(state));
        EXPECT_TRUE(movie) << (movie ? "" : movie.error().message());
        return movie ? *movie : QTMovie {};
    }

    /// The movie file of a state as another program may read it: its outermost atoms, one after the other.
    struct RawFile
    {
        std::vector<Bytes> headers;
        std::vector<Bytes> others; ///< but free space
    };

    RawFile rawFile(const DiskState& state)
    {
        const auto all = Bytes::copyOf(*state.find(kPath));
        RawFile file;
        for (std::size_t at = 0; at < all.size();) {
            const auto header = AtomHeader::parse(all.slice(at).span());
            if (!header || header->size == 0 || header->size > all.size() - at)
                break; // what an interrupted growth left at the end
            const auto atom = all.slice(at, static_cast<std::size_t>(header->size));
            if (header->type == "moov"_cc)
                file.headers.push_back(atom);
            else if (header->type != "free"_cc)
                file.others.push_back(atom);
            at += atom.size();
        }
        return file;
    }

    enum class Verdict { Old, New, Broken };

    /// Knows the old movie and the new one, and tells which of them a state of the disk is.
    class Judge
    {
    public:
        Judge(const Case& c, const MovieBuilder& built)
            : m_case(c)
            , m_built(built)
            , m_start(startOf(built))
            , m_oldHeader(openedFrom(m_start).header().toBytes())
            , m_oldAtoms(rawFile(m_start).others)
        {
            const auto storage = SimulatedStorage::fromState(m_start);
            const auto saved = editAndSave(storage, c.edit, c.mode);
            EXPECT_TRUE(saved) << (saved ? "" : saved.error().message());
            m_steps = storage->steps();
            m_end = storage->now();
            m_newHeader = openedFrom(m_end).header().toBytes();
            EXPECT_FALSE(m_newHeader == m_oldHeader);
            if (saved)
                m_bytesWritten = saved->bytesWritten;
        }

        [[nodiscard]] const DiskState& start() const { return m_start; }
        [[nodiscard]] const DiskState& end() const { return m_end; }
        [[nodiscard]] const std::vector<SimulatedStorage::Step>& steps() const { return m_steps; }
        [[nodiscard]] std::uint64_t bytesWritten() const { return m_bytesWritten; }

        /// Adds a test failure for a broken state.
        Verdict operator()(const DiskState& state)
        {
            ++m_judged;
            const auto verdict = judge(state);
            if (verdict == Verdict::Broken)
                ADD_FAILURE() << state.story;
            return verdict;
        }
        [[nodiscard]] int judged() const { return m_judged; }

        /// Is it the new movie? New media may lie elsewhere than in the first save: what a failed one put
        /// down can stay where it is.
        [[nodiscard]] bool isNew(const DiskState& state) const
        {
            const auto movie = openedFrom(state);
            if (m_case.edit != Edit::NewMedia)
                return movie.header().toBytes() == m_newHeader && holdsSamplesOf(movie, m_built);
            return movie.header().size() == m_newHeader.size() && holdsSamplesOf(movie, m_built)
                && holdsAddedTrack(movie) && rawFile(state).headers.size() == 1;
        }

    private:
        [[nodiscard]] Verdict judge(const DiskState& state) const
        {
            if (!state.find(kPath)) {
                ADD_FAILURE() << "the file is gone";
                return Verdict::Broken;
            }
            const auto movie = QTMovie::open(kPath, SimulatedStorage::fromState(state));
            if (!movie) {
                ADD_FAILURE() << movie.error().message();
                return Verdict::Broken;
            }
            const auto header = movie->header().toBytes();
            const bool isNew = header == m_newHeader;
            if (!isNew && !(header == m_oldHeader)) {
                ADD_FAILURE() << "the header is neither the old nor the new one";
                return Verdict::Broken;
            }
            if (const auto whole = holdsSamplesOf(*movie, m_built); !whole) {
                ADD_FAILURE() << whole.message();
                return Verdict::Broken;
            }
            if (isNew && m_case.edit == Edit::NewMedia && !holdsAddedTrack(*movie))
                return Verdict::Broken;
            if (state.files.at(kPath)->attributes != kAttributes) {
                ADD_FAILURE() << "permissions or extended attributes are lost";
                return Verdict::Broken;
            }
            return atomsAreThere(state, isNew) ? isNew ? Verdict::New : Verdict::Old : Verdict::Broken;
        }

        [[nodiscard]] static bool holdsAddedTrack(const QTMovie& movie)
        {
            const auto media = movie.tracks().back().media();
            const auto expected = MovieBuilder::media(kAddedTrack, kAddedID);
            std::vector<std::byte> found;
            for (std::uint32_t sample = 1; sample <= kAddedTrack.samples; ++sample) {
                const auto data = media.sampleData(sample);
                if (data)
                    found.insert(found.end(), data->span().begin(), data->span().end());
            }
            EXPECT_EQ(found, expected) << "media of the new track";
            return found == expected;
        }

        /// Readers differ in which of two headers they take, so each has to be good; and atoms that nobody
        /// edited stay.
        [[nodiscard]] bool atomsAreThere(const DiskState& state, bool isNew) const
        {
            const auto file = rawFile(state);
            const bool good = std::ranges::all_of(file.headers,
                [&](const Bytes& header) { return header == m_oldHeader || header == m_newHeader; });
            EXPECT_TRUE(good) << "a reader that takes another header finds neither movie";
            for (const auto& atom : file.others)
                if (!isKnown(atom)) {
                    ADD_FAILURE() << "an atom that nobody will ever clear away: "
                                  << AtomHeader::parse(atom.span())->type.text();
                    return false;
                }
            auto left = file.others.begin();
            for (const auto& atom : m_oldAtoms) {
                const bool isRebuilt = isNew && m_case.mode == Mode::Flattened
                    && AtomHeader::parse(atom.span())->type == "mdat"_cc;
                if (isRebuilt)
                    continue;
                left = std::find(left, file.others.end(), atom);
                if (left == file.others.end()) {
                    ADD_FAILURE() << "an atom is lost: " << AtomHeader::parse(atom.span())->type.text();
                    return false;
                }
            }
            return good;
        }

        /// Was it there before, or is it new media? The type of an old header that lies across two sectors
        /// can be torn when it is retired; where it came to lie was not our choice.
        [[nodiscard]] bool isKnown(const Bytes& atom) const
        {
            return AtomHeader::parse(atom.span())->type == "mdat"_cc
                || std::ranges::find(m_oldAtoms, atom) != m_oldAtoms.end()
                || atom.slice(8) == m_oldHeader.slice(8);
        }

        Case m_case;
        MovieBuilder m_built;
        DiskState m_start;
        DiskState m_end;
        std::vector<SimulatedStorage::Step> m_steps;
        std::uint64_t m_bytesWritten = 0;
        Bytes m_oldHeader;
        Bytes m_newHeader;
        std::vector<Bytes> m_oldAtoms;
        int m_judged = 0;
    };

    /// A later save of what a crash left: in place where that is possible, else flattened. Was it in place?
    bool saveAgain(const DiskState& state, const MovieBuilder& built)
    {
        const auto storage = SimulatedStorage::fromState(state);
        auto saved = editAndSave(storage, Edit::Shrinking, Mode::InPlace);
        const bool isRefused = !saved && saved.error().code == MovieError::Code::Refused;
        if (isRefused)
            saved = editAndSave(storage, Edit::Shrinking, Mode::Flattened);
        EXPECT_TRUE(saved) << state.story << ": " << (saved ? "" : saved.error().message());
        const auto movie = QTMovie::open(kPath, storage);
        EXPECT_TRUE(movie && holdsSamplesOf(*movie, built)) << state.story;
        EXPECT_THAT(rawFile(storage->now()).headers, SizeIs(1))
            << "the retirement is finished: " << state.story;
        return !isRefused;
    }

    class CrashSafety : public testing::TestWithParam<Case>
    {
    };

    TEST_P(CrashSafety, EveryCrashLeavesTheOldMovieOrTheNewOne)
    {
        const auto built = builderOf(GetParam());
        Judge judge {GetParam(), built};
        std::mt19937 random {7};
        int old = 0;
        int refused = 0;
        for (std::size_t stop = 0; stop <= judge.steps().size() && !HasFailure(); ++stop) {
            const auto storage = SimulatedStorage::fromState(judge.start());
            storage->stopAfter(stop);
            const bool saved = editAndSave(storage, GetParam().edit, GetParam().mode).has_value();
            ASSERT_EQ(saved, stop == judge.steps().size());
            SCOPED_TRACE(stop == 0 ? "before the first step" : describe(judge.steps()[stop - 1], stop));
            for (const auto& state : storage->crashStates(random, 60)) {
                const auto verdict = judge(state);
                old += verdict == Verdict::Old ? 1 : 0;
                if (saved) {
                    EXPECT_EQ(verdict, Verdict::New) << "a save that was reported done is undone";
                    EXPECT_THAT(rawFile(state).headers, SizeIs(1)) << "and its last step";
                }
                refused += verdict != Verdict::Broken && !saveAgain(state, built) ? 1 : 0;
            }
        }
        EXPECT_GT(old, 0);
        EXPECT_GT(judge.judged(), old);
        // The eight bytes with which a growth begins can be torn where they lie in two sectors: the file then
        // ends in bytes that are no atom.
        const bool canTear = std::ranges::any_of(judge.steps(), [](const SimulatedStorage::Step& step) {
            return step.call == SimulatedStorage::Call::Write && step.size == 8
                && step.offset % SimulatedStorage::kSectorSize > SimulatedStorage::kSectorSize - 8;
        });
        EXPECT_TRUE(refused == 0 || canTear);
        RecordProperty("steps", static_cast<int>(judge.steps().size()));
        RecordProperty("crashStates", judge.judged());
        RecordProperty("oldMovies", old);
    }

    TEST_P(CrashSafety, EveryFailingStepIsReportedAndLeavesAMovie)
    {
        const auto built = builderOf(GetParam());
        Judge judge {GetParam(), built};
        std::mt19937 random {7};
        for (const int number : {ENOSPC, EIO})
            for (std::size_t step = 1; step <= judge.steps().size() && !HasFailure(); ++step) {
                SCOPED_TRACE(describe(judge.steps()[step - 1], step));
                const auto storage = SimulatedStorage::fromState(judge.start());
                storage->failStep(step, number);
                auto movie = QTMovie::open(kPath, storage);
                ASSERT_TRUE(movie);
                apply(GetParam().edit, *movie);
                const auto saved = save(*movie, GetParam().mode);
                ASSERT_FALSE(saved) << "a failure went by unseen";
                EXPECT_EQ(saved.error().code, MovieError::Code::Io);
                EXPECT_EQ(saved.error().status, number);
                EXPECT_THAT(saved.error().message(), HasSubstr("/m"));
                EXPECT_THAT(storage->now().files, SizeIs(1)) << "nothing is left lying about";
                judge(storage->now());
                for (const auto& state : storage->crashStates(random, 20))
                    judge(state);

                // The user makes room, or plugs the disk in again, and saves what is still open.
                const auto again = save(*movie, GetParam().mode);
                EXPECT_TRUE(again) << (again ? "" : again.error().message());
                EXPECT_TRUE(judge.isNew(storage->now()));
            }
        RecordProperty("crashStates", judge.judged());
    }

    std::vector<Case> cases()
    {
        std::vector<Case> all;
        for (const auto place : {HeaderPlace::First, HeaderPlace::Last, HeaderPlace::BetweenMedia})
            for (const auto edit : {Edit::Growing, Edit::Shrinking, Edit::SameSize, Edit::NewMedia}) {
                for (const auto room : {Room::None, Room::TooSmall, Room::Before, Room::Behind})
                    all.push_back({place, room, edit, Mode::InPlace});
                if (edit == Edit::Growing || edit == Edit::NewMedia)
                    all.push_back({place, Room::None, edit, Mode::Flattened});
            }
        return all;
    }

    INSTANTIATE_TEST_SUITE_P(
        Saves, CrashSafety, testing::ValuesIn(cases()), [](const auto& one) { return nameOf(one.param); });

    TEST(CrashSafetyOfTheNextSave, ACrashOfItLeavesAMovieToo)
    {
        // What a crash left (two headers, a cut growth) is saved, and that save is interrupted.
        std::mt19937 random {11};
        int judged = 0;
        for (const auto& c : cases()) {
            if (c.mode == Mode::Flattened || c.edit == Edit::Shrinking || c.edit == Edit::NewMedia)
                continue;
            SCOPED_TRACE(nameOf(c));
            const auto built = builderOf(c);
            const Judge first {c, built};
            for (std::size_t stop = 1; stop <= first.steps().size() && !HasFailure(); ++stop) {
                const auto storage = SimulatedStorage::fromState(first.start());
                storage->stopAfter(stop);
                static_cast<void>(editAndSave(storage, c.edit, c.mode));
                const auto states = storage->crashStates(random, 4);
                const auto& left
                    = states[std::uniform_int_distribution<std::size_t> {0, states.size() - 1}(random)];
                const auto whole = SimulatedStorage::fromState(left);
                if (!editAndSave(whole, Edit::Shrinking, Mode::InPlace))
                    continue; // is flattened then, which leaves this file alone
                const auto before = rawFile(left).headers;
                const auto after = rawFile(whole->now()).headers.at(0);
                for (std::size_t again = 0; again < whole->steps().size(); ++again) {
                    const auto interrupted = SimulatedStorage::fromState(left);
                    interrupted->stopAfter(again);
                    static_cast<void>(editAndSave(interrupted, Edit::Shrinking, Mode::InPlace));
                    for (const auto& state : interrupted->crashStates(random, 8)) {
                        ++judged;
                        const auto movie = QTMovie::open(kPath, SimulatedStorage::fromState(state));
                        ASSERT_TRUE(movie) << left.story << "; then " << state.story;
                        EXPECT_TRUE(holdsSamplesOf(*movie, built)) << left.story << "; then " << state.story;
                        for (const auto& header : rawFile(state).headers)
                            EXPECT_TRUE(header == after
                                || std::find(before.begin(), before.end(), header) != before.end())
                                << left.story << "; then " << state.story;
                    }
                }
            }
        }
        EXPECT_GT(judged, 1000);
        RecordProperty("crashStates", judged);
    }

    TEST(CrashSafetyOfAnyPlace, HeadersMayLieAnywhereInTheirSectors)
    {
        std::mt19937 random {13};
        int judged = 0;
        for (const auto& [place, room] :
            {std::pair {HeaderPlace::First, 0U}, {HeaderPlace::First, 2000U}, {HeaderPlace::Last, 0U}})
            for (std::uint32_t shift = 8; shift < 8 + 512 && !HasFailure(); ++shift) {
                MovieBuilder built;
                built.headerPlace = place;
                built.frontSize = shift;
                built.freeAfter = room;
                built.commentSize = 20;
                built.tracks = {{.samples = 2}};
                const Case c {place, room == 0 ? Room::None : Room::Behind, Edit::Growing, Mode::InPlace};
                Judge judge {c, built};
                for (std::size_t stop = 1; stop <= judge.steps().size() && !HasFailure(); ++stop) {
                    const auto storage = SimulatedStorage::fromState(judge.start());
                    storage->stopAfter(stop);
                    const bool saved = editAndSave(storage, c.edit, c.mode).has_value();
                    for (const auto& state : storage->crashStates(random, 0)) {
                        const auto verdict = judge(state);
                        EXPECT_TRUE(!saved || verdict == Verdict::New) << state.story;
                        if (judge.judged() % 8 == 0)
                            saveAgain(state, built);
                    }
                }
                judged += judge.judged();
                EXPECT_FALSE(HasFailure()) << nameOf(c) << ", shifted by " << shift;
            }
        RecordProperty("crashStates", judged);
    }

    struct RefusalFact
    {
        const char* why;
        std::function<void(SimulatedStorage&)> meanwhile; ///< after the movie was opened and edited
        std::set<Mode> refused;
        MovieError::Code code;
        const char* message;
    };

    TEST(RefusedSave, TouchesNothing)
    {
        const auto changeByte = [](SimulatedStorage& storage) {
            const auto file = storage.open(kPath, Storage::Access::ReadWrite);
            for (const auto& atom : FileLayout::scan(**file, kPath).value().atoms)
                if (atom.type == "moov"_cc) {
                    ASSERT_TRUE((*file)->writeAt(atom.offset + 20, Bytes::copyOf("x").span()));
                }
        };
        const auto append = [](SimulatedStorage& storage) {
            const auto file = storage.open(kPath, Storage::Access::ReadWrite);
            ASSERT_TRUE((*file)->writeAt((*file)->state()->size, Bytes::copyOf("x").span()));
        };
        std::shared_ptr<StorageFile> other;
        const RefusalFact facts[] = {
            {"somebody else holds the lock",
                [&](SimulatedStorage& storage) {
                    other = *storage.open(kPath, Storage::Access::Read);
                    ASSERT_TRUE(other->lock());
                },
                {Mode::InPlace, Mode::Flattened}, MovieError::Code::Refused, "lock"},
            {"somebody else changed the header", changeByte, {Mode::InPlace, Mode::Flattened},
                MovieError::Code::Changed, "changed"},
            {"somebody else appended to the file", append, {Mode::InPlace, Mode::Flattened},
                MovieError::Code::Changed, "changed"},
            {"another file has taken its name",
                [](SimulatedStorage& storage) { storage.put(kPath, MovieBuilder {}.build(), kAttributes); },
                {Mode::InPlace, Mode::Flattened}, MovieError::Code::Changed, "changed"},
            {"the file is gone", [](SimulatedStorage& storage) { ASSERT_TRUE(storage.remove(kPath)); },
                {Mode::InPlace}, MovieError::Code::Io, "cannot be opened"},
            {"the file is read-only", [](SimulatedStorage& storage) { storage.setReadOnly(kPath); },
                {Mode::InPlace}, MovieError::Code::Io, "permission"},
            {"the folder is read-only", [](SimulatedStorage& storage) { storage.setReadOnly("/m"); },
                {Mode::Flattened}, MovieError::Code::Io, "permission"},
            {"a volume that keeps no journal",
                [](SimulatedStorage& storage) { storage.setVolumeType("vfat"); }, {Mode::InPlace},
                MovieError::Code::Refused, "vfat"},
        };
        for (const auto& fact : facts)
            for (const auto mode : fact.refused) {
                SCOPED_TRACE(std::string(fact.why) + (mode == Mode::InPlace ? ", in place" : ", flattened"));
                const auto storage = SimulatedStorage::fromState(startOf(builderOf({})));
                auto movie = QTMovie::open(kPath, storage);
                ASSERT_TRUE(movie);
                apply(Edit::Growing, *movie);
                fact.meanwhile(*storage);
                const auto before = storage->now();
                const auto steps = storage->steps().size();
                const auto saved = save(*movie, mode);
                ASSERT_FALSE(saved);
                EXPECT_EQ(saved.error().code, fact.code) << saved.error().message();
                EXPECT_THAT(saved.error().message(), AllOf(HasSubstr(fact.message), HasSubstr("/m")));
                EXPECT_THAT(storage->steps(),
                    SizeIs(testing::Le(steps + (fact.code == MovieError::Code::Io ? 1 : 0))));
                const auto after = storage->now();
                EXPECT_EQ(after.files.size(), before.files.size());
                if (before.find(kPath)) {
                    EXPECT_EQ(*after.find(kPath), *before.find(kPath));
                }
                EXPECT_TRUE(movie->isChanged()) << "the edit is not forgotten";
                other.reset();
            }
    }

    std::vector<std::byte> headerFirst()
    {
        return MovieBuilder {.headerPlace = HeaderPlace::First}.build();
    }

    std::size_t mediaAtom(const std::vector<std::byte>& bytes)
    {
        return std::string_view {reinterpret_cast<const char*>(bytes.data()), bytes.size()}.rfind("mdat") - 4;
    }

    /// The media atom was never given its size, and the media are silence.
    std::vector<std::byte> withMediaInTheZeros()
    {
        auto bytes = headerFirst();
        const auto media = bytes.begin() + static_cast<std::ptrdiff_t>(mediaAtom(bytes));
        std::fill(media, media + 3, std::byte {0});
        media[3] = std::byte {8};
        std::fill(media + 8, bytes.end(), std::byte {0});
        return bytes;
    }

    /// The header alone, once or twice: its chunks begin behind the end of the file.
    std::vector<std::byte> withoutMedia(int headers)
    {
        auto bytes = headerFirst();
        bytes.resize(mediaAtom(bytes));
        const auto one = bytes;
        for (; headers > 1; --headers)
            bytes.insert(bytes.end(), one.begin(), one.end());
        return bytes;
    }

    struct DamageFact
    {
        const char* why;
        std::vector<std::byte> bytes;
        const char* message;
        bool canBeFlattened;
    };

    TEST(RefusedSave, PutsNothingWhereMediaMayBe)
    {
        const DamageFact facts[] = {
            {"media in the zeros at the end", withMediaInTheZeros(), "behind the last atom", true},
            {"missing media", withoutMedia(1), "media of the movie are missing at the end", false},
            {"a spare header, which must not be retired before the save is refused", withoutMedia(2),
                "media of the movie are missing at the end", false},
        };
        for (const auto& fact : facts) {
            SCOPED_TRACE(fact.why);
            const auto storage = std::make_shared<SimulatedStorage>();
            storage->put(kPath, fact.bytes, kAttributes);
            const auto saved = editAndSave(storage, Edit::Growing, Mode::InPlace);
            ASSERT_FALSE(saved);
            EXPECT_EQ(saved.error().code, MovieError::Code::Refused);
            EXPECT_THAT(saved.error().message(), HasSubstr(fact.message));
            EXPECT_EQ(*storage->now().find(kPath), fact.bytes);
            EXPECT_EQ(editAndSave(storage, Edit::Growing, Mode::Flattened).has_value(), fact.canBeFlattened);
        }
    }

    TEST(RefusedSave, IsRefusedBeforeTheFirstWriteWhereNewMediaAndHeaderDoNotFitTogether)
    {
        // Behind the header lies room for one of them, and behind that the place of media that are missing.
        int refused = 0;
        int saved = 0;
        for (std::uint32_t room = 400; room <= 4000; room += 7) {
            auto built = MovieBuilder {};
            built.headerPlace = HeaderPlace::BetweenMedia;
            built.freeAfter = room;
            auto bytes = built.build();
            const std::string_view text {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
            bytes.resize(text.rfind("mdat") - 4);
            SimulatedStorage volume;
            volume.put(kPath, bytes, kAttributes);
            const auto storage = SimulatedStorage::fromState(volume.now());
            if (editAndSave(storage, Edit::NewMedia, Mode::InPlace)) {
                EXPECT_EQ(storage->now().find(kPath)->size(), bytes.size()) << room;
                ++saved;
                continue;
            }
            ++refused;
            EXPECT_EQ(storage->steps().size(), 0U) << room;
            EXPECT_TRUE(*storage->now().find(kPath) == bytes) << room;
        }
        EXPECT_GT(refused, 0);
        EXPECT_GT(saved, 0);
    }

    TEST(SaveOnAFullVolume, ThatDoesNotFitLeavesTheOldMovieAndNothingElse)
    {
        for (const auto& c : cases()) {
            if (c.room != Room::None)
                continue;
            SCOPED_TRACE(nameOf(c));
            Judge judge {c, builderOf(c)};
            const auto oldSize = judge.start().find(kPath)->size();
            const auto& end = *judge.end().find(kPath);
            int full = 0;
            for (std::size_t room = 0; room <= end.size() + 600; room += 100) {
                const auto storage = SimulatedStorage::fromState(judge.start());
                storage->setCapacity(oldSize + room);
                auto movie = QTMovie::open(kPath, storage);
                ASSERT_TRUE(movie);
                apply(c.edit, *movie);
                const auto saved = save(*movie, c.mode);
                EXPECT_THAT(storage->now().files, SizeIs(1));
                if (saved)
                    continue;
                ++full;
                EXPECT_EQ(saved.error().status, ENOSPC) << saved.error().message();
                EXPECT_THAT(saved.error().message(), HasSubstr("free some space"));
                EXPECT_EQ(storage->now().find(kPath)->size(), oldSize) << "with room for " << room;
                EXPECT_EQ(judge(storage->now()), Verdict::Old);
                storage->setCapacity(UINT64_MAX);
                const auto again = save(*movie, c.mode);
                EXPECT_TRUE(again) << (again ? "" : again.error().message());
                EXPECT_EQ(judge(storage->now()), Verdict::New);
            }
            EXPECT_GT(full, 0);
        }
    }

    TEST(SaveInPlace, KeepsTheFileAndCostsItsHeader)
    {
        for (const auto& c : cases()) {
            if (c.mode == Mode::Flattened)
                continue;
            SCOPED_TRACE(nameOf(c));
            const Judge judge {c, builderOf(c)};
            const auto& before = *judge.start().files.at(kPath);
            const auto& after = *judge.end().files.at(kPath);
            EXPECT_EQ(after.inode, before.inode);
            EXPECT_EQ(after.attributes, before.attributes);
            EXPECT_THAT(rawFile(judge.end()).headers, SizeIs(1));
            const auto header = rawFile(judge.end()).headers.at(0).size();
            const auto media
                = c.edit == Edit::NewMedia ? MovieBuilder::media(kAddedTrack, kAddedID).size() : 0;
            EXPECT_LE(judge.bytesWritten(), 2 * header + media + 200);

            // Saved again and again the file finds its size.
            auto state = judge.end();
            const std::size_t largest = after.content.size() + header;
            for (int i = 0; i < 8; ++i) {
                const auto storage = SimulatedStorage::fromState(state);
                auto movie = QTMovie::open(kPath, storage);
                ASSERT_TRUE(movie);
                const EditableScope scope {*movie};
                const auto track = movie->tracks().front();
                ASSERT_TRUE(track.setEnabled(!track.isEnabled()));
                ASSERT_TRUE(MovieSaver::updateMovieFile(*movie));
                state = storage->now();
                EXPECT_LE(state.find(kPath)->size(), largest + 64) << "save " << i;
                if (c.place == HeaderPlace::First && c.edit == Edit::SameSize) {
                    const auto& atoms = movie->file()->layout.atoms;
                    const auto firstMedia = std::ranges::find(atoms, "mdat"_cc, &TopLevelAtom::type);
                    EXPECT_LT(movie->file()->headerAtom()->offset, firstMedia->offset)
                        << "a fast start stays one";
                }
            }
        }
    }

    TEST(SaveInPlace, WaitsForTheMediumNoOftenerThanItHasTo)
    {
        // Waiting is nearly all of what a save takes.
        struct WaitFact
        {
            HeaderPlace place;
            std::uint32_t freeBefore;
            std::uint32_t freeAfter;
            Edit edit;
            int flushes;
            const char* why;
        };
        constexpr WaitFact kFacts[] = {
            {HeaderPlace::Last, 0, 0, Edit::Growing, 4, "cover, inside, new type, old type"},
            {HeaderPlace::Last, 0, 4000, Edit::Growing, 3, "inside, new size and type, old type"},
            {HeaderPlace::First, 4000, 0, Edit::Growing, 3, "inside, new size and type, old type"},
            {HeaderPlace::First, 0, 0, Edit::SameSize, 7, "as at the end, then inside, type, cutting"},
            {HeaderPlace::First, 0, 1000, Edit::Growing, 7, "retiring makes one gap of old place and room"},
            {HeaderPlace::First, 60, 0, Edit::SameSize, 8, "room before the old place takes a cover"},
        };
        for (const auto& fact : kFacts) {
            const Case c {fact.place, Room::None, fact.edit, Mode::InPlace};
            auto built = builderOf(c);
            built.freeBefore = fact.freeBefore;
            built.freeAfter = fact.freeAfter;
            const auto storage = SimulatedStorage::fromState(startOf(built));
            ASSERT_TRUE(editAndSave(storage, c.edit, c.mode));
            EXPECT_EQ(std::ranges::count(
                          storage->steps(), SimulatedStorage::Call::Flush, &SimulatedStorage::Step::call),
                fact.flushes)
                << nameOf(c) << ": " << fact.why;
        }
    }

    TEST(SaveInPlace, LeavesFreeAtomsAloneThatHoldMedia)
    {
        // Some writers call the atom of their media free.
        MovieBuilder built;
        built.freeAfter = 100;
        auto bytes = built.build();
        const auto type = Bytes::copyOf("mdat");
        const auto place = std::ranges::search(bytes, type.span());
        ASSERT_FALSE(place.empty());
        std::ranges::copy(Bytes::copyOf("free").span(), place.begin());
        std::mt19937 random {17};
        for (const bool removesTracks : {false, true})
            for (std::size_t stop = 0;; ++stop) {
                const auto storage = std::make_shared<SimulatedStorage>();
                storage->put(kPath, bytes);
                storage->stopAfter(stop);
                auto movie = QTMovie::open(kPath, storage);
                ASSERT_TRUE(movie && holdsSamplesOf(*movie, built));
                const EditableScope scope {*movie};
                ASSERT_TRUE(movie->setUserDataItem("TEST"_cc, Bytes::copyOf(std::string(300, 'g'))));
                if (removesTracks) {
                    movie->editHeader().remove("trak"_cc);
                }
                const bool saved = MovieSaver::updateMovieFile(*movie).has_value();
                for (const auto& state : storage->crashStates(random, 20)) {
                    const auto found = openedFrom(state);
                    if (!found.userDataItem("TEST"_cc) || !removesTracks) {
                        ASSERT_TRUE(holdsSamplesOf(found, built)) << stop << ": " << state.story;
                    }
                }
                if (saved)
                    break;
            }
    }

    TEST(SaveInPlace, WritesNothingWhenNothingChanged)
    {
        const auto storage = SimulatedStorage::fromState(startOf(builderOf({})));
        auto movie = QTMovie::open(kPath, storage);
        ASSERT_TRUE(movie);
        const EditableScope scope {*movie};
        const auto track = movie->tracks().front();
        EXPECT_TRUE(track.setEnabled(false));
        EXPECT_TRUE(track.setEnabled(true)) << "there and back";
        EXPECT_TRUE(MovieSaver::updateMovieFile(*movie));
        EXPECT_THAT(storage->steps(), IsEmpty());
    }

} // namespace
} // namespace reelwright::test
