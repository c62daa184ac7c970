/*
 * Still pictures and raw frames on demand. They are made on a thread of their own from the frames that the
 * capture brings, so that neither the encoders nor the loop wait for them.
 *
 * Both look as the settings say that are in force when they are asked for. A snapshot shows the last frame if
 * that does and came no longer ago than frame_current_ms, else the next one that does; or, when none comes
 * within jpeg_patience_ms, the last one whatever it looks like, if that came no longer ago than
 * frame_fresh_ms. A raw frame is always a next one; there is none after raw_patience_ms, or one and a half
 * frame intervals if that is longer.
 *
 * Threads: the loop thread, but for offer.
 */
#ifndef PLATFORM_BOARD_BOARDD_PICTURE_SNAPSHOTS_H
#define PLATFORM_BOARD_BOARDD_PICTURE_SNAPSHOTS_H

#include "board/boardd/picture/jpeg.h"
#include "board/protocol.h"

#include <condition_variable>
#include <deque>
#include <ev.h>
#include <mutex>
#include <thread>

namespace board {

constexpr int32_t frame_current_ms = 150;
constexpr int32_t jpeg_patience_ms = 100;
constexpr int32_t frame_fresh_ms = 3000;
constexpr int32_t raw_patience_ms = 500;

/* How many may wait; a client that asks for more is refused. */
constexpr size_t snapshots_max = 32;

/* What has been made. */
struct Snapshot {
    int32_t result; /* 0, or a negative errno value: then nothing else counts */
    Bytes info;     /* VideoFrameInfo or RawFrameInfo */
    Bytes picture;  /* what it describes */
};

class Snapshots {
  public:
    using Finish = std::function<void(const Snapshot &snapshot)>;

    explicit Snapshots(struct ev_loop *loop);
    ~Snapshots();
    Snapshots(const Snapshots &) = delete;
    Snapshots &operator=(const Snapshots &) = delete;

    /* What a snapshot is to be like. */
    struct Wish {
        int32_t width;
        int32_t height;
        size_t capacity;  /* bytes, at most */
        uint32_t changes; /* Picture::changes, of the settings that it is to show */
    };

    /* `finish` is called once, later, on the loop thread. Result: 0, or -EAGAIN when too many wait; `finish`
     * is not called then. */
    int32_t take_jpeg(const Wish &wish, Finish finish);

    /* A raw frame; `fps` is the capture's frame rate. The rest as above. */
    int32_t take_raw(int32_t fps, uint32_t changes, Finish finish);

    /* A frame has been captured, and shows so many changes. Borrowed; a reference is kept until the next one.
     * Any thread. */
    void offer(GstBuffer *buffer, GstCaps *caps, uint32_t changes);

    /* The board goes idle: who waits gets -ECANCELED, and the last frame is forgotten. */
    void cancel();

    /* How many of each were made so far. */
    uint32_t jpegs() const { return jpegs_; }
    uint32_t raws() const { return raws_; }

  private:
    struct Job {
        bool jpeg;
        Wish wish;
        uint32_t after;       /* the number of the last frame that is too old */
        uint64_t deadline_us; /* CLOCK_MONOTONIC */
        Finish finish;
    };
    /* A frame that the capture brought; holds references. */
    struct Frame {
        GstBuffer *buffer = nullptr;
        GstCaps *caps = nullptr;
        uint32_t number = 0;
        uint32_t changes = 0;    /* that it shows */
        uint64_t arrived_us = 0; /* CLOCK_MONOTONIC */
    };
    struct Done {
        Job job;
        Snapshot snapshot;
    };
    using Lock = std::unique_lock<std::mutex>;

    static void on_done(struct ev_loop *loop, ev_async *watcher, int events);
    int32_t submit(Job job, int32_t patience_ms);
    bool frame_came(const Job &job) const;
    void work();
    std::deque<Job>::iterator due_job(uint64_t now_us);
    void wait_for_more(Lock &lock, uint64_t now_us);
    void perform(Lock &lock, Job job);
    Snapshot made_of(const Job &job, GstBuffer *buffer, GstCaps *caps);
    void deliver();

    struct ev_loop *loop_;
    ev_async done_watcher_{};
    uint32_t jpegs_ = 0;
    uint32_t raws_ = 0;

    QualitySearch quality_; /* the worker's */

    std::mutex mutex_; /* guards what follows */
    std::condition_variable changed_;
    bool ending_ = false;
    uint32_t generation_ = 0; /* counts cancel */
    Frame latest_;
    std::deque<Job> jobs_;
    std::deque<Done> done_;
    std::thread thread_;
};

} // namespace board

#endif
