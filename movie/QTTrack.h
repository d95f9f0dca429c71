#pragma once

#include "movie/QTMovie.h"
#include "movie/samples/SampleDescription.h"
#include "movie/samples/SampleTable.h"

#include <map>
#include <set>

namespace reelwright {

class QTMedia;

/// A track of a movie. A view: borrows the movie, which must stay where it is, and finds its track by
/// identity, so that it stays good through edits and through the undoing of them. A view of a track that was
/// removed is not valid any more. As with any reference, a constant view does not make the movie constant;
/// what guards it is the movie's editable flag.
class QTTrack
{
public:
    /// `place`: where among the header's atoms it stands; it is looked for when it is not there (any more).
    QTTrack(const QTMovie& movie, std::uint64_t atomId, std::size_t place = 0);

    [[nodiscard]] bool isValid() const { return find() != nullptr; }
    [[nodiscard]] const QTMovie& movie() const { return *m_movie; }
    /// For operations that are given a track and change its movie.
    [[nodiscard]] QTMovie& editMovie() const { return *m_movie; }
    /// The `trak` atom. The view must be valid.
    [[nodiscard]] const Atom& atom() const;
    /// For changing; null when the movie is not editable or the track is gone.
    [[nodiscard]] Atom* editAtom() const;

    [[nodiscard]] TrackHeader header() const;
    /// QTTrackIDAttribute. Files with two tracks of one ID occur.
    [[nodiscard]] std::uint32_t trackID() const { return header().trackID; }
    [[nodiscard]] FourCC mediaType() const;
    [[nodiscard]] QTMedia media() const;

    [[nodiscard]] bool isEnabled() const { return (header().flags & TrackHeader::kEnabled) != 0; }
    Result<void> setEnabled(bool enabled) const;

    /// Fields of the track header: 8.8 fixed point, 256 is full; in front of others the lower one; of tracks
    /// of one group, which is not 0, one plays.
    Result<void> setVolume(std::int16_t volume) const;
    Result<void> setLayer(std::int16_t layer) const;
    Result<void> setAlternateGroup(std::int16_t group) const;

    /// QTTrackTimeScaleAttribute: the movie's time scale, in which tracks keep their edits.
    [[nodiscard]] std::int32_t timeScale() const { return m_movie->timeScale(); }
    /// QTTrackRangeAttribute: where in the movie the track plays: start (the leading empty edits) and
    /// duration of the rest.
    [[nodiscard]] QTTimeRange range() const;
    /// Moves the start by making, changing or removing the leading empty edit (a start below zero becomes
    /// zero); cuts the edit list at the end for a shorter duration; for a longer one extends the last edit
    /// into media that is there. No media is deleted and no rate changed; `range`
    /// then answers what was set, in the movie's time scale.
    ///
    ///     | A | B |       start +2     |  |  | A | B |
    ///     | A | B |       shorter      | A | B'|
    ///     | A | B |       longer       | A | B+media |
    ///     |gap| A | B |   to nothing   |gap|A'          A' has no length, but keeps its place in the media
    ///     |gap|           longer       |gap| media |
    ///
    /// A track must not end in a gap that it did not have: some readers take it for damage.
    /// Errors: Refused when the movie is not editable or has no time scale, or the media are not long enough,
    /// naming the longest duration possible; those of `editList`; Corrupt when
    /// the track header cannot be read. The track is then as it was.
    Result<void> setRange(const QTTimeRange& range) const;

    /// The edit list; one edit over the whole media where the track has none. Errors: those of
    /// EditList::parse.
    [[nodiscard]] Result<EditList> editList() const;
    /// Writes the list and the durations that follow from it.
    Result<void> setEditList(const EditList& list) const;

    /// QTTrackBoundsAttribute: the box of the track's picture after its matrix, in pixels of the movie.
    [[nodiscard]] QTRect bounds() const;
    [[nodiscard]] Matrix matrix() const { return header().matrix; }
    Result<void> setMatrix(const Matrix& matrix) const;
    /// Size of the picture before the matrix, in pixels (the track header's width and height).
    [[nodiscard]] QTSize size() const;
    Result<void> setSize(const QTSize& size) const;

