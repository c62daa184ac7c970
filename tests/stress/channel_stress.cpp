// Channels under everything that the receiving side can do to them: tests/stress/README.md.

#include "driver.h"
#include "support/scratch.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/prctl.h>

namespace {

using namespace stress;

const char usage[] =
    "usage: channel_stress [SECONDS] [--kills N] [--stops N] [--rounds N] [--seed N] [--crowd N]\n"
    "  SECONDS    how long (60, unless goals are given instead)\n"
    "  --kills    goes on until so many processes have been killed,\n"
    "  --stops    so many been stopped and continued,\n"
    "  --rounds   and so many hostile receivers been started\n"
    "  --seed     who attacks how, where and for how long (1)\n"
    "  --crowd    hostile receivers at one time (10)\n";

bool take_number(const char *text, uint64_t *number) {
    char *end = nullptr;
    *number = text == nullptr ? 0 : strtoull(text, &end, 10);
    return text != nullptr && *text >= '0' && *text <= '9' && *end == 0;
}

bool take_option(Plan *plan, const std::string &name, const char *value) {
    uint64_t number = 0;
    if (!take_number(value, &number)) {
        return false;
    }
    if (name == "--crowd" && number >= 1 && number <= 40) {
        plan->crowd = static_cast<uint32_t>(number);
        return true;
    }
    uint64_t *field = name == "--kills"    ? &plan->kills
                      : name == "--stops"  ? &plan->stops
                      : name == "--rounds" ? &plan->rounds
                      : name == "--seed"   ? &plan->seed
                                           : nullptr;
    if (field != nullptr) {
        *field = number;
    }
    return field != nullptr;
}

bool take_arguments(int argc, char **argv, Plan *plan) {
    for (int i = 1; i < argc; ++i) {
        if (strncmp(argv[i], "--", 2) != 0) {
            if (!take_number(argv[i], &plan->seconds)) {
                return false;
            }
        } else if (!take_option(plan, argv[i], argv[i + 1])) {
            return false;
        } else {
            ++i;
        }
    }
    if (plan->seconds + plan->kills + plan->stops + plan->rounds == 0) {
        plan->seconds = 60;
    }
    return true;
}

unsigned long long wide(uint64_t number) {
    return number;
}

void print_calls(const char *name, const Durations &durations) {
    printf("  %-28s %10llu   99.9%% %9.0f us   longest %9.0f us\n", name, wide(durations.count),
           durations.us(0.999), static_cast<double>(durations.longest_ns) / 1000.0);
}

void print_spread(const char *name, const Durations &durations) {
    printf("  %-28s %10llu   median %9.0f us   longest %9.0f us\n", name, wide(durations.count),
           durations.us(0.5), static_cast<double>(durations.longest_ns) / 1000.0);
}

void print_hostile(const Scoreboard &board, const Driver &driver) {
    const Tally &tally = driver.tally();
    printf("hostile receivers %llu: kills %llu, stops %llu (%llu of them over the hold limit), forks %llu\n",
           wide(tally.rounds), wide(tally.kills), wide(tally.stops), wide(tally.long_stops),
           wide(board.forks));
    printf("  attached %llu times, given up %llu times, told to be behind %llu times; %llu attempts on the "
           "arena\n",
           wide(board.hostile_attached), wide(board.given_up), wide(board.skips),
           wide(board.attempts_on_arena));
    for (uint32_t i = 0; i < attack_count; ++i) {
        printf("%s%s %llu", i == 0 ? "  " : ", ", attacks[i].name, wide(tally.by_attack[i]));
    }
    printf("\n");
}

/* What witnesses were told that they missed. */
void print_skipped(const Scoreboard &board) {
    for (uint32_t channel = 0; channel < streaming_channels; ++channel) {
        printf("  skipped on %s:", channel_names[channel]);
        for (uint32_t i = 0; i < witnesses; ++i) {
            printf(" %s %llu%s", manner_names[manner_of(channel, i)], wide(board.skipped[channel][i]),
                   i + 1 < witnesses ? "," : "\n");
        }
    }
}

void print_report(const Scoreboard &board, const Driver &driver, double seconds) {
    print_hostile(board, driver);
    printf("broadcasters %llu (killed %llu), attaches %llu, checked with nobody hostile there %llu times\n",
           wide(driver.broadcasters()), wide(driver.broadcasters_killed()), wide(board.attached),
           wide(driver.checks()));
    printf("frames published %llu, sent to one %llu, messages %llu; had to wait for room %llu times\n",
           wide(board.published), wide(board.sent), wide(board.messages), wide(board.full.count));
    printf("witnesses took %llu frames and %llu messages in %.0f s; saw %llu ends; %llu accounts balance\n",
           wide(board.frames_taken), wide(board.messages_taken), seconds, wide(board.ends_seen),
           wide(board.accounts));
    printf("  lost %llu, torn %llu, given up since the machine stood still %llu\n", wide(board.lost),
           wide(board.torn), wide(board.retirements + board.retirements_before));
    print_skipped(board);
    printf("bytes lost %llu\n", wide(driver.bytes_lost()));
    printf("broadcaster: descriptors %llu -> %llu, heap %llu -> %llu KB, private %llu -> %llu KB\n",
           wide(board.descriptors[0]), wide(board.descriptors[1]), wide(board.heap_kb[0]),
           wide(board.heap_kb[1]), wide(board.anonymous_kb[0]), wide(board.anonymous_kb[1]));
    printf("calls of producers\n");
    print_calls("alloc", board.alloc);
    print_calls("broadcast", board.publish);
    print_calls("send", board.send);
    print_calls("message", board.message);
    print_calls("waits for room", board.full);
    printf("answers to queries\n");
    print_spread("query", board.queries);
    printf("memory of a killed receiver is back\n");
    print_spread("after kill()", board.reclaim_from_kill);
    print_spread("after its end (waitpid)", board.reclaim_from_end);
    printf("from publishing to a witness, frames\n");
    for (uint32_t i = 0; i < manner_count; ++i) {
        print_spread(manner_names[i], board.delivery[i]);
        printf("    late %llu times\n", wide(board.late[i]));
    }
}

/* What only adds up over the whole run. */
void check_times(Scoreboard *board, uint64_t run_ns) {
    constexpr uint64_t blocked_ns = 2'000'000'000;
    for (const Durations *calls : {&board->alloc, &board->publish, &board->send, &board->message}) {
        if (calls->longest_ns > blocked_ns) {
            fail(board, "a call of a producer took %llu ms", wide(calls->longest_ns / 1'000'000));
        }
    }
    // Others can make a receiver late once or twice, and so can the machine, but not for a quarter of the
    // time.
    for (uint32_t i = 0; i < manner_count; ++i) {
        if (board->late_ns[i] > run_ns / 4) {
            fail(board, "the %s witness is not woken: it was late for %llu ms", manner_names[i],
                 wide(board->late_ns[i] / 1'000'000));
        }
    }
}

} // namespace

int main(int argc, char **argv) {
    Plan plan;
    if (!take_arguments(argc, argv, &plan)) {
        fputs(usage, stderr);
        return 2;
    }
    signal(SIGPIPE, SIG_IGN);
    prctl(PR_SET_CHILD_SUBREAPER, 1); // children of killed receivers become ours
    const support::ScratchRunDir run_dir;
    Scoreboard *board = make_scoreboard();
    if (board == nullptr) {
        perror("channel_stress");
        return 2;
    }
    printf("channel_stress: seed %llu\n", wide(plan.seed));
    const uint64_t start_ns = now_ns();
    Driver driver(board, plan);
    driver.run();
    const uint64_t run_ns = now_ns() - start_ns;
    check_times(board, run_ns);
    print_report(*board, driver, static_cast<double>(run_ns) / 1e9);
    printf("%s\n", board->failures == 0 ? "channel_stress: all is well" : "channel_stress: FAILED");
    return board->failures == 0 ? 0 : 1;
}
