#pragma once

#include "movie/QTTime.h"
#include "movie/atoms/HeaderAtoms.h"
#include "movie/files/MovieFile.h"

#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace reelwright {

class QTTrack;
class MediaSources;

/// Media types (`hdlr` subtypes) that the program treats by name.
constexpr FourCC QTMediaTypeVideo = "vide"_cc;
constexpr FourCC QTMediaTypeSound = "soun"_cc;
constexpr FourCC QTMediaTypeTimeCode = "tmcd"_cc;
constexpr FourCC QTMediaTypeText = "text"_cc;
constexpr FourCC QTMediaTypeSprite = "sprt"_cc;
constexpr FourCC QTMediaTypeClosedCaption = "clcp"_cc;

struct QTSize
{
    double width = 0;
    double height = 0;
    bool operator==(const QTSize&) const = default;
};

/// How much of a movie's header is read when it is opened.
enum class HeaderReading {
    Whole,
    Outline, ///< without the inside of large sample tables: for a report, whatever the number of samples.
             ///< Where samples lie is not known, and the movie can be neither edited nor saved
};

/// A movie: a header (the `moov` atom tree) over the media of its file. A value: copies are cheap, share what
/// is alike and change apart; two copies may be used from two threads. Tracks are views that borrow the movie
/// they came from.
///
/// Edits are refused (Refused) unless the movie is editable; see EditableScope.
class QTMovie
{
public:
    /// An empty movie without a file, time scale 600.
    QTMovie();

    /// Opens a QuickTime or ISO movie file, or a WAV, AIFF or DV file as a movie of its media.
    /// Cost: proportional to the header, whatever the size of the media.
    /// Errors: Io; Unsupported when the file is no movie; Truncated or Corrupt with the place in the file.
    static Result<QTMovie> open(const std::string& path, std::shared_ptr<Storage> storage = Storage::posix(),
        HeaderReading reading = HeaderReading::Whole);
    /// May the file be opened as a movie? Looks at its beginning and its outermost atoms only.
    static bool canOpen(const std::string& path, Storage& storage);

    /// The file as it was when it was opened or last saved; null for a movie that has none.
    [[nodiscard]] const std::shared_ptr<const MovieFile>& file() const { return m_file; }
    /// Its path, or the empty string.
    [[nodiscard]] std::string fileName() const;
    /// Were the samples gathered from movie fragments? Such a file is not updated in place.
    [[nodiscard]] bool isFragmented() const { return m_fragmented; }
    [[nodiscard]] const std::vector<MovieWarning>& warnings() const { return *m_warnings; }

    /// The `moov` atom.
    [[nodiscard]] const Atom& header() const { return *m_header; }
    /// For changing. The movie must be editable.
    [[nodiscard]] Atom& editHeader();
    /// The movie without the edits since the file was opened or last saved.
    [[nodiscard]] QTMovie asSaved() const;
    /// Was the header changed since the file was opened or last saved?
    [[nodiscard]] bool isChanged() const;

    /// After a copy of this movie, as it was in `before`, was saved as `saved`: this movie belongs to the
    /// saved file too, and edits made meanwhile stay unsaved.
    void adoptSave(const QTMovie& before, const QTMovie& saved);

    /// This movie's header over the file of `saved`.
    [[nodiscard]] QTMovie overFileOf(const QTMovie& saved) const;

    /// Was only the outline of the header read?
    [[nodiscard]] bool isOutline() const { return m_outline; }
    [[nodiscard]] bool isEditable() const { return m_editable; }
    /// An outline never becomes editable.
    void setEditable(bool editable) { m_editable = editable && !m_outline; }

    [[nodiscard]] MovieHeader movieHeader() const;
    /// QTMovieTimeScaleAttribute: units a second.
    [[nodiscard]] std::int32_t timeScale() const;
    [[nodiscard]] QTTime duration() const;
    /// QTMovieCreationTimeAttribute; nothing where the header has none.
    [[nodiscard]] std::optional<std::chrono::sys_seconds> creationTime() const;
    /// The box round all enabled video, text and sprite tracks after their matrices, in pixels.
    [[nodiscard]] QTSize naturalSize() const;
    [[nodiscard]] QTTime currentTime() const { return m_currentTime; }
    void setCurrentTime(QTTime time) { m_currentTime = time; }
    void gotoBeginning() { m_currentTime = {0, timeScale()}; }

    /// In the order of the header.
    [[nodiscard]] std::vector<QTTrack> tracks() const;
    [[nodiscard]] std::vector<QTTrack> tracksOfMediaType(FourCC mediaType) const;
    /// The first of them, without a look at those behind it.
    [[nodiscard]] std::optional<QTTrack> firstTrackOfMediaType(FourCC mediaType) const;

