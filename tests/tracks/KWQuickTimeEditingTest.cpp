#include "tracks/KWQuickTimeEditing.h"

#include "movie/saving/MovieSaver.h"
#include "tests/helpers/LogTest.h"
#include "tests/helpers/PacketChecksums.h"
#include "tests/helpers/TestFiles.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

#include <array>
#include <filesystem>
#include <set>

namespace reelwright {
namespace {

    using test::addTrack;
    using test::emptyMovie;
    using test::TestTrack;
    using Edit = KWQuickTimeEditing;

    struct Setting
    {
        FourCC type;
        bool (*isOn)(const QTMovie&);
        Result<void> (*set)(bool, QTMovie&);
    };

    constexpr Setting kSettings[] = {
        {"play"_cc, Edit::autoPlay, Edit::setAutoPlay},
        {"aclo"_cc, Edit::autoClose, Edit::setAutoClose},
        {"aqui"_cc, Edit::autoQuit, Edit::setAutoQuit},
    };

    Bytes headerOf(const QTMovie& movie)
    {
        return movie.header().toBytes();
    }

    /// A movie whose header has this user data list as if it had been read from a file.
    QTMovie movieWithUserData(const std::vector<Atom>& items, std::size_t zerosBehind = 0)
    {
        auto list = test::box("udta"_cc, items);
        list.tail = ByteWriter {}.zeros(zerosBehind).toBytes();
        auto movie = emptyMovie();
        movie.setEditable(true);
        movie.editHeader().append(*Atom::parse(list.toBytes(), 4000));
        movie.setEditable(false);
        return movie;
    }

    Atom item(FourCC type, std::string_view payload)
    {
        return Atom {type, Bytes::copyOf(payload)};
    }

    std::vector<QTMovie> moviesOfEveryUserData()
    {
        return {emptyMovie(), movieWithUserData({}), movieWithUserData({}, 4),
            movieWithUserData({item("name"_cc, "x")}),
            movieWithUserData({item("name"_cc, "x"), item("WLOC"_cc, "1234")}, 4),
            movieWithUserData({item("name"_cc, "x")}, 7)};
    }

    TEST(KWQuickTimeEditing, SettingsOnAndOffAgainLeaveTheHeaderAsItWas)
    {
        for (auto movie : moviesOfEveryUserData()) {
            const auto before = headerOf(movie);
            for (const auto& setting : kSettings) {
                const auto off = headerOf(movie);
                EXPECT_FALSE(setting.isOn(movie));
                EXPECT_TRUE(setting.set(false, movie));
                EXPECT_EQ(headerOf(movie), off) << "off already";
                EXPECT_TRUE(setting.set(true, movie));
                EXPECT_TRUE(setting.isOn(movie));
                EXPECT_EQ(movie.userDataItem(setting.type), Bytes::copyOf("\x01"));
                const auto on = headerOf(movie);
                EXPECT_TRUE(setting.set(true, movie));
                EXPECT_EQ(headerOf(movie), on) << "on already";
                EXPECT_FALSE(movie.isEditable());
            }
            for (const auto& setting : kSettings) {
                EXPECT_TRUE(setting.set(false, movie));
                EXPECT_FALSE(setting.isOn(movie));
                EXPECT_FALSE(movie.userDataItem(setting.type)) << "no item, not an item of 0";
            }
            EXPECT_EQ(headerOf(movie), before);
            EXPECT_FALSE(movie.isEditable());
        }
    }

    TEST(KWQuickTimeEditing, SettingIsOnWhenItsFirstByteIsOne)
    {
        struct ItemFact
        {
            std::vector<Atom> items;
            bool on;
            const char* why;
        };
        const ItemFact facts[] = {
            {{item("play"_cc, "\x01")}, true, "one byte"},
            {{item("play"_cc, "\x01 and more")}, true, "bytes behind it do not count"},
            {{item("play"_cc, std::string_view("\0", 1))}, false, "0"},
            {{item("play"_cc, "\x02")}, false, "another number"},
            {{item("play"_cc, "")}, false, "no byte"},
            {{item("play"_cc, std::string_view("\0", 1)), item("play"_cc, "\x01")}, false,
                "the first item counts"},
            {{item("aqui"_cc, "\x01")}, false, "another setting"},
        };
        for (const auto& fact : facts) {
            auto movie = movieWithUserData(fact.items);
            EXPECT_EQ(Edit::autoPlay(movie), fact.on) << fact.why;
            const auto before = headerOf(movie);
            EXPECT_TRUE(Edit::setAutoPlay(true, movie));
            EXPECT_TRUE(Edit::autoPlay(movie)) << fact.why;
            EXPECT_EQ(headerOf(movie) == before, fact.on) << fact.why;
            EXPECT_TRUE(Edit::setAutoPlay(false, movie));
            EXPECT_FALSE(Edit::autoPlay(movie)) << fact.why;
            EXPECT_FALSE(movie.userDataItem("play"_cc)) << fact.why;
        }
    }

