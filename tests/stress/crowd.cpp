#include "crowd.h"

#include "child.h"

#include <cerrno>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace stress {

namespace {

constexpr uint32_t alarm_s = 60; // whatever happens, none of them stays
constexpr uint64_t us = 1000;
constexpr uint64_t ms = 1'000'000;

/* Half of them die while they attach, or soon after. Some live so long that what they hold is taken away. */
uint32_t some_life_us(Random *random, uint32_t stays_one_in) {
    if (random->one_in(2)) {
        return random->below(4'000);
    }
    return random->one_in(stays_one_in) ? 500'000 + random->below(4'500'000) : 4'000 + random->below(40'000);
}

uint32_t some_stop_ms(Random *random) {
    return random->one_in(8) ? 1'100 + random->below(500) : 2 + random->below(60);
}

} // namespace

Crowd::Crowd(Scoreboard *board, uint64_t seed, uint32_t size, Share share)
    : board_(board), random_(seed), share_(share), victims_(size) {}

void Crowd::turn(Tally *tally) {
    for (Victim &victim : victims_) {
        if (victim.pid == 0) {
            start(&victim, tally);
        } else if (now_ns() >= victim.next_ns) {
            act(&victim, tally);
        }
    }
}

void Crowd::start(Victim *victim, Tally *tally) {
    *victim = {};
    victim->attack = random_.below(attack_count);
    const char *path = channel_paths[random_.below(streaming_channels)];
    const uint64_t seed = random_.next();
    const Attack &attack = attacks[victim->attack];
    const uint32_t life_us = some_life_us(&random_, attack.stays_one_in);
    if (random_.below(share_.of) < share_.stops) {
        victim->stop_ms = some_stop_ms(&random_);
        victim->remaining_us = random_.below(20'000);
    }
    victim->pid = start_child(Group::own, [&]() -> int {
        alarm(alarm_s);
        Hostile hostile = {board_, path, Random(seed)};
        attack.run(&hostile);
        return 0;
    });
    victim->next_ns = now_ns() + life_us * us;
    ++tally->rounds;
    ++tally->by_attack[victim->attack];
}

void Crowd::act(Victim *victim, Tally *tally) {
    if (victim->stop_ms != 0) {
        kill(-victim->pid, SIGSTOP);
        ++tally->stops;
        tally->long_stops += victim->stop_ms > shbf::hold_limit_ms ? 1 : 0;
        victim->next_ns = now_ns() + victim->stop_ms * ms;
        victim->stop_ms = 0;
        victim->stopped = true;
    } else if (victim->stopped) {
        // Some are killed as they are.
        if (!random_.one_in(4)) {
            kill(-victim->pid, SIGCONT);
        }
        victim->next_ns = now_ns() + victim->remaining_us * us;
        victim->stopped = false;
    } else {
        kill_group(victim, tally);
    }
}

/* With its children, which may have outlived it and are this process's by now. */
void Crowd::kill_group(Victim *victim, Tally *tally) {
    kill(-victim->pid, SIGKILL);
    int status = 0;
    pid_t pid = 0;
    while ((pid = waitpid(-victim->pid, &status, 0)) > 0) {
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) {
            ++tally->kills;
        } else if (status != 0) {
            fail(board_, "a receiver (%s) ended with status 0x%x", attacks[victim->attack].name,
                 static_cast<unsigned>(status));
        }
    }
    victim->pid = 0;
}

void Crowd::disperse(Tally *tally) {
    for (Victim &victim : victims_) {
        if (victim.pid != 0) {
            kill_group(&victim, tally);
        }
    }
}

} // namespace stress
