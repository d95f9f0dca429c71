#include "app/player/PictureSurface.h"

#include <QMetaObject>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions>
#include <QOpenGLTextureBlitter>
#include <QOpenGLWidget>

#include <mpv/client.h>
#include <mpv/render_gl.h>

#include <memory>
#include <utility>

namespace reelwright {
namespace {

    /// The transformation of QOpenGLTextureBlitter's square (-1 to 1, y upward) that brings it where
    /// `unitToWidget` brings the unit square, in a widget of that size.
    QMatrix4x4 blitterTransform(const QTransform& unitToWidget, QSizeF widget)
    {
        const QTransform squareToUnit(0.5, 0, 0, -0.5, 0.5, 0.5);
        const QTransform widgetToDevice(2 / widget.width(), 0, 0, -2 / widget.height(), -1, 1);
        return QMatrix4x4(squareToUnit * unitToWidget * widgetToDevice);
    }

    /// The player draws the encoded picture, upright, into a texture; this widget draws the texture where the
    /// track's matrix wants it.
    class OpenGLWidget : public QOpenGLWidget
    {
    public:
        OpenGLWidget(mpv_handle* player, PictureSurface& surface, QWidget* parent)
            : QOpenGLWidget(parent)
            , m_player(player)
            , m_surface(surface)
        {
            connect(this, &QOpenGLWidget::frameSwapped, this, [this] {
                if (m_context)
                    mpv_render_context_report_swap(m_context);
            });
        }
        OpenGLWidget(const OpenGLWidget&) = delete;
        OpenGLWidget& operator=(const OpenGLWidget&) = delete;
        ~OpenGLWidget() override
        {
            if (context())
                disconnect(context(), nullptr, this, nullptr); // it ends with the base class
            release();
        }

        [[nodiscard]] bool isReady() const { return m_context != nullptr; }

        void setPlacement(const PicturePlacement& placement)
        {
            m_placement = placement;
            m_changed = true;
            ++m_serial;
            update();
        }

        void setBlank(bool blank)
        {
            if (std::exchange(m_blank, blank) != blank)
                update();
        }

        void clear()
        {
            m_hasPicture = false;
            update();
        }

    protected:
        void initializeGL() override
        {
            connect(context(), &QOpenGLContext::aboutToBeDestroyed, this, [this] { release(); });
            mpv_opengl_init_params procedures {
                [](void* /*unused*/, const char* name) -> void* {
                    auto* current = QOpenGLContext::currentContext();
                    return current ? reinterpret_cast<void*>(current->getProcAddress(name)) : nullptr;
                },
                nullptr};
            char type[] = MPV_RENDER_API_TYPE_OPENGL;
            m_blitter = std::make_unique<QOpenGLTextureBlitter>();
            mpv_render_param parameters[] = {{MPV_RENDER_PARAM_API_TYPE, type},
                {MPV_RENDER_PARAM_OPENGL_INIT_PARAMS, &procedures}, {MPV_RENDER_PARAM_INVALID, nullptr}};
            if (mpv_render_context_create(&m_context, m_player, parameters) < 0 || !m_blitter->create()) {
                QMetaObject::invokeMethod(
                    this, [this] { m_surface.onBroken(); }, Qt::QueuedConnection);
                return;
            }
            mpv_render_context_set_update_callback(
                m_context,
                [](void* self) {
                    auto* widget = static_cast<OpenGLWidget*>(self);
                    QMetaObject::invokeMethod(
                        widget, [widget] { widget->update(); }, Qt::QueuedConnection);
                },
                this);
            QMetaObject::invokeMethod(
                this, [this] { m_surface.onReady(); }, Qt::QueuedConnection);
        }

        void paintGL() override
        {
            auto& gl = *context()->functions();
            const auto size = QSizeF(this->size()) * devicePixelRatioF();
            if (m_context)
                takePicture(size);
            QOpenGLFramebufferObject::bindDefault();
            gl.glViewport(0, 0, static_cast<GLsizei>(size.width()), static_cast<GLsizei>(size.height()));
            gl.glDisable(GL_SCISSOR_TEST);
            gl.glDisable(GL_BLEND);
            gl.glClearColor(0, 0, 0, 1);
            gl.glClear(GL_COLOR_BUFFER_BIT);
            if (m_blank || !m_hasPicture || !m_target || m_drawnPlacement.isEmpty())
                return;
            const auto source
                = QOpenGLTextureBlitter::sourceTransform(m_drawnPlacement.shownIn(m_target->size()),
                    m_target->size(), QOpenGLTextureBlitter::OriginTopLeft);
            m_blitter->bind();
            m_blitter->blit(
                m_target->texture(), blitterTransform(m_drawnPlacement.toWidget(size), size), source);
            m_blitter->release();
        }

