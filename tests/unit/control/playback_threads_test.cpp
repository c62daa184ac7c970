// The playback thread as a real thread, with real waits and real signals: for the thread sanitizer, and for
// what no virtual time shows.

#include "control/message_queue.h"
#include "control/play_audio.h"
#include "script/daemon_test.h"
#include "settings/device_status.h"
#include "support/eventually.h"

#include <atomic>
#include <csignal>
#include <memory>
#include <thread>

namespace {

class PlaybackThreads : public DaemonTest {
  protected:
    PlaybackThreads() { script.threads_are_real = true; }

    static int32_t send(const std::string &bytes) {
        return evt_rcvr_message_play(nullptr, 7, bytes.data(), static_cast<int32_t>(bytes.size()));
    }

    /* Sends this sound, again and again if `again` is set, until it is played. */
    void send_until_heard(const std::string &sound, bool again) {
        const auto heard = std::make_shared<std::atomic<bool>>(false);
        script.when("play_sound(" + sound + ")", [heard] { *heard = true; });
        send(sound);
        EXPECT_TRUE(support::eventually([&] {
            if (again) {
                send(sound); // one may come before there is a queue
            }
            message_queue_wake(); // one wake-up may come while it does not wait
            return heard->load();
        }));
    }

    /* All that was sent up to now is played. */
    void hear_out() { send_until_heard("last", false); }

    void start() {
        device_status.running = 1;
        player_ = std::thread(play_audio, nullptr);
        send_until_heard("hello", true);
    }

    /* Lets it play what is left, which would else be forgotten, and end. */
    void stop() {
        hear_out();
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
                hear_out();
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
