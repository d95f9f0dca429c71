#include "document/MyDocument.h"

#include "tests/document/DocumentTest.h"
#include "tests/helpers/TestMovie.h"
#include "tracks/KWQuickTime.h"

namespace reelwright::test {
namespace {

    using testing::Contains;
    using testing::ElementsAre;
    using testing::IsEmpty;
    using testing::Not;
    using testing::StartsWith;

    using MyDocumentTest = DocumentTest;

    void setTrackID(const QTTrack& track, std::uint32_t id)
    {
        auto header = track.header();
        header.trackID = id;
        track.editAtom()->setLeaf("tkhd"_cc, header.write());
    }

    std::vector<std::uint32_t> listedIDs(const MyDocument& document)
    {
        std::vector<std::uint32_t> ids;
        for (std::size_t row = 1; row < document.trackList().rowCount(); ++row)
            ids.push_back(document.trackList().track(row)->trackID());
        return ids;
    }

    std::string value(const MyDocument& document, TrackColumn column, std::size_t row)
    {
        return document.trackList().value(column, row).value_or("nothing");
    }

    TEST_F(MyDocumentTest, ANewDocumentHasOneRowWhichIsTheMovie)
    {
        Open opened {*this};
        EXPECT_EQ(opened.document.trackList().rowCount(), 1U);
        EXPECT_EQ(opened.document.trackList().typeCode(0), 0);
        EXPECT_EQ(opened.document.displayName(), "Untitled");
        EXPECT_FALSE(opened.document.isEdited());
    }

    TEST_F(MyDocumentTest, OpeningAGoodFileAnswersTrueAndFillsTheErrorAllTheSame)
    {
        const auto path = sample("header-last.mov");
        Open opened {*this};
        MovieError error;
        EXPECT_TRUE(opened.document.readFromURL(path, &error));
        EXPECT_EQ(error.status, -4);
        EXPECT_EQ(opened.document.displayName(), "header-last.mov");
        EXPECT_EQ(opened.document.trackList().rowCount(), 3U);
        EXPECT_THAT(messages(), ElementsAre("Loading QuickTime movie " + path));
    }

    TEST_F(MyDocumentTest, AFileThatIsNoMovieLeavesTheErrorAlone)
    {
        writeFile(folder.file("text.mov"), Bytes::copyOf("no movie at all").span());
        Open opened {*this};
        MovieError error;
        EXPECT_FALSE(opened.document.readFromURL(folder.file("text.mov"), &error));
        EXPECT_FALSE(opened.document.readFromURL(folder.file("missing.mov"), &error));
        EXPECT_EQ(error.status, 0);
        EXPECT_EQ(error.detail, "");
    }

    TEST_F(MyDocumentTest, ADamagedMovieIsRefusedWithItsError)
    {
        const auto path = build({});
        std::filesystem::resize_file(path, 40 + std::filesystem::file_size(path) / 8);
        Open opened {*this};
        MovieError error;
        EXPECT_FALSE(opened.document.readFromURL(path, &error));
        EXPECT_EQ(error.code, MovieError::Code::Truncated);
        EXPECT_THAT(messages(), Contains("Error loading movie: " + error.message()));
        EXPECT_EQ(opened.document.path(), "");
    }

    TEST_F(MyDocumentTest, TracksAreListedByIDWhateverTheirOrderInTheMovie)
    {
        MovieBuilder builder;
        builder.tracks = {BuiltTrack {}, BuiltTrack {"soun"_cc, 600, 200}, BuiltTrack {"soun"_cc, 600, 200}};
        const auto opened = open(build(builder));
        opened->document.perform("Number", [](QTMovie& movie) {
            const EditableScope scope {movie};
            const auto tracks = movie.tracks();
            setTrackID(tracks[0], 7);
            setTrackID(tracks[1], 5);
            setTrackID(tracks[2], 6);
        });
        EXPECT_THAT(listedIDs(opened->document), ElementsAre(5, 6, 7));
        EXPECT_EQ(value(opened->document, TrackColumn::TrackView, 3), "1");
    }

