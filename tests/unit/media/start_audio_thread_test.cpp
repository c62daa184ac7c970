// Starting the threads that capture and play sound.

#include "control/play_audio.h"
#include "media/audio_stream.h"
#include "script/daemon_test.h"

#include <cerrno>

namespace {

class StartAudioThread : public DaemonTest {
  protected:
    pthread_t threads_[2] = {91, 92};
};

TEST_F(StartAudioThread, StartsCaptureThenPlayback) {
    EXPECT_EQ(start_audio_thread(threads_), 0);
    EXPECT_EQ(journal(), (Entries{"pthread_create(1, default)", "log: start_audio_thread(), ret is 0\n",
                                  "pthread_create(2, default)", "log: start_audio_thread(), ret is 0\n"}));
    EXPECT_EQ(threads_[0], 1U);
    EXPECT_EQ(threads_[1], 2U);
    ASSERT_EQ(script.threads.size(), 2U);
    EXPECT_EQ(script.threads[0].body, fetch_aduio_thread);
    EXPECT_EQ(script.threads[1].body, play_audio);
    EXPECT_EQ(script.threads[0].argument, nullptr);
    EXPECT_EQ(script.threads[1].argument, nullptr);
}

TEST_F(StartAudioThread, StopsWhenCaptureIsNotCreated) {
    for (const int result : {EAGAIN, -1}) {
        script.journal.clear();
        script.threads.clear();
        script.pthread_create_results = {{1, result}};
        EXPECT_EQ(start_audio_thread(threads_), -1);
        EXPECT_EQ(journal(), (Entries{"pthread_create(1, default)",
                                      script::format("log: start_audio_thread(), ret is %d\n", result),
                                      "err: Create get_audio_stream error\n"}));
    }
}

TEST_F(StartAudioThread, LeavesCaptureRunningWhenPlaybackIsNotCreated) {
    for (const int result : {EAGAIN, -1}) {
        script.journal.clear();
        script.threads.clear();
        script.pthread_create_results = {{2, result}};
        EXPECT_EQ(start_audio_thread(threads_), -1);
        EXPECT_EQ(journal(), (Entries{"pthread_create(1, default)", "log: start_audio_thread(), ret is 0\n",
                                      "pthread_create(2, default)",
                                      script::format("log: start_audio_thread(), ret is %d\n", result),
                                      "err: Create get_audio_stream error\n"}));
    }
}

} // namespace
