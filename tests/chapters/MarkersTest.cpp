#include "chapters/KWFCPXMLParser.h"
#include "chapters/KWXMLParser.h"
#include "chapters/MarkerFiles.h"
#include "tests/helpers/TestFiles.h"
#include "tests/helpers/TestMovie.h"
#include "timecode/KWTimecodeController.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <map>

namespace reelwright {
namespace {

    using test::TempFolder;
    using ::testing::ElementsAre;
    using ::testing::IsEmpty;
    using Controller = KWChapterController;
    using Chapters = Controller::Chapters;

    /// Ninety minutes of pictures, with a timecode track where a start is given.
    QTMovie film(
        std::uint32_t mediaScale, std::uint32_t frameDuration, bool withTimecode, std::uint32_t flags = 0)
    {
        auto movie = test::emptyMovie(mediaScale);
        test::TestTrack video;
        video.mediaScale = mediaScale;
        video.times = {{90 * 60 * mediaScale / frameDuration, frameDuration}};
        test::addTrack(movie, video);
        if (withTimecode) {
            const EditableScope editable {movie};
            EXPECT_TRUE(KWTimecodeController::insertTimecodeTrack(1, 0, 0, 0, flags, std::nullopt, movie));
        }
        return movie;
    }

    Chapters chaptersOf(const QTMovie& movie)
    {
        return chapterList::read(movie).value_or(Chapters {});
    }

    std::vector<std::string> texts(const std::vector<ImportedChapter>& entries)
    {
        std::vector<std::string> all;
        for (const auto& entry : entries)
            all.push_back(entry.startTimecode + '|' + entry.name);
        return all;
    }

    TEST(Chapters, ANewOneMovesOnPastTakenFrames)
    {
        auto movie = film(25, 1, false);
        for (int i = 0; i < 3; ++i)
            ASSERT_TRUE(Controller::addChapter({50, 25}, Controller::kNewName, movie));
        EXPECT_EQ(chaptersOf(movie),
            (Chapters {{"New Chapter", {50, 25}}, {"New Chapter", {51, 25}}, {"New Chapter", {52, 25}}}));
        ASSERT_TRUE(Controller::removeChapters({0, 2}, movie));
        EXPECT_EQ(chaptersOf(movie), (Chapters {{"New Chapter", {51, 25}}}));
        EXPECT_FALSE(Controller::removeChapters({1}, movie));
        ASSERT_TRUE(Controller::removeAllChapters(movie));
        EXPECT_THAT(chaptersOf(movie), IsEmpty());
        EXPECT_FALSE(movie.isEditable());
    }

    TEST(Chapters, StartsThatCannotBeAreRefusedAndTheRestIsAdded)
    {
        auto movie = film(25, 1, false);
        ASSERT_TRUE(Controller::setChapterMarkers({{"b", {10, 1}}, {"a", {0, 1}}}, movie));
        const auto refused = Controller::insertChapters(
            {{"taken", "00:00:10:00", {}}, {"new", "00:00:20:05", {}}, {"twice", "00:00:20:05", {}},
                {"end", "01:30:00:00", {}}, {"late", "01:30:00:01", {}}, {"no time", "00:", {}}},
            movie);
        ASSERT_TRUE(refused);
        std::vector<std::string> reasons;
        for (const auto& [chapter, reason] : *refused)
            reasons.push_back(chapter.name + ": " + reason);
        EXPECT_THAT(reasons,
            ElementsAre("taken: The chapter start time conflicts with the start time of another chapter.",
                "twice: The chapter start time conflicts with the start time of another chapter.",
                "late: Chapters cannot start beyond the movie's duration.",
                "no time: \"00:\" is no time in this movie."));
        EXPECT_EQ(chaptersOf(movie),
            (Chapters {{"a", {0, 1}}, {"b", {10, 1}}, {"new", {505, 25}}, {"end", {5400, 1}}}));
        EXPECT_EQ(Controller::moveChapter(1, {505, 25}, movie).error().detail, Controller::kConflict);
        EXPECT_EQ(Controller::moveChapter(1, {5401, 1}, movie).error().detail, Controller::kBeyondEnd);
        EXPECT_TRUE(Controller::moveChapter(1, {30, 1}, movie));
        EXPECT_TRUE(Controller::renameChapter(2, "B", movie));
        EXPECT_EQ(chaptersOf(movie)[2], (Chapter {"B", {30, 1}}));
    }