    TEST_F(MyDocumentTest, ATrackOfAnUnlistedKindIsListedAsUnknown)
    {
        const auto opened = open(build({}));
        opened->document.perform("Disguise", [](QTMovie& movie) {
            const EditableScope scope {movie};
            auto* handler = movie.tracks()[0].editAtom()->edit({"mdia"_cc, "hdlr"_cc});
            const auto& head = handler->head;
            handler->head = ByteWriter {}
                                .bytes(head.slice(0, 8).span())
                                .fourCC("xxxx"_cc)
                                .bytes(head.slice(12).span())
                                .toBytes();
        });
        EXPECT_EQ(opened->document.trackList().typeCode(1), std::nullopt);
        EXPECT_EQ(opened->document.trackList().title(1), "Unknown");
        EXPECT_EQ(value(opened->document, TrackColumn::TrackView, 1), "");
    }

    TEST_F(MyDocumentTest, TheLastOfSeveralTracksWithOneIDIsTheOneThatIsEdited)
    {
        const auto opened = open(build({}));
        opened->document.perform("Number", [](QTMovie& movie) {
            const EditableScope scope {movie};
            setTrackID(movie.tracks()[1], 1);
        });
        const auto found = opened->document.qtTrackForTrack(*opened->document.trackList().track(1));
        ASSERT_TRUE(found);
        EXPECT_EQ(*found, opened->document.movie().tracks()[1]);
    }

    struct ColumnEdit
    {
        TrackColumn column;
        std::size_t row;
        const char* typed;
        const char* in;
        const char* duration;
        const char* why;
    };
    // Row 1 is the picture, row 2 the sound, both 2 seconds at 25 frames a second and a time scale of 1000 or
    // less.
    constexpr ColumnEdit kColumnEdits[] = {
        {TrackColumn::In, 2, "00:00:01:00", "00:00:01:00", "00:00:02:00", "sound keeps its duration"},
        {TrackColumn::In, 1, "12", "00:00:00:12", "00:00:02:00", "frames of the picture, not samples"},
        {TrackColumn::Duration, 2, "1.", "00:00:00:00", "00:00:01:00", "a period is a pair of zeros"},
        {TrackColumn::Duration, 1, "0110", "00:00:00:00", "00:00:01:10", "digits fill from the right"},
        {TrackColumn::In, 1, "-00:00:1:00", "00:00:00:00", "00:00:02:00", "no start below zero"},
        {TrackColumn::Duration, 2, "soon", "00:00:00:00", "00:00:02:00",
            "what is no time is refused in words"},
        {TrackColumn::Duration, 0, "1.", "nothing", "nothing", "the movie's row takes no edit"},
        {TrackColumn::TrackView, 1, "3", "00:00:00:00", "00:00:02:00", "the label is not edited"},
    };

    TEST_F(MyDocumentTest, TypedTimesBecomeTheTracksRange)
    {
        const auto path = sample("header-last.mov");
        for (const auto& fact : kColumnEdits) {
            const auto opened = open(path);
            auto& document = opened->document;
            // The encoder's delay is an edit of its own: begin with whole seconds.
            for (const std::size_t row : {1U, 2U})
                document.setColumnText(TrackColumn::Duration, row, "00:00:02:00");
            document.setColumnText(fact.column, fact.row, fact.typed);
            EXPECT_EQ(value(document, TrackColumn::In, fact.row), fact.in) << fact.why;
            EXPECT_EQ(value(document, TrackColumn::Duration, fact.row), fact.duration) << fact.why;
            EXPECT_FALSE(document.movie().isEditable()) << fact.why;
            EXPECT_EQ(opened->window.alerts.size(), fact.typed == std::string_view("soon") ? 1U : 0U)
                << fact.why;
        }
    }

    TEST_F(MyDocumentTest, TimesAreShownAtThePicturesRate)
    {
        const auto opened = open(sample("header-last.mov"));
        const auto& list = opened->document.trackList();
        const auto sound = list.track(2)->duration();
        EXPECT_EQ(list.value(TrackColumn::Duration, 2),
            KWQuickTime::formattedQTTime(sound, opened->document.movie().tracks()[0]));
        const auto silent = open(sample("audio-only.mov"));
        EXPECT_TRUE(value(silent->document, TrackColumn::Duration, 1).ends_with(":00"))
            << "without a picture there are no frames";
    }

    TEST_F(MyDocumentTest, TheCheckBoxEnablesTheTrack)
    {
        const auto opened = open(sample("two-audio.mov"));
        auto& document = opened->document;
        EXPECT_EQ(value(document, TrackColumn::Enabled, 2), "1");
        document.setTrackEnabled(2, false);
        EXPECT_EQ(value(document, TrackColumn::Enabled, 2), "0");
        EXPECT_FALSE(document.movie().tracks()[1].isEnabled());
        EXPECT_EQ(document.history().undoName(), "Track Enabled");
        document.undo();
        EXPECT_EQ(value(document, TrackColumn::Enabled, 2), "1");
        document.setTrackEnabled(0, false);
        EXPECT_FALSE(document.isEdited()) << "the movie's row has no check box";
    }

