// Preloaded into a process that calls the board: notes when the picture is flipped or put upright, lets the
// real board do it, and then reports (board_call.h).

#include "board_call.h"

#include <dlfcn.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

namespace {

using Control = int32_t (*)();

uint64_t now_ns() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}

int32_t forward(const char *name, int32_t flipped) {
    BoardCall call = {now_ns(), 0, flipped, -1};
    const auto real = reinterpret_cast<Control>(dlsym(RTLD_NEXT, name));
    if (real != nullptr) {
        call.result = real();
    }
    call.answered_ns = now_ns();
    const char *fd = getenv(board_call_fd_variable);
    if (fd != nullptr && write(atoi(fd), &call, sizeof call) != sizeof call) {
        abort();
    }
    return call.result;
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) int32_t set_video_Vflip(void) {
    return forward("set_video_Vflip", 1);
}

__attribute__((visibility("default"))) int32_t set_video_normal(void) {
    return forward("set_video_normal", 0);
}

} // extern "C"
