// Days that pass in a minute each, before a real board, asked and switched through liboru_util as the
// daemon's infrared-cut controller does it: every 500 ms, and 200 ms after a switch. How often it switches,
// and at what light.
//
//     bench_daynight [DAYS] [SECONDS]     10 days of 60 seconds, unless given

#include "board/boardctl.h"
#include "liboru_util.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <spawn.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char **environ;

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

struct Sky {
    uint32_t high_mlux;
    uint32_t low_mlux;
    int32_t noise_percent;
};

/* The last one lingers around the thresholds. */
constexpr Sky skies[] = {{1'000'000, 100, 0}, {1'000'000, 100, 10}, {20'000, 800, 10}};

struct Switch {
    bool to_night;
    double at_s;
    double lux;
};

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "daynight: %s\n", what);
    std::exit(1);
}

pid_t start_boardd() {
    std::string path = std::string(STRELL_BIN_DIR) + "/boardd";
    char *argv[] = {path.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    if (posix_spawn(&pid, path.c_str(), &actions, nullptr, argv, environ) != 0) {
        fail("cannot start boardd");
    }
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

/* Connects as soon as it serves. */
void connect(std::optional<board::BoardCtl> &ctl) {
    for (int i = 0; i < 2000 && !ctl; ++i) {
        try {
            ctl.emplace();
        } catch (const board::BoardCtlError &) {
            std::this_thread::sleep_for(10ms);
        }
    }
    if (!ctl) {
        fail("boardd does not come up");
    }
}

/* The daemon's sequences, in their order. */
bool to_night() {
    std::this_thread::sleep_for(200ms);
    return (oru_api_ircut_switch(0) | oru_api_light_brightness_set(1, 10000) | oru_api_light_enable(1)) == 0;
}
bool to_day() {
    return (oru_api_light_disable(1) | oru_api_ircut_switch(1)) == 0;
}

std::vector<Switch> live(board::BoardCtl &ctl, const Sky &sky, int days, int seconds) {
    to_day();
    ctl.set_sky_noise(sky.noise_percent);
    ctl.set_sky({board::scene_cycle, sky.high_mlux, sky.low_mlux, static_cast<uint32_t>(seconds) * 1000});
    std::vector<Switch> switches;
    bool night = false;
    const auto begin = Clock::now();
    while (Clock::now() < begin + std::chrono::seconds(days * seconds)) {
        int32_t scratch = 0;
        const bool yes = (night ? oru_api_reach_day(0, &scratch, 0) : oru_api_reach_night(0, 0)) != 0;
        if (yes && (night ? to_day() : to_night())) {
            night = !night;
            switches.push_back({night, std::chrono::duration<double>(Clock::now() - begin).count(),
                                ctl.scene().ambient_mlux / 1000.0});
            std::this_thread::sleep_for(200ms);
        }
        std::this_thread::sleep_for(500ms);
    }
    return switches;
}

/* Days with exactly one switch to night, while the light falls, and one to day after it, while it rises. */
int good_days(const std::vector<Switch> &switches, int days, int seconds) {
    int good = 0;
    for (int day = 0; day < days; ++day) {
        std::vector<Switch> of_day;
        for (const Switch &one : switches) {
            if (static_cast<int>(one.at_s) / seconds == day) {
                of_day.push_back(one);
            }
        }
        const double noon_s = (day + 0.5) * seconds;
        const bool right = of_day.size() == 2 && of_day[0].to_night && !of_day[1].to_night &&
                           of_day[0].at_s < noon_s && of_day[1].at_s > noon_s;
        good += right ? 1 : 0;
    }
    return good;
}

void print_range(const std::vector<Switch> &switches, bool night) {
    double least = 1e9;
    double most = 0;
    int count = 0;
    for (const Switch &one : switches) {
        if (one.to_night == night) {
            least = std::min(least, one.lux);
            most = std::max(most, one.lux);
            ++count;
        }
    }
    count > 0 ? std::printf(" %d | %.2f to %.2f |", count, least, most) : std::printf(" 0 | |");
}

/* In a process of its own, since the run directory is the process's. Result: whether all days were good. */
int run(const Sky &sky, int days, int seconds) {
    char directory[] = "/tmp/strell-daynight-XXXXXX";
    if (mkdtemp(directory) == nullptr || setenv("STRELL_RUN_DIR", directory, 1) != 0) {
        fail("cannot make a run directory");
    }
    const pid_t boardd = start_boardd();
    std::optional<board::BoardCtl> ctl;
    connect(ctl);
    const std::vector<Switch> switches = live(*ctl, sky, days, seconds);
    kill(boardd, SIGTERM);
    waitpid(boardd, nullptr, 0);
    std::filesystem::remove_all(directory);
    const int good = good_days(switches, days, seconds);
    std::printf("| %g to %g | %d | %d |", sky.high_mlux / 1000.0, sky.low_mlux / 1000.0, sky.noise_percent,
                days);
    print_range(switches, true);
    print_range(switches, false);
    std::printf(" %d |\n", good);
    std::fflush(stdout);
    return good == days ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    const int days = argc > 1 ? std::atoi(argv[1]) : 10;
    const int seconds = argc > 2 ? std::atoi(argv[2]) : 60;
    if (days < 1 || seconds < 30) {
        fail("usage: bench_daynight [DAYS] [SECONDS, 30 or more]");
    }
    std::printf("Days of %d seconds. Lux at the moment of a switch, by the sky.\n\n", seconds);
    std::puts("| sky, lux | noise, % | days | to night | at lux | to day | at lux | days with one of each |");
    std::puts("|---|---|---|---|---|---|---|---|");
    std::fflush(stdout);
    std::vector<pid_t> children;
    for (const Sky &sky : skies) {
        const pid_t pid = fork();
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            std::exit(run(sky, days, seconds));
        }
        children.push_back(pid);
    }
    int result = 0;
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        result |= status;
    }
    return result == 0 ? 0 : 1;
}