    TEST(KWQuickTimeEditing, ControllerTypeAndApertureModeAreCodes)
    {
        struct TypeFact
        {
            std::vector<Atom> items;
            FourCC type;
            const char* why;
        };
        const TypeFact facts[] = {
            {{}, "????"_cc, "no item"},
            {{item("ctyp"_cc, "none")}, "none"_cc, "hidden"},
            {{item("ctyp"_cc, "qtvr")}, "qtvr"_cc, "a player of its own"},
            {{item("ctyp"_cc, "non")}, "????"_cc, "too short for a code"},
            {{item("ctyp"_cc, "none of it")}, "none"_cc, "longer than a code"},
        };
        auto tooShort = movieWithUserData({item("apmd"_cc, "cl")});
        EXPECT_EQ(Edit::apertureModeForMovie(tooShort), "????"_cc);
        EXPECT_EQ(tooShort.apertureMode(), FourCC {}) << "not put in force";
        for (const auto& fact : facts) {
            auto movie = movieWithUserData(fact.items);
            EXPECT_EQ(Edit::movieControllerType(movie), fact.type) << fact.why;
            const auto before = headerOf(movie);
            EXPECT_TRUE(Edit::setMovieControllerNone(movie));
            EXPECT_EQ(Edit::movieControllerType(movie), "none"_cc) << fact.why;
            EXPECT_EQ(headerOf(movie) == before, fact.type == "none"_cc) << fact.why;
            EXPECT_TRUE(Edit::setMovieControllerDefault(movie));
            EXPECT_EQ(Edit::movieControllerType(movie), "????"_cc) << fact.why;
            EXPECT_FALSE(movie.userDataItem("ctyp"_cc)) << fact.why;
            const auto without = headerOf(movie);
            EXPECT_TRUE(Edit::setMovieControllerDefault(movie));
            EXPECT_EQ(headerOf(movie), without) << fact.why;
            EXPECT_FALSE(movie.isEditable());
        }
    }

    /// Width and height in a `clef`, `prof` or `enof` atom of the movie's first track, in pixels.
    QTSize aperture(const QTMovie& movie, FourCC type)
    {
        const auto* atom = movie.tracks().front().atom().find({"tapt"_cc, type});
        if (!atom)
            return {};
        ByteReader in {atom->head.span()};
        in.skip(4);
        const double width = in.u32() / 65536.0;
        return {width, in.u32() / 65536.0};
    }

    TEST(KWQuickTimeEditing, ApertureModeIsStoredWithDimensionsAndPutInForce)
    {
        const Atom pasp {"pasp"_cc, ByteWriter {}.u32(10).u32(11).toBytes()};
        const Atom clap {
            "clap"_cc, ByteWriter {}.u32(704).u32(1).u32(480).u32(1).u32(0).u32(1).u32(0).u32(1).toBytes()};
        auto movie = emptyMovie();
        TestTrack video;
        video.descriptions = {test::videoDescription(720, 480, {pasp, clap})};
        addTrack(movie, video);
        TestTrack sound;
        sound.mediaType = QTMediaTypeSound;
        addTrack(movie, sound);
        EXPECT_EQ(Edit::apertureModeForMovie(movie), "????"_cc);
        EXPECT_EQ(movie.apertureMode(), FourCC {}) << "nothing stored, nothing put in force";

        for (const auto mode : {"clas"_cc, "clea"_cc, "prod"_cc, "enco"_cc}) {
            EXPECT_TRUE(Edit::setApertureMode(mode, movie));
            EXPECT_EQ(movie.apertureMode(), mode);
            EXPECT_EQ(movie.userDataItem("apmd"_cc), Bytes::copyOf(mode.text()));
            EXPECT_FALSE(movie.isEditable());
            const auto before = headerOf(movie);
            EXPECT_TRUE(Edit::setApertureMode(mode, movie));
            EXPECT_EQ(headerOf(movie), before);

            auto reopened = movie;
            reopened.setApertureMode({});
            EXPECT_EQ(Edit::apertureModeForMovie(reopened), mode);
            EXPECT_EQ(reopened.apertureMode(), mode) << "reading puts it in force";
        }
        EXPECT_EQ(aperture(movie, "clef"_cc), (QTSize {640, 480})) << "the clean part at square pixels";
        EXPECT_NEAR(aperture(movie, "prof"_cc).width, 720 * 10 / 11.0, 1 / 131072.0)
            << "everything at square pixels";
        EXPECT_EQ(aperture(movie, "enof"_cc), (QTSize {720, 480})) << "the pixels as they are";
        EXPECT_EQ(movie.tracks().back().atom().find("tapt"_cc), nullptr) << "sound has none";
    }

