/*
 * Packets on a SOCK_SEQPACKET socket: one call, one packet, never SIGPIPE, never a descriptor that survives
 * exec. Any thread. Results: negative errno values; "no room" of any kind is -EAGAIN.
 */
#ifndef SHBF_PACKET_H
#define SHBF_PACKET_H

#include "export.h"

#include <stddef.h>
#include <stdint.h>

namespace shbf {

/* Sends one packet, with the descriptor `passed` unless that is -1. Never waits. 0, or why not. */
int packet_send(int fd, const void *packet, size_t length, int passed);

/* Sends a Message packet: its record and then `bytes`, from where they are. */
int packet_send_message(int fd, const void *bytes, uint32_t length, uint32_t frames);

/*
 * Receives one packet of at most `capacity` bytes. With `passed`, takes one descriptor that came along (-1
 * when none did; more than one are closed); without, all are refused. Waits if `wait` is true.
 *
 * Result: the packet's length, 0 at the end of the connection, -EMSGSIZE when it was longer, -EAGAIN when
 * there is none, -EMFILE when its descriptor found no place in this process (the packet is lost), or another
 * negative errno value.
 */
int packet_receive(int fd, void *packet, size_t capacity, int *passed, bool wait);

/*
 * The same for the one packet that answers a question: without descriptor, does not wait. Who answers may
 * close with the question unread, which the system tells first. Result: the packet's length, or a negative
 * errno value; -EPIPE when the end came without an answer.
 */
int packet_receive_answer(int fd, void *packet, size_t capacity);

} // namespace shbf

#endif