    TEST_F(MyDocumentTest, ArrowKeysNudgeTheSelectedTrackOfEveryDocument)
    {
        const auto first = open(build({}, "first.mov"));
        const auto second = open(build({}, "second.mov"));
        const auto movieRow = open(build({}, "third.mov"));
        first->document.selectRow(2);
        second->document.selectRow(1);
        movieRow->document.selectRow(0);

        notifications.post(KWTrackIncrementFrame);
        EXPECT_EQ(first->document.selectedTrack()->inPoint(), (QTTime {100, 600}));
        EXPECT_EQ(second->document.selectedTrack()->inPoint(), (QTTime {100, 600}));
        EXPECT_TRUE(first->document.isEdited());
        EXPECT_FALSE(movieRow->document.isEdited());
        EXPECT_THAT(first->window.calls, Contains("movieReplaced"));

        second->document.windowWillClose();
        notifications.post(KWTrackDecrementFrame);
        EXPECT_EQ(first->document.selectedTrack()->inPoint(), (QTTime {0, 600}));
        EXPECT_EQ(second->document.selectedTrack()->inPoint(), (QTTime {100, 600})) << "its window is closed";
    }

    TEST_F(MyDocumentTest, ATrackIsRemovedAfterAQuestionAndComesBackByUndo)
    {
        auto opened = open(sample("two-audio.mov"));
        auto& document = opened->document;
        document.removeTrack(); // the movie's row
        EXPECT_THAT(opened->window.alerts, IsEmpty());

        document.selectRow(2);
        opened->window.answers = {1};
        document.removeTrack();
        EXPECT_EQ(opened->window.alerts.front().title, "Are you sure you wish to remove this track?");
        EXPECT_EQ(document.trackList().rowCount(), 4U);
        EXPECT_FALSE(document.isEdited());

        document.removeTrack();
        EXPECT_THAT(listedIDs(document), ElementsAre(1, 3));
        EXPECT_EQ(document.selectedTrack()->trackID(), 3U) << "the one that took its place";
        EXPECT_EQ(opened->window.calls.back(), "reloadSelection");
        EXPECT_EQ(document.history().undoName(), "Remove Track");
        EXPECT_FALSE(document.movie().isEditable());
        document.undo();
        EXPECT_THAT(listedIDs(document), ElementsAre(1, 2, 3));
    }

    TEST_F(MyDocumentTest, ATrackThatWentDuringTheQuestionIsSaidToBeGone)
    {
        auto opened = open(sample("two-audio.mov"));
        auto& document = opened->document;
        document.selectRow(2);
        opened->window.duringAlert = [&](const FakeWindow::Alert&) {
            opened->window.duringAlert = {};
            document.perform("Gone", [](QTMovie& movie) {
                const EditableScope scope {movie};
                ASSERT_TRUE(movie.removeTrack(movie.tracks()[1]));
            });
        };
        document.removeTrack();
        ASSERT_EQ(opened->window.alerts.size(), 2U);
        EXPECT_EQ(opened->window.alerts[1].title, "Unable to remove track");
        EXPECT_EQ(opened->window.alerts[1].text, "Reelwright could not locate the track.");
        EXPECT_THAT(listedIDs(document), ElementsAre(1, 3));
    }

    TEST_F(MyDocumentTest, ANudgeIsHundredUnitsWhateverItsSizeAndNeverBelowZero)
    {
        const auto opened = open(build({}));
        auto& document = opened->document;
        document.selectRow(1);
        document.incrementTrackOffset(1);
        document.incrementTrackOffset(7000);
        EXPECT_EQ(document.selectedTrack()->inPoint(), (QTTime {200, 600}));
        for (int i = 0; i < 3; ++i)
            document.incrementTrackOffset(-1);
        EXPECT_EQ(document.selectedTrack()->inPoint(), (QTTime {0, 600}));
    }

