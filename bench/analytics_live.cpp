// The analytics of a real boardd, through libalgo_kit, in real time: how long after something happens it is
// told, what is told while nothing happens, and what it costs.

#include "board/boardctl.h"
#include "libalgo_kit.h"
#include "libboardav.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr VencConfig profile = {
    1, {0, 0, 0}, 1, {{1, 0, 1'400'000, 15, 2560, 1440}, {1, 0, 256'000, 15, 640, 360}}};
constexpr int times = 10;
constexpr auto rest = std::chrono::seconds(5);

std::atomic<uint32_t> motions;
std::atomic<uint32_t> sounds;

int32_t on_event(const char *text, int32_t /*length*/) {
    motions += std::strncmp(text, "Motion x=", 9) == 0 ? 1 : 0;
    sounds += std::strncmp(text, "AbnormalSound", 13) == 0 ? 1 : 0;
    return 0;
}

int32_t on_track(const void * /*record*/, int32_t /*length*/) {
    return 0;
}

/* A boardd without its log. */
pid_t start_boardd() {
    const pid_t pid = fork();
    if (pid == 0) {
        (void)!freopen("/dev/null", "w", stderr);
        execl(STRELL_BIN_DIR "/boardd", "boardd", "--speaker", "none", nullptr);
        _exit(127);
    }
    for (int i = 0; i < 200; ++i) {
        try {
            const board::BoardCtl there;
            return pid;
        } catch (const board::BoardCtlError &) {
            std::this_thread::sleep_for(milliseconds(50));
        }
    }
    std::fputs("analytics: boardd does not start\n", stderr);
    std::exit(1);
}

/* Processor time of a process or thread, of its directory under /proc; seconds. */
double processor_s(const std::string &directory) {
    std::string text;
    std::getline(std::ifstream(directory + "/stat"), text);
    unsigned long user = 0;
    unsigned long system = 0;
    std::sscanf(text.substr(text.rfind(')') + 1).c_str(),
                " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &user, &system);
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

std::string thread_of(pid_t pid, const std::string &wanted) {
    for (const auto &entry : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        std::string name;
        std::getline(std::ifstream(entry.path() / "comm"), name);
        if (name == wanted) {
            return entry.path();
        }
    }
    return "";
}

/* Makes something happen, again and again: how long until the counter grows, sorted, in ms. */
std::vector<double> delays_ms(const std::atomic<uint32_t> &counter, const std::function<void()> &happen,
                              const std::function<void()> &end) {
    std::vector<double> result;
    for (int i = 0; i < times; ++i) {
        end();
        std::this_thread::sleep_for(rest);
        const uint32_t before = counter;
        const auto begin = Clock::now();
        happen();
        while (counter == before && Clock::now() < begin + rest) {
            std::this_thread::sleep_for(milliseconds(1));
        }
        const std::chrono::duration<double, std::milli> delay = Clock::now() - begin;
        result.push_back(delay.count());
    }
    std::ranges::sort(result);
    return result;
}

void tell_delays(const char *what, const std::vector<double> &ms) {
    std::printf("| %s, of %zu | %.0f ms median, %.0f ms at most |\n", what, ms.size(), ms[ms.size() / 2],
                ms.back());
}

void tell_cost(pid_t boardd) {
    constexpr double seconds = 20;
    const std::string process = "/proc/" + std::to_string(boardd);
    const std::string thread = thread_of(boardd, "analytics");
    const auto share = [&](bool detect, const std::string &directory) {
        detect ? oru_api_algo_start() : oru_api_algo_stop();
        const double before = processor_s(directory);
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
        return (processor_s(directory) - before) / seconds * 100;
    };
    const double off = share(false, process);
    const double on = share(true, process);
    std::printf(
        "| boardd, detection paused | %.1f %% of a core |\n| boardd, detection on | %.1f %% of a core |\n",
        off, on);
    std::printf("| its thread \"analytics\" alone | %.1f %% of a core |\n", share(true, thread));
}

} // namespace

int main(int argc, char **argv) {
    const int quiet_s = argc > 1 ? std::atoi(argv[1]) : 120;
    const pid_t boardd = start_boardd();
    if (control_venc_dynamically(&profile) < 0 || board_system_init(1) < 0 ||
        oru_api_algo_init(on_event, on_track) != 0) {
        std::fputs("analytics: the board does not start\n", stderr);
        return 1;
    }
    board::BoardCtl board;
    board::SceneObjectRecord thing = {1, board::path_swing, 1500, 1200, -2000, -600, 4000, 0};
    const auto show = [&](int32_t on) {
        thing.on = on;
        board.set_object(thing);
    };
    std::puts("| boardd with the default scene and profile | |\n|---|---|");
    tell_delays("from a thing that is there, in motion, to the callback",
                delays_ms(
                    motions, [&] { show(1); }, [&] { show(0); }));
    tell_delays("from a noise of -3 dB to the callback", delays_ms(
                                                             sounds,
                                                             [&] {
                                                                 board.burst({-3, 500});
                                                             },
                                                             [] {}));
    show(0);
    std::this_thread::sleep_for(rest);
    const uint32_t before = motions + sounds;
    std::this_thread::sleep_for(std::chrono::seconds(quiet_s));
    std::printf("| events in %d s without thing and noise | %u |\n", quiet_s, motions + sounds - before);
    show(1);
    tell_cost(boardd);
    board_system_exit();
    kill(boardd, SIGTERM);
    waitpid(boardd, nullptr, 0);
    return 0;
}
