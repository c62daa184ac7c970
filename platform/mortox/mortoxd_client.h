/*
 * One connected client, as the server sees it: its socket, what is still to be sent to it, what it watches.
 *
 * A client that does not read must not hold up the others, nor make the server hoard:
 *   - nothing here waits for a client; what does not fit into the socket is kept in a backlog;
 *   - a client's next request is read only when the answers to the last one are out, and a long list is made
 * in pieces as fast as it is taken, so answers cannot pile up;
 *   - changes come unasked: when more than backlog_max_bytes of them wait, the client is disconnected. It
 * then connects anew, compares, and has missed nothing but values that were not the last ones.
 *
 * Threads: the loop's.
 */
#ifndef MORTOX_MORTOXD_CLIENT_H
#define MORTOX_MORTOXD_CLIENT_H

#include "mortox/wire.h"

#include <deque>
#include <ev.h>
#include <functional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <unordered_set>

class Client;

/* What the server does for a client. */
class ClientEvents {
  public:
    virtual ~ClientEvents() = default;

    /* A valid packet has come. The texts live during the call. */
    virtual void on_request(Client &client, const wire::Message &request) = 0;

    /* The last thing a client does in an event: it may be deleted here if it is gone(). */
    virtual void on_event_end() = 0;
};

class Client {
  public:
    static constexpr size_t backlog_max_bytes = size_t{1} << 20;
    static constexpr size_t watches_max = 1024;

    /* Takes the connected socket over. `events` lives longer. */
    Client(struct ev_loop *loop, int fd, ClientEvents &events);
    ~Client();
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    /* Sends an answer or an item; what cannot be sent at once is kept. */
    void send(const wire::Message &message);

    /* Sends a change; disconnects the client when too many wait. */
    void announce(const wire::Message &change);

    /* `next` makes the next piece of a long answer with send(), and answers false when that was the last. It
     * is called as fast as the client takes the pieces. */
    void stream(std::function<bool()> next);

    /* Keys in the server's form. False when there are too many already. */
    bool watch(const std::string &key);
    bool watches(const std::string &key) const { return watched_.contains(key); }

    /* Ends the connection; `why` goes to the log unless it is empty. The object stays until on_event_end. */
    void drop(const std::string &why);
    bool gone() const { return gone_; }

  private:
    struct Packet {
        std::string bytes;
        bool change;
    };

    static void on_ready(struct ev_loop *loop, ev_io *io, int events);
    void read_request();
    void write_backlog();
    bool write_now(std::string_view packet);
    void queue(const wire::Message &message, bool change);
    void listen_for_what_is_next();

    struct ev_loop *loop_;
    ClientEvents &events_;
    ev_io io_;
    pid_t pid_ = 0; // for the log
    bool gone_ = false;
    std::deque<Packet> backlog_;
    size_t backlog_change_bytes_ = 0;
    std::function<bool()> next_piece_;
    std::unordered_set<std::string> watched_;
};

#endif