    TEST_F(MyDocumentTest, EveryEditIsUndoneAndRedoneByName)
    {
        const auto opened = open(sample("rotated.mp4"));
        auto& document = opened->document;
        document.selectRow(1);
        const auto original = document.movie().header().toBytes();
        const std::vector<std::pair<const char*, std::function<void()>>> edits = {
            {"Autoplay", [&] { document.movieSettingsAutoplayToggle(true); }},
            {"Auto Close", [&] { document.movieSettingsAutoCloseToggle(true); }},
            {"Auto Quit", [&] { document.movieSettingsAutoQuitToggle(true); }},
            {"Hide Controller", [&] { document.movieSettingsControllerShowHide(true); }},
            {"Show Controller", [&] { document.movieSettingsControllerShowHide(false); }},
            {"Aperture Mode", [&] { document.movieSettingsApertureChange(1); }},
            {"Rotate Left", [&] { document.movieSettingsRotateLeft(); }},
            {"Rotate Right", [&] { document.movieSettingsRotateRight(); }},
            {"Flip", [&] { document.movieSettingsFlip(); }},
            {"Flop", [&] { document.movieSettingsFlop(); }},
            {"Nudge Track", [&] { document.incrementTrackByOneFrame(); }},
            {"Track In Point", [&] { document.setColumnText(TrackColumn::In, 1, "1.."); }},
            {"Track Duration", [&] { document.setColumnText(TrackColumn::Duration, 1, "5"); }},
            {"Track Enabled", [&] { document.setTrackEnabled(1, false); }},
        };
        std::vector<Bytes> states {original};
        for (const auto& [name, edit] : edits) {
            edit();
            EXPECT_EQ(document.history().undoName(), name);
            states.push_back(document.movie().header().toBytes());
            EXPECT_FALSE(states.back() == states[states.size() - 2]) << name;
            EXPECT_TRUE(document.isEdited());
        }
        for (std::size_t i = edits.size(); i > 0; --i) {
            EXPECT_EQ(document.history().undoName(), edits[i - 1].first);
            document.undo();
            EXPECT_EQ(document.movie().header().toBytes(), states[i - 1]) << edits[i - 1].first;
            EXPECT_EQ(document.history().redoName(), edits[i - 1].first);
        }
        EXPECT_FALSE(document.isEdited());
        EXPECT_FALSE(document.history().canUndo());
        for (std::size_t i = 0; i < edits.size(); ++i) {
            document.redo();
            EXPECT_EQ(document.movie().header().toBytes(), states[i + 1]) << edits[i].first;
        }
        document.undo();
        document.movieSettingsAutoplayToggle(false);
        EXPECT_FALSE(document.history().canRedo()) << "a new edit ends what could be redone";
    }

    TEST_F(MyDocumentTest, UndoTellsTheWindowAndKeepsTheTime)
    {
        const auto opened = open(build({}));
        opened->window.time = {120, 600};
        opened->document.movieSettingsRotateLeft();
        opened->window.calls.clear();
        opened->document.undo();
        for (const auto* call :
            {"movieReplaced", "reloadTrackList", "reloadSelection", "undoChanged", "editedChanged"})
            EXPECT_THAT(opened->window.calls, Contains(call));
        EXPECT_EQ(opened->window.time, (QTTime {120, 600}));
        opened->window.calls.clear();
        opened->document.undo();
        EXPECT_THAT(opened->window.calls, IsEmpty()) << "nothing is left to undo";
    }

    TEST_F(MyDocumentTest, AnEditThatChangesNothingIsNoStep)
    {
        const auto opened = open(build({}));
        opened->document.perform("Nothing", [](QTMovie& movie) { const EditableScope scope {movie}; });
        EXPECT_FALSE(opened->document.history().canUndo());
        EXPECT_FALSE(opened->document.isEdited());
        // A setting counts as a change even so.
        opened->document.movieSettingsAutoplayToggle(false);
        EXPECT_FALSE(opened->document.history().canUndo());
        EXPECT_TRUE(opened->document.isEdited());
    }

    TEST_F(MyDocumentTest, AnEditByOthersCountsOnlyWhenItBringsOrTakesRows)
    {
        const auto opened = open(build({}));
        opened->document.movieEdited();
        EXPECT_FALSE(opened->document.isEdited());
        // Somebody who shares the movie object, not the document, takes a track out of it.
        auto& movie = const_cast<QTMovie&>(opened->document.movie()); // NOLINT
        {
            const EditableScope scope {movie};
            movie.editHeader().remove("trak"_cc);
        }
        opened->document.movieEdited();
        EXPECT_TRUE(opened->document.isEdited());
        EXPECT_EQ(opened->document.trackList().rowCount(), 1U);
        EXPECT_THAT(messages(), Contains("movie was edited"));
    }

