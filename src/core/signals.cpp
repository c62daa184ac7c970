// The handler does more than a handler may by the book. As a rule it interrupts the main thread, which takes
// the process's signals and sits in pthread_join without a lock. But it also runs in the middle of the
// start-up, in a thread that has faulted, and in a second thread when a second signal comes while the first
// is handled. So what it calls must be fit for all that: the log neither allocates nor locks, stopping the
// loop is a flag and a wake-up, the playback thread's lock is never held by a thread that can be interrupted
// (message_queue.cpp), board_system_exit may be called again and again and by several threads, by
// contract.

#include "core/signals.h"

#include "control/message_queue.h"
#include "core/ipc_loop.h"
#include "libboardav.h"
#include "libvuto_util.h"
#include "settings/device_status.h"

#include <signal.h>
#include <stdlib.h>

void install_signal_handlers(void) {
    signal(SIGINT, sighandler);
    signal(SIGKILL, sighandler); // refused, and asked for all the same
    signal(SIGTERM, sighandler);
    signal(SIGSEGV, sighandler);
    signal(SIGPIPE, SIG_IGN);
}

void sighandler(int signo) {
    device_status.running = 0;
    log_info("---sighandler:last %d, new %d---\n", last_signal.get(), signo);
    last_signal = signo;
    stop_ipc_loop();
    message_queue_wake();
    board_system_exit();
    exit(-1);
}
