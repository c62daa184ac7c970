/*
 * libmortox as the tests use it: handles that close themselves, values as std::string, and the raw socket
 * under it for clients that misbehave.
 */
#ifndef TESTS_CONTRACT_MORTOX_CLIENT_H
#define TESTS_CONTRACT_MORTOX_CLIENT_H

#include "libmortox.h"
#include "mortox/wire.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace mortox_test {

struct Closer {
    void operator()(mortox_t *handle) const { libmortox_close(handle); }
};
using Handle = std::unique_ptr<mortox_t, Closer>;

inline Handle open_store() {
    return Handle(libmortox_config_open(0));
}

inline std::optional<std::string> text_of(const xdata_t *data) {
    char *text = xdata_value_as_char(data);
    std::optional<std::string> result = text == nullptr ? std::nullopt : std::optional<std::string>(text);
    free(text);
    return result;
}

/* What a callback was given. */
struct Answer {
    int calls = 0;
    int32_t type = -1;
    int32_t taken = 99; // what xcontrol_get_response said
    std::optional<std::string> value;

    static void store(xresponse_t *response, void *user) {
        auto *answer = static_cast<Answer *>(user);
        ++answer->calls;
        answer->type = response->type;
        xdata_t *data = nullptr;
        answer->taken = xcontrol_get_response(response, &data);
        answer->value = text_of(data);
        EXPECT_EQ(data != nullptr, answer->taken == 1);
        xdata_free(data);
    }
};

inline std::optional<std::string> get(const Handle &handle, const std::string &key,
                                      const std::string &name_space = "nvram") {
    Answer answer;
    EXPECT_TRUE(libmortox_get_value(handle.get(), name_space.c_str(), "default", key.c_str(), Answer::store,
                                    &answer, -1, 0))
        << libmortox_last_error(handle.get());
    EXPECT_EQ(answer.calls, 1);
    return answer.value;
}

inline bool set(mortox_t *handle, const std::string &key, const std::string &value,
                const std::string &name_space = "nvram") {
    return libmortox_set_value(handle, name_space.c_str(), "default", key.c_str(), XDATA_TEXT, value.c_str(),
                               nullptr, nullptr, -1, 0);
}

inline bool set(const Handle &handle, const std::string &key, const std::string &value,
                const std::string &name_space = "nvram") {
    return set(handle.get(), key, value, name_space);
}

/* A connection without the library. */
class RawClient {
  public:
    explicit RawClient(const std::string &path) : fd_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(connect(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0) << strerror(errno);
    }
    ~RawClient() { close(fd_); }
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;

    bool send_bytes(const void *bytes, size_t count) const {
        return ::send(fd_, bytes, count, MSG_NOSIGNAL) == static_cast<ssize_t>(count);
    }
    bool send_message(const wire::Message &message) const {
        uint8_t packet[wire::packet_max_bytes];
        return send_bytes(packet, wire::encode(message, packet));
    }

    /* The next message, or nothing when the connection has ended. */
    const wire::Message *receive() {
        ssize_t bytes = -1;
        do {
            bytes = recv(fd_, packet_.data(), packet_.size(), 0);
        } while (bytes < 0 && errno == ECONNRESET);
        if (bytes <= 0) {
            return nullptr;
        }
        EXPECT_EQ(wire::decode(packet_.data(), static_cast<size_t>(bytes), &message_), nullptr);
        return &message_;
    }

    /* Reads what is left; true when the server closes the connection. */
    bool ends() {
        pollfd readable = {fd_, POLLIN, 0};
        while (poll(&readable, 1, 20000) == 1) {
            if (receive() == nullptr) {
                return true;
            }
        }
        return false;
    }
    int fd() const { return fd_; }

  private:
    int fd_;
    std::vector<uint8_t> packet_ = std::vector<uint8_t>(wire::packet_max_bytes + 1);
    wire::Message message_{};
};

inline wire::Message request(wire::Type type, const char *name_space, const char *section, const char *key,
                             uint32_t number = 1) {
    wire::Message message{};
    message.type = type;
    message.request = number;
    message.name_space = name_space;
    message.section = section;
    message.key = key;
    return message;
}

} // namespace mortox_test

#endif