    TEST_F(MyDocumentTest, TheSelectionStaysOnItsTrack)
    {
        const auto opened = open(build({}));
        auto& document = opened->document;
        EXPECT_EQ(document.selectedRow(), 0U) << "a new window shows the movie";
        document.selectTrack(*document.trackList().track(2));
        EXPECT_EQ(document.selectedRow(), 2U);
        document.perform("Number", [](QTMovie& movie) {
            const EditableScope scope {movie};
            setTrackID(movie.tracks()[0], 9);
        });
        EXPECT_EQ(document.selectedRow(), 1U);
        EXPECT_EQ(document.selectedTrack()->trackID(), 2U);
        const auto stranger = *document.selectedTrack();
        document.selectTrack(stranger);
        EXPECT_EQ(document.selectedRow(), 1U) << "a copy is not the very record";
        document.selectRow(99);
        EXPECT_EQ(document.selectedRow(), std::nullopt);
        EXPECT_EQ(document.selectedTrack(), nullptr);
    }

    TEST_F(MyDocumentTest, SelectingATrackLogsItsSamplesAndSteps)
    {
        const auto opened = open(build({}));
        opened->document.selectRow(1);
        EXPECT_THAT(messages(), testing::IsSupersetOf({"sample count: 12", "count: 12"}));
    }

    TEST_F(MyDocumentTest, SettingsAreShownAsTheMovieHasThem)
    {
        const auto opened = open(sample("pal-25.mov"));
        auto& document = opened->document;
        auto settings = document.loadMovieSettings();
        EXPECT_FALSE(
            settings.autoPlay || settings.autoClose || settings.autoQuit || settings.controllerHidden);
        EXPECT_EQ(settings.apertureIndex, 0U);
        EXPECT_EQ(settings.conformFrameRate, "25.00");

        document.movieSettingsAutoplayToggle(true);
        document.movieSettingsAutoQuitToggle(true);
        document.movieSettingsControllerShowHide(true);
        for (std::size_t index = 0; index < 4; ++index) {
            document.movieSettingsApertureChange(index);
            EXPECT_EQ(document.loadMovieSettings().apertureIndex, index);
        }
        document.movieSettingsApertureChange(4);
        settings = document.loadMovieSettings();
        EXPECT_EQ(settings.apertureIndex, 3U) << "there is no fifth mode";
        EXPECT_TRUE(settings.autoPlay && settings.autoQuit && settings.controllerHidden);
        EXPECT_FALSE(settings.autoClose);
        document.movieSettingsAutoplayToggle(false);
        EXPECT_FALSE(document.movie().userDataItem("play"_cc)) << "off is no item, not a zero";
    }

    TEST_F(MyDocumentTest, TheTimecodeFieldShowsAndTakesTimecode)
    {
        const auto opened = open(sample("timecode-25.mov"));
        auto& [window, document] = *opened;
        document.updateTimecode();
        EXPECT_EQ(window.timecode, "10:00:00:00");
        window.hasFocus = true;
        window.timecode = "15";
        document.updateTimecode();
        EXPECT_EQ(window.timecode, "15") << "what is being typed stays";
        document.changeTimecode();
        EXPECT_EQ(atScale(window.time, 25), (QTTime {15, 25}));
        EXPECT_THAT(window.calls, Contains("focusNextControl"));

        window.hasFocus = false;
        window.time = document.movie().duration();
        window.timecode = "last";
        document.updateTimecode();
        EXPECT_EQ(window.timecode, "last") << "behind the end there is no timecode";
        window.timecode.clear();
        window.calls.clear();
        document.changeTimecode();
        EXPECT_THAT(window.calls, Not(Contains("focusNextControl")));
    }

    TEST_F(MyDocumentTest, TheRunningTimecodeFollowsTheTrackWhateverItsTimeScale)
    {
        auto movie = test::emptyMovie(600);
        test::TestTrack video;
        video.mediaScale = 30000;
        video.times = {{300, 1001}};
        test::addTrack(movie, video);
        auto timecode = test::timecodeTrack(
            {TimecodeDefinition::kDropFrame, 30000, 1001, 30}, {107892}, {{1, 300 * 1001}});
        timecode.edits.emplace().edits = {{600, -1, 1 << 16}, {4800, 0, 1 << 16}}; // a second late
        test::addTrack(movie, timecode);
        Open clip {*this};
        clip.document.loadQTMovie(std::move(movie));
        clip.document.windowControllerDidLoadNib(clip.window);
        const auto shownAt = [&](const QTTime& time) {
            clip.window.time = time;
            clip.document.updateTimecode();
            return clip.window.timecode;
        };
        EXPECT_EQ(shownAt({0, 30000}), "") << "the track is not there yet";
        EXPECT_EQ(shownAt({30000, 30000}), "01:00:00;00");
        EXPECT_EQ(shownAt({30000 + 45 * 1001, 30000}), "01:00:01;15");
    }

