#include "tracks/KWQuickTimeEditing.h"

#include "movie/QTTrack.h"
#include "movie/atoms/ByteReader.h"
#include "movie/atoms/ByteWriter.h"
#include "movie/atoms/UserData.h"
#include "support/KWLog.h"

namespace reelwright {
namespace {

    constexpr FourCC kAutoPlay = "play"_cc;
    constexpr FourCC kAutoClose = "aclo"_cc;
    constexpr FourCC kAutoQuit = "aqui"_cc;
    constexpr FourCC kControllerType = "ctyp"_cc;
    constexpr FourCC kApertureMode = "apmd"_cc;
    constexpr FourCC kNoCode = "????"_cc;

    /// The same; of an error the log says what did not work.
    Result<void> reported(Result<void> done, std::string_view what)
    {
        if (!done)
            KWLog::appendLog("Error setting {}: {}", what, done.error().status);
        return done;
    }

    bool isOn(const QTMovie& movie, FourCC setting)
    {
        const auto item = movie.userDataItem(setting);
        return item && ByteReader {item->span()}.u8() == 1;
    }

    Result<void> removeSetting(QTMovie& movie, FourCC setting)
    {
        const EditableScope scope {movie};
        // All of them: a second item of the type would step into the place of the first.
        if (movie.userDataItem(setting)) // what changes nothing leaves the header shared
            userData::removeItems(movie.editHeader(), setting);
        return {};
    }

    Result<void> setOn(QTMovie& movie, FourCC setting, bool on)
    {
        if (!on)
            return removeSetting(movie, setting);
        if (isOn(movie, setting))
            return {};
        const EditableScope scope {movie};
        return movie.setUserDataItem(setting, ByteWriter {}.u8(1).toBytes());
    }

    std::optional<FourCC> codeSetting(const QTMovie& movie, FourCC setting)
    {
        const auto item = movie.userDataItem(setting);
        if (!item || item->size() < 4)
            return std::nullopt;
        return ByteReader {item->span()}.fourCC();
    }

    Result<void> setCodeSetting(QTMovie& movie, FourCC setting, FourCC code)
    {
        if (codeSetting(movie, setting) == code)
            return {};
        const EditableScope scope {movie};
        return movie.setUserDataItem(setting, ByteWriter {}.fourCC(code).toBytes());
    }

    /// Changes the matrices of all that can be changed; the error is the first one's that cannot.
    template <class Change> Result<void> changeVideoMatrices(QTMovie& movie, Change change)
    {
        const EditableScope scope {movie};
        Result<void> outcome;
        for (const auto& track : movie.tracksOfMediaType(QTMediaTypeVideo)) {
            auto done = reported(track.setMatrix(change(track.matrix())), "track matrix");
            if (!done && outcome)
                outcome = std::move(done);
        }
        return outcome;
    }

} // namespace

bool KWQuickTimeEditing::autoPlay(const QTMovie& movie)
{
    return isOn(movie, kAutoPlay);
}

bool KWQuickTimeEditing::autoClose(const QTMovie& movie)
{
    return isOn(movie, kAutoClose);
}

bool KWQuickTimeEditing::autoQuit(const QTMovie& movie)
{
    return isOn(movie, kAutoQuit);
}

Result<void> KWQuickTimeEditing::setAutoPlay(bool on, QTMovie& movie)
{
    return reported(setOn(movie, kAutoPlay, on), "autoplay");
}

Result<void> KWQuickTimeEditing::setAutoClose(bool on, QTMovie& movie)
{
    return reported(setOn(movie, kAutoClose, on), "autoclose");
}

Result<void> KWQuickTimeEditing::setAutoQuit(bool on, QTMovie& movie)
{
    return reported(setOn(movie, kAutoQuit, on), "auto quit");
}

FourCC KWQuickTimeEditing::movieControllerType(const QTMovie& movie)
{
    return codeSetting(movie, kControllerType).value_or(kNoCode);
}

Result<void> KWQuickTimeEditing::setMovieControllerNone(QTMovie& movie)
{
    return reported(setCodeSetting(movie, kControllerType, "none"_cc), "none movie controller");
}

Result<void> KWQuickTimeEditing::setMovieControllerDefault(QTMovie& movie)
{
    return reported(removeSetting(movie, kControllerType), "default movie controller");
}

FourCC KWQuickTimeEditing::apertureModeForMovie(QTMovie& movie)
{
    const auto mode = codeSetting(movie, kApertureMode);
    if (mode)
        movie.setApertureMode(*mode);
    return mode.value_or(kNoCode);
}

Result<void> KWQuickTimeEditing::setApertureMode(FourCC mode, QTMovie& movie)
{
    const auto previous = movie.apertureMode();
    movie.setApertureMode(mode); // the dimensions and the tracks' sizes follow it
    const auto store = [&]() -> Result<void> {
        const EditableScope scope {movie};
        RW_CHECK(movie.generateApertureModeDimensions());
        return setCodeSetting(movie, kApertureMode, mode);
    };
    auto done = reported(store(), "aperture mode");
    if (!done)
        movie.setApertureMode(previous);
    return done;
}

Result<void> KWQuickTimeEditing::rotateMovieLeft(QTMovie& movie)
{
    return changeVideoMatrices(movie, [](const Matrix& matrix) { return matrix.rotated(-90); });
}

Result<void> KWQuickTimeEditing::rotateMovieRight(QTMovie& movie)
{
    return changeVideoMatrices(movie, [](const Matrix& matrix) { return matrix.rotated(90); });
}

Result<void> KWQuickTimeEditing::flipMovie(QTMovie& movie)
{
    return changeVideoMatrices(movie, [](const Matrix& matrix) { return matrix.rotated(180); });
}

Result<void> KWQuickTimeEditing::flopMovie(QTMovie& movie)
{
    return changeVideoMatrices(movie, [](const Matrix& matrix) { return matrix.scaled(-1, 1); });
}

} // namespace reelwright