    TEST(Chapters, ShiftStretchAndRepeatKeepToTheMovie)
    {
        const auto movie = film(24000, 1001, false);
        const Chapters chapters {{"a", {0, 1}}, {"b", {1001 * 240, 24000}}};
        EXPECT_EQ(Controller::shifted(chapters, {1001, 24000}, movie).value(),
            (Chapters {{"a", {1001, 24000}}, {"b", {1001 * 241, 24000}}}));
        EXPECT_FALSE(Controller::shifted(chapters, {-1, 24}, movie));
        EXPECT_FALSE(Controller::shifted(chapters, {5395, 1}, movie));
        EXPECT_EQ(
            Controller::stretched(chapters, 25, 24, movie).value()[1].start, (QTTime {1001 * 250, 24000}));
        EXPECT_FALSE(
            Controller::stretched({{"a", {0, 1}}, {"b", {1, 2400}}}, 1, 100, movie)); // fall together
        const auto repeated = Controller::withOneEvery(chapters, {1800, 1}, movie).value();
        ASSERT_EQ(repeated.size(), 4U); // not at the start, which has one, and not where the movie ends
        EXPECT_EQ(repeated[2].name, "Chapter 2");
    }

    TEST(Chapters, TimecodeBreaksAreFoundWhereItDoesNotCountOn)
    {
        auto movie = film(25, 1, false);
        const TimecodeDefinition definition {0, 25, 1, 25};
        test::addTrack(movie, test::timecodeTrack(definition, {100, 110, 500}, {{3, 10}}, 25));
        EXPECT_EQ(Controller::withTimecodeBreaks({}, movie).value(), (Chapters {{"00:00:20:00", {20, 25}}}));
    }

    TEST(Chapters, AMovieOfNothingElseMarksItsChapterTrack)
    {
        auto movie = film(25, 1, false);
        ASSERT_TRUE(Controller::addChapter({0, 25}, "only", movie));
        {
            const EditableScope editable {movie};
            ASSERT_TRUE(movie.removeTrack(movie.tracks().front()));
            ASSERT_TRUE(chapterList::mark(movie, movie.tracks().front()));
        }
        EXPECT_EQ(chaptersOf(movie), (Chapters {{"only", {0, 1}}}));
        ASSERT_TRUE(Controller::addChapter({25, 25}, "two", movie));
        EXPECT_EQ(movie.tracks().size(), 1U);
        EXPECT_EQ(chaptersOf(movie).size(), 2U);
    }

    TEST(MarkerLists, AreWrittenLineByLine)
    {
        auto movie = film(25, 1, false);
        struct Case
        {
            const char* format;
            const char* empty;
            const char* text;
        };
        const Case cases[] = {
            {"fcp", "Name\tType\tMarker Name\tComment\tStart\tDuration\tColor\n",
                "Sequence 1\tSequence\tA, \"b\"\t\t00:00:02:05\t00:00:00:00\tRed\n"},
            {"avid", "", "Reelwright\t00:00:02:05\tV1\tred\tA, \"b\"\n"},
            {"dvdsp", "", "00:00:02:05 A, \"b\"\n"},
            {"csv", "Timecode,Name\n", "\"00:00:02:05\",\"A, \"b\"\"\n"},
            {"text", "", "00:00:02:05\tA, \"b\"\n"},
        };
        for (const auto& [format, empty, text] : cases)
            EXPECT_EQ(MarkerFiles::exported(*MarkerFiles::exportFormatNamed(format), movie).value(), empty);
        ASSERT_TRUE(Controller::addChapter({55, 25}, "A, \"b\"", movie));
        for (const auto& [format, empty, text] : cases)
            EXPECT_EQ(MarkerFiles::exported(*MarkerFiles::exportFormatNamed(format), movie).value(),
                std::string(empty) + text);
    }

