/*
 * One encoder: a pipeline of its own, so that it can be made anew without the other's notice.
 *
 *     appsrc ! scale with borders ! x265enc or x264enc ! parser ! appsink
 *
 * Byte-stream access units, no B-frames, nothing held back: each raw frame comes out as one access unit
 * before the next goes in. A key frame every key_frame_interval_s, always an IDR picture with its parameter
 * sets in front.
 *
 * Threads: made and destroyed on the loop thread; take_raw on the capture's thread; request_key_frame on any;
 * encoded frames are delivered on the encoder's own thread, none after the destructor has returned.
 */
#ifndef PLATFORM_BOARD_BOARDD_ENCODER_H
#define PLATFORM_BOARD_BOARDD_ENCODER_H

#include "board/boardd/capture.h"
#include "board/boardd/pace.h"
#include "board/boardd/pipeline.h"
#include "libboardav.h"

#include <gst/app/gstappsrc.h>

namespace board {

/* One access unit. The bytes are valid during the call. */
struct EncodedFrame {
    const uint8_t *bytes;
    uint32_t length;
    bool is_key;
    uint64_t timestamp_us; /* capture time, CLOCK_MONOTONIC */
};

/* Where an encoder's frames go, on the encoder's thread. */
class FrameSink {
  public:
    virtual ~FrameSink() = default;
    virtual void take(const EncodedFrame &frame) = 0;
};

class Encoder : public RawFrameSink {
  public:
    /* Starts; its first frame is a key frame. `channel` has been checked (profile.h). `failed` is called on
     * the loop thread and may destroy the encoder. Throws std::runtime_error when an element is missing. */
    Encoder(struct ev_loop *loop, const VencChannel &channel, FrameSink &sink,
            const std::function<void(const std::string &why)> &failed);
    ~Encoder() override { gst_clear_caps(&input_caps_); }

    /* Drops frames that are too many for the frame rate, and old ones when the encoder is too slow. */
    void take_raw(GstBuffer *buffer, GstCaps *caps) override;

    /* The next frame to go in comes out as a key frame. */
    void request_key_frame();

    /*
     * A new target bit rate, in the limits of profile.h, without a break. False when this encoder cannot go
     * there: x265 takes any rate up to the one it started with, x264 any.
     */
    bool set_bitrate(int32_t bitrate);

  private:
    static GstFlowReturn on_sample(GstAppSink *sink, gpointer self);
    void set_input_caps(GstCaps *caps);

    FrameSink &sink_;
    VencChannel channel_; /* as it started */
    Pace pace_;
    GstCaps *input_caps_ = nullptr; /* what the capture last described its frames as; a reference */
    Pipeline pipeline_;             /* behind what its threads use, so that it goes first */
    GstAppSrc *input_;
    GstElement *output_;
};

} // namespace board

#endif
