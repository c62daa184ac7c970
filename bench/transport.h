/*
 * One way to bring frames from a producer process to receiver processes, as the channel benchmark compares
 * them.
 *
 * A Transport is made before the processes are forked. Each process then uses one half of it: the producer
 * open_sender, prepare and publish, a receiver open_receiver and receive. The processes end in order, with
 * the destructor. Failures end the process with a message (fail).
 */
#ifndef BENCH_TRANSPORT_H
#define BENCH_TRANSPORT_H

#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace bench {

/* What every frame begins with. */
struct FrameHead {
    uint64_t sent_ns; // now_ns just before publish
    uint32_t sequence;
    uint32_t kind;
};

/* What is to be transported. */
struct Channel {
    int number;        // of those that a process has: 0, 1 ...
    uint32_t capacity; // bytes of the largest frame
    int receivers;
};

class Transport {
  public:
    virtual ~Transport() = default;

    virtual void open_sender() = 0;
    /*
     * Where the next frame of `size` bytes is to be written: memory of the transport if it publishes in
     * place, else of the producer. Null when the transport has none free.
     */
    virtual uint8_t *prepare(uint32_t size) = 0;
    /* Publishes what was prepared last. May wait for receivers if that is how the transport works. */
    virtual void publish(uint32_t size) = 0;

    /* In receiver `index`; waits for a sender that is not there yet. */
    virtual void open_receiver(int index) = 0;
    /*
     * Waits for the next frame. Result: its head, after the last byte has been read as well and the frame was
     * given back.
     */
    virtual FrameHead receive() = 0;
};

struct TransportKind {
    const char *key;  // for --transport
    const char *name; // in tables
    bool copies;      // the payload, on its way
    bool peer;        // neither the floor nor this project's
    std::unique_ptr<Transport> (*make)(const Channel &channel);
};

/* eventfd and epoll, the payload lies in shared memory already: nothing that wakes a process can be faster.
 */
std::unique_ptr<Transport> make_floor(const Channel &channel);
/* This project's channels: the blocking interface, and the same behind poll(). */
std::unique_ptr<Transport> make_shbf(const Channel &channel);
std::unique_ptr<Transport> make_shbf_poll(const Channel &channel);
/* A Unix socket for each receiver, through which the payload is copied. */
std::unique_ptr<Transport> make_seqpacket(const Channel &channel);
std::unique_ptr<Transport> make_stream(const Channel &channel);
/* Peers; each is built only where its packages are installed. */
std::unique_ptr<Transport> make_iceoryx(const Channel &channel);
std::unique_ptr<Transport> make_gstreamer(const Channel &channel);
std::unique_ptr<Transport> make_zeromq(const Channel &channel);
std::unique_ptr<Transport> make_nng(const Channel &channel);

/* iceoryx's daemon for as long as this lives, with its default configuration or that of the file `config`. */
class RouDi {
  public:
    explicit RouDi(const std::string &config = "");
    ~RouDi();
    RouDi(const RouDi &) = delete;
    RouDi &operator=(const RouDi &) = delete;
    pid_t pid() const { return pid_; }

  private:
    pid_t pid_;
};

/* Null when none of these transports needs one. */
std::unique_ptr<RouDi> roudi_for(const std::vector<TransportKind> &kinds, const std::string &config = "");

/* All that are built, the floor first and this library second. */
const std::vector<TransportKind> &transport_kinds();

/* Reads a frame's last byte, or all of them if `read_whole` is set, then takes its head. */
extern bool read_whole;
FrameHead look_at(const void *frame, size_t size);

/* A socket address for the channel of a peer that needs one, in this run's private directory. */
std::string ipc_address(const char *name, const Channel &channel);

} // namespace bench

#endif
