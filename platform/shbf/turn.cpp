#include "shbf/turn.h"

#include "shbf/packet.h"
#include "shbf/sleep.h"

#include <unistd.h>

namespace shbf {

namespace {

/* Whatever had the pin may be gone as soon as it is the last; the channel never is. */
void unpin(Channel *channel, std::atomic<int32_t> *pins) {
    if (pins->fetch_sub(1, std::memory_order_seq_cst) == 1 &&
        channel->waiting.load(std::memory_order_seq_cst) != 0) {
        pthread_mutex_lock(&channel->lock);
        pthread_cond_broadcast(&channel->unpinned);
        pthread_mutex_unlock(&channel->lock);
    }
}

/* How the receiver is to be woken; `awake`: not at all. Reading and clearing the word is one step, as the
 * receiver may meanwhile begin to sleep in the other way. If it writes the word after it was read here, it
 * sees what is new by itself. */
uint32_t rouse(Word *asleep, bool by_entry) {
    uint32_t how = asleep->load(std::memory_order_relaxed);
    if (how != awake && by_entry) {
        return asleep->exchange(awake, std::memory_order_release);
    }
    const bool by_futex = how == asleep_on_word || how == asleep_on_bell;
    return by_futex && asleep->compare_exchange_strong(how, awake, std::memory_order_release) ? how : awake;
}

void wake_on_word(const Pinned &sleepers) {
    for (uint32_t i = 0; i < sleepers.count; ++i) {
        wake_sleepers(&sleepers.receivers[i]->page->asleep, every_bit, 1);
    }
}

void wake_on_socket(const Pinned &sleepers) {
    for (uint32_t i = 0; i < sleepers.count; ++i) {
        // If there is no room it has something to read; but the kernel may be short of memory, too. Whatever
        // comes next tries again.
        const Wake packet = {Kind::wake};
        uint32_t roused = awake;
        if (packet_send(sleepers.receivers[i]->fd, &packet, sizeof packet, -1) != 0) {
            sleepers.receivers[i]->page->asleep.compare_exchange_strong(roused, asleep_on_socket,
                                                                        std::memory_order_release);
        }
    }
}

} // namespace

void pin(Pinned *pinned, Receiver *receiver) {
    receiver->pins.fetch_add(1, std::memory_order_relaxed);
    pinned->receivers[pinned->count] = receiver;
    ++pinned->count;
}

void drop_pins(Channel *channel, const Pinned &pinned) {
    for (uint32_t i = 0; i < pinned.count; ++i) {
        unpin(channel, &pinned.receivers[i]->pins);
    }
}

void wait_for_pins(Channel *channel, const std::atomic<int32_t> &pins) {
    channel->waiting.fetch_add(1, std::memory_order_seq_cst);
    while (pins.load(std::memory_order_seq_cst) != 0) {
        pthread_cond_wait(&channel->unpinned, &channel->lock);
    }
    channel->waiting.fetch_sub(1, std::memory_order_seq_cst);
}

Turn::Turn(Channel *channel) : channel_(channel) {
    pthread_mutex_lock(&channel->lock);
}

Turn::~Turn() {
    if ((entries_ | packets_) != 0) {
        find_sleepers();
    }
    Bell *bell = channel_->bell;
    on_bell_ = bell == nullptr ? 0 : on_bell_;
    if (on_bell_ != 0) {
        bell->rung.fetch_add(1, std::memory_order_release);
        channel_->bell_pins.fetch_add(1, std::memory_order_relaxed);
    }
    const int loop_fd = tell_loop_ ? channel_->wake_fd : -1;
    if (loop_fd >= 0) {
        channel_->wake_pins.fetch_add(1, std::memory_order_relaxed);
    }
    pthread_mutex_unlock(&channel_->lock);

    if (on_bell_ != 0) {
        wake_sleepers(&bell->rung, on_bell_, static_cast<uint32_t>(__builtin_popcount(on_bell_)));
        unpin(channel_, &channel_->bell_pins);
    }
    wake_on_word(on_word_);
    wake_on_socket(on_socket_);
    drop_pins(channel_, on_word_);
    drop_pins(channel_, on_socket_);
    if (loop_fd >= 0) {
        const uint64_t one = 1;
        // Fails only when 2^64 - 2 wake-ups wait: the loop is awake.
        const ssize_t ignored = write(loop_fd, &one, sizeof one);
        static_cast<void>(ignored);
        unpin(channel_, &channel_->wake_pins);
    }
}

void Turn::wake_last(const Receiver *receiver) {
    std::atomic_thread_fence(std::memory_order_seq_cst);
    Word *asleep = &receiver->page->asleep;
    if (asleep->exchange(awake, std::memory_order_relaxed) == asleep_on_bell) {
        on_bell_ |= 1u << receiver->index;
    } else {
        wake_sleepers(asleep, every_bit, 1);
    }
}

void Turn::report(Receiver *receiver, int error) {
    tell_loop_ |= receiver->error.exchange(error, std::memory_order_acq_rel) == 0;
}

/* Of those for whom there is something new. The fence stands between writing that and reading `asleep`; the
 * receiver has one between writing `asleep` and looking whether there is something new. */
void Turn::find_sleepers() {
    std::atomic_thread_fence(std::memory_order_seq_cst);
    for (uint32_t news = entries_ | packets_; news != 0; news &= news - 1) {
        Receiver *receiver = channel_->receivers[__builtin_ctz(news)];
        Word *asleep = &receiver->page->asleep;
        if (asleep->load(std::memory_order_relaxed) == asleep_on_bell) {
            receiver->page->roused_ms.store(rousing_time_ms(), std::memory_order_relaxed);
        }
        const uint32_t how = rouse(asleep, (entries_ >> receiver->index & 1) != 0);
        if (how == asleep_on_bell) {
            on_bell_ |= 1u << receiver->index;
        } else if (how != awake) {
            pin(how == asleep_on_word ? &on_word_ : &on_socket_, receiver);
        }
    }
}

} // namespace shbf
