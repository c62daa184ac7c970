/*
 * A client of the command socket, for black-box tests.
 *
 * One thread for each object.
 */
#ifndef TESTS_DAEMON_AV_CLIENT_H
#define TESTS_DAEMON_AV_CLIENT_H

#include "libav_cmd_client.h"
#include "support/eventually.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vector>

namespace daemon_test {

class AvClient {
  public:
    /* Connects. The daemon lets five wait for it at a time, so it may take another attempt. */
    AvClient() {
        EXPECT_TRUE(support::eventually([this] { return (fd_ = av_cmd_connect()) >= 0; }));
    }
    ~AvClient() { leave(); }
    AvClient(const AvClient &) = delete;
    AvClient &operator=(const AvClient &) = delete;

    void leave() {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = -1;
    }
    int32_t fd() const { return fd_; }

    /* Sends a command with words as payload; waits for room when the daemon is behind. */
    bool send(uint32_t code, const std::vector<uint32_t> &words) const {
        int32_t result = -EAGAIN;
        return support::eventually([&] {
                   result = av_cmd_send(fd_, code, words.data(),
                                        static_cast<uint32_t>(words.size() * sizeof(uint32_t)));
                   return result != -EAGAIN;
               }) &&
               result == 0;
    }

    /* The next acknowledgement, or one with code 0 when none comes in time. */
    av_cmd_ack_t ack() const {
        av_cmd_ack_t ack{};
        if (av_cmd_read_ack(fd_, &ack, 20000) != 1) {
            ack.code = 0;
        }
        return ack;
    }

    av_cmd_ack_t call(uint32_t code, const std::vector<uint32_t> &words = {}) const {
        EXPECT_TRUE(send(code, words)) << std::hex << code;
        return ack();
    }

  private:
    int32_t fd_ = -1;
};

} // namespace daemon_test

#endif
