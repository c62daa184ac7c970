// Stand-ins for System V shared memory and for what else goes with the tracking mailbox's teardown. A segment
// is real memory of exactly its size, so the address sanitizer notices a write behind it.

#include "control/message_queue.h"
#include "script/script.h"

#include <cerrno>
#include <semaphore.h>
#include <sys/shm.h>

using script::answer;
using script::current;
using script::format;

namespace {

/* The answer; a negative one leaves errno as the script has it. */
int32_t answer_with_errno(const char *name, const std::string &arguments) {
    const int32_t result = answer(name, arguments);
    if (result < 0) {
        errno = current().error_number;
    }
    return result;
}

} // namespace

extern "C" {

int __wrap_shmget(key_t key, size_t size, int flags) {
    if (current().shared_memory == nullptr) {
        current().shared_memory = std::make_unique<uint8_t[]>(size);
    }
    return answer_with_errno(
        "shmget", format("0x%x, %zu, 0%o", static_cast<unsigned>(key), size, static_cast<unsigned>(flags)));
}

void *__wrap_shmat(int id, const void *address, int flags) {
    const int32_t result =
        answer_with_errno("shmat", format("%d, %s, %d", id, address == nullptr ? "null" : "?", flags));
    if (current().results.count("shmat") > 0) {
        errno = current().error_number;
        return reinterpret_cast<void *>(static_cast<intptr_t>(result));
    }
    return current().shared_memory.get();
}

int __wrap_shmdt(const void *address) {
    return answer_with_errno("shmdt", address == current().shared_memory.get() ? "attached" : "?");
}

int __wrap_sem_destroy(sem_t * /*semaphore*/) {
    return answer("sem_destroy", "");
}

int __real_pthread_mutex_destroy(pthread_mutex_t *mutex);

int __wrap_pthread_mutex_destroy(pthread_mutex_t *mutex) {
    // Not the play queue's, whose tests look at other things; and the test library has its own at its end.
    if (script::running() && mutex != &play_queue.mutex) {
        answer("pthread_mutex_destroy", "");
    }
    return __real_pthread_mutex_destroy(mutex);
}

int __wrap_pthread_cancel(pthread_t thread) {
    return answer("pthread_cancel", std::to_string(thread));
}

} // extern "C"
