/*
 * A plain byte or word that several threads read and write without a lock, and without any order between
 * them: the same machine code as the bare type, but defined behaviour. For flags that workers poll and for
 * counters that may be a little wrong. Copying one is a load and a store, not one step.
 *
 * Threads: any thread, and the signal handler.
 */
#ifndef CORE_RELAXED_H
#define CORE_RELAXED_H

#include <atomic>

template <typename T>
class Relaxed {
  public:
    constexpr Relaxed(T value) : value_(value) {}
    Relaxed(const Relaxed &) = delete;
    Relaxed &operator=(const Relaxed &) = delete;

    /* Where only a bare T will do, as in "...". */
    T get() const { return value_.load(std::memory_order_relaxed); }
    operator T() const { return get(); }
    T operator=(T value) {
        value_.store(value, std::memory_order_relaxed);
        return value;
    }

  private:
    std::atomic<T> value_;
};

#endif
