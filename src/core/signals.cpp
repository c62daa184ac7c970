// The handler does more than a handler may by the book. It works because of who it interrupts: a process-wide
// signal goes to the main thread, which sits in pthread_join and holds no lock. Of what it calls, the log
// neither allocates nor locks, stopping the loop is a flag and a wake-up, and board_system_exit is
// async-signal-safe by contract.

#include "core/signals.h"

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
    // The playback thread is woken here.
    board_system_exit();
    exit(-1);
}
