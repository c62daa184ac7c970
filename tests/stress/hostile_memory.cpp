#include "hostile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace stress {

namespace {

/* Out of a value's neighbourhood, or anything. */
uint32_t some_value(Random *random, uint32_t near) {
    switch (random->below(4)) {
    case 0:
        return random->below(4);
    case 1:
        return near - 8 + random->below(64);
    default:
        return random->word();
    }
}

/* What the channel's numbers are near to just now: the youngest entry of the ring. */
uint32_t latest_sequence(const RawReceiver &receiver) {
    const uint32_t pushed = receiver.page->pushed.load() - 1;
    return receiver.page->ring[pushed % shbf::ring_entries][3].load();
}

long futex(const void *word, int operation, uint32_t value, uintptr_t count, const void *second,
           uint32_t third) {
    return syscall(SYS_futex, word, operation, value, count, second, third);
}

/* All receivers sleep on it. Who can read it can wake them for nothing, move them to where nobody wakes them,
 * and lie down among them in a way that nobody can be woken who lies behind. */
void abuse_bell(Hostile *hostile, const shbf::Bell *bell) {
    static uint32_t own;
    timespec moment = {0, 500000};
    switch (hostile->random.below(3)) {
    case 0:
        futex(bell, FUTEX_WAKE, 1000, 0, nullptr, 0);
        break;
    case 1:
        futex(bell, FUTEX_REQUEUE, 0, 1000, &own, 0);
        break;
    default:
        clock_gettime(CLOCK_MONOTONIC, &moment);
        moment.tv_nsec = moment.tv_nsec > 999'000'000 ? 0 : moment.tv_nsec + 500'000;
        futex(bell, FUTEX_WAIT_REQUEUE_PI, bell->rung.load(), reinterpret_cast<uintptr_t>(&moment), &own, 0);
        break;
    }
}

/* One call that may not succeed. */
void must_fail(Hostile *hostile, bool succeeded, const char *what) {
    ++hostile->board->attempts_on_arena;
    if (succeeded) {
        fail(hostile->board, "a receiver can %s the arena or the bell", what);
    }
}

/* Through `fd`, whatever it was opened for. */
void try_descriptor(Hostile *hostile, uint32_t bytes, int fd) {
    const uint64_t nonsense = hostile->random.next();
    const auto size = static_cast<off_t>(bytes);
    must_fail(hostile, pwrite(fd, &nonsense, sizeof nonsense, hostile->random.below(4096)) >= 0, "write to");
    must_fail(hostile, ftruncate(fd, size / 2) == 0, "shorten");
    must_fail(hostile, ftruncate(fd, size * 2) == 0, "lengthen");
    must_fail(hostile, fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, size) == 0,
              "punch holes into");
    must_fail(hostile, fallocate(fd, FALLOC_FL_ZERO_RANGE, 0, size) == 0, "zero");
    must_fail(hostile, fallocate(fd, 0, size, 4096) == 0, "extend");
    must_fail(hostile, fcntl(fd, F_ADD_SEALS, F_SEAL_WRITE) == 0, "seal");
    void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    must_fail(hostile, memory != MAP_FAILED, "map for writing");
    memory = mmap(nullptr, bytes, PROT_READ, MAP_SHARED, fd, 0);
    if (memory != MAP_FAILED) {
        must_fail(hostile, mprotect(memory, bytes, PROT_READ | PROT_WRITE) == 0, "get to write to");
        must_fail(hostile, madvise(memory, bytes, MADV_REMOVE) == 0, "remove pages of");
        munmap(memory, bytes);
    }
}

} // namespace

void scribble(Hostile *hostile) {
    RawReceiver receiver = hostile->attach();
    for (;;) {
        const uint32_t near = latest_sequence(receiver);
        const bool everywhere = hostile->random.one_in(4);
        for (uint32_t i = 0; i < 500; ++i) {
            // The release words are those that the broadcaster reads, and `asleep`, which is behind them.
            const uint32_t limit = everywhere ? RawReceiver::word_count : shbf::slots_max + 1;
            receiver.words()[hostile->random.below(limit)] = some_value(&hostile->random, near);
        }
        receiver.page->asleep = hostile->random.below(4);
        pause_us(hostile->random.below(100));
        if (hostile->random.one_in(200)) {
            detach_raw(&receiver);
            receiver = hostile->attach();
        }
    }
}

