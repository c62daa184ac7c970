/*
 * A channel that a test broadcasts on, with a journal of its callbacks.
 */
#ifndef TESTS_SUPPORT_CHANNEL_FIXTURE_H
#define TESTS_SUPPORT_CHANNEL_FIXTURE_H

#include "libshbf.h"
#include "libshbfev.h"
#include "support/eventually.h"
#include "support/loop_thread.h"
#include "support/scratch.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace support {

/* A started channel on a loop of its own. Events are journalled as "new 1", "closed 1", "error 1 11",
 * "message 1 text" and "server closed". */
class TestChannel {
  public:
    explicit TestChannel(const std::string &path) : brd(shbfev_brd_create(path.c_str())) {
        shbfev_brd_event(brd, SHBFEV_SERVER_CLOSED, SHBFEV_CALLBACK(on_server_closed), this);
        shbfev_brd_event(brd, SHBFEV_RECEIVER_NEW, SHBFEV_CALLBACK(on_new), this);
        shbfev_brd_event(brd, SHBFEV_RECEIVER_CLOSED, SHBFEV_CALLBACK(on_closed), this);
        shbfev_brd_event(brd, SHBFEV_RECEIVER_ERROR, SHBFEV_CALLBACK(on_error), this);
        shbfev_brd_event(brd, SHBFEV_MESSAGE, SHBFEV_CALLBACK(on_message), this);
        start_result = loop.call([this] { return shbfev_brd_start(loop.loop(), brd); });
    }
    ~TestChannel() { destroy(); }
    TestChannel(const TestChannel &) = delete;
    TestChannel &operator=(const TestChannel &) = delete;

    void destroy() {
        loop.call([this] { shbfev_brd_destroy(brd); });
    }

    /* Broadcasts a buffer of `size` bytes, all of them `fill`, allocated as `capacity`. The result of the
     * call, or -ENOMEM when there was no room. */
    int32_t publish(uint32_t size, uint8_t fill = 0, uint32_t capacity = 0) {
        void *buffer = shbfev_brd_alloc(brd, std::max(size, capacity));
        if (buffer == nullptr) {
            return -ENOMEM;
        }
        std::memset(buffer, fill, size);
        shbf_set_size(buffer, size);
        return shbfev_brd_broadcast(brd, buffer);
    }

    std::vector<std::string> journal() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return journal_;
    }
    long count(const std::string &entry) {
        const auto entries = journal();
        return std::count(entries.begin(), entries.end(), entry);
    }
    bool saw(const std::string &entry) {
        return eventually([&] { return count(entry) > 0; });
    }

    /* What error callbacks answer. */
    std::atomic<int32_t> error_answer = -1;

    LoopThread loop;
    shbfev_brd_t *brd;
    int32_t start_result;

  private:
    void write(const std::string &entry) {
        const std::lock_guard<std::mutex> lock(mutex_);
        journal_.push_back(entry);
    }
    static TestChannel *self(void *user) { return static_cast<TestChannel *>(user); }
    static int32_t on_server_closed(void *user) {
        self(user)->write("server closed");
        return 0;
    }
    static int32_t on_new(void *user, int32_t receiver) {
        self(user)->write("new " + std::to_string(receiver));
        return 0;
    }
    static int32_t on_closed(void *user, int32_t receiver) {
        self(user)->write("closed " + std::to_string(receiver));
        return 0;
    }
    static int32_t on_error(void *user, int32_t receiver, int32_t error) {
        self(user)->write("error " + std::to_string(receiver) + " " + std::to_string(error));
        return self(user)->error_answer;
    }
    static int32_t on_message(void *user, int32_t receiver, const void *bytes, int32_t length) {
        self(user)->write("message " + std::to_string(receiver) + " " +
                          std::string(static_cast<const char *>(bytes), static_cast<size_t>(length)));
        return 0;
    }

    std::mutex mutex_;
    std::vector<std::string> journal_;
};

} // namespace support

#endif
