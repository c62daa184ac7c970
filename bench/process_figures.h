/*
 * What a process holds at this moment, read from /proc.
 */
#ifndef BENCH_PROCESS_FIGURES_H
#define BENCH_PROCESS_FIGURES_H

#include <sys/types.h>

namespace bench {

struct ProcessFigures {
    /* Private_Dirty and Private_Clean of all mappings but the channels' arenas and release tables, which are
     * shared with receivers for as long as there are any. */
    long private_kb;
    int descriptors;
    int threads;

    bool operator==(const ProcessFigures &other) const = default;
};

/* Throws std::runtime_error when the process has ended. */
ProcessFigures figures_of(pid_t pid);

/* The same once nothing changes any more for two seconds, or after twenty. */
ProcessFigures settled_figures_of(pid_t pid);

} // namespace bench

#endif
