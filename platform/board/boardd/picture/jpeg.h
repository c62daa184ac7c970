/*
 * Still pictures: JPEG (ITU-T T.81) as good as fits.
 *
 * Threads: any; one at a time for each picture.
 */
#ifndef PLATFORM_BOARD_BOARDD_PICTURE_JPEG_H
#define PLATFORM_BOARD_BOARDD_PICTURE_JPEG_H

#include <cstdint>
#include <functional>
#include <gst/gst.h>
#include <vector>

namespace board {

using Bytes = std::vector<uint8_t>;

/* A picture in memory of its own: I420, rows without gaps. Width and height are even. */
struct Image {
    int32_t width;
    int32_t height;
    Bytes bytes;
};

/* What to do with a picture of another shape. */
enum class Shape { stretched, bordered };

/* A frame of the capture in another size. Empty bytes when it is no raw picture. */
Image scaled(GstBuffer *buffer, GstCaps *caps, int32_t width, int32_t height, Shape shape);

/* An image in half its size, no smaller than 16 pixels each way. */
Image halved(const Image &image);

/* From video's range of values (luma 16 to 235) to all of 0 to 255, as JPEG files have it. */
void use_full_range(Image &image);

/* The image as JPEG. `quality` is 1 to 100. Empty when the library fails. */
Bytes jpeg_of(const Image &image, int quality);

/*
 * Finds the best quality whose result fits. It begins with the one that was right the last time, so when
 * pictures are alike it rarely needs more than one attempt; it never needs more than 6.
 */
class QualitySearch {
  public:
    using Encode = std::function<Bytes(int quality)>;

    /* What `encode`, which is to give more bytes for more quality, gives for a good quality in no more than
     * `capacity` bytes: the best of the qualities in use, or one with which three quarters are full. Empty
     * when nothing fits. */
    Bytes best(size_t capacity, const Encode &encode);

  private:
    size_t last_ = 0; /* an index into the qualities, best first */
};

/* The image within `capacity` bytes: at lower and lower quality, then in half the size, and so on. Empty when
 * not even the smallest picture fits, below some 700 bytes. */
Bytes jpeg_within(size_t capacity, const Image &image, QualitySearch &search);

} // namespace board

#endif
