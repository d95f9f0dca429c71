#pragma once

#include "app/player/PicturePlacement.h"

#include <functional>
#include <memory>

class QWidget;
struct mpv_handle;

namespace reelwright {

/// Draws a player's pictures into a widget. Has to be gone before the player is. Used on the main thread.
class PictureSurface
{
public:
    virtual ~PictureSurface() = default;
    PictureSurface(const PictureSurface&) = delete;
    PictureSurface& operator=(const PictureSurface&) = delete;

    /// Belongs to the surface.
    [[nodiscard]] virtual QWidget* widget() = 0;
    /// Can pictures be taken from the player? Until then it must not be given anything to play.
    [[nodiscard]] virtual bool isReady() const = 0;
    /// Where the player's picture lies from now on; draws it once more. The one that is on show keeps its
    /// place until then.
    virtual void setPlacement(const PicturePlacement& placement) = 0;
    /// Shows the background only.
    virtual void setBlank(bool blank) = 0;
    /// Forgets the picture that is on show.
    virtual void clear() = 0;

    /// Called when it becomes ready after it was made; what was played before has to be loaded again.
    std::function<void()> onReady = [] {};
    /// Called from the event loop when a picture was drawn; `isPlaced`: since the placement was set.
    std::function<void(bool isPlaced)> onPicture = [](bool) {};
    /// Called from the event loop when it cannot draw: another kind of surface is needed.
    std::function<void()> onBroken = [] {};

protected:
    PictureSurface() = default;
};

/// Draws with the processor, on a thread of its own.
std::unique_ptr<PictureSurface> makeSoftwareSurface(mpv_handle* player, QWidget* parent);
/// Draws with OpenGL. Ready once the widget has been shown.
std::unique_ptr<PictureSurface> makeOpenGLSurface(mpv_handle* player, QWidget* parent);
/// Is there an OpenGL that draws faster than the processor would?
bool hasUsefulOpenGL();

} // namespace reelwright