    struct ReadCase
    {
        const char* format;
        const char* text;
        std::vector<std::string> expected;
    };

    TEST(MarkerLists, LinesThatDoNotFitAreLeftOut)
    {
        const auto movie = film(25, 1, false);
        const TempFolder folder;
        const ReadCase cases[] = {
            {"fcp",
                "S\tSequence\tlost\t\t00:00:01:00\t\tRed\nS\tSequence\tkept\t\t00:00:02;"
                "00\t\tRed\r\nS\tClip\tx\t\t1\t\tRed\n",
                {"00:00:02:00|kept"}},
            {"avid", "who\t01:00:10:00\tV1\tred\tname\nwho\t01:00:10:00\tV1\tred\n", {"00:00:10:00|name"}},
            {"dvdsp", "00:00:05:00  two  words\nword\n", {"00:00:05:00| two  words"}},
            {"csv", "Timecode,Name\n\"00:00:01:00\",\"one\"\n00:00:02:00,a,b\n", {"00:00:01:00|one"}},
            {"text", "00:00:01:00\tone\nx\ty\tz\n", {"00:00:01:00|one"}},
            {"csv-quoted", "Timecode,Name\r\n00:00:01:00,\"a, \"\"b\"\"\nc\"\r\n",
                {"00:00:01:00|a, \"b\"\nc"}},
            {"cue", "FILE \"x\" WAVE\n TRACK 01 AUDIO\n  TITLE \"one\"\n  INDEX 01 00:02:15\n",
                {"00:00:02:05|one"}},
            {"webvtt", "WEBVTT\n\n00:01.200 --> 00:02.000 align:left\na &amp; b\nc\n",
                {"00:00:01:05|a & b\nc"}},
            {"ffmetadata",
                ";FFMETADATA1\ntitle=x\n[CHAPTER]\nTIMEBASE=1/10\nSTART=10\nEND=20\ntitle=a\\=b\\\nc\n",
                {"00:00:01:00|a=b\nc"}},
            {"json", R"({"chapters": [{"start_time": "1.200000", "tags": {"title": "x"}}, {"start": 1}, 7]})",
                {"00:00:01:05|x"}},
            {"edl",
                "001  AX V C 00:00:00:00 00:00:01:00 00:00:04:00 00:00:05:00\n |C:Blue |M:a |b |D:1\n"
                "* LOC: 00:00:06:00 RED   see it\n",
                {"00:00:04:00|a |b", "00:00:06:00|see it"}},
        };
        for (const auto& [format, text, expected] : cases) {
            const auto path = folder.file("list.txt");
            test::writeFile(path, std::as_bytes(std::span {std::string_view(text)}));
            EXPECT_EQ(texts(MarkerFiles::importedChapters(
                          path, *MarkerFiles::importFormatNamed(format), -1, movie)),
                expected)
                << format;
        }
        EXPECT_THAT(MarkerFiles::importedChapters(
                        folder.file("none.txt"), *MarkerFiles::importFormatNamed("fcp"), -1, movie),
            IsEmpty());
    }

    TEST(MarkerLists, HoursAreTakenRelativeToTheReference)
    {
        struct Case
        {
            int reference;
            const char* time;
            const char* expected;
        };
        constexpr Case kCases[] = {
            {-1, "14:00:01;02", "00:00:01:02"}, // the first one becomes the reference
            {10, "10:00:00:00", "00:00:00:00"},
            {10, "12:30:00:00", "02:30:00:00"},
            {10, "09:00:00:00", "09:00:00:00"}, // not below zero
            {0, "x", "00:"},
            {0, "120:00:00:00", "120:00:00:00"},
        };
        for (const auto& [reference, time, expected] : kCases)
            EXPECT_EQ(HourBase {reference}.rebased(time), expected);
        HourBase base {-1};
        EXPECT_EQ(base.rebased("01:00:00:00"), "00:00:00:00");
        EXPECT_EQ(base.rebased("02:00:00:00"), "01:00:00:00");
    }