    /// Puts a new track (a `trak` atom, see TrackBuilder.h) behind the others and gives it an ID of its own.
    Result<QTTrack> addTrack(Atom trak);
    /// Removes the track and other tracks' references to it. The views of it are not valid any more.
    Result<void> removeTrack(const QTTrack& track);
    /// The same for many, in one pass.
    Result<void> removeTracks(std::span<const QTTrack> tracks);

    /// Multiplies the time scale so that it becomes a multiple of `unit`, and all movie times with it,
    /// exactly: the movie's and the tracks' durations and edit lengths. Answers false, and changes nothing,
    /// when a time would not fit 32 bits any more or an edit list cannot be understood.
    Result<bool> raiseTimeScale(std::int32_t unit);

    /// Items of the movie's user data, told apart by a 1-based index.
    [[nodiscard]] std::optional<Bytes> userDataItem(FourCC type, std::size_t index = 1) const;
    Result<void> setUserDataItem(FourCC type, Bytes payload, std::size_t index = 1);
    Result<void> removeUserDataItem(FourCC type, std::size_t index = 1);

    /// Makes the aperture dimensions (`tapt`) of each video track anew from its clean aperture, pixel aspect
    /// ratio and encoded size; see Apertures.h for the rules. A track whose size was one of those that its
    /// apertures give then follows the aperture mode in force.
    Result<void> generateApertureModeDimensions();
    /// Removes them from all tracks. The tracks' sizes stay.
    Result<void> removeApertureModeDimensions();
    /// The aperture mode in force ('clas', 'clea', 'prod', 'enco'); zero while none was applied. Not stored
    /// by itself.
    [[nodiscard]] FourCC apertureMode() const { return m_apertureMode; }
    void setApertureMode(FourCC mode) { m_apertureMode = mode; }

    /// Recomputes the movie's duration from its tracks; called by every edit of a track's time. While a
    /// DurationScope is there, that is left to its end, and `duration` asks the tracks.
    void updateDuration();

    /// The files that hold the media.
    [[nodiscard]] MediaSources& sources() const { return *m_sources; }

private:
    friend class MovieSaver;
    friend class SavePreview;
    friend class FileAccount;
    friend struct MediaOffsets;
    friend class DurationScope;

    /// A header as it lay in a file, and where.
    struct HeaderPlace
    {
        Cow<Atom> header;
        std::uint64_t offset = 0;
    };

    [[nodiscard]] Result<void> checkEditable() const;
    [[nodiscard]] QTTime longestTrack() const;

    std::shared_ptr<const MovieFile> m_file;
    std::shared_ptr<const std::vector<MovieWarning>> m_warnings;
    std::shared_ptr<MediaSources> m_sources;
    Cow<Atom> m_header;
    Cow<Atom> m_savedHeader;
    HeaderPlace m_truePlace; ///< there the offsets in m_header that point into the header itself are true
    QTTime m_currentTime {0, 600};
    FourCC m_apertureMode;
    bool m_fragmented = false;
    bool m_outline = false;
    bool m_editable = false;
    bool m_holdsDuration = false;
    bool m_isDurationStale = false; ///< in the header
};

/// Lets a change of many tracks' times ask once how long the movie is, and not once a track: with thousands
/// of tracks that would be millions of questions. The header has the duration when the outermost scope ends.
/// Borrows the movie.
class DurationScope
{
public:
    explicit DurationScope(QTMovie& movie)
        : m_movie(movie)
        , m_wasHeld(movie.m_holdsDuration)
    {
        m_movie.m_holdsDuration = true;
    }
    DurationScope(const DurationScope&) = delete;
    DurationScope& operator=(const DurationScope&) = delete;
    ~DurationScope()
    {
        m_movie.m_holdsDuration = m_wasHeld;
        if (m_movie.m_isDurationStale)
            m_movie.updateDuration();
    }

private:
    QTMovie& m_movie;
    const bool m_wasHeld;
};

/// Makes a movie editable, and on every way out as it was before: scopes nest. Borrows the movie.
class EditableScope
{
public:
    explicit EditableScope(QTMovie& movie)
        : m_movie(movie)
        , m_wasEditable(movie.isEditable())
    {
        m_movie.setEditable(true);
    }
    EditableScope(const EditableScope&) = delete;
    EditableScope& operator=(const EditableScope&) = delete;
    ~EditableScope() { m_movie.setEditable(m_wasEditable); }

private:
    QTMovie& m_movie;
    const bool m_wasEditable;
};

} // namespace reelwright