    TEST_F(MyDocumentTest, UserTimesUseTheLengthOfAFrame)
    {
        Open opened {*this};
        opened.document.setOneFrameLength(1001);
        EXPECT_EQ(
            opened.document.qtTimeStringFromFormatString("25:00:00:10", 30000), "01:01:00:00.10010/30000");
        EXPECT_EQ(opened.document.qtTimeStringFromFormatString("-00:00:01:00", 600), "-00:00:00:01.0/600");
        const auto film = open(sample("pal-25.mov"));
        EXPECT_EQ(film->document.qtTimeStringFromFormatString("1", 600), "00:01:00:00.0/600");
        EXPECT_EQ(film->document.oneFrameLength(), film->document.movie().timeScale() / 25);
    }

    TEST_F(MyDocumentTest, TypedFramesFollowTheTimeScaleThatATimecodeTrackRaises)
    {
        const auto clip = open(sample("rate-5994.mp4", "clip.mov"));
        auto& document = clip->document;
        const auto scale = document.movie().timeScale();
        const auto typed = [&] { return document.qtTimeStringFromFormatString("00:00:00:02", 1); };
        const auto before = typed();
        document.addTimecodeTrack();
        ASSERT_NE(document.movie().timeScale(), scale);
        EXPECT_EQ(
            typed(), fmt::format("00:00:00:00.{}/1", 2 * 1001 * (document.movie().timeScale() / 60000)));
        document.undo();
        EXPECT_EQ(typed(), before);
    }

    TEST_F(MyDocumentTest, EveryRealFileIsListedAndEditedAndUndone)
    {
        REELWRIGHT_NEEDS_CORPUS();
        std::size_t opened = 0;
        for (const auto* kind : {"movies", "bad", "audio"})
            for (const auto& path : corpusFiles(kind)) {
                SCOPED_TRACE(path);
                Open clip {*this};
                if (!clip.document.readFromURL(path))
                    continue;
                ++opened;
                auto& document = clip.document;
                document.windowControllerDidLoadNib(clip.window);
                const auto before = document.movie().header().toBytes();
                EXPECT_FALSE(document.loadMovieSettings().conformFrameRate.empty());
                for (std::size_t row = 0; row < document.trackList().rowCount(); ++row) {
                    document.selectRow(row);
                    EXPECT_FALSE(document.trackList().title(row).empty());
                    for (const auto column : {TrackColumn::TrackView, TrackColumn::In, TrackColumn::Duration,
                             TrackColumn::Enabled})
                        EXPECT_EQ(document.trackList().value(column, row).has_value(),
                            row > 0 || column == TrackColumn::TrackView);
                    EXPECT_FALSE(document.panelTabs().tabs.empty());
                    document.incrementTrackByOneFrame();
                    document.setColumnText(TrackColumn::Duration, row, "1.");
                    document.setTrackEnabled(row, false);
                }
                document.updateTimecode();
                document.changeTimecode();
                document.movieSettingsRotateLeft();
                while (document.history().canUndo())
                    document.undo();
                EXPECT_EQ(document.movie().header().toBytes(), before);
            }
        EXPECT_GT(opened, 0U);
    }

    TEST_F(MyDocumentTest, TextBoxFollowsTheTracksBounds)
    {
        const auto opened = open(build({}));
        auto& document = opened->document;
        document.perform("Resize", [](QTMovie& movie) {
            const EditableScope scope {movie};
            auto header = movie.tracks()[0].header();
            header.width = 320U << 16U;
            header.height = 240U << 16U;
            header.matrix = {};
            movie.tracks()[0].editAtom()->setLeaf("tkhd"_cc, header.write());
        });
        const auto box = MyDocument::textBox(*document.trackList().track(1));
        EXPECT_EQ(box.top, "204");
        EXPECT_EQ(box.width, "320");
        EXPECT_EQ(box.height, "36");
    }

} // namespace
} // namespace reelwright::test