    TEST(MarkerLists, GoOutAndComeBackAlikeAtEveryRate)
    {
        struct Rate
        {
            std::uint32_t scale;
            std::uint32_t frame;
            std::uint32_t flags;
            bool withTimecode;
        };
        constexpr Rate kRates[] = {{24000, 1001, 0, true}, {25, 1, 0, true}, {30000, 1001, 0, true},
            {30000, 1001, TimecodeDefinition::kDropFrame, true}, {24000, 1001, 0, false},
            {60000, 1001, 0, false}};
        for (const auto& [scale, frame, flags, withTimecode] : kRates) {
            auto movie = film(scale, frame, withTimecode, flags);
            Chapters chapters {{"Anfang 四", {0, static_cast<std::int32_t>(scale)}}};
            for (std::int64_t number = 1; number < 3540 * scale / frame; number += 977) // within an hour
                chapters.push_back(
                    {fmt::format("Frame {}", number), {number * frame, static_cast<std::int32_t>(scale)}});
            ASSERT_TRUE(Controller::setChapterMarkers(chapters, movie));
            for (const auto& format : MarkerFiles::exportFormats()) {
                if (std::string_view(format.name) == "cue" && scale == 60000)
                    continue; // has but 75 places a second
                const TempFolder folder;
                const auto path = folder.file("list.") + std::string(format.extensions.front());
                ASSERT_TRUE(MarkerFiles::exportChapters(format, path, movie));
                auto empty = film(scale, frame, withTimecode, flags);
                const auto refused = Controller::insertChapters(
                    MarkerFiles::importedChapters(path, *MarkerFiles::importFormatNamed(format.name),
                        MarkerFiles::referenceHour(empty), empty),
                    empty);
                ASSERT_TRUE(refused);
                EXPECT_THAT(*refused, IsEmpty()) << format.name;
                EXPECT_TRUE(chaptersOf(empty) == chapters) << format.name << " at " << scale << '/' << frame;
            }
        }
    }

    TEST(MarkerLists, FilesOfTheOldFormatsAreUtf16AndEveryEncodingIsRead)
    {
        auto movie = film(25, 1, false);
        ASSERT_TRUE(Controller::addChapter({0, 25}, "四", movie));
        const TempFolder folder;
        const auto path = folder.file("list.txt");
        ASSERT_TRUE(MarkerFiles::exportChapters(*MarkerFiles::exportFormatNamed("text"), path, movie));
        EXPECT_EQ(test::readFile(path).size(), 2U + 2 * (11 + 1 + 1 + 1));
        EXPECT_EQ(MarkerFiles::importFormatOf(path).name, std::string("text"));
        for (const std::string_view text : {"\xFE\xFF\x56\xDB", "\xFF\xFE\xDB\x56", "\xEF\xBB\xBF四", "四"}) {
            test::writeFile(path, std::as_bytes(std::span {text}));
            EXPECT_EQ(MarkerFiles::textOfFile(path), "四");
        }
        // A CSV file is one whatever was chosen, unless that is for names of any kind.
        const auto csv = folder.file("LIST.CSV");
        test::writeFile(
            csv, std::as_bytes(std::span {std::string_view("T,N\n00:00:01:00,a\n00:00:02:00,\"b,c\"\n")}));
        const auto read = [&](const char* format) {
            return MarkerFiles::importedChapters(csv, *MarkerFiles::importFormatNamed(format), -1, movie)
                .size();
        };
        EXPECT_EQ(read("avid"), 1U);
        EXPECT_EQ(read("csv-quoted"), 2U);
    }

