#include "tools/av_server.h"

#include "libav_cmd.h"

#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ctl_test {

namespace {

AvServer *the_server; // handlers have no room for an object

int listen_on_command_socket() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, "vuto_IPCsock", 12);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 || listen(fd, 5) != 0) {
        throw std::runtime_error(std::string("no command socket: ") + std::strerror(errno));
    }
    return fd;
}

} // namespace

AvServer::AvServer(std::map<uint32_t, Answer> answers, Manner manner)
    : answers_(std::move(answers)), manner_(manner), listener_(listen_on_command_socket()),
      stop_(eventfd(0, EFD_CLOEXEC)) {
    the_server = this;
    thread_ = std::thread([this] { serve(); });
}

AvServer::~AvServer() {
    eventfd_write(stop_, 1);
    thread_.join();
    close(stop_);
    close(listener_);
}

std::vector<AvServer::Command> AvServer::commands() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return commands_;
}

void AvServer::serve() {
    for (;;) {
        pollfd entries[] = {{stop_, POLLIN, 0}, {listener_, POLLIN, 0}};
        poll(entries, 2, -1);
        if (entries[0].revents != 0) {
            return;
        }
        const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        serve_client(client);
        close(client);
    }
}

/* Until it leaves. */
void AvServer::serve_client(int fd) {
    for (;;) {
        pollfd entries[] = {{stop_, POLLIN, 0}, {fd, POLLIN, 0}};
        poll(entries, 2, -1);
        char buffer[512];
        const ssize_t count = entries[0].revents != 0 ? 0 : recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
        if (count <= 0) {
            return;
        }
        av_cmd_parse(fd, buffer, static_cast<int32_t>(count), on_command);
        if (manner_ == Manner::hangs_up) {
            return;
        }
    }
}

int32_t AvServer::on_command(int32_t fd, const void *payload, uint32_t code) {
    the_server->take(fd, {code, std::string(static_cast<const char *>(payload), AV_CMD_PAYLOAD_READABLE)});
    return 0;
}

void AvServer::take(int32_t fd, const Command &command) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        commands_.push_back(command);
    }
    if (manner_ == Manner::talks_nonsense) {
        send(fd, "HTTP/1.1 200 OK\r\n\r\n", 19, MSG_NOSIGNAL);
    }
    const auto answer = answers_.find(command.code);
    if (manner_ == Manner::answers && answer != answers_.end()) {
        const auto &[result, data] = answer->second;
        send_av_cmd_ack(fd, 0x7777, -1, "not yours", 9); // that of another command: to be passed over
        send_av_cmd_ack(fd, command.code + 1, result, data.data(), static_cast<uint32_t>(data.size()));
    }
}

} // namespace ctl_test
