#include "control/play_audio.h"

#include "control/message_queue.h"
#include "image/isp_dnmode.h"
#include "libboardav.h"
#include "libvuto_util.h"
#include "settings/device_status.h"

#include <errno.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

Relaxed<uint8_t> mortor_run{0};
Relaxed<uint8_t> aec_on{0};

namespace {

/* The words come without a NUL: with one they are sound. */
template <size_t size>
bool is_word(const char (&word)[size], const void *bytes, int32_t length) {
    constexpr size_t word_length = size - 1;
    return length == static_cast<int32_t>(word_length) && memcmp(bytes, word, word_length) == 0;
}

void malloc_failed(int line) {
    log_err("%s(), %d: malloc error\n", "evt_rcvr_message_play", line);
}

/* A copy of the message, or null. */
PlayItem *make_item(const void *bytes, int32_t length) {
    auto *item = static_cast<PlayItem *>(malloc(sizeof(PlayItem)));
    if (item == nullptr) {
        malloc_failed(1497);
        return nullptr;
    }
    item->bytes = malloc(static_cast<size_t>(length));
    if (item->bytes == nullptr) {
        malloc_failed(1502);
        free(item);
        return nullptr;
    }
    memcpy(item->bytes, bytes, static_cast<size_t>(length));
    item->length = length;
    return item;
}

/* Without a predicate: sound that was appended while nobody waited is found by the drain that follows the
 * next wake-up. */
void wait_for_sound() {
    const PlayQueueHold hold;
    message_queue_wait();
}

/* The oldest item, the caller's from now on, or null. */
PlayItem *take_item() {
    PlayItem *item = nullptr;
    const PlayQueueHold hold;
    return message_queue_pop(&item) == 0 ? item : nullptr;
}

void switch_on() {
    if (aec_on == 0) {
        enable_speaker();
        enable_aec();
        log_info("###enable_aec###\n");
        aec_on = 1;
    }
}

void drain() {
    for (PlayItem *item = take_item(); item != nullptr; item = take_item()) {
        if (!mortor_run) {
            play_sound(item->bytes, item->length);
        }
        message_queue_free(item);
        if (!device_status.running) {
            break;
        }
    }
}

void switch_off_later() {
    constexpr unsigned quiet_s = 5;
    if (aec_on) {
        alarm(quiet_s);
    }
}

} // namespace

int32_t evt_rcvr_message_play(void * /*user*/, int32_t /*receiver*/, const void *bytes, int32_t length) {
    if (device_status.power != 1) {
        return -1;
    }
    if (is_word("SOUND_BAN", bytes, length)) {
        log_info("recv disable speaker cmd, dn_mode is %d\n", dn_mode.get());
        mortor_run = 1;
        return 0;
    }
    if (is_word("SOUND_UNBAN", bytes, length)) {
        log_info("enable speaker, dn_mode is %d \n", dn_mode.get());
        mortor_run = 0;
        return 0;
    }
    PlayItem *item = make_item(bytes, length);
    if (item == nullptr) {
        return -1;
    }
    message_queue_append(item);
    return 0;
}

void *play_audio(void * /*argument*/) {
    signal(SIGALRM, aec_off_on_alarm);
    prctl(PR_SET_NAME, "play_audio");
    message_queue_init();
    while (device_status.running) {
        wait_for_sound();
        if (!device_status.running) {
            break;
        }
        switch_on();
        alarm(0); // a switch-off that was to come
        drain();
        switch_off_later();
    }
    message_queue_destroy();
    return nullptr;
}

void aec_off_on_alarm(int /*signal_number*/) {
    const int saved_errno = errno; // of what it interrupts
    log_info("###disable_aec###\n");
    disable_aec();
    disable_speaker();
    aec_on = 0;
    errno = saved_errno;
}
