/*
 * What the tests of AV commands share: commands and acknowledgements as bytes, written down here once more so
 * that the wire format cannot change unnoticed, and a handler that notes what it is called with.
 */
#ifndef TESTS_CONTRACT_AV_CMD_FIXTURE_H
#define TESTS_CONTRACT_AV_CMD_FIXTURE_H

#include "libav_cmd.h"
#include "libav_cmd_client.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace av_cmd_test {

inline std::string word(uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<char>(value >> shift & 0xff));
    }
    return bytes;
}

inline std::string header(uint32_t code, uint32_t length) {
    return "AVcm" + word(code) + word(length);
}

inline std::string command(uint32_t code, const std::string &payload = "") {
    return header(code, static_cast<uint32_t>(payload.size())) + payload;
}

inline std::string acknowledgement(uint32_t code, int32_t result, const std::string &data = "") {
    return "AVak" + word(code) + word(static_cast<uint32_t>(result)) +
           word(static_cast<uint32_t>(data.size())) + data;
}

/* One call of the handler. */
struct Call {
    int32_t fd;
    uint32_t code;
    std::string readable; // AV_CMD_PAYLOAD_READABLE bytes of payload
    bool aligned;

    std::string payload(size_t length) const { return readable.substr(0, length); }
    /* Behind a payload of that length. */
    bool is_zero_from(size_t length) const {
        return readable.find_first_not_of('\0', length) == std::string::npos;
    }
};

/* The calls since the test began; handlers have no room for an object. */
inline std::vector<Call> &calls() {
    static std::vector<Call> noted;
    return noted;
}

inline int32_t note_call(int32_t fd, const void *payload, uint32_t code) {
    const auto *bytes = static_cast<const char *>(payload);
    calls().push_back({fd, code, std::string(bytes, AV_CMD_PAYLOAD_READABLE),
                       reinterpret_cast<uintptr_t>(payload) % alignof(uint32_t) == 0});
    return -1;
}

/* Parses from memory that ends with the last byte, so that a sanitizer sees reads beyond it. */
inline int32_t parse(const std::string &bytes, int32_t fd = 3) {
    const std::vector<char> exact(bytes.begin(), bytes.end());
    return av_cmd_parse(fd, exact.data(), static_cast<int32_t>(exact.size()), note_call);
}

inline std::vector<uint32_t> codes() {
    std::vector<uint32_t> result;
    for (const Call &call : calls()) {
        result.push_back(call.code);
    }
    return result;
}

/* Two ends of a stream. */
class Pair {
  public:
    Pair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_), 0); }
    ~Pair() {
        close_end(0);
        close_end(1);
    }
    Pair(const Pair &) = delete;
    Pair &operator=(const Pair &) = delete;

    int daemon() const { return ends_[0]; }
    int client() const { return ends_[1]; }
    void close_daemon() { close_end(0); }
    void close_client() { close_end(1); }

    /* All bytes that are there for the end now, and whether the stream ends behind them. */
    static std::string take(int fd, bool *ended = nullptr) {
        std::string all;
        char part[65536];
        ssize_t count = 0;
        while ((count = recv(fd, part, sizeof part, MSG_DONTWAIT)) > 0) {
            all.append(part, static_cast<size_t>(count));
        }
        if (ended != nullptr) {
            *ended = count == 0;
        }
        return all;
    }

  private:
    void close_end(int index) {
        if (ends_[index] >= 0) {
            close(ends_[index]);
            ends_[index] = -1;
        }
    }
    int ends_[2] = {-1, -1};
};

} // namespace av_cmd_test

#endif
