/*
 * A receiver of a video channel, on a thread of its own, that counts the frames it did not get: its own
 * misses, since it was too slow, and the camera's, seen as gaps in the encoder's numbers.
 *
 * Threads: made, asked and ended on one.
 */
#ifndef BENCH_STREAM_RECEIVER_H
#define BENCH_STREAM_RECEIVER_H

#include <atomic>
#include <thread>

namespace bench {

class StreamReceiver {
  public:
    /* Attaches, and waits for the first frame. Throws std::runtime_error when none comes. */
    explicit StreamReceiver(const char *path);
    ~StreamReceiver();
    StreamReceiver(const StreamReceiver &) = delete;
    StreamReceiver &operator=(const StreamReceiver &) = delete;

    struct Counts {
        int frames;
        int missed; // by the receiver
        int gaps;   // frames that the encoder has made and the camera did not publish
    };
    Counts counts() const { return {frames_, missed_, gaps_}; }

  private:
    void receive(const char *path);

    std::atomic<int> frames_ = 0;
    std::atomic<int> missed_ = 0;
    std::atomic<int> gaps_ = 0;
    std::atomic<bool> ending_ = false;
    std::atomic<bool> failed_ = false;
    std::thread thread_;
};

} // namespace bench

#endif
