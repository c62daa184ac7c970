#include "media/channels.h"

#include "control/play_audio.h"
#include "libshbf.h"
#include "libvuto_util.h"
#include "media/fetch_error.h"
#include "media/requests.h"

#include <errno.h>
#include <ev.h>
#include <stdlib.h>
#include <string.h>

MediaChannel media_channels[media_channel_count];
MediaChannel shbf_mde[event_channel_count];

Relaxed<int32_t> broadcast_fail_count{0};

namespace {

constexpr const char *media_paths[media_channel_count] = {
    "/run/video_mainstream", "/run/video_substream", "/run/video_rawstream",
    "/run/jpeg_snap",        "/run/audio_in",        "/run/audio_play",
};

constexpr const char *event_paths[event_channel_count] = {"/run/md_event", "/run/motor_event",
                                                          "/run/lsd_event"};

MediaChannel *channel_of(void *user) {
    return static_cast<MediaChannel *>(user);
}

int32_t on_server_closed(void *user) {
    MediaChannel *channel = channel_of(user);
    channel->receivers = 0;
    ev_break(ev_default_loop(0), EVBREAK_ALL); // without one channel there are none
    log_info("Server %d Closed\n", channel->index);
    return 0;
}

int32_t on_new_receiver(void *user, int32_t receiver) {
    MediaChannel *channel = channel_of(user);
    channel->receivers = channel->receivers + 1;
    log_info("broadcaster %d get new receiver: %d, total count %d\n", channel->index, receiver,
             channel->receivers.get());
    return 0;
}

int32_t on_receiver_closed(void *user, int32_t receiver) {
    MediaChannel *channel = channel_of(user);
    channel->receivers = channel->receivers - 1;
    log_warning("broadcaster %d receiver %d closed, total count %d\n", channel->index, receiver,
                channel->receivers.get());
    return 0;
}

/* A receiver that is behind is kept and misses what it missed; one that fails otherwise is dropped. */
int32_t on_receiver_error(void * /*user*/, int32_t receiver, int32_t error_number) {
    log_err("receiver error: %d: %s\n", receiver, strerror(error_number));
    return error_number == EAGAIN ? -1 : 0;
}

/* What answers the messages of a media channel. Whatever has no requests of its own may ask for a key frame,
 * audio included. */
shbfev_message_callback message_handler(int32_t index) {
    switch (index) {
    case channel_audio_play:
        return evt_rcvr_message_play;
    case channel_raw_stream:
        return evt_rcvr_message_rawframe;
    case channel_jpeg:
        return evt_rcvr_message_jpeg;
    default:
        return evt_rcvr_message_idr;
    }
}

void fill(MediaChannel *channel, int32_t index, shbfev_brd_t *broadcaster) {
    channel->receivers = 0;
    channel->index = index;
    channel->broadcaster.store(broadcaster, std::memory_order_release);
}

/* A broadcaster that could not be created is null, and fails here. */
int32_t start(int32_t index, shbfev_brd_t *broadcaster) {
    const int32_t result = shbfev_brd_start(ev_default_loop(0), broadcaster);
    if (result < 0) {
        log_err("shbf %d start error %d\n", index, result);
        return -1;
    }
    return result;
}

} // namespace

int32_t shbf_init(int32_t index) {
    if (static_cast<uint32_t>(index) >= media_channel_count) {
        return -1;
    }
    shbfev_brd_t *broadcaster = shbfev_brd_create(media_paths[index]);
    MediaChannel *channel = &media_channels[index];
    fill(channel, index, broadcaster);
    shbfev_brd_event(broadcaster, SHBFEV_SERVER_CLOSED, SHBFEV_CALLBACK(on_server_closed), channel);
    shbfev_brd_event(broadcaster, SHBFEV_RECEIVER_NEW, SHBFEV_CALLBACK(on_new_receiver), channel);
    shbfev_brd_event(broadcaster, SHBFEV_RECEIVER_CLOSED, SHBFEV_CALLBACK(on_receiver_closed), channel);
    shbfev_brd_event(broadcaster, SHBFEV_RECEIVER_ERROR, SHBFEV_CALLBACK(on_receiver_error), channel);
    shbfev_brd_event(broadcaster, SHBFEV_MESSAGE, SHBFEV_CALLBACK(message_handler(index)), nullptr);
    return start(index, broadcaster) < 0 ? -1 : 0;
}

int32_t shbf_server_int(int32_t index) {
    if (index != event_channel_motion && index != event_channel_motor && index != event_channel_sound) {
        return -1;
    }
    shbfev_brd_t *broadcaster = shbfev_brd_create(event_paths[index]);
    MediaChannel *channel = &shbf_mde[index];
    fill(channel, index, broadcaster);
    shbfev_brd_event(broadcaster, SHBFEV_RECEIVER_ERROR, SHBFEV_CALLBACK(on_receiver_error), channel);
    return start(index, broadcaster);
}

uint8_t *shbf_brd_alloc(int32_t index, uint32_t size) {
    shbfev_brd_t *broadcaster = media_channels[index].broadcaster.load(std::memory_order_acquire);
    return broadcaster == nullptr ? nullptr : static_cast<uint8_t *>(shbfev_brd_alloc(broadcaster, size));
}

void shbf_brd_broadcast(int32_t index, void *buffer) {
    constexpr int32_t failures_per_report = 12;
    constexpr int32_t report_broadcast = 3;
    const MediaChannel &channel = media_channels[index];
    if (channel.receivers <= 0) {
        shbf_free(buffer);
        return;
    }
    if (shbfev_brd_broadcast(channel.broadcaster.load(std::memory_order_acquire), buffer) >= 0) {
        broadcast_fail_count = 0;
        return;
    }
    log_err("shbf_brd_broadcast error\n");
    shbf_free(buffer);
    const int32_t failures = broadcast_fail_count + 1;
    broadcast_fail_count = failures;
    if (failures >= failures_per_report) {
        broadcast_fail_count = 0;
        report_fetch_error(report_broadcast);
    }
}

int32_t shbf_event_broadcast(int32_t index, const char *text, int32_t length) {
    shbfev_brd_t *broadcaster = shbf_mde[index].broadcaster.load(std::memory_order_acquire);
    if (broadcaster == nullptr) {
        // The number has always been the address of a library routine, where one would expect the index.
        log_err("[%s]shbf_mde %d is NULL\r\n", "shbf_event_broadcast",
                static_cast<int>(reinterpret_cast<intptr_t>(&free)));
        return 0;
    }
    return shbfev_brd_broadcast_message(broadcaster, text, length + 1);
}
