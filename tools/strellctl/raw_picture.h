/*
 * Pictures that the daemon sends on request: what is in a reply, and how it becomes a file.
 *
 * Threads: one at a time.
 */
#ifndef STRELLCTL_RAW_PICTURE_H
#define STRELLCTL_RAW_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ctl {

/* What libboardav.h says of a raw frame: planar 4:2:0 (I420). */
constexpr uint32_t raw_width = 640;
constexpr uint32_t raw_height = 384;
constexpr size_t raw_picture_bytes = raw_width * raw_height * 3 / 2;

/* Header area in front of a raw frame that was asked for: RawFrameInfo, filled up. */
constexpr size_t raw_header_bytes = 64;

/* The picture in a reply; valid as long as `frame`. Throws Failure for an empty reply (the board could not
 * take one) and for what is no such reply. */
std::string_view jpeg_in(std::string_view frame);
std::string_view raw_picture_in(std::string_view frame);

enum class PictureFormat { jpeg, yuv, y4m, png };

/* By the ending of the name; "-" is standard output, as the picture came. Throws Usage when the ending is not
 * for a picture, or needs one that is raw. */
PictureFormat picture_format(const std::string &path, bool raw);

/* The file of a raw picture. Throws Failure. */
std::string encoded(std::string_view raw_picture, PictureFormat format);

} // namespace ctl

#endif
