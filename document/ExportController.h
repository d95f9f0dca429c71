#pragma once

#include "picture/MovieExport.h"

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace reelwright {

class MyDocument;

/// The exporting of one document: what the panels begin with, what of it is remembered, and the export
/// itself, which has a copy of the movie on a thread of its own. Main thread only; the window's timer asks
/// `update` how far it is, so that the thread waits for nobody.
class ExportController
{
public:
    explicit ExportController(MyDocument& document);
    ExportController(const ExportController&) = delete;
    ExportController& operator=(const ExportController&) = delete;
    /// Stops an export that runs; nothing of it stays.
    ~ExportController();

    /// What the export panel begins with.
    struct Panel
    {
        std::vector<const ExportFormat*> formats; ///< by name, upper and lower case alike
        std::size_t selected = 0; ///< the format that was chosen last, else H.264
        ExportChoices choices; ///< the present settings
        std::string suggestedPath; ///< of the document, without extension
    };
    /// Errors: Unsupported where nothing can be encoded.
    Result<Panel> exportQTMovie();
    /// Another format was chosen: its name is remembered, the settings of the one before are forgotten.
    void changeQTExportFileType(const ExportFormat& format);
    /// The settings were confirmed and are remembered; nothing: they were cancelled, and the format's own
    /// count.
    void takeSettings(const std::optional<ExportChoices>& choices);

    /// Begins the export with the present settings. False when one is running.
    bool exportTo(const ExportFormat& format, const std::string& path,
        const std::optional<ExportRange>& range = {}, bool overwrite = true);
    void cancelProgress();
    [[nodiscard]] bool isExporting() const { return m_job != nullptr; }
    /// Tells the window how far it is, and what came of it once it has ended. False when nothing runs.
    bool update();

    /// One kind of still image.
    struct ImageFormat
    {
        const char* title; ///< "PNG"
        const char* extension; ///< "png"
    };
    [[nodiscard]] static const std::vector<ImageFormat>& imageFormats();
    /// What the image panel begins with: the one that was chosen last.
    [[nodiscard]] std::size_t selectedImageFormat() const;
    /// A name for the document's image of that kind: its own without extension, and the format's. A name that
    /// still carries an extension then is offered as it is.
    [[nodiscard]] std::string suggestedImageName(const ImageFormat& format) const;
    struct Stills
    {
        std::vector<QTTime> times; ///< that ascend; the files of several are numbered
        int columns = 0; ///< of a sheet of small pictures from the whole movie, in place of that
        int rows = 0;
    };
    /// Writes pictures at the movie's natural size, as an export that `update` tells of, and remembers the
    /// format. False when one is running.
    bool exportFrames(const ImageFormat& format, const Stills& stills, const std::string& path);
    bool exportFrame(const ImageFormat& format, const QTTime& time, const std::string& path)
    {
        return exportFrames(format, {{time}}, path);
    }

private:
    struct Job;
    struct Alert
    {
        std::string title {};
        std::string text {};
    };

    void begin(std::unique_ptr<Job> job, std::function<Alert(const picture::ExportReport& report)> work);
    void finish();

    MyDocument& m_document;
    std::optional<ExportChoices> m_settings; ///< the present ones
    std::unique_ptr<Job> m_job; ///< the one that runs
};

} // namespace reelwright
