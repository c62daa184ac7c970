#include "board/boardd/control_server.h"

#include "board/boardd/log.h"
#include "run_dir/run_dir.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace board {

namespace {

constexpr size_t connections_max = 32;
constexpr int packets_at_once = 16; // of one client, before the others have their turn
constexpr int backlog = 16;
constexpr ev_tstamp accept_pause_s = 0.1;

[[noreturn]] void cannot_serve(const std::string &path, int error) {
    if (error == -EADDRINUSE) {
        throw std::runtime_error("another boardd runs already at " + path +
                                 ": stop it first, or set STRELL_RUN_DIR for a board of your own");
    }
    throw std::runtime_error("cannot serve " + path + ": " + run_dir_listen_problem(error));
}

/* A packet, or the end. */
bool has_more(int fd) {
    char byte = 0;
    return recv(fd, &byte, sizeof byte, MSG_PEEK | MSG_DONTWAIT) >= 0;
}

} // namespace

ControlServer::ControlServer(struct ev_loop *loop) : loop_(loop) {
    sockaddr_un address{};
    const int length = run_dir_address(control_path, &address);
    path_ = length < 0 ? control_path : address.sun_path;
    listener_ = run_dir_listen(control_path, SOCK_SEQPACKET, backlog);
    if (listener_ < 0) {
        cannot_serve(path_, listener_);
    }
    ev_io_init(&watcher_, on_listener, listener_, EV_READ);
    ev_timer_init(&accept_again_, on_accept_again, accept_pause_s, 0.);
    watcher_.data = accept_again_.data = this;
    ev_io_start(loop_, &watcher_);
}

ControlServer::~ControlServer() {
    unlink(path_.c_str());
    ev_io_stop(loop_, &watcher_);
    ev_timer_stop(loop_, &accept_again_);
    close(listener_);
    for (auto &[id, connection] : connections_) {
        ev_io_stop(loop_, &connection->watcher);
        close(connection->fd);
    }
}

void ControlServer::on_listener(struct ev_loop * /*loop*/, ev_io *watcher, int /*events*/) {
    static_cast<ControlServer *>(watcher->data)->accept_one();
}

void ControlServer::on_accept_again(struct ev_loop *loop, ev_timer *timer, int /*events*/) {
    ev_io_start(loop, &static_cast<ControlServer *>(timer->data)->watcher_);
}

/* The client that cannot be taken stays in the queue and would wake the loop without end. */
void ControlServer::accept_later(int error) {
    if (!accept_failing_) {
        log_line("cannot take new clients at present: %s", std::strerror(error));
    }
    accept_failing_ = true;
    ev_io_stop(loop_, &watcher_);
    ev_timer_set(&accept_again_, accept_pause_s, 0.);
    ev_timer_start(loop_, &accept_again_);
}

void ControlServer::accept_one() {
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
        const int error = errno;
        if (error != EAGAIN && error != EINTR && error != ECONNABORTED) {
            accept_later(error);
        }
        return;
    }
    accept_failing_ = false;
    if (connections_.size() >= connections_max) {
        log_line("a client was turned away: %zu are connected already", connections_.size());
        close(fd);
        return;
    }
    auto connection = std::make_unique<Connection>(Connection{this, next_id_++, fd, {}});
    ev_io_init(&connection->watcher, on_connection, fd, EV_READ);
    connection->watcher.data = connection.get();
    ev_io_start(loop_, &connection->watcher);
    connections_.emplace(connection->id, std::move(connection));
}

void ControlServer::on_connection(struct ev_loop * /*loop*/, ev_io *watcher, int /*events*/) {
    auto *connection = static_cast<Connection *>(watcher->data);
    ControlServer *server = connection->server;
    const ClientId id = connection->id;
    // All that is there: so the last words of a client that has died, and its end, are read before the first
    // words of one that came after it.
    int packets = 0;
    do {
        if (!server->read_one(*connection)) {
            server->disconnect(id);
            return;
        }
    } while (++packets < packets_at_once && has_more(connection->fd));
}

/* False when the connection is of no further use. */
bool ControlServer::read_one(Connection &connection) {
    std::array<uint8_t, control_packet_max_bytes> packet;
    const ssize_t received = recv(connection.fd, packet.data(), packet.size(), MSG_TRUNC);
    if (received < 0) {
        return errno == EAGAIN || errno == EINTR;
    }
    const auto length = static_cast<size_t>(received);
    ControlRequest header{};
    if (length == 0) {
        return false;
    }
    if (length < sizeof header || length > packet.size()) {
        log_line("a client sent %zu bytes that are no request and was disconnected", length);
        return false;
    }
    std::memcpy(&header, packet.data(), sizeof header);
    if (header.magic != control_magic) {
        log_line("a client sent a packet of another protocol and was disconnected");
        return false;
    }
    handler_->request(connection.id, header,
                      std::span(packet).subspan(sizeof header, length - sizeof header));
    return true;
}

void ControlServer::reply(ClientId client, const ControlRequest &request, int32_t result,
                          std::span<const uint8_t> payload) {
    const auto found = connections_.find(client);
    if (found == connections_.end()) {
        return;
    }
    std::array<uint8_t, control_packet_max_bytes> packet;
    ControlReply header = {control_magic, request.op, request.id, result};
    if (payload.size() > packet.size() - sizeof header) {
        log_line("the reply to request %u would be too large: %zu bytes", request.op, payload.size());
        header.result = -EMSGSIZE;
        payload = {};
    }
    const size_t length = sizeof header + payload.size();
    std::memcpy(packet.data(), &header, sizeof header);
    std::copy(payload.begin(), payload.end(), packet.begin() + sizeof header);
    if (send(found->second->fd, packet.data(), length, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
        // Not closed here, in the middle of its request: the hang-up is the next thing that is read.
        shutdown(found->second->fd, SHUT_RDWR);
    }
}

void ControlServer::disconnect(ClientId id) {
    const auto found = connections_.find(id);
    ev_io_stop(loop_, &found->second->watcher);
    close(found->second->fd);
    connections_.erase(found);
    handler_->gone(id);
}

} // namespace board
