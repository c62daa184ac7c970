/*
 * Ctrl-C, and its relatives SIGTERM and SIGHUP: a request to come to an orderly end, so that a recording is
 * complete and a summary is printed. A second one ends the process at once.
 *
 * Made once by a command that waits. Threads: any may ask.
 */
#ifndef STRELLCTL_INTERRUPT_H
#define STRELLCTL_INTERRUPT_H

namespace ctl {

class Interrupt {
  public:
    /* Takes the signals over. One object at a time. */
    Interrupt();
    /* Gives them back. */
    ~Interrupt();
    Interrupt(const Interrupt &) = delete;
    Interrupt &operator=(const Interrupt &) = delete;

    /* Readable from the first signal on, for poll and event loops. */
    int fd() const;

    bool happened() const;
};

} // namespace ctl

#endif
