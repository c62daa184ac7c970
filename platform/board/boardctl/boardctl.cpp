#include "board/boardctl.h"

#include "board/client/control_call.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace board {

namespace {

constexpr char not_there[] =
    "boardd does not run here (no answer at its control socket): start it, as ./dev run "
    "does, or set STRELL_RUN_DIR to the directory where it runs";

/* The reply's payload can be of any length, other than those of the daemon's calls (control_call.h). */
int32_t receive_reply(int fd, uint32_t id, std::string *payload) {
    std::vector<char> packet(control_packet_max_bytes);
    for (;;) {
        pollfd entry = {fd, POLLIN, 0};
        if (poll(&entry, 1, static_cast<int>(control_timeout_ms)) <= 0) {
            throw BoardCtlError("boardd does not answer: it hangs, or is stopped");
        }
        const ssize_t length = recv(fd, packet.data(), packet.size(), MSG_TRUNC);
        ControlReply reply{};
        if (length < static_cast<ssize_t>(sizeof reply) || static_cast<size_t>(length) > packet.size()) {
            throw BoardCtlError("boardd has closed the connection");
        }
        std::memcpy(&reply, packet.data(), sizeof reply);
        if (reply.magic != control_magic) {
            throw BoardCtlError("what answers is no boardd of this version");
        }
        if (reply.id == id) {
            payload->assign(packet.data() + sizeof reply, static_cast<size_t>(length) - sizeof reply);
            return reply.result;
        }
    }
}

} // namespace

BoardCtl::BoardCtl() : fd_(control_connect(monotonic_us() + control_timeout_ms * uint64_t{1000})) {
    if (fd_ < 0) {
        throw BoardCtlError(not_there);
    }
}

BoardCtl::~BoardCtl() {
    close(fd_);
}

int32_t BoardCtl::call(uint32_t op, int32_t value, const void *payload, uint32_t payload_bytes,
                       std::string *reply) {
    const ControlRequest request = {control_magic, op, next_id_++, value};
    std::string packet(reinterpret_cast<const char *>(&request), sizeof request);
    packet.append(static_cast<const char *>(payload), payload_bytes);
    if (send(fd_, packet.data(), packet.size(), MSG_NOSIGNAL) < 0) {
        throw BoardCtlError(not_there);
    }
    return receive_reply(fd_, request.id, reply);
}

std::string BoardCtl::status() {
    std::string text;
    if (call(op_status, 0, "", 0, &text) < 0) {
        throw BoardCtlError("boardd does not tell its status");
    }
    return text;
}

void BoardCtl::set_fault(int32_t channel, uint32_t kind, int32_t result, uint32_t count) {
    const FaultRecord fault = {kind, result, count, 0};
    std::string ignored;
    const int32_t answer = call(op_fault, channel, &fault, sizeof fault, &ignored);
    if (answer < 0) {
        throw BoardCtlError(std::string("boardd refuses the fault: ") + std::strerror(-answer));
    }
}

void BoardCtl::answer_fetches(int32_t channel, int32_t result, uint32_t count) {
    set_fault(channel, fault_fetch, result, count);
}

void BoardCtl::stall(int32_t channel) {
    set_fault(channel, fault_stall, 0, 0);
}

void BoardCtl::refuse_init(int32_t result) {
    set_fault(all_channels, fault_init, result, 0);
}

void BoardCtl::refuse_sensor(int32_t result) {
    set_fault(all_channels, fault_sensor, result, 0);
}

void BoardCtl::refuse_profile(int32_t result) {
    set_fault(all_channels, fault_profile, result, 0);
}

void BoardCtl::clear_faults(int32_t channel) {
    set_fault(channel, fault_clear, 0, 0);
}

} // namespace board
