/*
 * Codec and size of a stream: as the board's words in the frame header tell them, or out of the payload
 * itself, with GStreamer's parsers, whatever the board writes into its header.
 *
 * Threads: one at a time.
 */
#ifndef STRELLCTL_BITSTREAM_H
#define STRELLCTL_BITSTREAM_H

#include "strellctl/frame.h"

#include <optional>
#include <string_view>

namespace ctl {

/*
 * Reads the parameter sets of a key frame. Nothing when it is neither H.265 nor H.264, or has none. Takes
 * some milliseconds. Throws Failure when the parsers are not installed.
 */
std::optional<StreamFormat> format_in_bitstream(std::string_view key_frame);

/* The format of a stream for whoever only wants to show it. Does not look at every frame. */
class FormatFinder {
  public:
    /* Looks at the header, and at the payload of the first key frame (again after each restart of the
     * encoder) when that says nothing. Never throws: without parsers the format stays unknown. */
    void add(const FrameView &frame);

    const std::optional<StreamFormat> &format() const { return format_; }

  private:
    std::optional<StreamFormat> format_;
    bool looked_ = false; // at the payload, since the encoder last started
    uint32_t last_sequence_ = 0;
};

} // namespace ctl

#endif
