/*
 * What a run of the channel benchmark has measured, and how it is shown.
 */
#ifndef BENCH_CHANNEL_RESULTS_H
#define BENCH_CHANNEL_RESULTS_H

#include "channel_plan.h"

namespace bench {

/* One transport under one load. */
struct Result {
    TransportKind kind;
    std::vector<Round> rounds;

    /* The median over the rounds. */
    double median(double Round::*figure) const;
};

/* All transports under one load, the floor first; but for those of which no round came to its end. */
struct Comparison {
    Load load;
    std::vector<Result> results;

    /* Null when it did not take part. */
    const Result *of(const std::string &key) const;
};

/* "64 KB, 4 receivers, 500 Hz, pinned" */
std::string describe(const Load &load);

/* To standard output, in Markdown. */
void print_tables(const std::vector<Comparison> &comparisons);
/* The ratios that answer what the channels are to be good at; of a standard run. */
void print_summary(const std::vector<Comparison> &comparisons);

/* The latencies as an SVG; `caption` stands below. */
void write_plot(const std::string &file, const std::vector<Comparison> &comparisons,
                const std::string &caption);

/* Memory of the daemon's six channels, for every transport. */
void compare_memory(const std::vector<TransportKind> &kinds);

/* System calls per frame of this library. */
void count_system_calls();

} // namespace bench

#endif
