// The loop side of a channel (libshbfev.h): the listening socket, what peers say, and the callbacks.
//
// A peer that connects is a Peer from its first byte on; after its Hello it is a receiver too
// (Peer::receiver), and only then do callbacks know it. A peer costs a descriptor, so those that do not say
// Hello in time are dropped. One that may not attach (admission.h) is told so when it has said Hello, not
// before: a connection that is closed with its Hello unread may lose the answer. Until then it holds a place
// that is taken from it as soon as somebody else needs one. Frames do not pass through here: producers send
// them from their own threads (channel.cpp) and leave a note in Receiver::error, with a wake-up, when one
// could not be sent. Callbacks may change the peer list under a walk only in one way: a peer is dropped after
// its own callback.

#include "libshbfev.h"

#include "run_dir/run_dir.h"
#include "shbf/access.h"
#include "shbf/admission.h"
#include "shbf/channel.h"
#include "shbf/packet.h"

#include <errno.h>
#include <ev.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace shbf;

namespace {

constexpr int backlog = 32;
constexpr uint32_t peers_max = receivers_max + 16; // room for those that shake hands or only ask
constexpr ev_tstamp accept_pause_s = 0.1;          // when descriptors are short
constexpr int packets_per_turn = 16;               // of one peer, before others have their turn
constexpr int event_codes = 6;
constexpr mode_t mode_bits = 07777;

struct Peer {
    ev_io io;
    ev_timer hello_timeout;
    shbfev_brd_t *brd;
    Receiver *receiver; // null before its Hello
    Credentials who;
    int refusal; // errno value that its Hello will be answered with; 0 for none
    Sending sending;
    Peer *previous;
    Peer *next;
};

struct Handler {
    shbfev_callback callback;
    void *user;
};

} // namespace

static_assert(SHBF_MESSAGE_MAX == message_max);

struct shbfev_brd {
    Channel channel;
    char *path;           // as given, under /run
    sockaddr_un address;  // where that is
    struct stat identity; // of the socket file that we made
    struct ev_loop *loop; // null when not started
    ev_io listener;
    ev_io wake;
    ev_stat path_watch;
    ev_timer accept_pause;
    Handler handlers[event_codes];
    Admission admission;
    Peer *peers; // the newest first
    uint32_t peer_count;
    uint8_t *packet; // one packet at a time, and a zero behind it
};

