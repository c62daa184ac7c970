// Preloaded into a process, counts its heap calls and writes the number to the file that HEAP_COUNTER_FILE
// names, once a second, from a thread of its own: how many allocations a second a running daemon makes.

#include <atomic>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

std::atomic<unsigned> calls;

void *report(void * /*argument*/) {
    const int fd = open(getenv("HEAP_COUNTER_FILE"), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    for (;;) {
        char line[32];
        const int length = snprintf(line, sizeof line, "%10u\n", calls.load());
        if (pwrite(fd, line, static_cast<size_t>(length), 0) < 0) {
            return nullptr;
        }
        usleep(100000);
    }
}

__attribute__((constructor)) void start() {
    if (getenv("HEAP_COUNTER_FILE") == nullptr) {
        return;
    }
    sigset_t all;
    sigset_t saved;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &saved);
    pthread_t thread;
    pthread_create(&thread, nullptr, report, nullptr);
    pthread_sigmask(SIG_SETMASK, &saved, nullptr);
}

} // namespace

extern "C" {

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);

__attribute__((visibility("default"))) void *malloc(size_t size) {
    calls.fetch_add(1);
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void *calloc(size_t count, size_t size) {
    calls.fetch_add(1);
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void *realloc(void *memory, size_t size) {
    calls.fetch_add(1);
    return __libc_realloc(memory, size);
}

} // extern "C"
