#include "tracks/KWQuickTimeEditing.h"

#include "movie/QTTrack.h"
#include "movie/atoms/ByteReader.h"
#include "movie/atoms/ByteWriter.h"
#include "support/KWLog.h"

namespace reelwright {
namespace {

    constexpr FourCC kAutoPlay = "play"_cc;
    constexpr FourCC kAutoClose = "aclo"_cc;
    constexpr FourCC kAutoQuit = "aqui"_cc;
    constexpr FourCC kControllerType = "ctyp"_cc;
    constexpr FourCC kApertureMode = "apmd"_cc;
    constexpr FourCC kNoCode = "????"_cc;

    /// Did it work? If not, the log says what did not.
    bool reported(const Result<void>& done, std::string_view what)
    {
        if (!done)
            KWLog::appendLog("Error setting {}: {}", what, done.error().status);
        return done.has_value();
    }

    bool isOn(const QTMovie& movie, FourCC setting)
    {
        const auto item = movie.userDataItem(setting);
        return item && ByteReader {item->span()}.u8() == 1;
    }

    Result<void> removeSetting(QTMovie& movie, FourCC setting)
    {
        const EditableScope scope {movie};
        // A second item of the type would step into the place of the first.
        while (movie.userDataItem(setting))
            RW_CHECK(movie.removeUserDataItem(setting));
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

    template <class Change> void changeVideoMatrices(QTMovie& movie, Change change)
    {
        const EditableScope scope {movie};
        for (const auto& track : movie.tracksOfMediaType(QTMediaTypeVideo))
            reported(track.setMatrix(change(track.matrix())), "track matrix");
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

bool KWQuickTimeEditing::setAutoPlay(bool on, QTMovie& movie)
{
    return reported(setOn(movie, kAutoPlay, on), "autoplay");
}

bool KWQuickTimeEditing::setAutoClose(bool on, QTMovie& movie)
{
    return reported(setOn(movie, kAutoClose, on), "autoclose");
}

bool KWQuickTimeEditing::setAutoQuit(bool on, QTMovie& movie)
{
    return reported(setOn(movie, kAutoQuit, on), "auto quit");
}

FourCC KWQuickTimeEditing::movieControllerType(const QTMovie& movie)
{
    return codeSetting(movie, kControllerType).value_or(kNoCode);
}

bool KWQuickTimeEditing::setMovieControllerNone(QTMovie& movie)
{
    return reported(setCodeSetting(movie, kControllerType, "none"_cc), "none movie controller");
}

bool KWQuickTimeEditing::setMovieControllerDefault(QTMovie& movie)
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

bool KWQuickTimeEditing::setApertureMode(FourCC mode, QTMovie& movie)
{
    const auto store = [&]() -> Result<void> {
        const EditableScope scope {movie};
        RW_CHECK(movie.generateApertureModeDimensions());
        return setCodeSetting(movie, kApertureMode, mode);
    };
    if (!reported(store(), "aperture mode"))
        return false;
    movie.setApertureMode(mode);
    return true;
}

void KWQuickTimeEditing::rotateMovieLeft(QTMovie& movie)
{
    changeVideoMatrices(movie, [](const Matrix& matrix) { return matrix.rotated(-90); });
}

void KWQuickTimeEditing::rotateMovieRight(QTMovie& movie)
{
    changeVideoMatrices(movie, [](const Matrix& matrix) { return matrix.rotated(90); });
}

void KWQuickTimeEditing::flipMovie(QTMovie& movie)
{
    changeVideoMatrices(movie, [](const Matrix& matrix) { return matrix.rotated(180); });
}

void KWQuickTimeEditing::flopMovie(QTMovie& movie)
{
    changeVideoMatrices(movie, [](const Matrix& matrix) { return matrix.scaled(-1, 1); });
}

} // namespace reelwright
