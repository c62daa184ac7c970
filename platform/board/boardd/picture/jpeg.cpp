#include "board/boardd/picture/jpeg.h"

#include <algorithm>
#include <array>
#include <gst/video/video.h>
#include <iterator>
#include <memory>
#include <turbojpeg.h>

namespace board {

namespace {

/* Best first. */
constexpr int qualities[] = {90, 80, 70, 60, 50, 40, 30, 22, 15, 9, 4, 1};

constexpr int32_t least_pixels = 16;

GstVideoInfo i420(int32_t width, int32_t height) {
    GstVideoInfo info;
    gst_video_info_set_format(&info, GST_VIDEO_FORMAT_I420, static_cast<guint>(width),
                              static_cast<guint>(height));
    // Rows without gaps, whatever alignment GStreamer prefers.
    const auto luma = static_cast<gsize>(width) * static_cast<gsize>(height);
    info.stride[0] = width;
    info.stride[1] = info.stride[2] = width / 2;
    info.offset[1] = luma;
    info.offset[2] = luma + luma / 4;
    info.size = luma + luma / 2;
    return info;
}

/* Where a picture of one shape goes in one of another, as options of the converter. */
GstStructure *placement(const GstVideoInfo &from, int32_t width, int32_t height, Shape shape) {
    GstStructure *options =
        gst_structure_new("options", GST_VIDEO_CONVERTER_OPT_RESAMPLER_METHOD,
                          GST_TYPE_VIDEO_RESAMPLER_METHOD, GST_VIDEO_RESAMPLER_METHOD_LINEAR, nullptr);
    if (shape == Shape::bordered) {
        const GstVideoRectangle source = {0, 0, GST_VIDEO_INFO_WIDTH(&from), GST_VIDEO_INFO_HEIGHT(&from)};
        const GstVideoRectangle target = {0, 0, width, height};
        GstVideoRectangle place;
        gst_video_sink_center_rect(source, target, &place, TRUE);
        gst_structure_set(options, GST_VIDEO_CONVERTER_OPT_DEST_X, G_TYPE_INT, place.x / 2 * 2,
                          GST_VIDEO_CONVERTER_OPT_DEST_Y, G_TYPE_INT, place.y / 2 * 2,
                          GST_VIDEO_CONVERTER_OPT_DEST_WIDTH, G_TYPE_INT, place.w,
                          GST_VIDEO_CONVERTER_OPT_DEST_HEIGHT, G_TYPE_INT, place.h, nullptr);
    }
    return options;
}

Image converted(GstBuffer *buffer, GstVideoInfo from, int32_t width, int32_t height, Shape shape) {
    Image image = {width, height, {}};
    GstVideoInfo to = i420(width, height);
    to.colorimetry = from.colorimetry;
    to.chroma_site = from.chroma_site;
    to.fps_n = from.fps_n; // the converter wants them to be the same
    to.fps_d = from.fps_d;
    image.bytes.resize(to.size);
    GstBuffer *target = gst_buffer_new_wrapped_full(static_cast<GstMemoryFlags>(0), image.bytes.data(),
                                                    to.size, 0, to.size, nullptr, nullptr);
    GstVideoConverter *converter = gst_video_converter_new(&from, &to, placement(from, width, height, shape));
    GstVideoFrame source_frame;
    GstVideoFrame target_frame;
    bool done = false;
    if (converter != nullptr && gst_video_frame_map(&source_frame, &from, buffer, GST_MAP_READ) != 0) {
        if (gst_video_frame_map(&target_frame, &to, target, GST_MAP_WRITE) != 0) {
            gst_video_converter_frame(converter, &source_frame, &target_frame);
            gst_video_frame_unmap(&target_frame);
            done = true;
        }
        gst_video_frame_unmap(&source_frame);
    }
    g_clear_pointer(&converter, gst_video_converter_free);
    gst_buffer_unref(target);
    return done ? std::move(image) : Image{width, height, {}};
}

int32_t half(int32_t pixels) {
    return std::max(least_pixels, pixels / 4 * 2);
}

/* Spreads `range` values around `middle`, which becomes `new_middle`, over 255. */
std::array<uint8_t, 256> spread(int32_t middle, int32_t new_middle, int32_t range) {
    std::array<uint8_t, 256> table;
    for (int32_t i = 0; i < 256; ++i) {
        const int32_t value = new_middle + ((i - middle) * 510 / range + (i < middle ? -1 : 1)) / 2;
        table[static_cast<size_t>(i)] = static_cast<uint8_t>(std::clamp(value, 0, 255));
    }
    return table;
}

struct TurboJpeg {
    void operator()(void *handle) const { tjDestroy(handle); }
    void operator()(unsigned char *bytes) const { tjFree(bytes); }
};

} // namespace

Image scaled(GstBuffer *buffer, GstCaps *caps, int32_t width, int32_t height, Shape shape) {
    GstVideoInfo from;
    return gst_video_info_from_caps(&from, caps) != 0 ? converted(buffer, from, width, height, shape)
                                                      : Image{width, height, {}};
}

Image halved(const Image &image) {
    const GstVideoInfo from = i420(image.width, image.height);
    // Only read from, whatever the signature says.
    GstBuffer *buffer =
        gst_buffer_new_wrapped_full(GST_MEMORY_FLAG_READONLY, const_cast<uint8_t *>(image.bytes.data()),
                                    image.bytes.size(), 0, image.bytes.size(), nullptr, nullptr);
    Image result = converted(buffer, from, half(image.width), half(image.height), Shape::stretched);
    gst_buffer_unref(buffer);
    return result;
}

void use_full_range(Image &image) {
    static const auto luma = spread(16, 0, 219);
    static const auto chroma = spread(128, 128, 224);
    const auto colour = image.bytes.begin() + static_cast<ptrdiff_t>(image.width) * image.height;
    std::transform(image.bytes.begin(), colour, image.bytes.begin(), [](uint8_t byte) { return luma[byte]; });
    std::transform(colour, image.bytes.end(), colour, [](uint8_t byte) { return chroma[byte]; });
}

Bytes jpeg_of(const Image &image, int quality) {
    const std::unique_ptr<void, TurboJpeg> handle(tjInitCompress());
    const size_t luma = static_cast<size_t>(image.width) * static_cast<size_t>(image.height);
    const unsigned char *y = image.bytes.data();
    const unsigned char *planes[] = {y, y + luma, y + luma + luma / 4};
    unsigned char *made = nullptr;
    unsigned long size = 0;
    const int status = tjCompressFromYUVPlanes(handle.get(), planes, image.width, nullptr, image.height,
                                               TJSAMP_420, &made, &size, quality, 0);
    const std::unique_ptr<unsigned char, TurboJpeg> owner(made);
    return status == 0 ? Bytes(made, made + size) : Bytes();
}

Bytes QualitySearch::best(size_t capacity, const Encode &encode) {
    Bytes best;
    const auto fits = [&](size_t index) {
        Bytes bytes = encode(qualities[index]);
        const bool good = !bytes.empty() && bytes.size() <= capacity;
        if (good) {
            best = std::move(bytes);
            last_ = index;
        }
        return good;
    };
    // Those from `first` to `last` that do not fit come first; the search ends right behind them.
    const auto search = [&](size_t first, size_t last) {
        while (first < last) {
            const size_t middle = first + (last - first) / 2;
            if (fits(middle)) {
                last = middle;
            } else {
                first = middle + 1;
            }
        }
    };
    const size_t start = last_;
    if (!fits(start)) {
        search(start + 1, std::size(qualities));
    } else if (start > 0 && best.size() < capacity / 4) {
        search(0, start);
    } else if (start > 0 && best.size() < capacity / 4 * 3) {
        (void)fits(start - 1);
    }
    return best;
}

Bytes jpeg_within(size_t capacity, const Image &image, QualitySearch &search) {
    Bytes bytes = search.best(capacity, [&](int quality) { return jpeg_of(image, quality); });
    const bool smallest = half(image.width) >= image.width && half(image.height) >= image.height;
    if (bytes.empty() && !smallest) {
        return jpeg_within(capacity, halved(image), search);
    }
    return bytes;
}

} // namespace board
