#include "content.h"
#include "hostile.h"
#include "libshbf_receiver.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace stress {

namespace {

shbf_rcv_t *open_receiver(Hostile *hostile, uint32_t window) {
    const shbf_rcv_options_t options = {window, 0};
    shbf_rcv_t *receiver = nullptr;
    while ((receiver = shbf_rcv_open(hostile->path, &options)) == nullptr) {
        pause_us(2000);
    }
    ++hostile->board->hostile_attached;
    return receiver;
}

/* Calls `on_frame` for each frame until the connection ends. */
template <typename OnFrame>
void for_each_frame(shbf_rcv_t *receiver, OnFrame on_frame) {
    shbf_event_t event;
    int result = 0;
    while ((result = shbf_rcv_next(receiver, &event, 1000)) >= 0 || result == -EINTR) {
        if (result == 1 && event.kind == SHBF_EVENT_FRAME) {
            on_frame(event.frame);
        }
    }
}

/* Who may have been stopped copies first, and then asks whether what it copied was still its own. */
void check_copy(Hostile *hostile, const shbf_rcv_t *receiver, const shbf_frame_t &frame) {
    std::vector<uint8_t> copy(frame.size);
    memcpy(copy.data(), frame.data, frame.size);
    Head head;
    const bool right = whole(copy.data(), copy.size(), &head) &&
                       // On quiet there are only broadcasts, so it is known which one this must be.
                       (head.channel != quiet || head.number == frame.number);
    if (!right && shbf_rcv_intact(receiver) == 1) {
        ++hostile->board->torn;
        fail(hostile->board, "a frame was torn that its receiver was told is intact");
    }
}

} // namespace

RawReceiver Hostile::attach() {
    RawReceiver receiver;
    while (!attach_raw(path, random.below(100), &receiver)) {
        pause_us(2000);
    }
    ++board->hostile_attached;
    return receiver;
}

void follow(Hostile *hostile) {
    for (;;) {
        shbf_rcv_t *receiver = open_receiver(hostile, 3 + hostile->random.below(62));
        for_each_frame(receiver, [&](const shbf_frame_t &frame) {
            check_copy(hostile, receiver, frame);
            shbf_rcv_release(receiver, &frame);
        });
        shbf_rcv_close(receiver);
    }
}

void hold_everything(Hostile *hostile) {
    for (;;) {
        shbf_rcv_t *receiver = open_receiver(hostile, 64);
        for_each_frame(receiver, [](const shbf_frame_t & /*frame*/) {});
        shbf_rcv_close(receiver);
    }
}

void release_wrongly(Hostile *hostile) {
    for (;;) {
        shbf_rcv_t *receiver = open_receiver(hostile, 64);
        for_each_frame(receiver, [&](const shbf_frame_t &frame) {
            for (int i = 0; i < 20; ++i) {
                shbf_frame_t forged = frame;
                forged.slot = hostile->random.below(shbf::slots_max + 10);
                const uint32_t off = hostile->random.below(40) - 4;
                forged.taking = frame.taking + off;
                forged.number = frame.number + off;
                shbf_rcv_release(receiver, &forged);
            }
            shbf_rcv_release(receiver, &frame);
            shbf_rcv_release(receiver, &frame);
        });
        shbf_rcv_close(receiver);
    }
}

void fork_off(Hostile *hostile) {
    shbf_rcv_t *receiver = open_receiver(hostile, 64);
    shbf_event_t event;
    for (uint32_t i = hostile->random.below(4); i > 0; --i) {
        shbf_rcv_next(receiver, &event, 100);
    }
    const bool parent_ends = hostile->random.one_in(2);
    const uint32_t moment_us = hostile->random.below(5000);
    ++hostile->board->forks;
    const pid_t child = fork();
    if ((child == 0) != parent_ends) {
        pause_us(moment_us);
        _exit(0);
    }
    if (child == 0) {
        alarm(30); // whoever might have killed it may be gone
    }
    // It goes on with what both have, now as a well-behaved one, now as a hoarder.
    const bool releases = hostile->random.one_in(2);
    for_each_frame(receiver, [&](const shbf_frame_t &frame) {
        if (releases) {
            shbf_rcv_release(receiver, &frame);
        }
    });
    for (;;) {
        pause();
    }
}

void come_and_go(Hostile *hostile) {
    for (;;) {
        switch (hostile->random.below(3)) {
        case 0: {
            shbf_rcv_t *receiver = open_receiver(hostile, 0);
            shbf_event_t event;
            shbf_rcv_next(receiver, &event, static_cast<int32_t>(hostile->random.below(3)));
            shbf_rcv_close(receiver);
            break;
        }
        case 1: {
            RawReceiver receiver = hostile->attach();
            detach_raw(&receiver);
            break;
        }
        default: {
            // Does not wait for the answer.
            const int fd = connect_raw(hostile->path);
            const shbf::Hello hello = {
                shbf::Kind::hello, shbf::wire_magic, shbf::wire_version, shbf::Role::receiver, 0, 0};
            send_raw(fd, &hello, sizeof hello, nullptr, 0);
            close(fd);
            break;
        }
        }
    }
}

void ask(Hostile *hostile) {
    for (;;) {
        shbf_channel_info_t info;
        shbf_channel_query(hostile->path, &info, 1000);
    }
}

void run_dry(Hostile *hostile) {
    for (;;) {
        // So many and no more: enough for the socket, or also for the link page, or also for the arena.
        const int lowest = dup(0);
        close(lowest);
        const rlimit tight = {static_cast<rlim_t>(lowest) + hostile->random.below(4), RLIM_INFINITY};
        setrlimit(RLIMIT_NOFILE, &tight);
        const shbf_rcv_options_t options = {0, 50};
        shbf_rcv_t *receiver = shbf_rcv_open(hostile->path, &options);
        if (receiver != nullptr) {
            ++hostile->board->hostile_attached;
            shbf_event_t event;
            while (shbf_rcv_next(receiver, &event, 5) == 1) {
                if (event.kind == SHBF_EVENT_FRAME) {
                    shbf_rcv_release(receiver, &event.frame);
                }
            }
            shbf_rcv_close(receiver);
        }
    }
}

} // namespace stress
