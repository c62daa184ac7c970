// Where recorded bytes go.

#include "strellctl/recording.h"

#include "strellctl/failure.h"
#include "support/scratch.h"
#include "tools/probe.h"
#include "tools/small_h264.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/resource.h>

using ctl::Codec;

namespace {

class RecordingTest : public testing::Test {
  protected:
    std::unique_ptr<ctl::Recording> open(const std::string &name) {
        const std::string path = dir_.file(name);
        return ctl::open_recording(path, ctl::ending_of(path), Codec::h264);
    }
    std::string content(const std::string &name) {
        std::ostringstream text;
        text << std::ifstream(dir_.file(name)).rdbuf();
        return text.str();
    }

    support::ScratchRunDir dir_;
};

TEST_F(RecordingTest, AnElementaryStreamIsTheBytesAsTheyAre) {
    std::ofstream(dir_.file("a.h264")) << "what was there before, and longer";
    const auto recording = open("a.h264");
    recording->write("one", 0);
    recording->write("two", 7);
    recording->finish();
    EXPECT_EQ(content("a.h264"), "onetwo");
}

TEST_F(RecordingTest, OneFrameIsAFileForPlayersToo) {
    for (const char *name : {"one.mp4", "one.mkv"}) {
        const auto recording = open(name);
        recording->write(ctl_test::small_h264(), 0);
        recording->finish();
        EXPECT_EQ(ctl_test::probe(dir_.file(name)), "h264 64 64 1\n") << name;
    }
}

TEST_F(RecordingTest, UnevenTimesAndStrangeNamesAreKept) {
    const std::string name = "a \"b\" ! 'c' $d.mp4"; // what a pipeline's description could trip over
    const auto recording = open(name);
    uint64_t time_us = 0;
    for (int i = 0; i < 20; ++i) {
        recording->write(ctl_test::small_h264(), time_us);
        time_us += i % 3 == 0 ? 500000U : 33333U;
    }
    recording->finish();
    EXPECT_EQ(ctl_test::probe(dir_.file(name)), "h264 64 64 20\n");
}

TEST_F(RecordingTest, AFileThatCannotBeCreatedIsSaid) {
    std::filesystem::create_directory(dir_.file("directory.mkv"));
    for (const char *name : {"missing/a.h264", "missing/a.mp4", "directory.mkv"}) {
        try {
            open(name);
            ADD_FAILURE() << name;
        } catch (const ctl::Failure &failure) {
            EXPECT_NE(std::string(failure.what()).find("cannot create "), std::string::npos)
                << failure.what();
        }
    }
}

/* For as long as it lives, no file of this process grows beyond so many bytes. */
class SmallFiles {
  public:
    explicit SmallFiles(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small = {bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~SmallFiles() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    SmallFiles(const SmallFiles &) = delete;
    SmallFiles &operator=(const SmallFiles &) = delete;

  private:
    rlimit before_{};
    void (*handler_)(int);
};

TEST_F(RecordingTest, AFullDiskLeavesWholeAccessUnits) {
    const auto recording = open("a.h264");
    {
        const SmallFiles small(10);
        recording->write("12345678", 0);
        EXPECT_THROW(recording->write("abcdefgh", 1), ctl::WriteFailure);
    }
    EXPECT_EQ(content("a.h264"), "12345678");
}

TEST_F(RecordingTest, AFullDiskIsNoticedByContainersAtTheLatestAtTheEnd) {
    for (const char *name : {"a.mp4", "a.mkv"}) {
        const auto recording = open(name);
        const SmallFiles small(50);
        recording->write(ctl_test::small_h264(), 0);
        EXPECT_THROW(recording->finish(), ctl::WriteFailure) << name;
    }
}

} // namespace