void call_futexes(Hostile *hostile) {
    constexpr int operations[] = {FUTEX_WAKE,    FUTEX_REQUEUE,    FUTEX_CMP_REQUEUE, FUTEX_WAKE_OP,
                                  FUTEX_LOCK_PI, FUTEX_TRYLOCK_PI, FUTEX_UNLOCK_PI,   FUTEX_WAKE_BITSET};
    const RawReceiver receiver = hostile->attach();
    for (;;) {
        shbf::Word *word = &receiver.words()[hostile->random.below(RawReceiver::word_count)];
        const int operation = operations[hostile->random.below(8)];
        if (operation == FUTEX_LOCK_PI) {
            word->store(hostile->random.one_in(2) ? 0 : static_cast<uint32_t>(getpid()));
        }
        const uintptr_t count = operation == FUTEX_LOCK_PI ? 0 : 1000;
        timespec at_once{};
        futex(word, operation, 1000,
              operation == FUTEX_LOCK_PI ? reinterpret_cast<uintptr_t>(&at_once) : count,
              &receiver.words()[hostile->random.below(RawReceiver::word_count)],
              operation == FUTEX_CMP_REQUEUE ? word->load() : hostile->random.word());
        if (receiver.arena != nullptr) {
            futex(receiver.arena + hostile->random.below(receiver.arena_bytes / 4) * size_t{4}, FUTEX_WAKE,
                  1000, 0, nullptr, 0);
        }
        if (receiver.bell != nullptr) {
            abuse_bell(hostile, receiver.bell);
        }
        // As a lock: then nobody can wake the word.
        receiver.page->asleep = hostile->random.one_in(2) ? 1U : static_cast<uint32_t>(getppid());
        timespec moment = {0, 1000000};
        futex(&receiver.page->asleep, hostile->random.one_in(2) ? FUTEX_WAIT : FUTEX_LOCK_PI, 1,
              reinterpret_cast<uintptr_t>(&moment), nullptr, 0);
    }
}

/* Who waits for 200 ms in vain looks for itself, so they are woken before. */
void steal_sleep(Hostile *hostile) {
    static uint32_t own;
    RawReceiver receiver = hostile->attach();
    while (receiver.bell == nullptr) {
        detach_raw(&receiver);
        receiver = hostile->attach();
    }
    for (;;) {
        const uint64_t until = now_ns() + 155'000'000 + hostile->random.below(40'000'000);
        while (now_ns() < until) {
            futex(receiver.bell, FUTEX_REQUEUE, 0, 1000, &own, 0);
            pause_us(200);
        }
        futex(&own, FUTEX_WAKE, 1000, 0, nullptr, 0);
    }
}

void punch_holes(Hostile *hostile) {
    const RawReceiver receiver = hostile->attach();
    for (;;) {
        for (int i = 0; i < 200; ++i) {
            fallocate(receiver.page_fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, 4096);
            receiver.page->asleep = 1 + hostile->random.below(2);
        }
        madvise(receiver.page, 4096, MADV_REMOVE);
        // Nothing else that changes the file may succeed and harm either.
        if (ftruncate(receiver.page_fd, 0) == 0 || ftruncate(receiver.page_fd, 1 << 20) == 0) {
            fail(hostile->board, "a receiver can change the size of its link page");
        }
        fcntl(receiver.page_fd, F_ADD_SEALS, hostile->random.one_in(20) ? F_SEAL_SEAL : F_SEAL_WRITE);
        pause_us(hostile->random.below(300));
    }
}

/* Memory that is for reading only: the arena, or the bell. */
void break_memory(Hostile *hostile, const void *memory, uint32_t bytes, int fd) {
    must_fail(hostile, mprotect(const_cast<void *>(memory), bytes, PROT_WRITE) == 0, "get to write to");
    try_descriptor(hostile, bytes, fd);
    char path[40];
    snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
    fchmod(fd, 0666);
    const int again = open(path, O_RDWR | O_CLOEXEC);
    if (again >= 0) {
        try_descriptor(hostile, bytes, again);
        close(again);
    }
    must_fail(hostile, truncate(path, 0) == 0, "shorten");
}

void break_arena(Hostile *hostile) {
    for (;;) {
        RawReceiver receiver = hostile->attach();
        if (receiver.arena != nullptr) {
            break_memory(hostile, receiver.arena, receiver.arena_bytes, receiver.arena_fd);
        }
        if (receiver.bell != nullptr) {
            break_memory(hostile, receiver.bell, shbf::bell_bytes, receiver.bell_fd);
        }
        detach_raw(&receiver);
        pause_us(hostile->random.below(2000));
    }
}

} // namespace stress
