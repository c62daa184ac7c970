// strellctl cmd: an AV command over the command socket, and what became of it.

#include "strellctl/all_commands.h"
#include "strellctl/av_commands.h"
#include "strellctl/clock.h"
#include "strellctl/failure.h"
#include "strellctl/output.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace ctl {

namespace {

constexpr uint64_t answer_max_us = 2 * us_per_s;
constexpr char has_ended[] = "strell_v2 has ended, or has dropped this connection: see its log";

std::string connect_failure(int error) {
    switch (error) {
    case ECONNREFUSED:
        return "nobody serves the command socket: start strell_v2 (./dev run); STRELL_RUN_DIR does not move "
               "this "
               "socket, only a network namespace does, so run strellctl in the one where strell_v2 runs";
    case EAGAIN:
        return "strell_v2 has all the command clients it takes, and more wait: end one of them";
    default:
        return std::string("cannot connect to the command socket: ") + std::strerror(error);
    }
}

class Connection {
  public:
    Connection() : fd_(av_cmd_connect()) {
        if (fd_ < 0) {
            throw Failure(connect_failure(-fd_));
        }
    }
    ~Connection() { close(fd_); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    void send(const AvRequest &request) const {
        const int32_t result = av_cmd_send(fd_, request.code, request.payload.data(),
                                           static_cast<uint32_t>(request.payload.size()));
        if (result < 0) {
            throw Failure(result == -EPIPE
                              ? has_ended
                              : std::string("cannot send the command: ") + std::strerror(-result));
        }
    }

    /* Waits for the acknowledgement of `code`. Others belong to nobody, and are passed over. */
    av_cmd_ack_t receive(uint32_t code) const {
        const uint64_t deadline_us = monotonic_us() + answer_max_us;
        for (;;) {
            const uint64_t now_us = std::min(monotonic_us(), deadline_us);
            av_cmd_ack_t ack;
            const int32_t result =
                av_cmd_read_ack(fd_, &ack, static_cast<int32_t>((deadline_us - now_us) / 1000));
            check_received(result);
            if (result == 1 && ack.code == code) {
                return ack;
            }
            if (monotonic_us() >= deadline_us) {
                check_received(0);
            }
        }
    }

  private:
    static void check_received(int32_t result) {
        if (result == 0) {
            throw Failure("no acknowledgement came within 2 s: strell_v2 hangs, or has ten other command "
                          "clients, or its board is slow");
        }
        if (result == -EPIPE) {
            throw Failure(has_ended);
        }
        if (result < 0 && result != -EINTR) {
            throw Failure(
                "what came is no acknowledgement: the command socket is served by something else than "
                "this version's strell_v2");
        }
    }

    const int fd_;
};

} // namespace

int run_cmd(const Arguments &arguments) {
    const AvRequest request = av_request(arguments.words());
    const Connection connection;
    connection.send(request);
    if (!request.is_acknowledged()) {
        print_line(format("0x%04x  sent; strell_v2 does not acknowledge it", request.code));
        return exit_good;
    }
    const av_cmd_ack_t ack = connection.receive(request.code + 1);
    print_line(av_reply_text(request, ack));
    if (ack.result < 0) {
        throw Failure(
            format("the command failed with result %d: the board refuses it, or a value is out of range",
                   ack.result));
    }
    return exit_good;
}

} // namespace ctl
