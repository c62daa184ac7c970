/*
 * libboardav's one connection to boardd: made on demand, shared by all calls, never made again.
 *
 * Life: idle -> connected (first call that needs it) -> ended, for one of two reasons: board_system_exit was
 * called, or the board has failed (boardd is gone, or talks nonsense). Once ended every call fails at once
 * until the process starts anew, as with hardware that has been unplugged. The descriptor is never closed, so
 * that link_exit, in a signal handler, can not hit a descriptor that means something else by now.
 *
 * Threads: any, but for link_exit, which is also for signal handlers.
 */
#ifndef PLATFORM_BOARD_CLIENT_LINK_H
#define PLATFORM_BOARD_CLIENT_LINK_H

#include "board/client/control_call.h"

namespace board {

/*
 * One request to the board; connects first when this process has not yet. Takes at most `timeout_ms`, the
 * wait for calls of other threads included. Result: the board's answer, or -1 when there is none.
 */
int32_t link_call(const ControlCall &call, uint32_t timeout_ms = control_timeout_ms);

/* True until the link has ended. */
bool link_good();

/* The descriptor, for poll: a hang-up on it means that the board has failed. -1 before the first call. */
int link_fd();

/* The board has failed: ends the link. */
void link_fail();

/* Ends the link and tells the board to shut down. Async-signal-safe: takes no lock and never waits. */
void link_exit();

} // namespace board

#endif
