// A process that uses libboardav, for tests that kill one or send it a signal.
//
//   board_client run            starts the board, says "running", fetches until it is killed
//   board_client tune           starts the board, changes what can be changed, says "running" and waits
//   board_client exit_on_term   starts the board; a SIGTERM at any moment shuts it down and ends with 255

#include "libboardav.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <unistd.h>
#include <vector>

namespace {

constexpr VencChannel channel = {1, 0, 300'000, 15, 320, 180};
constexpr VencConfig profile = {1, {0, 0, 0}, 1, {channel, channel}};

void say(const char *line) {
    std::printf("%s\n", line);
    std::fflush(stdout);
}

int run() {
    if (control_venc_dynamically(&profile) < 0 || board_system_init(1) < 0) {
        return 1;
    }
    say("running");
    std::vector<char> payload(409600);
    VideoFrameInfo info{};
    while (get_video_stream(0, payload.data(), static_cast<uint32_t>(payload.size()), &info) != -1) {
    }
    return 1;
}

int tune() {
    if (control_venc_dynamically(&profile) < 0 || board_system_init(1) < 0 || set_video_Vflip() < 0 ||
        stop_stream() < 0 || switch_ch5_res(1) < 0) {
        return 1;
    }
    say("running");
    pause();
    return 1;
}

void on_term(int /*signal*/) {
    board_system_exit();
    const char line[] = "exit returned\n";
    (void)!write(STDOUT_FILENO, line, sizeof line - 1);
    _exit(255);
}

int exit_on_term() {
    std::signal(SIGTERM, on_term);
    if (control_venc_dynamically(&profile) < 0) {
        return 1;
    }
    say("init begins");
    board_system_init(1);
    say("init ended");
    pause();
    return 1;
}

} // namespace

int main(int argc, char **argv) {
    if (argc == 2 && std::strcmp(argv[1], "run") == 0) {
        return run();
    }
    if (argc == 2 && std::strcmp(argv[1], "tune") == 0) {
        return tune();
    }
    if (argc == 2 && std::strcmp(argv[1], "exit_on_term") == 0) {
        return exit_on_term();
    }
    return 2;
}
