#include "app/player/PictureSurface.h"

#include <QImage>
#include <QMetaObject>
#include <QPainter>
#include <QResizeEvent>
#include <QWidget>

#include <mpv/client.h>
#include <mpv/render.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>

namespace reelwright {
namespace {

    /// A picture as it was drawn, and the place that it was drawn for.
    struct Drawn
    {
        QImage image;
        PicturePlacement placement;
        std::uint64_t serial = 0; ///< of the placement
    };

    /// An image whose lines start where the scaler likes them to.
    QImage alignedImage(QSize size)
    {
        constexpr qsizetype kAlignment = 64;
        const auto bytesPerLine
            = (static_cast<qsizetype>(size.width()) * 4 + kAlignment - 1) / kAlignment * kAlignment;
        auto* memory = static_cast<uchar*>(
            std::aligned_alloc(kAlignment, static_cast<std::size_t>(bytesPerLine * size.height())));
        if (!memory)
            return {};
        return {memory, size.width(), size.height(), bytesPerLine, QImage::Format_RGB32,
            [](void* data) { std::free(data); }, memory}; // NOLINT: the pair of aligned_alloc
    }

    /// Takes pictures from the player on a thread of its own, as large as they are shown.
    class Renderer
    {
    public:
        /// `onPicture` is called on the thread, with every picture.
        Renderer(mpv_render_context* context, std::function<void(Drawn)> onPicture)
            : m_context(context)
            , m_onPicture(std::move(onPicture))
        {
            mpv_render_context_set_update_callback(
                m_context,
                [](void* self) {
                    auto* renderer = static_cast<Renderer*>(self);
                    const std::lock_guard lock {renderer->m_mutex};
                    renderer->m_asked = true;
                    renderer->m_wake.notify_one();
                },
                this);
            m_thread = std::thread([this] { run(); });
        }
        Renderer(const Renderer&) = delete;
        Renderer& operator=(const Renderer&) = delete;
        ~Renderer()
        {
            mpv_render_context_set_update_callback(m_context, nullptr, nullptr);
            {
                const std::lock_guard lock {m_mutex};
                m_ended = true;
                m_wake.notify_one();
            }
            m_thread.join();
            mpv_render_context_free(m_context);
        }

        void setTarget(const PicturePlacement& placement, std::uint64_t serial, QSizeF widget)
        {
            const std::lock_guard lock {m_mutex};
            m_placement = placement;
            m_serial = serial;
            m_widget = widget;
            m_changed = true;
            m_wake.notify_one();
        }

    private:
        void run()
        {
            for (;;) {
                PicturePlacement placement;
                std::uint64_t serial = 0;
                QSizeF widget;
                bool changed = false;
                {
                    std::unique_lock lock {m_mutex};
                    m_wake.wait(lock, [&] { return m_asked || m_changed || m_ended; });
                    if (m_ended)
                        return;
                    m_asked = false;
                    changed = std::exchange(m_changed, false);
                    placement = m_placement;
                    serial = m_serial;
                    widget = m_widget;
                }
                const bool isNew = (mpv_render_context_update(m_context) & MPV_RENDER_UPDATE_FRAME) != 0;
                if (isNew || changed)
                    draw(placement, serial, widget);
            }
        }

        void draw(const PicturePlacement& placement, std::uint64_t serial, QSizeF widget)
        {
            mpv_render_frame_info info {};
            mpv_render_context_get_info(m_context, {MPV_RENDER_PARAM_NEXT_FRAME_INFO, &info});
            const auto size = placement.renderSize(widget);
            m_hasFrame = m_hasFrame || (info.flags & MPV_RENDER_FRAME_INFO_PRESENT) != 0;
            // Without a picture the call still has to be made: the player waits for it.
            auto image = alignedImage(size.isEmpty() ? QSize(16, 16) : size);
            if (image.isNull())
                return;
            int pixels[] = {image.width(), image.height()};
            auto stride = static_cast<std::size_t>(image.bytesPerLine());
            int blockForTargetTime = 0;
            char format[] = "bgr0"; // bytes of QImage::Format_RGB32 on little-endian machines
            if constexpr (Q_BYTE_ORDER == Q_BIG_ENDIAN)
                std::copy_n("0rgb", 4, format);
            mpv_render_param parameters[]
                = {{MPV_RENDER_PARAM_SW_SIZE, pixels}, {MPV_RENDER_PARAM_SW_FORMAT, format},
                    {MPV_RENDER_PARAM_SW_STRIDE, &stride}, {MPV_RENDER_PARAM_SW_POINTER, image.bits()},
                    {MPV_RENDER_PARAM_BLOCK_FOR_TARGET_TIME, &blockForTargetTime},
                    {MPV_RENDER_PARAM_INVALID, nullptr}};
            if (mpv_render_context_render(m_context, parameters) < 0 || !m_hasFrame || size.isEmpty())
                return;
            m_onPicture({std::move(image), placement, serial});
        }

