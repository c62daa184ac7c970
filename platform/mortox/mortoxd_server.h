/*
 * The settings store: accepts clients, does what they ask in the order in which it comes, and announces each
 * write to everyone who watches the key before it is confirmed to its writer.
 *
 * Threads: one, the loop's. A write to a disk holds up everyone; that is what keeps announcements in the
 * order of the writes.
 */
#ifndef MORTOX_MORTOXD_SERVER_H
#define MORTOX_MORTOXD_SERVER_H

#include "mortox/mortoxd_client.h"
#include "mortox/mortoxd_database.h"
#include "mortox/wire.h"

#include <ev.h>
#include <list>
#include <string>
#include <vector>

struct Namespace {
    std::string name;
    Database database;
};

class Server : private ClientEvents {
  public:
    static constexpr size_t clients_max = 256;

    /* `listen_fd` stays the caller's. Serves while the loop runs. */
    Server(struct ev_loop *loop, int listen_fd, std::vector<Namespace> namespaces);
    ~Server() override;
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

  private:
    static void on_connection(struct ev_loop *loop, ev_io *io, int events);
    static void on_accept_again(struct ev_loop *loop, ev_timer *timer, int events);
    static void on_quiet(struct ev_loop *loop, ev_timer *timer, int events);
    void accept_one();
    void on_request(Client &client, const wire::Message &request) override;
    void on_event_end() override;

    void serve(Client &client, const wire::Message &request);
    void serve_get(Client &client, const wire::Message &request);
    void serve_write(Client &client, const wire::Message &request);
    void serve_watch(Client &client, const wire::Message &request);
    void serve_list(Client &client, const wire::Message &request);
    void serve_namespaces(Client &client, const wire::Message &request);
    void announce(const wire::Message &request);
    void keep_log_short(Database &database);
    Namespace &checked_namespace(const wire::Message &request);

    struct ev_loop *loop_;
    ev_io accept_io_;
    ev_timer accept_again_;
    ev_timer quiet_;
    bool accept_failing_ = false;
    std::vector<Namespace> namespaces_;
    std::list<Client> clients_;
};

#endif
