/*
 * What strellctl uses of GStreamer: above all a pipeline with one application source, run to its end.
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

/* Builds a pipeline, not started, as gst-launch-1.0 would. Throws Failure when an element is not installed.
 */
GstElement *build_pipeline(const std::string &description);

/* Why a pipeline has failed, for a person, waiting for that up to `timeout_ns`; nothing when it has not. With
 * `until_end` the end of its stream is waited for too. */
std::optional<std::string> pipeline_error(GstElement *pipeline, uint64_t timeout_ns, bool until_end);

/* What came next out of an appsink: one buffer's bytes. Nothing when none came within `timeout_ns`, or none
 * will come any more. */
std::optional<std::string> pull_bytes(GstElement *sink, uint64_t timeout_ns);

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
    /* The same, fed with whatever `caps` says. */
    Pipeline(const std::string &caps, const std::string &rest, const std::string &location = "");
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

    /* All that has come out of the element named "sink", an appsink with wait-on-eos=false. */
    std::string take_output();

    /* Width and height that the element named "parser" has found. */
    std::optional<StreamFormat> parsed_format(Codec codec) const;

  private:
    GstElement *pipeline_;
    GstElement *source_;
};

} // namespace ctl

#endif