        mpv_render_context* m_context;
        std::function<void(Drawn)> m_onPicture;
        std::mutex m_mutex;
        std::condition_variable m_wake;
        PicturePlacement m_placement;
        std::uint64_t m_serial = 0;
        QSizeF m_widget;
        bool m_asked = false; ///< the player has something new
        bool m_changed = false; ///< the same picture is wanted in another size
        bool m_ended = false;
        bool m_hasFrame = false; ///< used by the thread only: the player had something to draw before
        std::thread m_thread;
    };

    class SoftwareWidget : public QWidget
    {
    public:
        explicit SoftwareWidget(QWidget* parent)
            : QWidget(parent)
        {
            setAttribute(Qt::WA_OpaquePaintEvent);
        }

        std::function<void()> onSize = [] {};
        Drawn drawn;
        bool blank = false;

    protected:
        void resizeEvent(QResizeEvent* event) override
        {
            QWidget::resizeEvent(event);
            onSize();
        }

        void paintEvent(QPaintEvent* /*event*/) override
        {
            QPainter painter(this);
            painter.fillRect(rect(), Qt::black);
            if (blank || drawn.image.isNull() || drawn.placement.isEmpty())
                return;
            // In device pixels, so that a picture of the right size is copied and not resampled.
            const auto ratio = devicePixelRatioF();
            const auto source = drawn.placement.shownIn(drawn.image.size());
            const auto transform = drawn.placement.toWidget(QSizeF(size()) * ratio);
            const auto perPixel = QTransform::fromScale(1 / source.width(), 1 / source.height()) * transform;
            painter.setTransform(QTransform::fromScale(1 / ratio, 1 / ratio), false);
            const bool isCopy = qFuzzyCompare(perPixel.m11(), 1) && qFuzzyCompare(perPixel.m22(), 1)
                && qFuzzyIsNull(perPixel.m12()) && qFuzzyIsNull(perPixel.m21());
            if (isCopy) {
                painter.drawImage(QPointF(perPixel.dx(), perPixel.dy()), drawn.image, source);
                return;
            }
            painter.setRenderHint(QPainter::SmoothPixmapTransform);
            painter.setTransform(perPixel, true);
            painter.drawImage(QRectF(QPointF(), source.size()), drawn.image, source);
        }
    };

    class SoftwareSurface : public PictureSurface
    {
    public:
        SoftwareSurface(mpv_render_context* context, QWidget* parent)
            : m_widget(new SoftwareWidget(parent))
            , m_renderer(
                  std::make_unique<Renderer>(context, [this](Drawn drawn) { receive(std::move(drawn)); }))
        {
            m_widget->onSize = [this] { retarget(); };
        }
        SoftwareSurface(const SoftwareSurface&) = delete;
        SoftwareSurface& operator=(const SoftwareSurface&) = delete;
        ~SoftwareSurface() override
        {
            m_renderer.reset(); // its thread speaks to the widget
            delete m_widget;
        }

        QWidget* widget() override { return m_widget; }
        [[nodiscard]] bool isReady() const override { return true; }

        void setPlacement(const PicturePlacement& placement) override
        {
            m_placement = placement;
            ++m_serial;
            retarget();
        }

        void setBlank(bool blank) override
        {
            if (std::exchange(m_widget->blank, blank) != blank)
                m_widget->update();
        }

        void clear() override
        {
            m_widget->drawn = {};
            m_widget->update();
        }

    private:
        void retarget()
        {
            m_renderer->setTarget(
                m_placement, m_serial, QSizeF(m_widget->size()) * m_widget->devicePixelRatioF());
        }

        /// On the renderer's thread.
        void receive(Drawn drawn)
        {
            const std::lock_guard lock {m_mutex};
            const bool isFirst = m_latest.image.isNull();
            m_latest = std::move(drawn);
            // One message for all pictures that came before it was read.
            if (isFirst)
                QMetaObject::invokeMethod(
                    m_widget, [this] { show(); }, Qt::QueuedConnection);
        }

        void show()
        {
            {
                const std::lock_guard lock {m_mutex};
                m_widget->drawn = std::exchange(m_latest, {});
            }
            m_widget->update();
            onPicture(m_widget->drawn.serial == m_serial);
        }

        SoftwareWidget* m_widget;
        PicturePlacement m_placement;
        std::uint64_t m_serial = 0; ///< counts the calls of setPlacement
        std::mutex m_mutex;
        Drawn m_latest; ///< not yet taken over by the widget
        std::unique_ptr<Renderer> m_renderer;
    };

} // namespace

std::unique_ptr<PictureSurface> makeSoftwareSurface(mpv_handle* player, QWidget* parent)
{
    char type[] = MPV_RENDER_API_TYPE_SW;
    mpv_render_param parameters[] = {{MPV_RENDER_PARAM_API_TYPE, type}, {MPV_RENDER_PARAM_INVALID, nullptr}};
    mpv_render_context* context = nullptr;
    if (mpv_render_context_create(&context, player, parameters) < 0)
        return nullptr;
    return std::make_unique<SoftwareSurface>(context, parent);
}

} // namespace reelwright
