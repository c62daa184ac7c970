// Plays a prompt out of /tmp through the daemon's play queue and playback thread.
//
//     boardd --speaker wav &                 # a board of its own: not one that strell_v2 uses
//     example_prompt_sound welcome.pcm       # plays /tmp/welcome.pcm: 16-bit PCM, 16 kHz, mono
//
// Heard on the speaker, or in boardd_speaker.wav beside the board's sockets.

#include "board.h"
#include "control/audio_player.h"
#include "control/message_queue.h"
#include "control/play_audio.h"
#include "settings/device_status.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <pthread.h>
#include <thread>

namespace {

/* A board takes the end of a sound before it has played it; switched off then, it would cut it short. */
constexpr int32_t rest_bytes = 16000; // half a second

void pause_shortly() {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

/* So much silence, the queue's once it was offered. */
PlayItem *silence(int32_t bytes) {
    auto *item = static_cast<PlayItem *>(std::malloc(sizeof(PlayItem)));
    item->length = bytes;
    item->bytes = std::calloc(1, static_cast<size_t>(bytes));
    return item;
}

/* The playback thread makes the queue; what comes before is dropped. */
void wait_for_queue() {
    while (message_queue_append(silence(sizeof(int16_t))) != 0) {
        pause_shortly();
    }
}

bool all_taken() {
    const PlayQueueHold hold;
    return play_queue.count == 0;
}

/* A wake-up that comes while the thread does not wait is lost, so there are several. */
void wait_until_taken() {
    while (!all_taken()) {
        message_queue_wake();
        pause_shortly();
    }
}

/* The thread plays what it has taken to its end, and ends. */
void stop(pthread_t player) {
    device_status.running = 0;
    while (pthread_tryjoin_np(player, nullptr) != 0) {
        message_queue_wake();
        pause_shortly();
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: example_prompt_sound FILE-IN-TMP\n");
        return 2;
    }
    if (!start_board()) {
        return 1;
    }
    pthread_t player;
    if (pthread_create(&player, nullptr, play_audio, nullptr) != 0) {
        return 1;
    }
    wait_for_queue();
    const bool queued = audio_player(argv[1]) == 0;
    message_queue_append(silence(rest_bytes));
    wait_until_taken();
    stop(player);
    disable_aec();
    disable_speaker();
    board_system_exit();
    std::printf(queued ? "played /tmp/%s\n" : "nothing to play: %s\n", argv[1]);
    return queued ? 0 : 1;
}