    private:
        void takePicture(QSizeF widget)
        {
            const bool isNew = (mpv_render_context_update(m_context) & MPV_RENDER_UPDATE_FRAME) != 0;
            const auto wanted = m_placement.renderSize(widget);
            const bool isOtherSize = m_target && !wanted.isEmpty() && m_target->size() != wanted;
            if (!isNew && !m_changed && !isOtherSize)
                return;
            mpv_render_frame_info info {};
            mpv_render_context_get_info(m_context, {MPV_RENDER_PARAM_NEXT_FRAME_INFO, &info});
            m_hasFrame = m_hasFrame || (info.flags & MPV_RENDER_FRAME_INFO_PRESENT) != 0;
            const bool isThere = m_hasFrame && !wanted.isEmpty();
            if (isThere && (!m_target || m_target->size() != wanted))
                m_target = std::make_unique<QOpenGLFramebufferObject>(wanted);
            // Without a picture the call still has to be made: the player waits for it.
            int skip = isThere ? 0 : 1;
            int blockForTargetTime = 0;
            mpv_opengl_fbo target {
                isThere ? static_cast<int>(m_target->handle()) : 0, wanted.width(), wanted.height(), 0};
            mpv_render_param parameters[]
                = {{MPV_RENDER_PARAM_OPENGL_FBO, &target}, {MPV_RENDER_PARAM_SKIP_RENDERING, &skip},
                    {MPV_RENDER_PARAM_BLOCK_FOR_TARGET_TIME, &blockForTargetTime},
                    {MPV_RENDER_PARAM_INVALID, nullptr}};
            if (mpv_render_context_render(m_context, parameters) < 0 || !isThere)
                return;
            m_changed = false;
            m_hasPicture = true;
            m_drawnPlacement = m_placement;
            QMetaObject::invokeMethod(
                this, [this, serial = m_serial] { m_surface.onPicture(serial == m_serial); },
                Qt::QueuedConnection);
        }

        void release()
        {
            if (!m_context)
                return;
            makeCurrent();
            mpv_render_context_set_update_callback(m_context, nullptr, nullptr);
            mpv_render_context_free(std::exchange(m_context, nullptr));
            m_target.reset();
            m_blitter.reset();
            m_hasPicture = m_hasFrame = false;
            doneCurrent();
        }

        mpv_handle* m_player;
        PictureSurface& m_surface;
        mpv_render_context* m_context = nullptr;
        std::unique_ptr<QOpenGLTextureBlitter> m_blitter; ///< new for each context: it is made once only
        std::unique_ptr<QOpenGLFramebufferObject> m_target; ///< the encoded picture as large as it is shown
        PicturePlacement m_placement;
        PicturePlacement m_drawnPlacement;
        std::uint64_t m_serial = 0; ///< of the placement
        bool m_changed = false; ///< the placement, since a picture was taken
        bool m_hasFrame = false; ///< the player had something to draw before
        bool m_hasPicture = false; ///< the texture holds what is to be shown
        bool m_blank = false;
    };

    class OpenGLSurface : public PictureSurface
    {
    public:
        OpenGLSurface(mpv_handle* player, QWidget* parent)
            : m_widget(std::make_unique<OpenGLWidget>(player, *this, parent))
        {
        }

        QWidget* widget() override { return m_widget.get(); }
        [[nodiscard]] bool isReady() const override { return m_widget->isReady(); }
        void setPlacement(const PicturePlacement& placement) override { m_widget->setPlacement(placement); }
        void setBlank(bool blank) override { m_widget->setBlank(blank); }
        void clear() override { m_widget->clear(); }

    private:
        std::unique_ptr<OpenGLWidget> m_widget;
    };

    bool probeOpenGL()
    {
        QOffscreenSurface surface;
        surface.create();
        QOpenGLContext context;
        if (!surface.isValid() || !context.create() || !context.makeCurrent(&surface))
            return false;
        const auto version = context.format().version();
        const auto* name = reinterpret_cast<const char*>(context.functions()->glGetString(GL_RENDERER));
        const auto renderer = QString::fromLatin1(name ? name : "");
        context.doneCurrent();
        if (version < (context.isOpenGLES() ? std::pair {2, 0} : std::pair {2, 1}))
            return false;
        for (const auto* software : {"llvmpipe", "softpipe", "swrast", "Software Rasterizer"})
            if (renderer.contains(QLatin1String(software), Qt::CaseInsensitive))
                return false;
        return true;
    }

} // namespace

std::unique_ptr<PictureSurface> makeOpenGLSurface(mpv_handle* player, QWidget* parent)
{
    return std::make_unique<OpenGLSurface>(player, parent);
}

bool hasUsefulOpenGL()
{
    static const bool isUseful = probeOpenGL();
    return isUseful;
}

} // namespace reelwright
