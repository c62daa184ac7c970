// The playback thread as a real thread, with real waits and real signals: for the thread sanitizer, and for
// what no virtual time shows.

#include "control/message_queue.h"
#include "control/play_audio.h"
#include "script/daemon_test.h"
#include "settings/device_status.h"
#include "support/eventually.h"

#include <atomic>
#include <csignal>
#include <thread>

namespace {

class PlaybackThreads : public DaemonTest {
  protected:
    PlaybackThreads() { script.threads_are_real = true; }

    static int32_t send(const std::string &bytes) {
        return evt_rcvr_message_play(nullptr, 7, bytes.data(), static_cast<int32_t>(bytes.size()));
    }

    static bool queue_is_empty() {
        const PlayQueueHold hold;
        return play_queue.count == 0;
    }

    /* The playback thread, once it has a queue. */
    void start() {
        device_status.running = 1;
        std::atomic<bool> heard{false};
        script.when("play_sound(hello)", [&] { heard = true; });
        player_ = std::thread(play_audio, nullptr);
        EXPECT_TRUE(support::eventually([&] {
            send("hello"); // one may come before it waits, and one before there is a queue
            return heard.load();
        }));
    }

    /* Lets it play what is left, which would else be forgotten, and end. Woken again and again: a wake-up
     * that comes while it does not wait is lost. */
    void stop() {
        EXPECT_TRUE(support::eventually([] {
            message_queue_wake();
            return queue_is_empty();
        }));
        device_status.running = 0;
        std::atomic<bool> ended{false};
        std::thread waker([&] {
            while (!ended) {
                message_queue_wake();
                std::this_thread::yield();
            }
        });
        player_.join();
        ended = true;
        waker.join();
    }

    std::thread player_;
};

TEST_F(PlaybackThreads, PlayWhatOtherThreadsBring) {
    start();
    std::thread other([] {
        for (int i = 0; i < 50; ++i) {
            send("from another thread");
        }
    });
    for (int i = 0; i < 50; ++i) {
        send("from this thread");
    }
    other.join();
    stop();
    EXPECT_EQ(script.count("play_sound(from another thread)"), 50U);
    EXPECT_EQ(script.count("play_sound(from this thread)"), 50U);
}

TEST_F(PlaybackThreads, AreWokenByAThreadThatDoesNotCareWhetherThereIsAQueue) {
    std::atomic<bool> over{false};
    std::thread waker([&] {
        while (!over) {
            message_queue_wake();
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 10; ++i) {
        start();
        stop();
    }
    over = true;
    waker.join();
}

// The handler that ends the process takes the queue's lock on whatever thread the signal hits.
TEST_F(PlaybackThreads, AreNotStoppedByASignalThatHitsThemInsideTheQueue) {
    static std::atomic<int> handled{0};
    struct sigaction before = {};
    struct sigaction action = {};
    action.sa_flags = SA_RESTART;
    action.sa_handler = [](int) {
        message_queue_wake();
        ++handled;
    };
    sigaction(SIGUSR1, &action, &before);
    start();
    std::atomic<bool> sent{false};
    std::thread sender([&] {
        for (int i = 0; i < 3000; ++i) {
            send("sound");
            if (i % 100 == 0) {
                EXPECT_TRUE(support::eventually(queue_is_empty));
            }
        }
        sent = true;
    });
    for (int i = 0; i < 10000 && !sent; ++i) {
        pthread_kill(sender.native_handle(), SIGUSR1);
        pthread_kill(player_.native_handle(), SIGUSR1);
        std::this_thread::yield();
    }
    sender.join();
    stop();
    EXPECT_GT(handled, 0);
    sigaction(SIGUSR1, &before, nullptr);
}

} // namespace
