// The stream dump, onto a card that is a directory of the test's own.

#include "media/stream_dump.h"

#include "script/daemon_test.h"
#include "support/scratch.h"

#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class StreamDump : public DaemonTest {
  protected:
    StreamDump() { script.card = directory_.path(); }

    static int32_t write(int32_t channel, const std::string &bytes) {
        return dump_write(channel, bytes.data(), static_cast<int32_t>(bytes.size()));
    }
    std::string file(int32_t channel) const {
        return directory_.file("stream-" + std::to_string(channel) + ".h265");
    }
    std::string content(int32_t channel) const {
        std::ostringstream text;
        text << std::ifstream(file(channel)).rdbuf();
        return text.str();
    }
    mode_t mode_of(int32_t channel) const {
        struct stat status = {};
        EXPECT_EQ(stat(file(channel).c_str(), &status), 0);
        return status.st_mode & 07777;
    }

    support::ScratchRunDir directory_;
};

/* Before any other test of this program has opened something. */
TEST_F(StreamDump, AtItsStartNoFileIsOpen) {
    for (const int32_t channel : {0, 1}) {
        EXPECT_EQ(write(channel, "lost"), -1);
        EXPECT_EQ(dump_close(channel), -1);
        EXPECT_EQ(errno, EBADF);
    }
}

static_assert((O_RDWR | O_CREAT | O_TRUNC) == 0x242);

TEST_F(StreamDump, WritesWhatItIsGivenIntoTheChannelsFile) {
    EXPECT_EQ(dump_open(0), 0);
    EXPECT_EQ(write(0, "first "), 0);
    EXPECT_EQ(write(0, std::string("second\0third", 12)), 0);
    EXPECT_EQ(dump_close(0), 0);
    EXPECT_EQ(journal(), (Entries{"open(/mnt/sdcard/stream-0.h265, 0x242, 0777)", "write(stream-0.h265, 6)",
                                  "write(stream-0.h265, 12)", "close(stream-0.h265)"}));
    EXPECT_EQ(content(0), std::string("first second\0third", 18));
}

TEST_F(StreamDump, KeepsOneFileForEachChannel) {
    EXPECT_EQ(dump_open(0), 0);
    EXPECT_EQ(dump_open(1), 0);
    EXPECT_EQ(write(1, "sub"), 0);
    EXPECT_EQ(write(0, "main"), 0);
    EXPECT_EQ(dump_close(0), 0);
    EXPECT_EQ(write(1, "stream"), 0);
    EXPECT_EQ(dump_close(1), 0);
    EXPECT_EQ(content(0), "main");
    EXPECT_EQ(content(1), "substream");
}

TEST_F(StreamDump, EmptiesAFileThatIsThere) {
    std::ofstream(file(1)) << "of yesterday, and longer";
    EXPECT_EQ(dump_open(1), 0);
    EXPECT_EQ(content(1), "");
    EXPECT_EQ(write(1, "new"), 0);
    EXPECT_EQ(dump_close(1), 0);
    EXPECT_EQ(content(1), "new");
}

TEST_F(StreamDump, FilesMayBeReadAndWrittenByAllAsFarAsTheMaskAllows) {
    const mode_t mask = umask(022);
    EXPECT_EQ(dump_open(0), 0);
    EXPECT_EQ(dump_close(0), 0);
    umask(mask);
    EXPECT_EQ(mode_of(0), mode_t{0755});
}

TEST_F(StreamDump, WithoutACardSaysWhatTheSystemSays) {
    script.card.clear();
    EXPECT_EQ(dump_open(0), -1);
    EXPECT_EQ(journal(), (Entries{"open(/mnt/sdcard/stream-0.h265, 0x242, 0777)",
                                  "log: failed: No such file or directory\n"}));
}

TEST_F(StreamDump, ACardThatCannotBeWrittenIsNamedByItsOwnError) {
    mkdir(file(0).c_str(), 0700);
    EXPECT_EQ(dump_open(0), -1);
    EXPECT_EQ(script.count("err: failed: Is a directory\n"), 1U);
}

TEST_F(StreamDump, AFileThatWasNotOpenedTakesNothing) {
    script.card.clear();
    EXPECT_EQ(dump_open(0), -1);
    script.journal.clear();
    EXPECT_EQ(write(0, "lost"), -1);
    EXPECT_EQ(journal(), (Entries{"log: stream write error:Bad file descriptor\n"}));
    EXPECT_EQ(dump_close(0), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(StreamDump, AFailedOpeningDoesNotLeaveTheFileOfBefore) {
    EXPECT_EQ(dump_open(0), 0);
    script.card.clear();
    EXPECT_EQ(dump_open(0), -1);
    EXPECT_EQ(write(0, "lost"), -1);
    EXPECT_EQ(content(0), "");
}

TEST_F(StreamDump, AShortWriteIsAnErrorAndIsNotTriedAgain) {
    EXPECT_EQ(dump_open(0), 0);
    script.card_room_bytes = 5;
    errno = EINTR;
    script.journal.clear();
    EXPECT_EQ(write(0, "longer"), -1);
    EXPECT_EQ(journal(), (Entries{"write(stream-0.h265, 6)",
                                  script::format("log: stream write error:%s\n", strerror(EINTR))}));
    EXPECT_EQ(content(0), "longe");
    EXPECT_EQ(dump_close(0), 0);
}

TEST_F(StreamDump, AFullCardIsAnError) {
    EXPECT_EQ(dump_open(0), 0);
    script.card_room_bytes = 0;
    EXPECT_EQ(write(0, "x"), -1);
    EXPECT_EQ(script.count("err: stream write error:No space left on device\n"), 1U);
    EXPECT_EQ(dump_close(0), 0);
}

TEST_F(StreamDump, NothingToWriteIsWritten) {
    EXPECT_EQ(dump_open(0), 0);
    EXPECT_EQ(write(0, ""), 0);
    EXPECT_EQ(dump_close(0), 0);
    EXPECT_EQ(content(0), "");
}

TEST_F(StreamDump, ClosingGivesTheResultOfTheSystemAndKeepsTheDescriptor) {
    EXPECT_EQ(dump_open(1), 0);
    EXPECT_EQ(dump_close(1), 0);
    EXPECT_EQ(dump_close(1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(write(1, "late"), -1);
    EXPECT_EQ(script.count("err: stream write error:Bad file descriptor\n"), 1U);
}

} // namespace
