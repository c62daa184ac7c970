/*
 * The fixture of tests about sound that waits: a queue that exists, and items for it.
 */
#ifndef TESTS_UNIT_PLAY_QUEUE_FIXTURE_H
#define TESTS_UNIT_PLAY_QUEUE_FIXTURE_H

#include "control/message_queue.h"
#include "script/daemon_test.h"

#include <cstdlib>
#include <cstring>

inline PlayItem *make_play_item(const std::string &text) {
    auto *item = static_cast<PlayItem *>(malloc(sizeof(PlayItem)));
    item->bytes = malloc(text.size() + 1);
    std::memcpy(item->bytes, text.c_str(), text.size() + 1);
    item->length = static_cast<int32_t>(text.size());
    return item;
}

class PlayQueueTest : public DaemonTest {
  protected:
    PlayQueueTest() { message_queue_init(); }
    ~PlayQueueTest() override {
        message_queue_clear();
        message_queue_destroy();
    }

    /* Takes the oldest item's text out; "none" when there is none. */
    static std::string pop() {
        PlayItem *item = nullptr;
        if (message_queue_pop(&item) != 0) {
            return "none";
        }
        std::string text(static_cast<const char *>(item->bytes), static_cast<size_t>(item->length));
        message_queue_free(item);
        return text;
    }

    static void fill(int32_t count) {
        for (int32_t i = 0; i < count; ++i) {
            EXPECT_EQ(message_queue_append(make_play_item(std::to_string(i))), 0);
        }
    }
};

#endif
