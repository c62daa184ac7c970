/*
 * How the process ends: by a signal, from its handler, at once.
 */
#ifndef CORE_SIGNALS_H
#define CORE_SIGNALS_H

/*
 * Installs sighandler for SIGINT, SIGTERM and SIGSEGV (and asks for SIGKILL, which the system refuses), and
 * ignores SIGPIPE. Main thread, before any other exists, so that every thread inherits the same.
 */
void install_signal_handlers(void);

/*
 * Clears the run flag, stops the loop, shuts the board down and ends the process with status 255. No thread
 * is joined. Never returns.
 */
[[noreturn]] void sighandler(int signo);

#endif