namespace {

// ---- callbacks ----

template <typename Callback>
Callback handler(const shbfev_brd_t *brd, int code) {
    return reinterpret_cast<Callback>(brd->handlers[code].callback);
}

void tell_receiver(shbfev_brd_t *brd, int code, int32_t receiver) {
    const auto callback = handler<shbfev_receiver_callback>(brd, code);
    if (callback != nullptr) {
        callback(brd->handlers[code].user, receiver);
    }
}

/* True when the receiver stays. */
bool tell_error(shbfev_brd_t *brd, int32_t receiver, int error) {
    const auto callback = handler<shbfev_error_callback>(brd, SHBFEV_RECEIVER_ERROR);
    if (callback == nullptr) {
        return error == EAGAIN;
    }
    return callback(brd->handlers[SHBFEV_RECEIVER_ERROR].user, receiver, error) < 0;
}

void tell_message(shbfev_brd_t *brd, int32_t receiver, const void *bytes, uint32_t length) {
    const auto callback = handler<shbfev_message_callback>(brd, SHBFEV_MESSAGE);
    if (callback != nullptr) {
        callback(brd->handlers[SHBFEV_MESSAGE].user, receiver, bytes, static_cast<int32_t>(length));
    }
}

// ---- peers ----

enum class Goodbye { told, silent };

void drop_peer(Peer *peer, Goodbye goodbye) {
    shbfev_brd_t *brd = peer->brd;
    const int fd = peer->io.fd;
    ev_io_stop(brd->loop, &peer->io);
    ev_timer_stop(brd->loop, &peer->hello_timeout);
    (peer->previous == nullptr ? brd->peers : peer->previous->next) = peer->next;
    if (peer->next != nullptr) {
        peer->next->previous = peer->previous;
    }
    --brd->peer_count;
    Receiver *receiver = peer->receiver;
    free(peer);
    const int32_t id = receiver == nullptr ? 0 : receiver->id;
    if (receiver != nullptr) {
        shbf_channel_detach(&brd->channel, receiver);
    }
    close(fd);
    if (id != 0 && goodbye == Goodbye::told) {
        tell_receiver(brd, SHBFEV_RECEIVER_CLOSED, id);
    }
}

void drop_all_peers(shbfev_brd_t *brd) {
    for (Peer *peer = brd->peers, *next = nullptr; peer != nullptr; peer = next) {
        next = peer->next;
        drop_peer(peer, Goodbye::silent);
    }
}

void refuse(Peer *peer, int error) {
    admission_log(&peer->brd->admission, peer->who, error);
    const Refused packet = {Kind::refused, error};
    packet_send(peer->io.fd, &packet, sizeof packet, -1);
    drop_peer(peer, Goodbye::silent);
}

/* May this peer become a receiver, as far as numbers go? 0 or an errno value. */
int room_for(const Peer *peer) {
    uint32_t attached = 0;
    uint32_t of_user = 0;
    for (const Peer *other = peer->brd->peers; other != nullptr; other = other->next) {
        attached += other->receiver != nullptr ? 1 : 0;
        of_user += other->receiver != nullptr && other->who.uid == peer->who.uid ? 1 : 0;
    }
    return admission_of_receiver(&peer->brd->admission, attached, of_user);
}

int attach(Peer *peer, uint32_t window) {
    const int error = room_for(peer);
    return error != 0 ? error
                      : -shbf_channel_attach(&peer->brd->channel, peer->io.fd, window, &peer->receiver);
}

void list_attached(const shbfev_brd_t *brd, shbf_access_t *access) {
    for (const Peer *peer = brd->peers; peer != nullptr; peer = peer->next) {
        if (peer->receiver != nullptr && access->attached_count < SHBF_RECEIVERS_MAX) {
            access->attached[access->attached_count++] = {peer->receiver->id, peer->who.pid, peer->who.uid};
        }
    }
}

/* A peer that only asks gets its answer, and that is all. */
void answer(Peer *peer, Role question) {
    shbfev_brd_t *brd = peer->brd;
    if (question == Role::access) {
        AccessPacket packet{};
        packet.kind = Kind::access;
        admission_describe(&brd->admission, &packet.access);
        packet.access.mode = brd->identity.st_mode & mode_bits;
        packet.access.group = brd->identity.st_gid;
        list_attached(brd, &packet.access);
        packet_send(peer->io.fd, &packet, sizeof packet, -1);
    } else {
        Info info;
        shbf_channel_describe(&brd->channel, &info);
        packet_send(peer->io.fd, &info, sizeof info, -1);
    }
    drop_peer(peer, Goodbye::silent);
}

/* The first packet of a peer. False when the peer is gone. */
bool take_hello(Peer *peer, const uint8_t *bytes, int length) {
    shbfev_brd_t *brd = peer->brd;
    Hello hello{};
    if (length == sizeof hello) {
        memcpy(&hello, bytes, sizeof hello);
    }
    if (hello.kind != Kind::hello || hello.magic != wire_magic) {
        admission_log(&brd->admission, peer->who, EPROTO);
        drop_peer(peer, Goodbye::silent);
        return false;
    }
    if (peer->refusal != 0) {
        refuse(peer, peer->refusal);
        return false;
    }
    if (hello.version != wire_version || hello.role > Role::access) {
        refuse(peer, EPROTONOSUPPORT);
        return false;
    }
    if (hello.role != Role::receiver) {
        answer(peer, hello.role);
        return false;
    }
    int error = attach(peer, hello.window);
    error = error == EAGAIN ? ENOBUFS : error; // its socket is empty: the kernel is short of memory
    if (error == EPIPE || error == ECONNRESET) {
        drop_peer(peer, Goodbye::silent); // it is gone already
        return false;
    }
    if (error != 0) {
        refuse(peer, error);
        return false;
    }
    ev_timer_stop(brd->loop, &peer->hello_timeout);
    tell_receiver(brd, SHBFEV_RECEIVER_NEW, peer->receiver->id);
    return true;
}

/* A packet of an attached receiver. The answer is 0 or what is wrong with it. */
int take_message(Peer *peer, const uint8_t *bytes, int length) {
    Message record;
    if (length < static_cast<int>(sizeof record)) {
        return EPROTO;
    }
    memcpy(&record, bytes, sizeof record);
    if (record.kind != Kind::message || record.length != static_cast<uint32_t>(length) - sizeof record) {
        return EPROTO;
    }
    switch (admission_of_message(&peer->brd->admission, &peer->sending, record.length)) {
    case Verdict::deliver:
        tell_message(peer->brd, peer->receiver->id, bytes + sizeof record, record.length);
        return 0;
    case Verdict::too_long:
        return EMSGSIZE;
    case Verdict::too_many:
        return EAGAIN;
    default:
        return 0;
    }
}

/* What the receiver sent is wrong. True when it stays all the same. */
bool tell_wrong(Peer *peer, int error) {
    admission_log(&peer->brd->admission, peer->who, error);
    return tell_error(peer->brd, peer->receiver->id, error);
}

/* One packet. False when the peer is gone or has nothing more to say. */
bool serve_packet(Peer *peer) {
    shbfev_brd_t *brd = peer->brd;
    const int length = packet_receive(peer->io.fd, brd->packet, packet_max, nullptr, false);
    if (length == -EAGAIN || length == -EINTR) {
        return false;
    }
    if (length == -ECONNRESET) {
        return true; // it closed with frames unread; what it had said before stands behind this
    }
    if (length == 0 || (length < 0 && length != -EMSGSIZE)) {
        drop_peer(peer, Goodbye::told);
        return false;
    }
    if (length > 0) {
        brd->packet[length] = 0;
    }
    if (peer->receiver == nullptr) {
        return take_hello(peer, brd->packet, length);
    }
    const int error = length < 0 ? EMSGSIZE : take_message(peer, brd->packet, length);
    if (error != 0 && !tell_wrong(peer, error)) {
        drop_peer(peer, Goodbye::told);
        return false;
    }
    return true;
}

void on_peer(struct ev_loop * /*loop*/, ev_io *watcher, int /*revents*/) {
    Peer *peer = static_cast<Peer *>(watcher->data);
    for (int i = 0; i < packets_per_turn && serve_packet(peer); ++i) {
    }
}

/* After a turn of the loop that took long, what the peer said in time may still be unread: then on_peer has
 * the word. */
void on_hello_timeout(struct ev_loop * /*loop*/, ev_timer *watcher, int /*revents*/) {
    char byte;
    Peer *peer = static_cast<Peer *>(watcher->data);
    if (recv(peer->io.fd, &byte, sizeof byte, MSG_PEEK | MSG_DONTWAIT) < 0) {
        refuse(peer, peer->refusal != 0 ? peer->refusal : ETIMEDOUT);
    }
}

/* A producer could not send to somebody. */
void on_wake(struct ev_loop * /*loop*/, ev_io *watcher, int /*revents*/) {
    shbfev_brd_t *brd = static_cast<shbfev_brd_t *>(watcher->data);
    uint64_t count;
    if (read(watcher->fd, &count, sizeof count) < 0) {
        return;
    }
    Peer *next = nullptr;
    for (Peer *peer = brd->peers; peer != nullptr; peer = next) {
        next = peer->next;
        Receiver *receiver = peer->receiver;
        const int error = receiver == nullptr ? 0 : receiver->error.exchange(0, std::memory_order_acq_rel);
        // One that was given up cannot be kept.
        if (error != 0 && (!tell_error(brd, receiver->id, error) || error == ETIMEDOUT)) {
            drop_peer(peer, Goodbye::told);
        }
    }
}

// ---- the listening socket ----

void server_closed(shbfev_brd_t *brd) {
    ev_io_stop(brd->loop, &brd->listener);
    ev_timer_stop(brd->loop, &brd->accept_pause);
    ev_stat_stop(brd->loop, &brd->path_watch);
    drop_all_peers(brd);
    const auto callback = handler<shbfev_server_callback>(brd, SHBFEV_SERVER_CLOSED);
    if (callback != nullptr) {
        callback(brd->handlers[SHBFEV_SERVER_CLOSED].user);
    }
}

/* The peer that may not attach and has waited longest with its Hello, or null. */
Peer *oldest_refused(const shbfev_brd_t *brd) {
    Peer *oldest = nullptr;
    for (Peer *peer = brd->peers; peer != nullptr; peer = peer->next) {
        oldest = peer->refusal != 0 ? peer : oldest;
    }
    return oldest;
}

uint32_t waiting_of(const shbfev_brd_t *brd, uid_t uid) {
    uint32_t count = 0;
    for (const Peer *peer = brd->peers; peer != nullptr; peer = peer->next) {
        count += peer->receiver == nullptr && peer->who.uid == uid ? 1 : 0;
    }
    return count;
}

/* Of those who have not said Hello: the one that has waited longest, of the user who has most of them. Null
 * when nobody has more than `uid`, with one more, would have. */
Peer *oldest_of_the_crowd(const shbfev_brd_t *brd, uid_t uid) {
    Peer *oldest = nullptr;
    uint32_t most = waiting_of(brd, uid) + 1;
    for (Peer *peer = brd->peers; peer != nullptr; peer = peer->next) {
        const uint32_t waiting = peer->receiver == nullptr ? waiting_of(brd, peer->who.uid) : 0;
        if (waiting > most || (oldest != nullptr && waiting == most && peer->who.uid == oldest->who.uid)) {
            most = waiting;
            oldest = peer;
        }
    }
    return oldest;
}

/* So those who may not attach never keep out those who may, nor one user all others by saying nothing. */
void make_room(shbfev_brd_t *brd, uid_t uid) {
    if (brd->peer_count < peers_max) {
        return;
    }
    Peer *oldest = oldest_refused(brd);
    if (oldest != nullptr) {
        refuse(oldest, oldest->refusal);
        return;
    }
    oldest = oldest_of_the_crowd(brd, uid);
    if (oldest != nullptr) {
        refuse(oldest, ENOSPC);
    }
}

void add_peer(shbfev_brd_t *brd, int fd) {
    Credentials who;
    const int refusal = admission_of_peer(&brd->admission, fd, &who);
    make_room(brd, who.uid);
    Peer *peer = brd->peer_count < peers_max ? static_cast<Peer *>(calloc(1, sizeof(Peer))) : nullptr;
    if (peer == nullptr) {
        admission_log(&brd->admission, who, ENOSPC);
        const Refused packet = {Kind::refused, ENOSPC};
        packet_send(fd, &packet, sizeof packet, -1);
        close(fd);
        return;
    }
    peer->brd = brd;
    peer->who = who;
    peer->refusal = refusal;
    peer->next = brd->peers;
    if (peer->next != nullptr) {
        peer->next->previous = peer;
    }
    brd->peers = peer;
    ++brd->peer_count;
    ev_io_init(&peer->io, on_peer, fd, EV_READ);
    const ev_tstamp hello_timeout_s = brd->admission.policy.handshake_ms / 1000.0;
    ev_timer_init(&peer->hello_timeout, on_hello_timeout, hello_timeout_s, 0.0);
    peer->io.data = peer->hello_timeout.data = peer;
    ev_io_start(brd->loop, &peer->io);
    ev_now_update(brd->loop); // its time counts from now, not from when the loop last looked at the clock
    ev_timer_start(brd->loop, &peer->hello_timeout);
}

void on_connection(struct ev_loop *loop, ev_io *watcher, int /*revents*/) {
    shbfev_brd_t *brd = static_cast<shbfev_brd_t *>(watcher->data);
    const int fd = accept4(watcher->fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd >= 0) {
        add_peer(brd, fd);
        return;
    }
    switch (errno) {
    case EAGAIN:
    case EINTR:
    case ECONNABORTED:
        break;
    case EMFILE:
    case ENFILE:
    case ENOBUFS:
    case ENOMEM:
        // The connection waits in the backlog, and would wake the loop again at once.
        ev_io_stop(loop, watcher);
        ev_timer_set(&brd->accept_pause, accept_pause_s, 0.0); // one that has run out has no time left
        ev_timer_start(loop, &brd->accept_pause);
        break;
    default:
        server_closed(brd);
        break;
    }
}

void on_accept_pause_over(struct ev_loop *loop, ev_timer *watcher, int /*revents*/) {
    shbfev_brd_t *brd = static_cast<shbfev_brd_t *>(watcher->data);
    ev_io_start(loop, &brd->listener);
}

bool path_is_ours(const shbfev_brd_t *brd) {
    struct stat now;
    return lstat(brd->address.sun_path, &now) == 0 && now.st_ino == brd->identity.st_ino &&
           now.st_dev == brd->identity.st_dev;
}

void on_path_changed(struct ev_loop * /*loop*/, ev_stat *watcher, int /*revents*/) {
    shbfev_brd_t *brd = static_cast<shbfev_brd_t *>(watcher->data);
    if (!path_is_ours(brd)) {
        server_closed(brd);
    }
}

int listen_as_policy_says(const shbfev_brd_t *brd) {
    const RunDirAccess access = {brd->admission.policy.mode, brd->admission.policy.group};
    return run_dir_listen(brd->path, SOCK_SEQPACKET, backlog, access);
}

/* A channel that cannot be as open as its policy says is closed; it is not missing. Without it the daemon's
 * control loop would end, and with it commands and settings, which nobody asked for. */
int open_listener(shbfev_brd_t *brd) {
    admission_open(&brd->admission, brd->path);
    const int listener = listen_as_policy_says(brd);
    if (listener != -EPERM || brd->admission.policy.closed) {
        return listener;
    }
    admission_close(&brd->admission);
    return listen_as_policy_says(brd);
}

void start_watchers(struct ev_loop *loop, shbfev_brd_t *brd, int listener, int wake) {
    brd->loop = loop;
    ev_io_init(&brd->listener, on_connection, listener, EV_READ);
    ev_io_init(&brd->wake, on_wake, wake, EV_READ);
    ev_stat_init(&brd->path_watch, on_path_changed, brd->address.sun_path, 0.0);
    ev_timer_init(&brd->accept_pause, on_accept_pause_over, accept_pause_s, 0.0);
    brd->listener.data = brd->wake.data = brd->path_watch.data = brd->accept_pause.data = brd;
    ev_io_start(loop, &brd->listener);
    ev_io_start(loop, &brd->wake);
    ev_stat_start(loop, &brd->path_watch);
}

} // namespace

