#include "shbf/sleep.h"

#include <errno.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace shbf {

namespace {

/* The kernel's timespec of this system call, whatever the width of the C library's time_t. */
struct FutexTime {
    long seconds;
    long nanoseconds;
};

/* FUTEX_WAKE_OP wakes a second word when the old value compares: it adds 0 to that word, and any value of
 * LinkPage::asleep is at least 0. */
constexpr unsigned wake_second_always = FUTEX_OP(FUTEX_OP_ADD, 0, FUTEX_OP_CMP_GE, 0);

void wake_one(Word *word) {
    syscall(SYS_futex, word, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

void wake_two(Word *first, Word *second) {
    // The fourth argument is a count here, not a time.
    if (syscall(SYS_futex, first, FUTEX_WAKE_OP, 1, 1L, second, wake_second_always) < 0) {
        wake_one(first);
        wake_one(second);
    }
}

} // namespace

int sleep_on(Word *word, uint32_t value, uint32_t timeout_ms) {
    const FutexTime timeout = {static_cast<long>(timeout_ms / 1000),
                               static_cast<long>(timeout_ms % 1000) * 1000000L};
    if (syscall(SYS_futex, word, FUTEX_WAIT, value, &timeout, nullptr, 0) == 0 || errno == EAGAIN) {
        return 0;
    }
    return -errno;
}

void wake_all(Word *const *words, uint32_t count) {
    uint32_t i = 0;
    for (; i + 2 <= count; i += 2) {
        wake_two(words[i], words[i + 1]);
    }
    if (i < count) {
        wake_one(words[i]);
    }
}

} // namespace shbf
