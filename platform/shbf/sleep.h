/*
 * How a receiver sleeps on a word of shared memory, and how it is woken: futex(2), between processes.
 *
 * All calls: any thread.
 */
#ifndef SHBF_SLEEP_H
#define SHBF_SLEEP_H

#include "shbf/wire.h"

namespace shbf {

/* Any bit. */
constexpr uint32_t every_bit = 0xffffffff;

/*
 * Sleeps while `*word`, which may be mapped read-only, is `value`, for at most `timeout_ms`. Result: 0 when
 * woken with one of `bits`, or the word was another already; -ETIMEDOUT; -EINTR.
 */
int sleep_on(const Word *word, uint32_t value, uint32_t bits, uint32_t timeout_ms);

/* The time of LinkPage::roused_ms. */
uint32_t rousing_time_ms();

/* Wakes at most `most` of those who sleep on the word with one of `bits`. */
void wake_sleepers(Word *word, uint32_t bits, uint32_t most);

} // namespace shbf

#endif
