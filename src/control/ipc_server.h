/*
 * The command socket: AV commands from other processes (av_dispatch.h) over an AF_UNIX stream socket.
 *
 * Its name is abstract: a NUL, "vuto_IPCsock", and NULs up to the 108 bytes of a path. The whole address is
 * 110 bytes long, and a client connects with all of them. Commands are framed by libav_cmd.h,
 * acknowledgements are written by the commands themselves; the server only reads.
 *
 * Up to ten clients are served. The eleventh waits in the socket's queue, and the log fills with lines about
 * it until one of the ten leaves.
 *
 * Threads: loop thread.
 */
#ifndef CONTROL_IPC_SERVER_H
#define CONTROL_IPC_SERVER_H

#include <stdint.h>

struct ev_loop;
struct ev_io;

/* Clients that are connected. */
extern int32_t ipc_client_count;

/*
 * Opens the socket. Result: its descriptor, to be watched with ipc_accept_handle; -1 when that failed, which
 * is logged (somebody else may have the name).
 */
int32_t ipc_server_create(void);

/* Somebody wants to connect: accepts, and watches the client with ipc_read_handle. */
void ipc_accept_handle(struct ev_loop *loop, struct ev_io *watcher, int revents);

/*
 * A client has sent something, or left: runs the commands that are complete by now. What is left of the last
 * one is kept only while more bytes are there to be read; a command whose second half comes later is lost.
 * 512 bytes that are no whole command end the connection. The watcher is the client's, and is freed with it.
 */
void ipc_read_handle(struct ev_loop *loop, struct ev_io *watcher, int revents);

#endif
