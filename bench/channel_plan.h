/*
 * What one run of the channel benchmark measures: the loads, how often each, and with which transports.
 */
#ifndef BENCH_CHANNEL_PLAN_H
#define BENCH_CHANNEL_PLAN_H

#include "channel_round.h"

#include <string>

namespace bench {

struct Planned {
    Load load;
    int rounds;
};

struct Plan {
    std::vector<Planned> loads;
    std::vector<TransportKind> kinds; // the floor first
    bool standard = true;             // the loads are those that the summary and the plot are made of
    bool memory = true;               // also the memory of six channels
    bool system_calls = true;         // also the system calls of this library
    std::string plot;                 // file for the plot, or empty
    std::string command;              // what was asked for, to be shown with the plot
};

/* Ends the process with status 2 and a message when it cannot be understood, with 0 after --help. */
Plan plan_from(int argc, char **argv);

} // namespace bench

#endif
