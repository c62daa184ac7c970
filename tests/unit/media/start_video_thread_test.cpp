// Starting the video fetch threads.

#include "media/video_stream.h"

#include "script/daemon_test.h"

#include <cerrno>

namespace {

class StartVideoThread : public DaemonTest {
  protected:
    pthread_t threads_[2] = {91, 92};
};

TEST_F(StartVideoThread, StartsTheMainStreamThenTheSubStream) {
    EXPECT_EQ(start_video_thread(threads_), 0);
    EXPECT_EQ(script.journal,
              (Entries{"pthread_create(1, default)", "info: start_video_thread(), ret is 0\n",
                       "pthread_create(2, default)", "info: start_video_thread(), ret is 0\n"}));
    EXPECT_EQ(threads_[0], 1U);
    EXPECT_EQ(threads_[1], 2U);
}

TEST_F(StartVideoThread, GivesEachThreadItsOwnChannelNumber) {
    start_video_thread(threads_);
    ASSERT_EQ(script.threads.size(), 2U);
    auto *first = static_cast<int32_t *>(script.threads[0].argument);
    auto *second = static_cast<int32_t *>(script.threads[1].argument);
    EXPECT_EQ(second, first + 1); // of one array
    EXPECT_EQ(*first, 0);
    EXPECT_EQ(*second, 1);
    EXPECT_EQ(script.threads[0].body, video_stream_thread);
    EXPECT_EQ(script.threads[1].body, video_stream_thread);
}

TEST_F(StartVideoThread, StopsAtTheFirstThatIsNotCreated) {
    for (const int result : {EAGAIN, -1}) {
        script.journal.clear();
        script.threads.clear();
        script.pthread_create_results = {{1, result}};
        EXPECT_EQ(start_video_thread(threads_), -1);
        EXPECT_EQ(script.journal, (Entries{"pthread_create(1, default)",
                                           script::format("info: start_video_thread(), ret is %d\n", result),
                                           "err: Create Chn0 video_stream_thread error\n"}));
    }
}

TEST_F(StartVideoThread, LeavesTheFirstRunningWhenTheSecondIsNotCreated) {
    script.pthread_create_results = {{2, EAGAIN}};
    EXPECT_EQ(start_video_thread(threads_), -1);
    EXPECT_EQ(script.journal,
              (Entries{"pthread_create(1, default)", "info: start_video_thread(), ret is 0\n",
                       "pthread_create(2, default)", "info: start_video_thread(), ret is 11\n",
                       "err: Create Chn1 video_stream_thread error\n"}));
}

} // namespace
