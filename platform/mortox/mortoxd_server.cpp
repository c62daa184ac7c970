#include "mortox/mortoxd_server.h"

#include "mortox/mortoxd_report.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <optional>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr double accept_pause_s = 0.1;
constexpr int list_piece_items = 16;

// A log of some length is written back when nobody has written for a while, or when it is full.
constexpr double quiet_s = 0.1;
constexpr int log_pages_quiet = 64;

// A request that is answered with a sentence instead of what it wants.
class Refusal : public std::runtime_error {
  public:
    Refusal(wire::Status status, const std::string &sentence)
        : std::runtime_error(sentence), status_(status) {}
    wire::Status status() const { return status_; }

  private:
    wire::Status status_;
};

// Names have no blanks, so the text is one key's alone.
std::string full_name(const wire::Message &message) {
    return std::string(message.name_space) + " " + message.section + " " + message.key;
}

void check_name(const char *what, const char *name) {
    char error[200];
    if (!wire::check_name(what, name, error, sizeof error)) {
        throw Refusal(wire::Status::bad_request, error);
    }
}

void check_key(const wire::Message &request) {
    check_name("the section", request.section);
    check_name("the key", request.key);
}

void answer(Client &client, uint32_t request, const std::optional<std::string> &value) {
    wire::Message message{};
    message.type = wire::Type::answer;
    message.request = request;
    message.value_type = value ? wire::ValueType::text : wire::ValueType::none;
    message.value = value ? value->c_str() : nullptr;
    client.send(message);
}

void refuse(Client &client, uint32_t request, wire::Status status, const std::string &sentence) {
    wire::Message message{};
    message.type = wire::Type::answer;
    message.request = request;
    message.status = status;
    message.value_type = wire::ValueType::text;
    const std::string fitting = sentence.substr(0, wire::value_max_bytes);
    message.value = fitting.c_str();
    client.send(message);
}

// Does `action`, and answers the client when it fails. False then.
bool answering_failures(Client &client, uint32_t request, const std::function<void()> &action) {
    try {
        action();
        return true;
    } catch (const Refusal &refusal) {
        refuse(client, request, refusal.status(), refusal.what());
    } catch (const DatabaseError &error) {
        report(error.what());
        refuse(client, request, wire::Status::storage, error.what());
    }
    return false;
}

} // namespace

Server::Server(struct ev_loop *loop, int listen_fd, std::vector<Namespace> namespaces)
    : loop_(loop), namespaces_(std::move(namespaces)) {
    ev_io_init(&accept_io_, on_connection, listen_fd, EV_READ);
    ev_timer_init(&accept_again_, on_accept_again, accept_pause_s, 0.);
    ev_timer_init(&quiet_, on_quiet, 0., quiet_s);
    accept_io_.data = accept_again_.data = quiet_.data = this;
    ev_io_start(loop_, &accept_io_);
}

Server::~Server() {
    ev_io_stop(loop_, &accept_io_);
    ev_timer_stop(loop_, &accept_again_);
    ev_timer_stop(loop_, &quiet_);
}

void Server::on_connection(struct ev_loop * /*loop*/, ev_io *io, int /*events*/) {
    static_cast<Server *>(io->data)->accept_one();
}

void Server::on_accept_again(struct ev_loop *loop, ev_timer *timer, int /*events*/) {
    ev_io_start(loop, &static_cast<Server *>(timer->data)->accept_io_);
}

void Server::on_quiet(struct ev_loop *loop, ev_timer *timer, int /*events*/) {
    ev_timer_stop(loop, timer);
    for (Namespace &name_space : static_cast<Server *>(timer->data)->namespaces_) {
        if (name_space.database.log_pages() >= log_pages_quiet) {
            name_space.database.write_back();
        }
    }
}

void Server::accept_one() {
    const int fd = accept4(accept_io_.fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd >= 0 && clients_.size() >= clients_max) {
        report("there are " + std::to_string(clients_max) + " clients already: another one is turned away");
        close(fd);
    } else if (fd >= 0) {
        accept_failing_ = false;
        clients_.emplace_back(loop_, fd, static_cast<ClientEvents &>(*this));
    } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
        if (!accept_failing_) {
            report(std::string("cannot take new clients at present: ") + strerror(errno));
        }
        accept_failing_ = true;
        ev_io_stop(loop_, &accept_io_); // it would wake the loop without end
        ev_timer_set(&accept_again_, accept_pause_s, 0.);
        ev_timer_start(loop_, &accept_again_);
    }
}

void Server::on_event_end() {
    clients_.remove_if([](const Client &client) { return client.gone(); });
}

void Server::on_request(Client &client, const wire::Message &request) {
    answering_failures(client, request.request, [&] { serve(client, request); });
}

