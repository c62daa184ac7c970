/*
 * The sensor: raw frames of one size and rate from the chosen source, looking as the picture's settings say,
 * with the time stamp written into them.
 *
 *     source ! [decoder] ! videorate ! scale with borders ! I420 ! (picture) ! text ! appsink
 *
 * Threads: made and destroyed on the loop thread. Frames are delivered on the pipeline's own thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_CAPTURE_H
#define PLATFORM_BOARD_BOARDD_CAPTURE_H

#include "board/boardd/picture/picture.h"
#include "board/boardd/pipeline.h"
#include "board/boardd/profile.h"
#include "board/boardd/source.h"

#include <atomic>
#include <gst/app/gstappsink.h>
#include <memory>

namespace board {

/* A raw frame on its way to the encoders, on the thread of the capture. */
class RawFrameSink {
  public:
    virtual ~RawFrameSink() = default;

    /*
     * `buffer` is borrowed: who keeps it takes a reference, and never writes to it, since the picture is
     * shared. Its PTS is the capture time in nanoseconds of CLOCK_MONOTONIC. `caps`, borrowed too, describes
     * the picture.
     */
    virtual void take_raw(GstBuffer *buffer, GstCaps *caps) = 0;

    /* A little earlier: its luma, before anything is drawn or written into it. `look` is Picture::look. Valid
     * during the call. Who has no use for it leaves it alone. */
    virtual void look_at(const Plane & /*y*/, uint32_t /*look*/) {}
};

class Capture {
  public:
    /*
     * Starts. `picture` and `sink` outlive this. `callbacks` tell, on the loop thread, that the source has
     * failed or come to its end; there are no more frames then. They may destroy the capture. Throws
     * std::runtime_error when the source can not even be put together.
     */
    Capture(struct ev_loop *loop, const Source &source, const CaptureFormat &format, Picture &picture,
            RawFrameSink &sink, Pipeline::Callbacks callbacks);
    ~Capture();
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;

    const CaptureFormat &format() const { return format_; }

    /* How many frames have come so far; wraps. */
    uint32_t frames() const { return frames_.load(std::memory_order_relaxed); }

  private:
    static GstPadProbeReturn on_overlay(GstPad *pad, GstPadProbeInfo *info, gpointer self);
    static GstFlowReturn on_sample(GstAppSink *sink, gpointer self);
    void write_stamp(GstElement *overlay);
    GstBuffer *process(GstBuffer *buffer, GstCaps *caps, bool paints);
    void deliver(GstSample *sample, GstClockTime base_time);

    CaptureFormat format_;
    bool is_scene_;
    Picture &picture_;
    std::string stamp_; /* as it was last written; the pipeline's thread */
    RawFrameSink &sink_;
    std::atomic<uint32_t> frames_{0};
    std::unique_ptr<Pipeline> pipeline_;
    std::unique_ptr<SourceLinker> linker_;
};

} // namespace board

#endif
