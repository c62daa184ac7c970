/*
 * How a receiver sleeps on a word of shared memory, and how it is woken: futex(2), between processes.
 *
 * All calls: any thread.
 */
#ifndef SHBF_SLEEP_H
#define SHBF_SLEEP_H

#include "shbf/wire.h"

namespace shbf {

/*
 * Sleeps while `*word` is `value`, for at most `timeout_ms`. Result: 0 when woken, or the word was another
 * already; -ETIMEDOUT; -EINTR.
 */
int sleep_on(Word *word, uint32_t value, uint32_t timeout_ms);

/*
 * Wakes whoever sleeps on each of `count` words. The words are mapped writable; their values do not change.
 * Two are woken with one system call, and nobody who is woken runs in between.
 */
void wake_all(Word *const *words, uint32_t count);

} // namespace shbf

#endif
