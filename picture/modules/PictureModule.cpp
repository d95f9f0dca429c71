#include "picture/modules/PictureModule.h"

#include "picture/modules/ColorProfile.h"
#include "picture/modules/Exporter.h"
#include "picture/modules/HardwareEncoder.h"
#include "picture/modules/Stills.h"

extern "C" {
#include <libavutil/log.h>
}

#include <fmt/format.h>

#include <algorithm>
#include <exception>

namespace reelwright::picture {
namespace {

    /// Everything that is thrown becomes a text at the module's border.
    template <class Work> std::string guarded(const Work& work)
    {
        try {
            work();
            return {};
        } catch (const Failure& failure) {
            return failure.text;
        } catch (const std::exception& failure) {
            return failure.what();
        }
    }

    /// Square pixels in the shape that is shown.
    constexpr auto kSquare = "scale=w='trunc(iw*if(sar,sar,1)+0.5)':h=ih,setsar=1,";

    Pixels pixelsOf(const AVFrame& frame)
    {
        Pixels pixels {frame.width, frame.height, {}};
        const auto row = static_cast<std::size_t>(frame.width) * 3;
        pixels.rgb.resize(row * static_cast<std::size_t>(frame.height));
        for (int y = 0; y < frame.height; ++y)
            std::copy_n(frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0], row,
                pixels.rgb.data() + static_cast<std::size_t>(y) * row);
        return pixels;
    }

    class Library final : public PictureLibrary
    {
    public:
        Library() { av_log_set_level(AV_LOG_FATAL); }

        bool hasEncoder(const std::string& name) override
        {
            return avcodec_find_encoder_by_name(name.c_str()) != nullptr;
        }
        bool hasMuxer(const std::string& name) override
        {
            return av_guess_format(name.c_str(), nullptr, nullptr) != nullptr;
        }

        std::string hardwareEncoder(const std::string& name) override
        {
            std::string found;
            static_cast<void>(guarded([&] { found = workingHardwareEncoder(name); }));
            return found;
        }

        std::string exportMovie(ByteSource& movie, const ExportSettings& settings, const std::string& path,
            const ExportReport& report, bool& wasStopped) override
        {
            return guarded([&] { wasStopped = !Exporter(movie, settings, path, report).run(); });
        }

        std::string stills(ByteSource& movie, const std::vector<int>& trackIDs,
            const std::vector<Seconds>& times, const std::string& type,
            const std::function<bool(std::size_t, std::span<const std::uint8_t>)>& take) override
        {
            return guarded([&] {
                const auto& image = imageType(type);
                // The first picture tells how deep they are.
                FrameReader reader {movie, trackIDs,
                    fmt::format("{}format={}", kSquare,
                        depthOf(movie, trackIDs) > 8 ? image.deepFormat : image.format)};
                const auto profile = colorProfileOf(reader.stream());
                for (std::size_t i = 0; i < times.size(); ++i) {
                    const auto packet = encodeImage(*reader.at(times[i]), image);
                    const auto file
                        = withColorProfile({packet->data, packet->data + packet->size}, type, profile);
                    if (!take(i, file))
                        return;
                }
            });
        }

        std::string pictures(ByteSource& movie, const std::vector<int>& trackIDs,
            const std::vector<Seconds>& times, int mostWidth, int mostHeight,
            const std::function<bool(std::size_t, const Pixels&)>& take) override
        {
            return guarded([&] {
                std::string filters = kSquare;
                if (mostWidth > 0 && mostHeight > 0)
                    filters += fmt::format(
                        "scale=w={}:h={}:force_original_aspect_ratio=decrease,", mostWidth, mostHeight);
                FrameReader reader {movie, trackIDs, filters + "format=rgb24"};
                for (std::size_t i = 0; i < times.size(); ++i)
                    if (!take(i, pixelsOf(*reader.at(times[i]))))
                        return;
            });
        }