void Server::serve(Client &client, const wire::Message &request) {
    switch (request.type) {
    case wire::Type::hello:
        answer(client, request.request, std::nullopt);
        return;
    case wire::Type::get:
        serve_get(client, request);
        return;
    case wire::Type::set:
    case wire::Type::remove:
        serve_write(client, request);
        return;
    case wire::Type::list:
        serve_list(client, request);
        return;
    case wire::Type::namespaces:
        serve_namespaces(client, request);
        return;
    case wire::Type::watch:
        serve_watch(client, request);
        return;
    default:
        throw Refusal(wire::Status::bad_request, "there is no request " +
                                                     std::to_string(static_cast<unsigned>(request.type)) +
                                                     ": use a matching libmortox");
    }
}

void Server::serve_get(Client &client, const wire::Message &request) {
    Namespace &name_space = checked_namespace(request);
    check_key(request);
    answer(client, request.request, name_space.database.get(request.section, request.key));
}

void Server::serve_write(Client &client, const wire::Message &request) {
    Namespace &name_space = checked_namespace(request);
    check_key(request);
    if (request.type == wire::Type::remove) {
        name_space.database.remove(request.section, request.key);
    } else if (request.value_type == wire::ValueType::text) {
        name_space.database.set(request.section, request.key, request.value);
    } else {
        throw Refusal(wire::Status::bad_request, "there is no value to set");
    }
    announce(request);
    answer(client, request.request, std::nullopt);
    keep_log_short(name_space.database);
}

// After the answer: the write that makes the log too long is as fast as any.
void Server::keep_log_short(Database &database) {
    if (database.log_pages() >= Database::log_pages_max) {
        database.write_back();
    } else if (database.log_pages() >= log_pages_quiet) {
        ev_timer_again(loop_, &quiet_);
    }
}

void Server::announce(const wire::Message &request) {
    wire::Message change = request;
    change.type = wire::Type::change;
    change.status = wire::Status::ok;
    change.request = 0;
    change.flags = 0;
    if (request.type == wire::Type::remove) {
        change.value_type = wire::ValueType::none;
        change.value = nullptr;
    }
    const std::string name = full_name(request);
    for (Client &client : clients_) {
        if (client.watches(name)) {
            client.announce(change);
        }
    }
}

void Server::serve_watch(Client &client, const wire::Message &request) {
    Namespace &name_space = checked_namespace(request);
    check_key(request);
    if (!client.watch(full_name(request))) {
        throw Refusal(wire::Status::bad_request,
                      "a connection can watch no more than " + std::to_string(Client::watches_max) + " keys");
    }
    // Watched also when there is no reading it: what mends the value is announced.
    answer(client, request.request, name_space.database.get(request.section, request.key));
}

void Server::serve_list(Client &client, const wire::Message &request) {
    Namespace &name_space = checked_namespace(request);
    const std::string section = request.section;
    if (!section.empty()) {
        check_name("the section", request.section);
    }
    Cursor cursor{section, "", "", ""};
    client.stream([this, &client, &name_space, number = request.request, cursor]() mutable {
        bool more = false;
        const bool read = answering_failures(client, number, [&] {
            more = name_space.database.list(cursor, list_piece_items, [&](const Setting &setting) {
                wire::Message item{};
                item.type = wire::Type::item;
                item.request = number;
                item.value_type = wire::ValueType::text;
                item.name_space = name_space.name.c_str();
                item.section = setting.section.c_str();
                item.key = setting.key.c_str();
                item.value = setting.value.c_str();
                client.send(item);
            });
        });
        if (read && !more && cursor.left_out.empty()) {
            answer(client, number, std::nullopt);
        } else if (read && !more) {
            refuse(client, number, wire::Status::storage, cursor.left_out);
        }
        return read && more;
    });
}

void Server::serve_namespaces(Client &client, const wire::Message &request) {
    for (const Namespace &name_space : namespaces_) {
        wire::Message item{};
        item.type = wire::Type::item;
        item.request = request.request;
        item.flags = name_space.database.persistent() ? wire::persistent_flag : 0;
        item.name_space = name_space.name.c_str();
        client.send(item);
    }
    answer(client, request.request, std::nullopt);
}

Namespace &Server::checked_namespace(const wire::Message &request) {
    check_name("the namespace", request.name_space);
    std::string known;
    for (Namespace &name_space : namespaces_) {
        if (name_space.name == request.name_space) {
            return name_space;
        }
        known += (known.empty() ? "" : ", ") + name_space.name;
    }
    throw Refusal(wire::Status::no_namespace,
                  std::string("there is no namespace ") + request.name_space + ": this store has " + known);
}
