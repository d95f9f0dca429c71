#pragma once

#include <QColor>
#include <QString>

class QPalette;

namespace reelwright {

class Preferences;

/// How the program looks: as the desktop has it, or light or dark whatever the desktop says.
class Appearance
{
public:
    enum class Kind { System, Light, Dark };

    /// From the preference "appearance" ("system", "light", "dark"), unless REELWRIGHT_APPEARANCE says
    /// otherwise. What is neither means System.
    static Kind wanted(const Preferences& preferences);
    /// The value of the preference.
    static QString name(Kind kind);

    /// The four colours beside the palette's own, as they can be read on its ground. An icon or a word always
    /// says the same.
    enum class Tone { New, Warning, Error, Information };
    static QColor tone(const QPalette& palette, Tone tone);

    /// Takes effect at once, on every window. The first call remembers how the desktop has it.
    static void apply(Kind kind);
};

} // namespace reelwright
