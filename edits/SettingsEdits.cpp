#include "edits/SettingsEdits.h"

#include "tracks/ApertureModes.h"
#include "tracks/KWQuickTimeEditing.h"

#include <fmt/format.h>

namespace reelwright::edits {
namespace {

    std::optional<bool> switchValue(std::string_view value)
    {
        if (value == "on")
            return true;
        if (value == "off")
            return false;
        return std::nullopt;
    }

    const char* onOff(bool on)
    {
        return on ? "on" : "off";
    }

    Result<void> addSwitch(const char* option, Edit (*make)(bool), std::string_view value, EditSteps& steps)
    {
        const auto on = switchValue(value);
        if (!on)
            return wrongValue(option, value, "on or off");
        steps.add(make(*on));
        return {};
    }

    Result<Edit> controller(std::string_view value)
    {
        if (value != "show" && value != "hide")
            return wrongValue("--controller", value, "show or hide");
        return setController(value == "hide" ? Controller::Hide : Controller::Show);
    }

    Result<Edit> aperture(std::string_view value)
    {
        const auto mode = apertureModeNamed(value);
        if (!mode)
            return wrongValue("--aperture", value, "classic, clean, production or encoded");
        return setApertureMode(*mode);
    }

    Result<Edit> turned(std::string_view value)
    {
        if (value != "left" && value != "right")
            return wrongValue("--rotate", value, "left or right");
        return rotate(value == "left" ? Turn::Left : Turn::Right);
    }

    template <Edit (*make)()> Result<Edit> plain(std::string_view)
    {
        return make();
    }

    constexpr EditKind kKinds[] = {
        {"--autoplay", "on|off", "Start playing when the movie is opened",
            [](std::string_view value, EditSteps& steps) {
                return addSwitch("--autoplay", setAutoPlay, value, steps);
            }},
        {"--autoclose", "on|off", "Close the movie when it has been played",
            [](std::string_view value, EditSteps& steps) {
                return addSwitch("--autoclose", setAutoClose, value, steps);
            }},
        {"--autoquit", "on|off", "Quit the player when the movie has been played",

            [](std::string_view value, EditSteps& steps) {
                return addSwitch("--autoquit", setAutoQuit, value, steps);
            }},
        {"--controller", "show|hide", "Show or hide the player's controller", single<controller>},
        {"--aperture", "MODE",
            "Aperture mode: classic, clean, production or encoded;\nalso writes the dimensions of all modes",
            single<aperture>},
        {"--rotate", "left|right", "Turn the picture by a quarter, on top of turns it has", single<turned>},
        {"--flip", "", "Turn the picture by a half (upside down)", single<plain<flip>>},
        {"--flop", "", "Mirror the picture, left to right", single<plain<flop>>},
    };

} // namespace

Edit setAutoPlay(bool on)
{
    return {fmt::format("--autoplay {}", onOff(on)), "Autoplay", "Toggle autoplay",
        record("KWQuickTimeEditing setAutoPlay:forMovie:", KWQuickTimeEditing::setAutoPlay, on,
            KWPlaceholderMovie::placeholder())};
}

Edit setAutoClose(bool on)
{
    return {fmt::format("--autoclose {}", onOff(on)), "Auto Close", "Toggle auto close",
        record("KWQuickTimeEditing setAutoClose:forMovie:", KWQuickTimeEditing::setAutoClose, on,
            KWPlaceholderMovie::placeholder())};
}

Edit setAutoQuit(bool on)
{
    return {fmt::format("--autoquit {}", onOff(on)), "Auto Quit", "Toggle auto quit",
        record("KWQuickTimeEditing setAutoQuit:forMovie:", KWQuickTimeEditing::setAutoQuit, on,
            KWPlaceholderMovie::placeholder())};
}

Edit setController(Controller controller)
{
    if (controller == Controller::Hide)
        return {"--controller hide", "Hide Controller", "Hide movie controller",
            record("KWQuickTimeEditing setMovieControllerNone:", KWQuickTimeEditing::setMovieControllerNone,
                KWPlaceholderMovie::placeholder())};
    return {"--controller show", "Show Controller", "Show movie controller",
        record("KWQuickTimeEditing setMovieControllerDefault:", KWQuickTimeEditing::setMovieControllerDefault,
            KWPlaceholderMovie::placeholder())};
}

Edit setApertureMode(FourCC mode)
{
    return {fmt::format("--aperture {}", apertureModeName(mode)), "Aperture Mode", "Change aperture mode",
        record("KWQuickTimeEditing setApertureMode:forMovie:", KWQuickTimeEditing::setApertureMode, mode,
            KWPlaceholderMovie::placeholder())};
}

Edit rotate(Turn turn)
{
    if (turn == Turn::Left)
        return {"--rotate left", "Rotate Left", "Rotate left",
            record("KWQuickTimeEditing rotateMovieLeft:", KWQuickTimeEditing::rotateMovieLeft,
                KWPlaceholderMovie::placeholder())};
    return {"--rotate right", "Rotate Right", "Rotate right",
        record("KWQuickTimeEditing rotateMovieRight:", KWQuickTimeEditing::rotateMovieRight,
            KWPlaceholderMovie::placeholder())};
}

Edit flip()
{
    return {"--flip", "Flip", "Flip movie",
        record("KWQuickTimeEditing flipMovie:", KWQuickTimeEditing::flipMovie,
            KWPlaceholderMovie::placeholder())};
}

Edit flop()
{
    return {"--flop", "Flop", "Flop movie",
        record("KWQuickTimeEditing flopMovie:", KWQuickTimeEditing::flopMovie,
            KWPlaceholderMovie::placeholder())};
}

std::span<const EditKind> settingsKinds()
{
    return kKinds;
}

} // namespace reelwright::edits
