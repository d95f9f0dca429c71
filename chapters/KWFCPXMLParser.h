#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

/// How a sequence counts its frames.
struct SequenceTiming
{
    double fps = 30.0;
    int timebase = 30;
    bool ntsc = false;
    bool dropFrame = false;
    int startFrame = 0;
};

/// Reads the markers on the clips of a final-cut XML project (".fcpxml"). Keeps no state. A file that cannot
/// be read has none.
class KWFCPXMLParser
{
public:
    /// A marker and its place on the sequence's timeline: in seconds, or with timecodes as a text.
    struct Marker
    {
        std::string name;
        double seconds = 0;
        std::string startTimecode; ///< empty unless timecodes were asked for
    };

    /// Duplicates stay, and only the main storyline counts.
    static std::vector<Marker> markersFromXMLFile(const std::string& path, bool useTimecode);
    static std::vector<Marker> markersFromXMLFile(
        const std::string& path, bool useTimecode, bool stripDuplicates, bool mainStorylineOnly);
    /// In the order of the document. `stripDuplicates` leaves out markers whose place another one has,
    /// `mainStorylineOnly` those on clips within clips. A relative hour of 0 or more is taken from the hour
    /// of the timecodes where they have it, and ":" then stands before the frames.
    static std::vector<Marker> markersFromXMLFile(const std::string& path, bool useTimecode,
        bool stripDuplicates, bool mainStorylineOnly, std::int32_t relativeHour);

    /// That of the first sequence; what the file does not say is zero or no.
    static SequenceTiming timingFromXMLFile(const std::string& path);

    /// "3003/1000s" is 3.003 and "5s" is 5; 0 for another form.
    static double secondsFromTimeString(std::string_view text);
    /// "1001/30000s" is 29.97…; a number on its own is the rate already; 0 for another form.
    static double fpsFromFrameDuration(std::string_view text);
    /// What stands before the "/".
    static double multiplierFromFrameDuration(std::string_view text);
};

} // namespace reelwright
