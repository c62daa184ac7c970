#include "analytics/track_mailbox.h"

#include "libalgo_kit.h"
#include "libvuto_util.h"

#include <pthread.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/shm.h>

std::atomic<TrackMailbox *> track_mailbox{nullptr};
Relaxed<int32_t> track_shm_active{0};

namespace {

constexpr key_t mailbox_key = 0x1122;
constexpr int mailbox_flags = IPC_CREAT | 0666;

// Of the task that once turned the motor. Nothing creates them; they end with the mailbox.
sem_t motion_track_semaphore;
pthread_mutex_t motion_track_mutex;
pthread_t motion_track_thread;

Relaxed<void *> attach_address{nullptr}; // what detaching takes, while track_mailbox is the writer's

[[noreturn]] void give_up(const char *what) {
    perror(what);
    exit(1);
}

void end_task() {
    sem_destroy(&motion_track_semaphore);
    pthread_mutex_destroy(&motion_track_mutex);
    const int cancelled = pthread_cancel(motion_track_thread);
    if (cancelled < 0) {
        log_err("pthread_cancel motion_track_task_thread\r\n");
    }
    const int joined = pthread_join(motion_track_thread, nullptr);
    if (joined < 0) {
        log_err("pthread_join motion_track_task_thread\r\n");
    }
}

bool is_attached(const TrackMailbox *mailbox) {
    return mailbox != nullptr && reinterpret_cast<intptr_t>(mailbox) != -1;
}

} // namespace

int32_t algo_shm_init(void) {
    if (track_shm_active) {
        log_err("motor_rotate_task_thread already running\n");
        return -1;
    }
    const int id = shmget(mailbox_key, sizeof(TrackMailbox), mailbox_flags);
    if (id < 0) {
        give_up("fail to shmget");
    }
    void *address = shmat(id, nullptr, 0);
    attach_address = address;
    track_mailbox.store(static_cast<TrackMailbox *>(address), std::memory_order_release);
    if (address == nullptr) {
        give_up("Failed to shmat");
    }
    return 0;
}

int32_t algo_shm_fini(void) {
    log_info("algo_shm_fini\n");
    if (!track_shm_active) {
        log_err("motor_rotate_task_thread has not running\n");
        return -1;
    }
    track_shm_active = 0;
    end_task();
    track_mailbox.store(nullptr, std::memory_order_release);
    if (shmdt(attach_address) != 0) {
        give_up("Failed to shmdt");
    }
    log_info("shmdt success\n");
    return 0;
}

int32_t track_result_cb(const void *record, int32_t length) {
    constexpr int32_t sequence = 0; // has never counted
    TrackDirection direction{};
    memcpy(&direction, record, static_cast<size_t>(length));
    char text[64] = {};
    if (direction.horizontal != 0) {
        snprintf(text, sizeof text, "[%d,%d,%d]", direction.horizontal, 0, sequence);
        track_shm_post(text);
    } else if (direction.vertical != 0) {
        snprintf(text, sizeof text, "[%d,%d,%d]", 0, direction.vertical, sequence);
        track_shm_post(text);
    }
    return 0;
}

void track_shm_post(const char *text) {
    TrackMailbox *mailbox = track_mailbox.load(std::memory_order_acquire);
    if (!is_attached(mailbox) || mailbox->full.load(std::memory_order_acquire) == 1) {
        return;
    }
    memcpy(mailbox->text, text, strlen(text) + 1);
    mailbox->full.store(1, std::memory_order_release);
}
