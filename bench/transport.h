/*
 * One way to bring frames from a producer process to a receiver process, as the channel benchmark compares
 * them.
 */
#ifndef BENCH_TRANSPORT_H
#define BENCH_TRANSPORT_H

#include <cstdint>
#include <memory>
#include <string>

namespace bench {

/*
 * The first eight bytes of every frame are the time of its publication (now_ns).
 *
 * Made before the fork. The child calls open_receiver and then receive; the parent calls open_sender and then
 * send. Failures end the process with a message.
 */
class Transport {
  public:
    virtual ~Transport() = default;
    virtual std::string name() const = 0;

    /* Parent: ready to send; called after every receiver said it is open. */
    virtual void open_sender() = 0;
    /* Publishes a frame of `size` bytes that begins with the time of this moment. */
    virtual void send(uint32_t size) = 0;

    /* Child `index`: after this, what is sent reaches it. */
    virtual void open_receiver(int index) = 0;
    /* Waits for a frame and returns the time it carries, after looking at its last byte too. */
    virtual uint64_t receive() = 0;
};

/* The payload lies in shared memory already; the wake-up is an eventfd and epoll: nothing can be faster. */
std::unique_ptr<Transport> make_floor(int receivers);
/* This project's channels. */
std::unique_ptr<Transport> make_shbf(int receivers);
/* The payload is copied through a SOCK_SEQPACKET socket for each receiver. */
std::unique_ptr<Transport> make_socket(int receivers);

} // namespace bench

#endif