PLATFORM_API shbfev_brd_t *shbfev_brd_create(const char *path) {
    sockaddr_un address;
    const int length = run_dir_address(path, &address);
    if (length < 0) {
        errno = -length;
        return nullptr;
    }
    shbfev_brd_t *brd = static_cast<shbfev_brd_t *>(calloc(1, sizeof(shbfev_brd_t)));
    char *copy = strdup(path);
    uint8_t *packet = static_cast<uint8_t *>(malloc(packet_max + 1));
    if (brd == nullptr || copy == nullptr || packet == nullptr) {
        free(brd);
        free(copy);
        free(packet);
        return nullptr;
    }
    brd->address = address;
    brd->path = copy;
    brd->packet = packet;
    shbf_channel_init(&brd->channel);
    return brd;
}

PLATFORM_API int32_t shbfev_brd_event(shbfev_brd_t *brd, int32_t code, shbfev_callback callback, void *user) {
    if (brd == nullptr || code < SHBFEV_SERVER_CLOSED || code > SHBFEV_MESSAGE) {
        return -EINVAL;
    }
    brd->handlers[code] = {callback, user};
    return 0;
}

PLATFORM_API int32_t shbfev_brd_start(struct ev_loop *loop, shbfev_brd_t *brd) {
    if (brd == nullptr || loop == nullptr || brd->loop != nullptr || brd->packet == nullptr) {
        return -EINVAL;
    }
    const int listener = open_listener(brd);
    if (listener < 0) {
        return listener;
    }
    const int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake < 0 || lstat(brd->address.sun_path, &brd->identity) != 0) {
        const int error = errno;
        if (wake >= 0) {
            close(wake);
        }
        close(listener);
        unlink(brd->address.sun_path);
        return -error;
    }
    start_watchers(loop, brd, listener, wake);
    shbf_channel_set_wake(&brd->channel, wake);
    return 0;
}