    TEST(Fcpxml, MarkersStandWhereTheirClipsDo)
    {
        const TempFolder folder;
        const auto path = folder.file("cut.fcpxml");
        constexpr std::string_view kProject
            = R"(<?xml version="1.0"?><!DOCTYPE fcpxml [<!ENTITY e SYSTEM "/etc/passwd">]>
<fcpxml version="1.9"><resources><format id="r1" frameDuration="1001/30000s"/></resources><library><event><project>
<sequence tcStart="3600s" tcFormat="DF"><spine>
 <clip offset="3610s" start="100s" duration="20s"><marker start="100s" value="first &e;"/><marker start="120s" value="at the end"/>
   <marker start="121s" value="outside"/><marker start="99s" value="before"/>
   <title offset="5s" start="0s" duration="10s"><marker start="2s" value="inner"/></title></clip>
 <gap offset="3630s" start="0s" duration="10s"><marker start="0s" value="same place"/></gap>
 <asset-clip offset="0s" duration="10s"><marker start="0s" value="no clip"/></asset-clip>
</spine></sequence></project></event></library></fcpxml>)";
        test::writeFile(path, std::as_bytes(std::span {kProject}));
        const auto said = [&](bool timecode, bool strip, bool main, std::int32_t hour) {
            std::vector<std::string> all;
            for (const auto& marker : KWFCPXMLParser::markersFromXMLFile(path, timecode, strip, main, hour))
                all.push_back((timecode ? marker.startTimecode : fmt::format("{}", marker.seconds)) + ' '
                    + marker.name);
            return all;
        };
        EXPECT_THAT(said(false, false, true, -1),
            ElementsAre("3610 first &e;", "3630 at the end", "3630 same place"));
        EXPECT_THAT(
            said(false, true, false, -1), ElementsAre("3610 first &e;", "3630 at the end", "7 inner"));
        const auto timing = KWFCPXMLParser::timingFromXMLFile(path);
        EXPECT_EQ(timing.timebase, 30);
        EXPECT_TRUE(timing.ntsc && timing.dropFrame);
        EXPECT_THAT(KWFCPXMLParser::markersFromXMLFile(folder.file("none.fcpxml"), true), IsEmpty());
        EXPECT_EQ(KWXMLParser::withoutUnionSteps("./a[1]//(b | c-d)/e"), "./a[1]//*[self::b or self::c-d]/e");
        EXPECT_EQ(KWXMLParser::escapeQueryString("a&b\x01\r四"), "a&amp;b&#13;&#22235;");
    }

