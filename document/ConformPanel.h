#pragma once

#include "conform/ExactRate.h"
#include "movie/QTMovie.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

class MyDocument;
class Preferences;

/// What the conform panel shows and does. Borrows the document and
/// the preferences.
class ConformPanel
{
public:
    /// The panel's controls.
    struct Choice
    {
        std::string rate; ///< as typed
        bool exactly = false;
        bool acceptDrift = false;
        bool keepHeader = false; ///< beside the movie
    };

    /// One field that would change.
    struct Row
    {
        std::string where; ///< "Track 1, Video"; empty where it is that of the row above
        std::string field; ///< "time scale"
        std::string before;
        std::string after;
    };
    /// What a choice would do.
    struct Preview
    {
        std::string presentRate; ///< "25 fps"
        std::string presentText; ///< "25/1, constant, 3 912 frames"
        std::vector<std::pair<std::string, std::string>> effects; ///< "Picture": "plays 4.00 % slower, …"
        std::vector<Row> rows;
        std::string summary; ///< "10 fields, 34 bytes; then the timecode track is rebuilt"
        std::vector<std::string> warnings;
        std::string error; ///< why it cannot be done; nothing else is known then
        bool isPossible = false;
    };

    /// Asks with a check box for "do not ask again"; answers the button's index.
    using AskOnce = std::function<std::size_t(const std::string& title, const std::string& text,
        const std::vector<std::string>& buttons, bool& suppress)>;
    /// A sheet, as DocumentWindow::alert.
    using Ask = std::function<std::size_t(
        const std::string& title, const std::string& text, const std::vector<std::string>& buttons)>;

    ConformPanel(MyDocument& document, Preferences& preferences, Ask ask, AskOnce askOnce);

    /// The movie's rate as the field shows it at first: "25.00".
    [[nodiscard]] std::string presentRate() const;
    [[nodiscard]] Preview preview(const Choice& choice) const;
    /// The same of any movie, on any thread: a forecast reads the file.
    [[nodiscard]] static Preview preview(const QTMovie& movie, const Choice& choice, bool stripsEditLists);

    [[nodiscard]] bool stripsEditLists() const;
    void setStripsEditLists(bool strips);

    /// The panel's button. Where the document has to be saved first this returns while it is being saved;
    /// call `proceed` until it is not `isWaiting` any more.
    void conformFrameRate(const Choice& choice);
    [[nodiscard]] bool isWaiting() const { return m_waiting.has_value(); }
    void proceed();

    /// Puts back a header that was kept; one step of the undo history, and saved like any edit.
    void restoreHeader(const std::string& path);

private:
    struct Waiting
    {
        Choice choice;
        double from = 0;
        double to = 0;
        bool isWritten = false; ///< the save that is waited for is the conform's own
    };

    void conformSaved(const Waiting& task);
    void conformByRewriting(Waiting task);
    void conformExactly(const Choice& choice);
    /// Answers where, or nothing.
    [[nodiscard]] Result<std::string> keepHeader(const Choice& choice) const;
    void tellDone(const Waiting& task);
    void rebuildTimecode();

    MyDocument& m_document;
    Preferences& m_preferences;
    Ask m_ask;
    AskOnce m_askOnce;
    std::optional<Waiting> m_waiting;
};

} // namespace reelwright
