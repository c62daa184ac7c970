/*
 * Where the picture comes from: what the --source option says, as elements of a GStreamer pipeline.
 *
 *     (nothing)                  the test scene: frames to be painted by it (scene/scene.h)
 *     video.mp4                  a video file, played in a loop
 *     rtsp://host/path           any URI that GStreamer plays
 *     v4l2src device=/dev/video0 any source as gst-launch-1.0 takes it, one element or a chain of them
 *
 * The microphone's option takes the same, but for the test scene.
 *
 * What a source delivers need not be raw video, nor need it be there at once: compressed streams are decoded,
 * audio is left alone, and pads that appear later (rtspsrc) are linked when they do.
 */
#ifndef PLATFORM_BOARD_BOARDD_SOURCE_H
#define PLATFORM_BOARD_BOARDD_SOURCE_H

#include <atomic>
#include <gst/gst.h>
#include <string>

namespace board {

/* What --source says. */
class Source {
  public:
    explicit Source(std::string text);

    bool is_scene() const { return kind_ == Kind::scene; }

    /* For people: the option's text, or "test scene". */
    std::string name() const { return is_scene() ? "test scene" : text_; }

    /* The elements as gst_parse_launch takes them. The test scene makes `fps` frames per second,
     * black ones; others what they like. */
    std::string description(int32_t fps) const;

  private:
    enum class Kind { scene, file, uri, elements };
    static Kind kind_of(const std::string &text);

    std::string text_;
    Kind kind_; /* decided once: a file that is gone for a while is still a file */
};

/* What is taken from a source; everything else in it is left alone. */
enum class Media { video, audio };

/*
 * Links a source to the element that takes its raw video or raw audio. Lives as long as the pipeline runs.
 *
 * Threads: made on the loop thread; links pads on whatever thread they appear.
 */
class SourceLinker {
  public:
    /*
     * Parses `description`, adds it to `pipeline` and links what it has, now and later, to `head`'s pad
     * "sink". `pipeline` and `head` are the caller's and outlive this. Throws std::runtime_error when the
     * description is no pipeline or needs an element that is not installed.
     */
    SourceLinker(const std::string &description, GstElement *pipeline, GstElement *head,
                 Media media = Media::video);
    SourceLinker(const SourceLinker &) = delete;
    SourceLinker &operator=(const SourceLinker &) = delete;

  private:
    static void on_pad(GstElement *element, GstPad *pad, gpointer self);
    void watch(GstElement *element);
    void consider(GstPad *pad);
    void link_to(GstPad *pad, GstElement *element);
    GstElement *decoder();

    GstElement *pipeline_;
    GstElement *head_;
    Media media_;
    std::atomic<bool> decoding_{false};
};

} // namespace board

#endif
