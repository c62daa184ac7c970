/*
 * A GStreamer pipeline on the libev loop: started, watched for errors and its end, and stopped.
 *
 * Threads: everything here, callbacks included, on the loop thread. The pipeline's own threads end before the
 * destructor returns.
 */
#ifndef PLATFORM_BOARD_BOARDD_PIPELINE_H
#define PLATFORM_BOARD_BOARDD_PIPELINE_H

#include <ev.h>
#include <functional>
#include <gst/gst.h>
#include <string>

namespace board {

class Pipeline {
  public:
    struct Callbacks {
        std::function<void(const std::string &why)> failed; /* may destroy the pipeline */
        std::function<void()> ended;                        /* end of stream; may destroy the pipeline */
    };

    /* Takes the pipeline over (a floating reference is sunk). It does not run yet. */
    Pipeline(struct ev_loop *loop, GstElement *pipeline, Callbacks callbacks);
    ~Pipeline();
    Pipeline(const Pipeline &) = delete;
    Pipeline &operator=(const Pipeline &) = delete;

    GstElement *gst() const { return pipeline_; }

    /* The element of that name: the pipeline's own reference, valid as long as the pipeline. */
    GstElement *element(const char *name) const;

    /*
     * Starts to play. Whether the source is live (makes frames by its own clock) is known before the first
     * frame flows: `live` is told then, once. An error that shows at once is reported through `failed`,
     * later.
     */
    void play(const std::function<void(bool live)> &prepare);

  private:
    static void on_bus(struct ev_loop *loop, ev_io *watcher, int events);
    void drain_bus();
    bool take(GstMessage *message); /* true when it was the last one to look at */

    struct ev_loop *loop_;
    GstElement *pipeline_;
    GstBus *bus_;
    ev_io watcher_{};
    Callbacks callbacks_;
};

/* The text of an error message, with what to do about it where that is known. */
std::string error_text(GstMessage *message);

} // namespace board

#endif