    TEST(Fcpxml, NestedProjectsStorylinesAndCompoundClipsAreReadAsTheyStand)
    {
        const TempFolder folder;
        const auto path = folder.file("cut.fcpxml");
        // The contents of a compound clip stand among the resources; what refers to it is no clip with
        // markers.
        constexpr std::string_view kProject
            = R"(<fcpxml version="1.10"><resources><format frameDuration="1001/24000s"/><media id="r2"><sequence><spine>
  <clip duration="5s"><marker start="1s" value="inside"/></clip></spine></sequence></media></resources>
<library><event><project name="one"><sequence tcStart="0s"><spine><ref-clip ref="r2" duration="5s"><marker start="0s" value="compound"/></ref-clip>
  <clip offset="5s" start="3600s" duration="10s"><marker start="86436000/24000s" value="main"/><chapter-marker start="3601s" value="other"/>
   <spine lane="1" offset="3602s"><clip offset="4s" duration="4s"><marker start="2s" value="storyline"/></clip></spine></clip>
  <mc-clip offset="15s" start="10s" duration="10s"><mc-source angleID="a"/><marker start="20s" value="end"/><marker start="20.5s" value="out"/></mc-clip>
  <gap offset="25s" start="0s" duration="1s"><marker start="0s" value="again"/></gap></spine></sequence></project>
 <project name="two"><sequence><spine><clip duration="9s"><marker start="1s" value="not the first"/></clip></spine></sequence></project></event>
<event><folder><project><sequence><spine><clip duration="9s"><marker start="2s" value="deep"/></clip></spine></sequence></project></folder></event>
</library></fcpxml>)";
        test::writeFile(path, std::as_bytes(std::span {kProject}));
        const auto said = [&](bool main) {
            std::vector<std::string> all;
            for (const auto& marker : KWFCPXMLParser::markersFromXMLFile(path, false, true, main))
                all.push_back(fmt::format("{} {}", marker.seconds, marker.name));
            return all;
        };
        EXPECT_THAT(said(true), ElementsAre("6.5 main", "25 end", "2 deep"));
        EXPECT_THAT(said(false), ElementsAre("6.5 main", "6 storyline", "25 end", "2 deep"));
        // Before there were libraries, projects stood in events alone.
        auto old = std::string(kProject);
        for (const auto* tag : {"<library>", "</library>"})
            old.replace(old.find(tag), std::string_view(tag).size(), "");
        test::writeFile(path, std::as_bytes(std::span {old}));
        EXPECT_THAT(said(false), IsEmpty());
    }

    TEST(Fcpxml, RealProjectsGiveTheMarkersThatTheirClipsHave)
    {
        REELWRIGHT_NEEDS_CORPUS();
        const std::map<std::string, std::pair<std::size_t, std::size_t>> kCounts {
            {"audition-markers", {0, 2}}, {"disabled-clips", {2, 2}}, {"hidden-markers", {0, 2}},
            {"multicam-markers", {2, 2}}, {"two-clips-markers", {3, 3}}}; // main storyline, all levels
        for (const auto& file : test::corpusFiles("projects", ".fcpxml")) {
            const auto known = kCounts.find(std::filesystem::path(file).stem().string());
            const auto [main, all]
                = known == kCounts.end() ? std::pair<std::size_t, std::size_t> {} : known->second;
            EXPECT_EQ(KWFCPXMLParser::markersFromXMLFile(file, true, false, true).size(), main) << file;
            EXPECT_EQ(KWFCPXMLParser::markersFromXMLFile(file, true, false, false).size(), all) << file;
        }
    }

    TEST(Fcpxml, RelativeHoursAndTimesReadAsTheyAreWritten)
    {
        const TempFolder folder;
        const auto path = folder.file("cut.fcpxml");
        constexpr std::string_view kProject
            = R"(<fcpxml><resources><format frameDuration="100/2500s"/></resources><library><project><sequence tcStart="{}s"
tcFormat="NDF"><spine><gap duration="9s" offset="10s"><marker value="m"/></gap></spine></sequence></project></library></fcpxml>)";
        struct Case
        {
            int start;
            int hour;
            const char* expected;
        };
        constexpr Case kCases[] = {{3600, 1, "00:00:10:00"}, {3580, 1, "01:59:50:00"},
            {3600, 0, "01:00:10:00"}, {3600, -1, "01:00:10:00"}};
        for (const auto& [start, hour, expected] : kCases) {
            const auto text = fmt::format(fmt::runtime(kProject), start);
            test::writeFile(path, std::as_bytes(std::span {text}));
            const auto markers = KWFCPXMLParser::markersFromXMLFile(path, true, true, true, hour);
            ASSERT_EQ(markers.size(), 1U);
            EXPECT_EQ(markers[0].startTimecode, expected) << start << " relative to " << hour;
        }
        EXPECT_DOUBLE_EQ(KWFCPXMLParser::secondsFromTimeString("3003/1000s"), 3.003);
        EXPECT_DOUBLE_EQ(KWFCPXMLParser::secondsFromTimeString("5s"), 5);
        EXPECT_DOUBLE_EQ(KWFCPXMLParser::secondsFromTimeString("1/2/3s"), 0);
        EXPECT_DOUBLE_EQ(KWFCPXMLParser::fpsFromFrameDuration("1001/30000s"), 30000.0 / 1001);
        EXPECT_DOUBLE_EQ(KWFCPXMLParser::fpsFromFrameDuration("25s"), 25);
        EXPECT_DOUBLE_EQ(KWFCPXMLParser::multiplierFromFrameDuration("1001/30000s"), 1001);
    }

} // namespace
} // namespace reelwright