    /// The track's own name: the `name` item of its user data, or the empty string.
    [[nodiscard]] std::string name() const;
    /// An empty name takes the item away.
    Result<void> setName(std::string_view name) const;
    /// IDs of the tracks that this one refers to, by kind of reference.
    [[nodiscard]] std::map<FourCC, std::vector<std::uint32_t>> references() const;

    /// Adds a reference to another track; nothing happens when there is one of that kind already.
    Result<void> addReference(FourCC kind, std::uint32_t trackID) const;
    /// Removes all references to a track; kinds and lists that become empty go too.
    Result<void> removeReferencesTo(const std::set<std::uint32_t>& trackIDs) const;

    /// Same view of the same movie.
    bool operator==(const QTTrack& other) const { return m_movie == other.m_movie && m_id == other.m_id; }

private:
    static constexpr std::size_t kNowhere = SIZE_MAX;

    [[nodiscard]] const Atom* find() const;
    [[nodiscard]] std::size_t findPlace() const;
    [[nodiscard]] std::uint64_t implicitDuration() const;
    /// Are these edits the gap that is left of a track without media?
    [[nodiscard]] bool isEmptied(const std::vector<EditList::Edit>& edits) const;
    Result<void> setHeader(const TrackHeader& header) const;

    QTMovie* m_movie;
    std::uint64_t m_id;
    std::size_t m_place;
};

/// The media of a track. A view like the track.
class QTMedia
{
public:
    explicit QTMedia(const QTTrack& track)
        : m_track(track)
    {
    }

    /// Is there one? Tracks without media occur.
    [[nodiscard]] bool isValid() const;
    [[nodiscard]] const Atom* atom() const;
    /// The `mdhd` fields; time scale 0 where there is none.
    [[nodiscard]] MediaHeader header() const;
    /// QTMediaTimeScaleAttribute: units a second, 0 in damaged files.
    [[nodiscard]] std::int32_t timeScale() const;
    /// QTMediaDurationAttribute.
    [[nodiscard]] QTTime duration() const;
    /// Of a sound media (`smhd`): 8.8 fixed point, -256 left to 256 right; nothing for other media.
    [[nodiscard]] std::optional<std::int16_t> balance() const;
    Result<void> setBalance(std::int16_t balance) const;
    /// As MediaHeader has it. Errors: Corrupt where there is no media header.
    Result<void> setLanguage(std::uint16_t language) const;
    /// QTMediaSampleCountAttribute.
    [[nodiscard]] std::uint32_t sampleCount() const { return sampleTable().sampleCount(); }
    [[nodiscard]] SampleTable sampleTable() const;
    [[nodiscard]] std::size_t sampleDescriptionCount() const;
    /// 1-based. Borrows the movie's header: read it before the next edit.
    [[nodiscard]] std::optional<SampleDescription> sampleDescription(std::size_t index) const;
    /// Puts an entry in the place of that one. Errors: Refused when the movie is not editable; Corrupt when
    /// there is no such entry.
    Result<void> setSampleDescription(std::size_t index, Atom entry) const;
    [[nodiscard]] std::vector<struct DataReference> dataReferences() const;
    /// Packing of constant-rate sound under a description (1-based), nothing for other media.
    [[nodiscard]] SoundPacking soundPacking(std::size_t descriptionIndex) const;
    /// The bytes of a sample (1-based).
    /// Errors: Corrupt when the tables do not hold it; Io and Truncated when its file does not.
    [[nodiscard]] Result<Bytes> sampleData(std::uint32_t sample) const;
    /// Its first bytes, at most `most`; kept by the movie's sources (MediaSources::readKept), so that they
    /// can be asked for thirty times a second. Errors: as above.
    [[nodiscard]] Result<Bytes> sampleStart(std::uint32_t sample, std::uint64_t most) const;
    /// Would `sampleStart` answer without looking at a disk?
    [[nodiscard]] bool isSampleStartKept(std::uint32_t sample, std::uint64_t most) const;

private:
    struct SamplePlace;
    [[nodiscard]] Result<SamplePlace> placeOf(std::uint32_t sample) const;

    QTTrack m_track;
};

} // namespace reelwright
