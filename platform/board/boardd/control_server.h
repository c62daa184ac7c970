/*
 * The control socket: packets in, packets out. What they ask for is judged elsewhere (requests.h).
 *
 * Threads: the loop thread. A client that sends what is no request, or does not fetch its replies, is
 * disconnected; the others notice nothing. New clients wait while the process has no descriptors for them.
 */
#ifndef PLATFORM_BOARD_BOARDD_CONTROL_SERVER_H
#define PLATFORM_BOARD_BOARDD_CONTROL_SERVER_H

#include "board/protocol.h"

#include <cstdint>
#include <ev.h>
#include <map>
#include <memory>
#include <span>
#include <string>

namespace board {

/* A connection, by a number that is not used again. */
using ClientId = uint64_t;

class RequestHandler {
  public:
    virtual ~RequestHandler() = default;

    /* A sound header; `payload` is valid during the call. To be answered with ControlServer::reply, at any
     * time, or not. */
    virtual void request(ClientId client, const ControlRequest &header, std::span<const uint8_t> payload) = 0;

    /* The client has gone. */
    virtual void gone(ClientId client) = 0;
};

class ControlServer {
  public:
    /*
     * Serves control_path, in place of a socket that a crashed boardd has left. Throws std::runtime_error
     * with what to do about it: another boardd runs, something else stands at the path, no permission ...
     */
    explicit ControlServer(struct ev_loop *loop);
    ~ControlServer();
    ControlServer(const ControlServer &) = delete;
    ControlServer &operator=(const ControlServer &) = delete;

    /* Who is told; before the loop runs. */
    void set_handler(RequestHandler *handler) { handler_ = handler; }

    /* The socket's path, for people. */
    const std::string &path() const { return path_; }

    /* Answers a request; with -EMSGSIZE instead when the payload does not fit into a packet. Nothing happens
     * when the client has gone. */
    void reply(ClientId client, const ControlRequest &request, int32_t result,
               std::span<const uint8_t> payload);

    /* The same, with a file for the client to read. `file` stays the caller's. */
    void reply_with_file(ClientId client, const ControlRequest &request, int32_t result,
                         std::span<const uint8_t> payload, int file);

  private:
    struct Connection {
        ControlServer *server;
        ClientId id;
        int fd;
        ev_io watcher;
    };

    static void on_listener(struct ev_loop *loop, ev_io *watcher, int events);
    static void on_connection(struct ev_loop *loop, ev_io *watcher, int events);
    static void on_accept_again(struct ev_loop *loop, ev_timer *timer, int events);
    void accept_one();
    void accept_later(int error);
    bool read_one(Connection &connection);
    void disconnect(ClientId id);

    struct ev_loop *loop_;
    RequestHandler *handler_ = nullptr;
    std::string path_;
    int listener_;
    ev_io watcher_{};
    ev_timer accept_again_{};
    bool accept_failing_ = false;
    ClientId next_id_ = 1;
    std::map<ClientId, std::unique_ptr<Connection>> connections_;
};

} // namespace board

#endif
