/*
 * libshbf: shared buffers.
 *
 * A shared buffer is a piece of a channel's arena: memory that this process writes and that receivers in
 * other processes map read-only. A buffer is known by the address of its first byte, so that a producer
 * can let a board library write a payload straight behind a header:
 *
 *     uint8_t *buffer = shbfev_brd_alloc(channel, capacity + 32);
 *     get_video_stream(0, buffer + 32, capacity, &info);
 *     memcpy(buffer, &info, 32);
 *     shbf_set_size(buffer, info.len + 32);
 *     if (shbfev_brd_broadcast(channel, buffer) < 0)
 *         shbf_free(buffer);
 *
 * The life of a buffer:
 *
 *     alloc --> the caller owns it, alone, and may write it
 *       |-- shbf_free ------------------------------> gone
 *       |-- shbfev_brd_broadcast, result >= 0 ------> the library owns it: hands off, also for reading
 *       |-- shbfev_brd_broadcast, result < 0 -------> the caller still owns it
 *       `-- shbfev_brd_send (any result) -----------> the caller still owns it, must no longer write it,
 *                                                     and calls shbf_free when it has sent enough
 *     The memory is used again when the owner has let go and every receiver that got the buffer has released
 *     it, has detached, or has died.
 *
 * This header is the daemon's side. Receivers use libshbf_receiver.h; channels are made with libshbfev.h.
 *
 * Threads: any thread. Several threads may work on different buffers of one channel at the same time.
 * Nothing here blocks, allocates from the heap, or is for signal handlers.
 */
#ifndef LIBSHBF_H
#define LIBSHBF_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Sets the number of valid bytes, counted from the start of the buffer, and gives the memory behind them
 * back to the channel. To be called once, by the owner, before the buffer is broadcast or sent; without it
 * all bytes that were asked for count as valid.
 *
 * Result: 0; -EINVAL when `buffer` is not a buffer that this process owns, or has been sent to somebody;
 * -EMSGSIZE when `size` is larger than what was allocated (the buffer keeps its size).
 */
int32_t shbf_set_size(void *buffer, uint32_t size);

/* The number of valid bytes; 0 when `buffer` is not a buffer that this process owns. */
uint32_t shbf_get_size(const void *buffer);

/*
 * Gives up the owner's reference. Null is allowed and ignored, and so is an address that is no buffer:
 * a buffer that has been broadcast belongs to the library, so a second free of it changes nothing until its
 * memory has been handed out again.
 */
void shbf_free(void *buffer);

#ifdef __cplusplus
}
#endif

#endif
