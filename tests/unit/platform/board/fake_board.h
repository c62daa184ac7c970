/*
 * A stand-in for boardd that says yes to every request, and whose encoder channels bring what the test says:
 * records that a true boardd never sends. In the test's process and run directory.
 */
#ifndef TESTS_UNIT_PLATFORM_BOARD_FAKE_BOARD_H
#define TESTS_UNIT_PLATFORM_BOARD_FAKE_BOARD_H

#include "board/protocol.h"
#include "libshbfev.h"

#include <ev.h>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace fake {

class FakeBoard {
  public:
    /* Answers op_system_init only after `init_delay_s`; everything else at once. */
    explicit FakeBoard(double init_delay_s = 0);
    ~FakeBoard();
    FakeBoard(const FakeBoard &) = delete;
    FakeBoard &operator=(const FakeBoard &) = delete;

    /* Sends these bytes on the main stream's channel. Any thread. */
    void publish(const std::string &bytes) { publish_on(channels_[0], bytes); }

    /* As above, on the microphone's channel. */
    void publish_block(const std::string &bytes) { publish_on(microphone_, bytes); }

    /* As above, on the analytics' channel. */
    void publish_detection(const std::string &bytes) { publish_on(analytics_, bytes); }

    /* Sends a plain message on the main stream's, which a true boardd never does. */
    void publish_message(const std::string &bytes);

    /* Messages that came on the main stream's channel so far. */
    std::vector<std::string> messages();

  private:
    static void on_listener(struct ev_loop *loop, ev_io *watcher, int events);
    static void on_connection(struct ev_loop *loop, ev_io *watcher, int events);
    static void on_delay(struct ev_loop *loop, ev_timer *timer, int events);
    void answer(const board::ControlRequest &request) const;
    static void on_stop(struct ev_loop *loop, ev_async *watcher, int events);
    static int32_t on_message(void *self, int32_t receiver, const void *bytes, int32_t length);

    struct ev_loop *loop_;
    int listener_;
    ev_io listener_watcher_{};
    ev_io connection_watcher_{};
    ev_async stop_{};
    static void publish_on(shbfev_brd_t *channel, const std::string &bytes);

    double init_delay_s_;
    ev_timer delay_{};
    board::ControlRequest delayed_{};
    shbfev_brd_t *channels_[board::venc_channels] = {};
    shbfev_brd_t *microphone_;
    shbfev_brd_t *analytics_;
    std::mutex mutex_;
    std::vector<std::string> messages_;
    std::thread thread_;
};

/* A record of a frame with this payload, as it stands now; to be changed and sent. */
board::VencRecord frame_record(uint32_t seq, uint32_t length);

/* As above, of a block from the microphone. */
board::MicRecord block_record(uint32_t length, uint64_t timestamp_us);

/* Record and payload, as the channel has them. */
template <typename Record>
std::string bytes_of(const Record &record, const std::string &payload = "") {
    return std::string(reinterpret_cast<const char *>(&record), sizeof record) + payload;
}

} // namespace fake

#endif
