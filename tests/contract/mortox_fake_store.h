/*
 * A settings store that a test writes: for each packet of a client it says what goes back, be it nonsense,
 * and whether the connection stays.
 */
#ifndef TESTS_CONTRACT_MORTOX_FAKE_STORE_H
#define TESTS_CONTRACT_MORTOX_FAKE_STORE_H

#include "mortox/wire.h"

#include <atomic>
#include <cstddef>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace mortox_test {

class FakeStore {
  public:
    /* One connection of a client, for the script to send on. */
    class Connection {
      public:
        explicit Connection(int fd) : fd_(fd) {}
        void bytes(const std::string &packet) const {
            send(fd_, packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        }
        void message(const wire::Message &message) const {
            std::string packet(wire::packet_max_bytes, '\0');
            packet.resize(wire::encode(message, reinterpret_cast<uint8_t *>(packet.data())));
            bytes(packet);
        }
        /* The answer that a real store would give to a request without result. */
        void ok(const wire::Message &request) const {
            wire::Message answer{};
            answer.type = wire::Type::answer;
            answer.request = request.request;
            message(answer);
        }

      private:
        int fd_;
    };

    /* Runs on the store's thread for each valid packet but hello, which is answered. False hangs up. */
    using Script = std::function<bool(const Connection &connection, const wire::Message &request)>;

    /* In place of a script: hangs up on hello. */
    static constexpr std::nullptr_t turn_everybody_away = nullptr;

    FakeStore(const std::string &path, Script script) : path_(path), script_(std::move(script)) {
        listener_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener_, 8), 0);
        thread_ = std::thread([this] { serve(); });
    }
    ~FakeStore() {
        ending_ = true;
        thread_.join();
        close(listener_);
        unlink(path_.c_str());
    }
    FakeStore(const FakeStore &) = delete;
    FakeStore &operator=(const FakeStore &) = delete;

    /* How many there have been, and how many of them the store has ended. */
    int connections() const { return connections_; }
    int ended() const { return ended_; }

  private:
    void serve() {
        std::vector<pollfd> ready = {{listener_, POLLIN, 0}};
        while (!ending_) {
            poll(ready.data(), ready.size(), 10);
            for (size_t i = 1; i < ready.size(); ++i) {
                if (ready[i].revents != 0 && !serve_client(ready[i].fd)) {
                    close(ready[i].fd);
                    ready[i].fd = -1;
                    ++ended_;
                }
            }
            if (ready[0].revents != 0) {
                ready.push_back({accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC), POLLIN, 0});
                ++connections_;
            }
        }
        for (size_t i = 1; i < ready.size(); ++i) {
            close(ready[i].fd);
        }
    }

    bool serve_client(int fd) {
        uint8_t packet[wire::packet_max_bytes];
        wire::Message request;
        const ssize_t bytes = recv(fd, packet, sizeof packet, 0);
        if (bytes <= 0 || wire::decode(packet, static_cast<size_t>(bytes), &request) != nullptr) {
            return false;
        }
        const Connection connection(fd);
        if (request.type == wire::Type::hello && script_) {
            connection.ok(request);
            return true;
        }
        return script_ && script_(connection, request);
    }

    std::string path_;
    Script script_;
    int listener_ = -1;
    std::atomic<int> connections_{0};
    std::atomic<int> ended_{0};
    std::atomic<bool> ending_{false};
    std::thread thread_;
};

} // namespace mortox_test

#endif