    struct TurnFact
    {
        const char* name;
        Result<void> (*turn)(QTMovie&);
        int times; ///< until the circle closes
        std::array<int, 4> start; ///< a, b, c, d after one turn of an upright picture
    };

    constexpr TurnFact kTurns[] = {
        {"left", Edit::rotateMovieLeft, 4, {0, -1, 1, 0}},
        {"right", Edit::rotateMovieRight, 4, {0, 1, -1, 0}},
        {"flip", Edit::flipMovie, 2, {-1, 0, 0, -1}},
        {"flop", Edit::flopMovie, 2, {-1, 0, 0, 1}},
    };

    QTMovie movieOfTurnedTracks()
    {
        auto movie = emptyMovie();
        TestTrack upright;
        addTrack(movie, upright);
        TestTrack turned;
        turned.trackID = 2;
        turned.enabled = false;
        turned.matrix.values = {0, 65536, 0, -65536, 0, 0, 90 * 65536, 17, 1 << 30};
        addTrack(movie, turned);
        for (const auto mediaType : {QTMediaTypeSound, QTMediaTypeText}) {
            TestTrack other;
            other.mediaType = mediaType;
            other.matrix = turned.matrix;
            addTrack(movie, other);
        }
        return movie;
    }

    TEST(KWQuickTimeEditing, TurnsChangeTheMatrixOfEveryVideoTrackAndOfNoOther)
    {
        for (const auto& fact : kTurns) {
            SCOPED_TRACE(fact.name);
            auto movie = movieOfTurnedTracks();
            fact.turn(movie);
            const auto tracks = movie.tracks();
            const auto matrix = tracks[0].matrix().values;
            EXPECT_THAT((std::array {matrix[0], matrix[1], matrix[3], matrix[4]}),
                testing::ElementsAre(fact.start[0] * 65536, fact.start[1] * 65536, fact.start[2] * 65536,
                    fact.start[3] * 65536));
            EXPECT_NE(tracks[1].matrix(), movieOfTurnedTracks().tracks()[1].matrix())
                << "a disabled one turns too";
            EXPECT_EQ(tracks[2].matrix(), movieOfTurnedTracks().tracks()[2].matrix());
            EXPECT_EQ(tracks[3].matrix(), movieOfTurnedTracks().tracks()[3].matrix());
            EXPECT_FALSE(movie.isEditable());
        }
    }

    TEST(KWQuickTimeEditing, FullCirclesGiveBackTheHeader)
    {
        for (const auto& fact : kTurns) {
            auto movie = movieOfTurnedTracks();
            const auto before = headerOf(movie);
            for (int turn = 1; turn <= fact.times; ++turn) {
                fact.turn(movie);
                EXPECT_EQ(headerOf(movie) == before, turn == fact.times) << fact.name << ", turn " << turn;
            }
        }
        auto movie = movieOfTurnedTracks();
        const auto before = headerOf(movie);
        Edit::rotateMovieLeft(movie);
        EXPECT_THAT(movie.tracks()[1].matrix().values,
            testing::ElementsAre(65536, 0, 0, 0, 65536, 0, 17, -90 * 65536, 1 << 30))
            << "upright again, its place turned with it";
        Edit::rotateMovieRight(movie);
        EXPECT_EQ(headerOf(movie), before);
    }

    using KWQuickTimeEditingLog = test::LogTest;

    TEST_F(KWQuickTimeEditingLog, TrackThatCannotBeTurnedIsNamedAndTheOthersAreTurned)
    {
        auto movie = movieOfTurnedTracks();
        movie.setEditable(true);
        movie.editHeader().edit("trak"_cc)->setLeaf("tkhd"_cc, Bytes::copyOf("damaged"));
        movie.setEditable(false);
        const auto before = headerOf(movie);
        Edit::rotateMovieLeft(movie);
        EXPECT_THAT(messages(), testing::ElementsAre("Error setting track matrix: -2048"));
        EXPECT_EQ(movie.tracks()[1].matrix().values[0], 65536);
        Edit::rotateMovieRight(movie);
        EXPECT_EQ(headerOf(movie), before);
        EXPECT_FALSE(movie.isEditable());
    }