        std::string sheet(const std::vector<Pixels>& pictures, const std::vector<std::string>& texts,
            int columns, std::vector<std::uint8_t>& file) override
        {
            return guarded([&] {
                const auto frame = drawSheet(pictures, texts, columns);
                const auto packet = encodeImage(*frame, imageType("png"));
                file.assign(packet->data, packet->data + packet->size);
            });
        }

    private:
        static int depthOf(ByteSource& movie, const std::vector<int>& trackIDs)
        {
            const Input input {movie};
            for (unsigned i = 0; i < input->nb_streams; ++i) {
                const auto& stream = *input->streams[i];
                if (stream.codecpar->codec_type != AVMEDIA_TYPE_VIDEO || !Input::isOf(stream, trackIDs))
                    continue;
                const auto* layout = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(stream.codecpar->format));
                return layout ? layout->comp[0].depth : 8;
            }
            return 8;
        }

        static FrameHandle drawSheet(
            const std::vector<Pixels>& pictures, const std::vector<std::string>& texts, int columns)
        {
            if (pictures.empty())
                throw Failure {"there is no picture for a sheet"};
            constexpr int kGap = 8;
            constexpr int kTextHeight = 20;
            int width = 0;
            int height = 0;
            for (const auto& picture : pictures) {
                width = std::max(width, picture.width);
                height = std::max(height, picture.height);
            }
            const int rows = (static_cast<int>(pictures.size()) + columns - 1) / columns;
            auto frame = newFrame();
            frame->format = AV_PIX_FMT_RGB24;
            frame->width = columns * (width + kGap) + kGap;
            frame->height = rows * (height + kTextHeight + kGap) + kGap;
            checked(av_frame_get_buffer(frame.get(), 0), "there is no memory for the sheet");
            constexpr std::uint8_t kGround = 32;
            for (int y = 0; y < frame->height; ++y)
                std::fill_n(frame->data[0] + static_cast<std::ptrdiff_t>(y) * frame->linesize[0],
                    frame->width * 3, kGround);
            std::string drawing;
            for (std::size_t i = 0; i < pictures.size(); ++i) {
                const auto& picture = pictures[i];
                const int left = kGap + static_cast<int>(i) % columns * (width + kGap);
                const int top = kGap + static_cast<int>(i) / columns * (height + kTextHeight + kGap);
                const auto row = static_cast<std::size_t>(picture.width) * 3;
                for (int y = 0; y < picture.height; ++y)
                    std::copy_n(picture.rgb.data() + static_cast<std::size_t>(y) * row, row,
                        frame->data[0] + static_cast<std::ptrdiff_t>(top + y) * frame->linesize[0]
                            + left * 3);
                std::string text;
                for (const char character : i < texts.size() ? texts[i] : std::string {}) {
                    if (std::string_view(":;,[]'\\%").find(character) != std::string_view::npos)
                        text += "\\\\\\";
                    text += character;
                }
                drawing += fmt::format(
                    "drawtext=text={}:x={}:y={}:fontsize=13:fontcolor=white,", text, left, top + height + 3);
            }
            return withText(std::move(frame), drawing + "format=rgb24");
        }

        /// The sheet with its texts; without them on a machine that has no letters to draw.
        static FrameHandle withText(FrameHandle sheet, const std::string& description)
        {
            try {
                PictureShape shape;
                shape.width = sheet->width;
                shape.height = sheet->height;
                shape.format = AV_PIX_FMT_RGB24;
                Filters filters;
                filters.openVideo(shape, description);
                sheet->pts = 0;
                filters.push(0, sheet.get());
                auto drawn = newFrame();
                if (filters.pull(drawn.get()))
                    return drawn;
            } catch (const Failure&) {
                return sheet;
            }
            return sheet;
        }
    };

} // namespace
} // namespace reelwright::picture

reelwright::picture::PictureLibrary* reelwrightPictureLibrary()
{
    static reelwright::picture::Library library;
    return &library;
}
