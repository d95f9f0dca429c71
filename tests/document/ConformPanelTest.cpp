#include "document/ConformPanel.h"

#include "tests/document/DocumentTest.h"
#include "timecode/KWTimecodeController.h"
#include "tracks/KWQuickTime.h"

namespace reelwright {
namespace {

    using testing::Contains;
    using testing::ElementsAre;
    using testing::Field;
    using testing::HasSubstr;
    using testing::IsEmpty;

    constexpr const char* kWarning
        = "Warning: the conform function is a destructive operation that cannot be undone";
    constexpr const char* kSave = "This movie must be saved before continuing";

    class ConformPanelTest : public test::DocumentTest
    {
    protected:
        ConformPanel panel(Open& opened)
        {
            return {opened.document, preferences,
                [this](const auto& title, const auto& text, const auto&) { return answer(title, text); },
                [this](const auto& title, const auto& text, const auto&, bool& suppress) {
                    suppress = suppresses;
                    return answer(title, text);
                }};
        }
        std::size_t answer(const std::string& title, const std::string& text)
        {
            titles.push_back(title);
            lastText = text;
            return title == refused ? 1 : 0;
        }
        [[nodiscard]] static double rateOf(const std::string& path)
        {
            return KWQuickTime::fpsForMovie(QTMovie::open(path).value());
        }

        std::vector<std::string> titles; ///< of what was asked
        std::string lastText;
        std::string refused; ///< the question that is answered with its second button
        bool suppresses = false;
    };

    TEST_F(ConformPanelTest, SavesConformsOpensAgainAndRebuildsTheTimecode)
    {
        const auto path = sample("timecode-25.mov");
        const auto opened = open(path);
        auto conform = panel(*opened);
        opened->document.movieSettingsAutoplayToggle(true);
        conform.conformFrameRate({"24,0"});
        EXPECT_TRUE(conform.isWaiting());
        finish(opened->document);
        conform.proceed();
        EXPECT_FALSE(conform.isWaiting());
        EXPECT_THAT(titles, ElementsAre(kWarning, kSave, "Conform complete"));
        EXPECT_EQ(lastText, "The movie was conformed from 25.00 fps to 24.00 fps.");
        EXPECT_DOUBLE_EQ(KWQuickTime::fpsForMovie(opened->document.movie()), 24);
        EXPECT_DOUBLE_EQ(rateOf(path), 24);
        EXPECT_TRUE(opened->document.loadMovieSettings().autoPlay);
        EXPECT_TRUE(opened->document.isEdited()) << "the timecode was rebuilt";
        const auto track
            = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, opened->document.movie())->track();
        EXPECT_EQ(track.media().sampleDescription(1)->timecode()->definition.numberOfFrames, 24);
        EXPECT_TRUE(opened->document.saveDocument());
        finish(opened->document);
        EXPECT_THAT(opened->window.alerts, IsEmpty()) << "nobody else changed the file";
        EXPECT_FALSE(opened->document.isEdited());
    }

    TEST_F(ConformPanelTest, NothingHappensWhereTheUserSaysNo)
    {
        const auto path = sample("pal-25.mov");
        const auto before = test::readFile(path);
        const auto opened = open(path);
        auto conform = panel(*opened);
        conform.conformFrameRate({"0,9"});
        EXPECT_THAT(titles, ElementsAre("Unable to conform"));
        EXPECT_EQ(lastText, "Frame rate must be at least 1 frame per second.");
        refused = kWarning;
        conform.conformFrameRate({"24"});
        opened->document.movieSettingsAutoplayToggle(true);
        refused = kSave;
        suppresses = true;
        conform.conformFrameRate({"24"});
        EXPECT_FALSE(conform.isWaiting());
        titles.clear();
        conform.conformFrameRate({"24"});
        EXPECT_THAT(titles, ElementsAre(kSave)) << "the warning was suppressed";
        EXPECT_EQ(test::readFile(path), before);
    }

    TEST_F(ConformPanelTest, ShowsEveryFieldAndWhatItMeans)
    {
        const auto opened = open(sample("timecode-25.mov"));
        auto conform = panel(*opened);
        const auto preview = conform.preview({"24"});
        ASSERT_TRUE(preview.isPossible) << preview.error;
        EXPECT_EQ(preview.presentRate, "25 fps");
        using Row = ConformPanel::Row;
        EXPECT_THAT(preview.rows,
            Contains(testing::AllOf(Field(&Row::where, "Movie header"), Field(&Row::field, "time scale"))));
        EXPECT_THAT(preview.effects,
            Contains(
                std::pair<std::string, std::string>("Picture", "plays 4.00 % slower, every frame stays")));
        EXPECT_THAT(preview.summary, HasSubstr("then the timecode track is rebuilt"));
        EXPECT_FALSE(opened->document.isEdited());
        EXPECT_THAT(conform.preview({"fast"}).error, HasSubstr("Type a frame rate"));
        EXPECT_TRUE(conform.preview({"24000/1001", true}).isPossible);
    }

    TEST_F(ConformPanelTest, ExactlyIsAnEditAndAKeptHeaderComesBack)
    {
        const auto path = sample("pal-25.mov");
        const auto opened = open(path);
        auto conform = panel(*opened);
        conform.conformFrameRate({"23.976", true, false, true});
        EXPECT_THAT(titles, IsEmpty());
        EXPECT_THAT(filesInFolder(), ElementsAre("pal-25.mov", "pal-25.mov.header"));
        EXPECT_NEAR(KWQuickTime::fpsForMovie(opened->document.movie()), 24000 / 1001.0, 1e-9);
        opened->document.undo();
        EXPECT_FALSE(opened->document.isEdited());
        suppresses = true;
        conform.conformFrameRate({"24", false, false, true});
        EXPECT_DOUBLE_EQ(rateOf(path), 24);
        conform.restoreHeader(path + ".header");
        EXPECT_DOUBLE_EQ(KWQuickTime::fpsForMovie(opened->document.movie()), 25);
        opened->document.undo();
        EXPECT_DOUBLE_EQ(KWQuickTime::fpsForMovie(opened->document.movie()), 24);
    }

    TEST_F(ConformPanelTest, AFileThatCannotBeUpdatedIsWrittenAnewByTheDocument)
    {
        const auto path = sample("fragmented.mp4");
        const auto opened = open(path);
        auto conform = panel(*opened);
        const auto rate = KWQuickTime::fpsForMovie(opened->document.movie());
        conform.conformFrameRate({rate > 24.5 ? "24" : "25"});
        finish(opened->document);
        conform.proceed();
        EXPECT_EQ(titles.back(), "Conform complete") << lastText;
        EXPECT_DOUBLE_EQ(rateOf(path), rate > 24.5 ? 24 : 25);
    }

} // namespace
} // namespace reelwright
