/*
 * Waiting for something that another thread or process does: by looking again, with a deadline, never by
 * sleeping a time that "should be enough".
 */
#ifndef TESTS_SUPPORT_EVENTUALLY_H
#define TESTS_SUPPORT_EVENTUALLY_H

#include <chrono>
#include <thread>

namespace support {

using namespace std::chrono_literals;

/* The deadline of everything that should take no time at all; generous, since machines are slow and shared.
 */
constexpr auto patience = std::chrono::seconds(20);

/* True as soon as `condition()` is; false when it still is not at the deadline. */
template <typename Condition>
bool eventually(Condition condition, std::chrono::milliseconds deadline = patience) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return condition();
        }
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

} // namespace support

#endif