PLATFORM_API void *shbfev_brd_alloc(shbfev_brd_t *brd, uint32_t size) {
    return brd == nullptr ? nullptr : shbf_channel_alloc(&brd->channel, size);
}

PLATFORM_API int32_t shbfev_brd_broadcast(shbfev_brd_t *brd, void *buffer) {
    return brd == nullptr ? -EINVAL : shbf_channel_broadcast(&brd->channel, buffer);
}

PLATFORM_API int32_t shbfev_brd_send(shbfev_brd_t *brd, int32_t receiver, void *buffer) {
    return brd == nullptr ? -EINVAL : shbf_channel_send(&brd->channel, receiver, buffer);
}

PLATFORM_API int32_t shbfev_brd_send_message(shbfev_brd_t *brd, int32_t receiver, const void *bytes,
                                             int32_t length) {
    if (receiver <= 0) {
        return brd == nullptr ? -EINVAL : -ENOENT;
    }
    return brd == nullptr ? -EINVAL : shbf_channel_message(&brd->channel, receiver, bytes, length);
}

PLATFORM_API int32_t shbfev_brd_broadcast_message(shbfev_brd_t *brd, const void *bytes, int32_t length) {
    return brd == nullptr ? -EINVAL : shbf_channel_message(&brd->channel, everyone, bytes, length);
}

PLATFORM_API void shbfev_brd_destroy(shbfev_brd_t *brd) {
    if (brd == nullptr || brd->packet == nullptr) {
        return;
    }
    if (brd->loop != nullptr) {
        ev_io_stop(brd->loop, &brd->listener);
        ev_io_stop(brd->loop, &brd->wake);
        ev_stat_stop(brd->loop, &brd->path_watch);
        ev_timer_stop(brd->loop, &brd->accept_pause);
        drop_all_peers(brd);
        if (path_is_ours(brd)) {
            unlink(brd->address.sun_path);
        }
        close(brd->listener.fd);
        shbf_channel_set_wake(&brd->channel, -1);
    }
    shbf_channel_close(&brd->channel);
    free(brd->path);
    free(brd->packet);
    brd->path = nullptr;
    brd->packet = nullptr; // the mark of a destroyed channel
}
