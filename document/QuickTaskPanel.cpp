#include "document/QuickTaskPanel.h"

#include "document/DocumentWindow.h"
#include "document/MyDocument.h"
#include "support/FileHelper.h"

#include <algorithm>
#include <filesystem>

namespace reelwright {
namespace {

    constexpr int kStillTask = 7;
    constexpr int kUserDataTask = 12;

    bool isOneOf(int tag, std::initializer_list<int> tags)
    {
        return std::find(tags.begin(), tags.end(), tag) != tags.end();
    }

    /// The still of a movie has its name; empty where there is none.
    std::string stillBeside(const std::string& movie)
    {
        for (const auto* extension : {".THM", ".thm", ".Thm"}) {
            auto path = std::filesystem::path(movie).replace_extension(extension).string();
            if (!movie.empty() && FileHelper::fileExistsAtPath(path))
                return path;
        }
        return {};
    }

} // namespace

QuickTaskPanel::QuickTaskPanel(MyDocument& document, DocumentWindow& window, Questions questions)
    : m_document(document)
    , m_window(window)
    , m_questions(std::move(questions))
{
}

std::optional<std::string> QuickTaskPanel::changeQuickTask(int tag)
{
    const auto* task = quickTaskWithTag(tag);
    return task && *task->description != '\0' ? std::optional<std::string>(task->description) : std::nullopt;
}

void QuickTaskPanel::performQuickTask(int tag)
{
    if (const auto* task = quickTaskWithTag(tag); task && *task->description != '\0')
        run(*task);
    m_window.alert("Quick Task complete", "The task finished successfully.", {"OK"});
}

void QuickTaskPanel::run(const QuickTask& task)
{
    if (task.tag == kStillTask) {
        importStill();
        return;
    }
    const auto edit = edits::quickTask(task);
    if (isOneOf(task.tag, {5, 6, 10})) {
        addTimecode(edit);
        return;
    }
    if (isOneOf(task.tag, {8, 9, 13, 19})) {
        setPixelAspectRatio(edit);
        return;
    }
    // What the task itself has against it is not told here: the panel shows it before.
    const auto done = m_document.perform(edit);
    if (task.tag == kUserDataTask && !done)
        m_window.alert("Unable to add timecode track", "No timecode user data field found.", {"OK"});
    if (done && isOneOf(task.tag, {2, 14, 17, 18, 20, 21}) && !m_document.isEdited())
        m_document.updateChangeCount(); // these mark the document changed also when they found nothing
}

void QuickTaskPanel::importStill()
{
    const auto still = stillBeside(m_document.path());
    if (still.empty())
        m_questions.chooseStill();
    else
        quickTaskTHMBrowseDidEnd(still);
}

void QuickTaskPanel::quickTaskTHMBrowseDidEnd(const std::string& path)
{
    const auto before = m_document.history().state();
    addTimecode(edits::quickTask(*quickTaskWithTag(kStillTask), path));
    if (m_document.history().state() == before)
        m_window.alert("Unable to add timecode track", "Could not get data from THM file.", {"OK"});
}

void QuickTaskPanel::addTimecode(const Edit& edit)
{
    if (m_document.perform(edit, MyDocument::ViewUpdate::Reset))
        m_document.selectRow(m_document.trackList().rowCount() - 1);
}

void QuickTaskPanel::setPixelAspectRatio(const Edit& edit)
{
    const auto track = KWMovTrack::firstTrackOfType(KWMovTrack::kVideo, m_document.movie());
    if (!track)
        return;
    const auto& rows = m_document.trackList();
    for (std::size_t row = 1; row < rows.rowCount(); ++row)
        if (rows.track(row)->trackID() == track->trackID())
            m_document.selectRow(row);
    if (!m_document.perform(edit, MyDocument::ViewUpdate::Reset))
        return;
    if (!m_document.isEdited())
        m_document.updateChangeCount();
    m_document.loadTracks();
    m_questions.showPanel(Panel::EncodingAttributes);
}

QuickTaskPanel::Forecast QuickTaskPanel::forecast(const QuickTask& task, const QTMovie& movie)
{
    const auto path = task.tag == kStillTask ? stillBeside(movie.fileName()) : std::string {};
    if (task.tag == kStillTask && path.empty())
        return {{}, "no THM file beside the movie: choose one"};
    auto copy = movie;
    if (const auto done = edits::quickTask(task, path).apply(copy); !done)
        return {{}, reasonFor(done.error(), movie.fileName())};
    if (copy.header().writesSameAs(movie.header()))
        return {};
    return {changesBetween(MovieFacts::of(movie), MovieFacts::of(copy)), {}};
}

} // namespace reelwright
