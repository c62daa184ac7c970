#include "shbf/sleep.h"

#include <errno.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace shbf {

namespace {

/* The kernel's timespec of this system call, whatever the width of the C library's time_t. */
struct FutexTime {
    long seconds;
    long nanoseconds;
};

FutexTime after_ms(uint32_t timeout_ms) {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long nanoseconds = now.tv_nsec + static_cast<long>(timeout_ms % 1000) * 1000000L;
    return {static_cast<long>(now.tv_sec) + static_cast<long>(timeout_ms / 1000) + nanoseconds / 1000000000L,
            nanoseconds % 1000000000L};
}

} // namespace

int sleep_on(const Word *word, uint32_t value, uint32_t bits, uint32_t timeout_ms) {
    const FutexTime end = after_ms(timeout_ms);
    if (syscall(SYS_futex, word, FUTEX_WAIT_BITSET, value, &end, nullptr, bits) == 0 || errno == EAGAIN) {
        return 0;
    }
    return -errno;
}

uint32_t rousing_time_ms() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint32_t>(now.tv_sec) * 1000 + static_cast<uint32_t>(now.tv_nsec / 1000000);
}

void wake_sleepers(Word *word, uint32_t bits, uint32_t most) {
    syscall(SYS_futex, word, FUTEX_WAKE_BITSET, most, nullptr, nullptr, bits);
}

} // namespace shbf
