#include "mortox/mortoxd_client.h"

#include "mortox/mortoxd_report.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace {

pid_t process_of(int fd) {
    ucred peer{};
    socklen_t bytes = sizeof peer;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &bytes) == 0 ? peer.pid : 0;
}

} // namespace

Client::Client(struct ev_loop *loop, int fd, ClientEvents &events)
    : loop_(loop), events_(events), pid_(process_of(fd)) {
    ev_io_init(&io_, on_ready, fd, EV_READ);
    io_.data = this;
    ev_io_start(loop_, &io_);
}

Client::~Client() {
    ev_io_stop(loop_, &io_);
    close(io_.fd);
}

void Client::on_ready(struct ev_loop * /*loop*/, ev_io *io, int events) {
    auto *client = static_cast<Client *>(io->data);
    if ((events & EV_READ) != 0) {
        client->read_request();
    }
    if ((events & EV_WRITE) != 0 && !client->gone_) {
        client->write_backlog();
    }
    client->events_.on_event_end();
}

// One request a turn: the loop serves all clients alike.
void Client::read_request() {
    std::array<uint8_t, wire::packet_max_bytes + 1> packet; // one byte more shows a packet that is too large
    const ssize_t bytes = recv(io_.fd, packet.data(), packet.size(), 0);
    if (bytes < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (bytes <= 0) {
        drop("");
        return;
    }
    wire::Message request;
    const char *why = wire::decode(packet.data(), static_cast<size_t>(bytes), &request);
    if (why != nullptr) {
        wire::Message answer{};
        answer.type = wire::Type::answer;
        answer.status = wire::Status::bad_request;
        answer.request = request.request;
        answer.value_type = wire::ValueType::text;
        answer.value = why;
        send(answer);
        drop(std::string("sent what is no request: ") + why);
        return;
    }
    events_.on_request(*this, request);
    listen_for_what_is_next();
}

void Client::write_backlog() {
    while (!backlog_.empty() && write_now(backlog_.front().bytes)) {
        if (backlog_.front().change) {
            backlog_change_bytes_ -= backlog_.front().bytes.size();
        }
        backlog_.pop_front();
    }
    if (!gone_ && backlog_.empty() && next_piece_ && !next_piece_()) {
        next_piece_ = nullptr;
    }
    listen_for_what_is_next();
}

// False when the packet was not sent: there is no room, or the client is gone.
bool Client::write_now(std::string_view packet) {
    if (gone_) {
        return false;
    }
    ssize_t sent = 0;
    do {
        sent = ::send(io_.fd, packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    if (sent < 0 && errno != EAGAIN) {
        drop("");
    }
    return sent >= 0;
}

void Client::queue(const wire::Message &message, bool change) {
    std::array<uint8_t, wire::packet_max_bytes> bytes;
    const size_t count = wire::encode(message, bytes.data());
    const std::string_view packet(reinterpret_cast<const char *>(bytes.data()), count);
    if (packet.empty()) { // an empty packet would mean the end of the connection
        drop("asked for what no packet can hold");
    }
    if (gone_ || (backlog_.empty() && write_now(packet))) {
        return;
    }
    if (change && backlog_change_bytes_ + packet.size() > backlog_max_bytes) {
        drop("does not read its notifications");
        return;
    }
    backlog_change_bytes_ += change ? packet.size() : 0;
    backlog_.push_back({std::string(packet), change});
    listen_for_what_is_next();
}

void Client::send(const wire::Message &message) {
    queue(message, false);
}

void Client::announce(const wire::Message &change) {
    queue(change, true);
}

void Client::stream(std::function<bool()> next) {
    next_piece_ = std::move(next);
}

bool Client::watch(const std::string &key) {
    if (watched_.size() >= watches_max && !watched_.contains(key)) {
        return false;
    }
    watched_.insert(key);
    return true;
}

void Client::drop(const std::string &why) {
    if (!gone_ && !why.empty()) {
        report("process " + std::to_string(pid_) + " " + why + ": disconnected");
    }
    gone_ = true;
    ev_io_stop(loop_, &io_);
}

void Client::listen_for_what_is_next() {
    const int wanted = backlog_.empty() && !next_piece_ ? EV_READ : EV_WRITE;
    if (gone_ || (io_.events & (EV_READ | EV_WRITE)) == wanted) {
        return;
    }
    ev_io_stop(loop_, &io_);
    ev_io_set(&io_, io_.fd, wanted);
    ev_io_start(loop_, &io_);
}
