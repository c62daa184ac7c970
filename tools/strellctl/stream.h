/*
 * The two video streams: what people call them, and where they are.
 */
#ifndef STRELLCTL_STREAM_H
#define STRELLCTL_STREAM_H

#include <array>
#include <string>

namespace ctl {

struct Stream {
    const char *name; // on the command line
    const char *path; // of the channel
};

inline constexpr std::array streams = {
    Stream{"main", "/run/video_mainstream"},
    Stream{"sub", "/run/video_substream"},
};

/* The stream of that name; throws Usage when there is none. */
const Stream &stream_named(const std::string &name);

} // namespace ctl

#endif
