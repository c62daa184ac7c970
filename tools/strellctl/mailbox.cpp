#include "strellctl/mailbox.h"

#include "strellctl/failure.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/shm.h>

namespace ctl {

namespace {

constexpr key_t mailbox_key = 0x1122;
constexpr size_t mailbox_bytes = 60;
constexpr size_t full_at = 0; // int32_t: 1 while a message waits
constexpr size_t text_at = 28;
constexpr size_t text_bytes = mailbox_bytes - text_at;
constexpr int32_t full = 1;

constexpr int32_t most_steps = 720; // once round

bool is_possible(int32_t steps) {
    return steps >= -most_steps && steps <= most_steps;
}

} // namespace

std::optional<Turn> parse_turn(const std::string &text) {
    Turn turn{};
    int32_t sequence = 0;
    int end = 0;
    // Lengths in the pattern: a number that is too long for its type would be undefined behaviour.
    const int numbers =
        std::sscanf(text.c_str(), "[%6d,%6d,%6d]%n", &turn.horizontal, &turn.vertical, &sequence, &end);
    const bool whole = numbers == 3 && end > 0 && static_cast<size_t>(end) == text.size();
    return whole && is_possible(turn.horizontal) && is_possible(turn.vertical) ? std::optional(turn)
                                                                               : std::nullopt;
}

bool Mailbox::attach() {
    const int id = shmget(mailbox_key, 0, 0);
    if (id < 0) {
        if (errno == EACCES) {
            throw Failure(
                "this user may not see the tracking mailbox: become the user that strell_v2 runs as");
        }
        detach();
        return false;
    }
    if (id == id_) {
        return true;
    }
    detach();
    shmid_ds description{};
    if (shmctl(id, IPC_STAT, &description) == 0 && description.shm_segsz < mailbox_bytes) {
        throw Failure("what has the tracking mailbox's key is too small to be one: see ipcs -m");
    }
    void *const address = shmat(id, nullptr, 0);
    if (address == reinterpret_cast<void *>(-1)) {
        throw Failure(std::string("cannot attach to the tracking mailbox: ") + std::strerror(errno));
    }
    bytes_ = static_cast<uint8_t *>(address);
    id_ = id;
    return true;
}

void Mailbox::detach() {
    if (bytes_ != nullptr) {
        shmdt(bytes_);
    }
    bytes_ = nullptr;
    id_ = -1;
}

std::optional<std::string> Mailbox::take() {
    // The flag is all the hand-over there is: what was written before it is there when it is.
    const std::atomic_ref<int32_t> flag(*reinterpret_cast<int32_t *>(bytes_ + full_at));
    if (flag.load(std::memory_order_acquire) != full) {
        return std::nullopt;
    }
    char text[text_bytes];
    std::memcpy(text, bytes_ + text_at, sizeof text);
    flag.store(0, std::memory_order_release);
    return std::string(text, strnlen(text, sizeof text));
}

} // namespace ctl