    /// Degrees by which another program turns the picture, counter-clockwise.
    int probedRotation(const std::string& path)
    {
        const auto text = test::run({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
            "stream_side_data=rotation", "-of", "default=noprint_wrappers=1:nokey=1", path});
        return text.empty() ? 0 : std::stoi(text);
    }

    /// Turns a copy of the file, saves it, and lets the other program look.
    void expectSavedTurnsAreSeen(const std::string& path)
    {
        SCOPED_TRACE(path);
        const test::TempFolder folder;
        const auto copy = folder.file("copy.mov");
        std::filesystem::copy_file(path, copy);
        std::filesystem::permissions(
            copy, std::filesystem::perms::owner_write, std::filesystem::perm_options::add);
        const auto media = test::packetChecksums(copy);
        auto movie = QTMovie::open(copy);
        ASSERT_TRUE(movie) << movie.error().message();
        auto expected = probedRotation(copy);
        struct Step
        {
            Result<void> (*turn)(QTMovie&);
            int degrees;
        };
        for (const auto& step : {Step {Edit::rotateMovieRight, -90}, {Edit::rotateMovieRight, -90},
                 {Edit::rotateMovieLeft, 90}, {Edit::flipMovie, 180}}) {
            step.turn(*movie);
            EXPECT_TRUE(Edit::setAutoPlay(true, *movie));
            const auto saved
                = MovieSaver::updateMovieFile(*movie, {.progress = {}, .volumes = VolumeRule::Any});
            ASSERT_TRUE(saved) << saved.error().message();
            expected += step.degrees;
            EXPECT_EQ((probedRotation(copy) - expected) % 360, 0)
                << probedRotation(copy) << " and " << expected;
        }
        EXPECT_EQ(test::packetChecksums(copy), media);
        const auto reopened = QTMovie::open(copy);
        ASSERT_TRUE(reopened);
        EXPECT_TRUE(Edit::autoPlay(*reopened));
        EXPECT_EQ(headerOf(*reopened), headerOf(*movie));
    }

    TEST(KWQuickTimeEditing, SavedTurnsAreSeenByAnotherProgram)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        for (const char* name : {"rotated.mp4", "header-first.mp4", "header-last.mov"})
            expectSavedTurnsAreSeen(std::string(REELWRIGHT_SOURCE_DIR) + "/samples/" + name);
    }

    TEST(KWQuickTimeEditing, SavedTurnsOfRealFilesAreSeenByAnotherProgram)
    {
        REELWRIGHT_NEEDS_CORPUS();
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        for (const char* name : {"iphone-portrait.mov", "rotation-90.mp4", "dv-ntsc-interlaced.mov"})
            expectSavedTurnsAreSeen(test::corpusFolder() + "/movies/" + name);
    }

    TEST(KWQuickTimeEditing, SettingsOfRealFilesComeAndGoWithoutATrace)
    {
        REELWRIGHT_NEEDS_CORPUS();
        int playing = 0;
        int terminated = 0;
        std::set<std::string> controllers;
        for (const auto& path : test::corpusFiles("movies")) {
            auto movie = QTMovie::open(path);
            if (!movie)
                continue;
            SCOPED_TRACE(path);
            const auto* list = movie->header().find("udta"_cc);
            terminated += list && list->tail.size() == 4;
            controllers.insert(Edit::movieControllerType(*movie).text());
            const auto before = headerOf(*movie);
            for (const auto& setting : kSettings) {
                const auto wasOn = setting.isOn(*movie);
                playing += wasOn;
                EXPECT_TRUE(setting.set(true, *movie));
                EXPECT_TRUE(wasOn || setting.set(false, *movie));
            }
            if (!movie->userDataItem("ctyp"_cc)) {
                EXPECT_TRUE(Edit::setMovieControllerNone(*movie));
                EXPECT_TRUE(Edit::setMovieControllerDefault(*movie));
            }
            for (const auto& fact : kTurns)
                for (int turn = 0; turn < fact.times; ++turn)
                    fact.turn(*movie);
            EXPECT_EQ(headerOf(*movie), before);
            EXPECT_FALSE(movie->isChanged());
        }
        EXPECT_EQ(playing, 1) << "one file plays by itself";
        EXPECT_GT(terminated, 0) << "some lists end with 32 zero bits";
        EXPECT_THAT(controllers, testing::ElementsAre("????", "STpn", "qtvr"));
    }

} // namespace
} // namespace reelwright
