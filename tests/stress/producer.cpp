#include "producer.h"

#include "libshbf.h"

#include <cerrno>
#include <vector>

namespace stress {

namespace {

/* What is asked for each time; the arena is four times that. Most frames are cut to much less. */
constexpr uint32_t capacities[streaming_channels] = {16384, 32768};
/* How many of its broadcasts a busy producer may be ahead of the slowest witness, and for how long. */
constexpr uint32_t ahead_max = 6;
constexpr uint64_t ahead_for_ns = 20'000'000;

void expect(Stage *stage, uint32_t witness) {
    stage->expected[witness].fetch_add(1);
}

} // namespace

bool Stage::is_witness(int32_t id) const {
    for (const std::atomic<int32_t> &witness : witness_ids) {
        if (witness.load() == id) {
            return true;
        }
    }
    return false;
}

bool wait_for_witnesses(Stage *stage) {
    const uint64_t deadline = now_ns() + patience_ns;
    for (uint32_t witness = 0; witness < witnesses; ++witness) {
        const WitnessSlot &slot = stage->board->slots[stage->channel][witness];
        while (slot.taken.load() < stage->expected[witness].load() && !stage->retired(witness) &&
               !stage->destroyed) {
            if (stage->over()) {
                return false;
            }
            if (now_ns() > deadline) {
                fail(stage->board,
                     "%s: the %s witness has taken %llu of %llu frames and messages, and no more comes",
                     channel_names[stage->channel], manner_names[manner_of(stage->channel, witness)],
                     static_cast<unsigned long long>(slot.taken.load()),
                     static_cast<unsigned long long>(stage->expected[witness].load()));
                return false;
            }
            pause_us(20);
        }
    }
    return !stage->over();
}

uint8_t *allocate(Stage *stage, uint32_t size) {
    const uint64_t start = now_ns();
    uint64_t waited = 0;
    while (!stage->over()) {
        void *buffer = timed(&stage->board->alloc, [&] { return shbfev_brd_alloc(stage->brd, size); });
        if (buffer != nullptr) {
            if (waited != 0) {
                stage->board->full.add(waited);
            }
            return static_cast<uint8_t *>(buffer);
        }
        ++stage->board->no_room;
        pause_us(1000);
        waited = now_ns() - start;
        if (waited > patience_ns) {
            fail(stage->board, "%s: the arena stays full", channel_names[stage->channel]);
        }
    }
    return nullptr;
}

void Producer::run() {
    while (!stage_->over()) {
        if (stage_->board->pause) {
            ++stage_->board->paused;
            while (stage_->board->pause && !stage_->over() && !stage_->destroyed) {
                pause_us(500);
            }
            --stage_->board->paused;
        }
        step();
        pause_us(random_.below(stage_->channel == steady ? 50 : 400));
    }
}

void Producer::step() {
    const uint32_t choice = random_.below(20);
    if (choice < (number_ == 0 ? 17 : 10)) {
        broadcast();
    } else if (choice < 12) {
        send_to_witness();
    } else if (choice < 15) {
        send_to_latest();
    } else if (choice < 18) {
        broadcast_message();
    } else if (choice < 19) {
        message_latest();
    } else {
        play_with_memory();
    }
}

/* On steady one at a time, when all witnesses have what came before; on busy not too far ahead of them. */
void Producer::gated(const std::function<void()> &publish) {
    if (stage_->channel == steady) {
        const std::lock_guard<std::mutex> lock(stage_->gate);
        if (wait_for_witnesses(stage_)) {
            publish();
        }
    } else {
        keep_pace();
        publish();
    }
}

void Producer::keep_pace() const {
    const uint64_t deadline = now_ns() + ahead_for_ns;
    for (const WitnessSlot &slot : stage_->board->slots[stage_->channel]) {
        while (broadcasts_ - slot.seen[number_].load() > ahead_max && now_ns() < deadline &&
               !stage_->destroyed) {
            pause_us(50);
        }
    }
}

Head Producer::next_head(Content content, uint32_t target) {
    Head head{};
    head.content = content;
    head.size = some_size();
    head.channel = stage_->channel;
    head.producer = number_;
    head.target = target;
    head.frames = broadcasts_;
    head.messages = messages_;
    head.generation = stage_->generation;
    return head;
}

uint32_t Producer::some_size() {
    const uint32_t capacity = capacities[stage_->channel];
    const uint32_t kind = random_.below(20);
    const uint32_t limit = kind < 14 ? capacity / 8 : kind < 19 ? capacity / 2 : capacity;
    return content_least + random_.below(limit - content_least + 1);
}

uint8_t *Producer::filled_buffer(Head head) const {
    uint8_t *buffer = allocate(stage_, capacities[stage_->channel]);
    if (buffer == nullptr) {
        return nullptr;
    }
    head.published_ns = now_ns(); // there may have been no room for a while
    fill(buffer, head);
    if (shbf_set_size(buffer, head.size) != 0 || shbf_get_size(buffer) != head.size) {
        fail(stage_->board, "a buffer does not take its size");
    }
    return buffer;
}

/* Now and then one receiver gets the buffer before the others. */
void Producer::broadcast() {
    gated([this] {
        Head head = next_head(Content::broadcast, nobody);
        head.number = broadcasts_ + 1;
        uint8_t *buffer = filled_buffer(head);
        if (buffer == nullptr) {
            return;
        }
        ++broadcasts_;
        uint32_t has_it = nobody;
        if (random_.one_in(8)) {
            const uint32_t first = random_.below(witnesses);
            const int32_t result = timed(&stage_->board->send, [&] {
                return shbfev_brd_send(stage_->brd, stage_->witness_ids[first], buffer);
            });
            has_it = result == 0 ? first : nobody;
            if (result == 0 || result == -EAGAIN) {
                expect(stage_, first);
            }
        }
        const int32_t reached =
            timed(&stage_->board->publish, [&] { return shbfev_brd_broadcast(stage_->brd, buffer); });
        if (reached < 0) {
            fail(stage_->board, "a broadcast fails with %d", -reached);
        }
        ++stage_->board->published;
        for (uint32_t witness = 0; witness < witnesses; ++witness) {
            if (witness != has_it) {
                expect(stage_, witness);
            }
        }
    });
}

void Producer::send_to_witness() {
    gated([this] {
        const uint32_t witness = random_.below(witnesses);
        Head head = next_head(Content::direct, witness);
        head.number = directs_[witness] + 1;
        uint8_t *buffer = filled_buffer(head);
        if (buffer == nullptr) {
            return;
        }
        const int32_t result = timed(&stage_->board->send, [&] {
            return shbfev_brd_send(stage_->brd, stage_->witness_ids[witness], buffer);
        });
        if (result == 0 || result == -EAGAIN) {
            ++directs_[witness];
            expect(stage_, witness);
            ++stage_->board->sent;
        } else if (!stage_->retired(witness) && !stage_->closing) {
            fail(stage_->board, "%s: sending to the %s witness fails with %d", channel_names[stage_->channel],
                 manner_names[manner_of(stage_->channel, witness)], -result);
        }
        shbf_free(buffer);
    });
}

/* Whoever came last, most likely a hostile one. Needs no gate: no witness gets it. */
void Producer::send_to_latest() {
    const int32_t id = stage_->latest_id;
    if (id == 0 || stage_->is_witness(id)) {
        return;
    }
    uint8_t *buffer = filled_buffer(next_head(Content::direct, nobody));
    if (buffer == nullptr) {
        return;
    }
    timed(&stage_->board->send, [&] { return shbfev_brd_send(stage_->brd, id, buffer); });
    ++stage_->board->sent;
    shbf_free(buffer);
}

void Producer::broadcast_message() {
    gated([this] {
        Head head = next_head(Content::message, nobody);
        head.number = ++messages_;
        head.size = random_.one_in(20) ? 20000 : content_least + random_.below(300);
        std::vector<uint8_t> bytes(head.size);
        fill(bytes.data(), head);
        timed(&stage_->board->message, [&] {
            return shbfev_brd_broadcast_message(stage_->brd, bytes.data(), static_cast<int32_t>(head.size));
        });
        ++stage_->board->messages;
        for (uint32_t witness = 0; witness < witnesses; ++witness) {
            expect(stage_, witness);
        }
    });
}

void Producer::message_latest() {
    const int32_t id = stage_->latest_id;
    if (id != 0 && !stage_->is_witness(id)) {
        const char text[] = "to you alone";
        timed(&stage_->board->message,
              [&] { return shbfev_brd_send_message(stage_->brd, id, text, sizeof text); });
        ++stage_->board->messages;
    }
}

/* Buffers that nobody ever sees, and addresses that are none. */
void Producer::play_with_memory() {
    void *buffer = shbfev_brd_alloc(stage_->brd, 1 + random_.below(8000));
    if (buffer != nullptr) {
        if (shbf_set_size(static_cast<uint8_t *>(buffer) + 1, 1) != -EINVAL) {
            fail(stage_->board, "an address inside of a buffer passes for one");
        }
        shbf_free(buffer);
    }
    shbf_free(this);
}

} // namespace stress
