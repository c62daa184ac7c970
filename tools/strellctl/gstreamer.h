/*
 * What strellctl uses of GStreamer: a pipeline with one application source, run to its end.
 *
 * Parsers tell codec and size from a bitstream (bitstream.h), muxers write MP4 and Matroska
 * (recording_muxed.cpp). GStreamer is started by the first pipeline, if not
 * before; commands that need none do without it.
 *
 * Threads: one at a time.
 */
#ifndef STRELLCTL_GSTREAMER_H
#define STRELLCTL_GSTREAMER_H

#include "strellctl/frame.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

typedef struct _GstElement GstElement;

namespace ctl {

/* Once, or again to no effect. Throws Failure when it cannot start. */
void start_gstreamer();

/* What a pipeline is fed with: "video/x-h265,stream-format=byte-stream,alignment=au". */
std::string source_caps(Codec codec);

/* The name of the parser element. */
const char *parser_element(Codec codec);

class Pipeline {
  public:
    /*
     * Builds and starts "appsrc ! `rest`", fed with access units of `codec`. A `location` goes to the element
     * named "file", whatever letters it has. Throws Failure when an element is not installed.
     */
    Pipeline(Codec codec, const std::string &rest, const std::string &location = "");
    ~Pipeline();
    Pipeline(const Pipeline &) = delete;
    Pipeline &operator=(const Pipeline &) = delete;

    /* One access unit and its time. `duration_us` may be 0: not known. The bytes are copied. */
    void push(std::string_view payload, uint64_t time_us, uint64_t duration_us);

    /* Bytes that were pushed and not taken yet. */
    uint64_t waiting_bytes() const;

    /* Why the pipeline has failed, if it has; for a person. */
    std::optional<std::string> error();

    /* Ends the stream and waits until everything behind has dealt with it: what went wrong, or nothing. */
    std::optional<std::string> finish(uint32_t timeout_s);

    /* Width and height that the element named "parser" has found. */
    std::optional<StreamFormat> parsed_format(Codec codec) const;

  private:
    std::optional<std::string> next_error(uint64_t timeout_ns, bool until_end);

    GstElement *pipeline_;
    GstElement *source_;
};

} // namespace ctl

#endif
