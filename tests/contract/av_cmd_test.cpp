// libav_cmd, the daemon's side: commands out of a stream of any bytes, and acknowledgements to any client.

#include "av_cmd_fixture.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <random>

using namespace av_cmd_test;

namespace {

using Codes = std::vector<uint32_t>;

class AvCmdParse : public testing::Test {
  protected:
    void SetUp() override { calls().clear(); }
};

// ---- whole commands ----

TEST_F(AvCmdParse, ACommandReachesTheHandler) {
    EXPECT_EQ(parse(command(0x1009), 42), 12);
    ASSERT_EQ(codes(), Codes{0x1009});
    EXPECT_EQ(calls()[0].fd, 42);
}

TEST_F(AvCmdParse, TheDocumentedBytesAreACommand) {
    const unsigned char bytes[] = {0x41, 0x56, 0x63, 0x6d, 0x22, 0x10, 0, 0, 4, 0, 0, 0, 0x3c, 0, 0, 0};
    EXPECT_EQ(av_cmd_parse(3, bytes, sizeof bytes, note_call), 16);
    ASSERT_EQ(codes(), Codes{0x1022});
    EXPECT_EQ(calls()[0].payload(4), word(60));
}

TEST_F(AvCmdParse, SeveralCommandsRunInOrder) {
    const std::string bytes = command(0x1009) + command(0x1022, word(7)) + command(0x2000, "x");
    EXPECT_EQ(parse(bytes), static_cast<int32_t>(bytes.size()));
    EXPECT_EQ(codes(), (Codes{0x1009, 0x1022, 0x2000}));
}

TEST_F(AvCmdParse, AnyCodeTravels) {
    parse(command(0) + command(0x1037) + command(0xffffffff));
    EXPECT_EQ(codes(), (Codes{0, 0x1037, 0xffffffff}));
}

TEST_F(AvCmdParse, NothingIsNoCommand) {
    EXPECT_EQ(av_cmd_parse(3, "", 0, note_call), 0);
    EXPECT_EQ(av_cmd_parse(3, nullptr, 0, note_call), 0);
    EXPECT_EQ(av_cmd_parse(3, "AVcm", -1, note_call), 0);
    EXPECT_TRUE(calls().empty());
}

// ---- what the handler may read ----

TEST_F(AvCmdParse, AShortPayloadIsFollowedByZeros) {
    for (size_t length = 0; length <= AV_CMD_PAYLOAD_READABLE; ++length) {
        calls().clear();
        const std::string payload(length, '\xff');
        // What follows in the stream must not show through.
        parse(command(0x1001, payload) + std::string(100, '\xee'));
        ASSERT_EQ(calls().size(), 1U);
        EXPECT_EQ(calls()[0].payload(length), payload);
        EXPECT_TRUE(calls()[0].is_zero_from(length)) << length;
    }
}

TEST_F(AvCmdParse, APayloadAfterALongerOneShowsNothingOfIt) {
    parse(command(1, std::string(200, '\xff')) + command(2, "ab"));
    ASSERT_EQ(calls().size(), 2U);
    EXPECT_TRUE(calls()[1].is_zero_from(2));
}

TEST_F(AvCmdParse, ThePayloadIsAlignedWhereverTheCommandLies) {
    for (size_t offset = 0; offset < 8; ++offset) {
        parse(std::string(offset, '.') + command(0x1022, word(0x01020304)) + command(0x1023, "abc") +
              command(0x1024, word(5)));
    }
    ASSERT_EQ(calls().size(), 24U);
    for (const Call &call : calls()) {
        EXPECT_TRUE(call.aligned);
    }
}

std::string long_payload;

int32_t keep_long_payload(int32_t /*fd*/, const void *payload, uint32_t /*code*/) {
    long_payload.assign(static_cast<const char *>(payload), AV_CMD_DATA_MAX);
    return 0;
}

TEST_F(AvCmdParse, ALongPayloadArrivesWhole) {
    std::string payload;
    for (size_t i = 0; i < AV_CMD_DATA_MAX; ++i) {
        payload.push_back(static_cast<char>(i * 31 >> 3));
    }
    const std::string bytes = command(0x2000, payload);
    EXPECT_EQ(av_cmd_parse(3, bytes.data(), static_cast<int32_t>(bytes.size()), keep_long_payload),
              static_cast<int32_t>(bytes.size()));
    EXPECT_EQ(long_payload, payload);
}

// ---- incomplete ----

TEST_F(AvCmdParse, ACommandSplitAnywhereWaitsForItsRest) {
    const std::string first = command(0x1009);
    const std::string second = command(0x1025, std::string(32, '\x01'));
    const std::string bytes = first + second;
    for (size_t split = 0; split < bytes.size(); ++split) {
        calls().clear();
        const size_t consumed = static_cast<size_t>(parse(bytes.substr(0, split)));
        EXPECT_EQ(consumed, split < first.size() ? 0 : first.size()) << split;
        const std::string rest = bytes.substr(consumed);
        EXPECT_EQ(parse(rest), static_cast<int32_t>(rest.size())) << split;
        EXPECT_EQ(codes(), (Codes{0x1009, 0x1025})) << split;
    }
}

TEST_F(AvCmdParse, BytesThatComeOneByOneAddUp) {
    const std::string bytes = "??" + command(0x1009) + "AVAVc" + command(0x1022, word(3));
    std::string buffer;
    for (const char byte : bytes) {
        buffer.push_back(byte);
        buffer.erase(0, static_cast<size_t>(parse(buffer)));
    }
    EXPECT_EQ(buffer, "");
    EXPECT_EQ(codes(), (Codes{0x1009, 0x1022}));
}

TEST_F(AvCmdParse, TooLargeForTheCallersBufferIsNeverConsumed) {
    std::string buffer = header(0x2000, 501);
    buffer.resize(512, 'x');
    EXPECT_EQ(parse(buffer), 0);
    EXPECT_EQ(parse(command(0x1009) + buffer), 12) << "but what came before it is run";
    EXPECT_EQ(codes(), Codes{0x1009});
}

TEST_F(AvCmdParse, TheLongestThatFitsTheDaemonsBufferRuns) {
    const std::string bytes = command(0x2000, std::string(AV_CMD_PAYLOAD_MAX, 'x'));
    EXPECT_EQ(bytes.size(), 512U);
    EXPECT_EQ(parse(bytes), 512);
    EXPECT_EQ(codes(), Codes{0x2000});
}

// ---- garbage ----

TEST_F(AvCmdParse, GarbageIsDroppedUpToTheNextCommand) {
    const std::string garbage[] = {"x", "AVc", "A", "AVak", std::string(1, '\0'), "AAAVc", "cmAV", "mcVA"};
    for (const std::string &bytes : garbage) {
        calls().clear();
        const std::string all = bytes + command(0x1009) + bytes + command(0x100b);
        EXPECT_EQ(parse(all), static_cast<int32_t>(all.size())) << bytes;
        EXPECT_EQ(codes(), (Codes{0x1009, 0x100b})) << bytes;
    }
}

TEST_F(AvCmdParse, GarbageAloneIsConsumed) {
    EXPECT_EQ(parse(std::string(512, 'x')), 512);
    EXPECT_EQ(parse(std::string(512, 'A')), 511) << "the last may be the first letter of a command";
    EXPECT_EQ(parse(std::string(100, '\0')), 100);
}

TEST_F(AvCmdParse, WhatMayBecomeACommandStays) {
    for (const std::string end : {"A", "AV", "AVc", "AVcm", "AVcm\x09"}) {
        EXPECT_EQ(parse("garbage" + end), 7) << end;
    }
    EXPECT_TRUE(calls().empty());
}

TEST_F(AvCmdParse, AnAbsurdLengthIsNoCommand) {
    for (const uint32_t length : {AV_CMD_DATA_MAX + 1U, 0x7fffffffU, 0x80000000U, 0xfffffff4U, 0xffffffffU}) {
        calls().clear();
        const std::string bytes = header(0x1009, length) + command(0x100b);
        EXPECT_EQ(parse(bytes), static_cast<int32_t>(bytes.size())) << length;
        EXPECT_EQ(codes(), Codes{0x100b}) << length;
    }
}

TEST_F(AvCmdParse, ACommandInsideAWrongHeaderIsFound) {
    const std::string bytes = "AVcm" + command(0x1009) + std::string(12, 'x');
    EXPECT_EQ(parse(bytes), static_cast<int32_t>(bytes.size()));
    EXPECT_EQ(codes(), Codes{0x1009}) << "the outer one has the letters AVcm for its code";
}

/* Random bytes with pieces of commands among them, in pieces of random length. */
std::string random_stream(std::mt19937 *random) {
    std::string bytes;
    const auto up_to = [&](uint32_t most) { return static_cast<uint32_t>((*random)() % (most + 1)); };
    for (int piece = 0; piece < 20; ++piece) {
        switch (up_to(3)) {
        case 0:
            for (uint32_t count = up_to(40); count > 0; --count) {
                bytes.push_back(static_cast<char>(up_to(255)));
            }
            break;
        case 1:
            bytes += header(up_to(0x2000), up_to(5000));
            break;
        case 2:
            bytes += command(up_to(0x2000), std::string(up_to(90), 'A'));
            break;
        default:
            bytes += std::string("AVcm").substr(0, up_to(4));
        }
    }
    return bytes;
}

/* As the daemon reads: 512 bytes at most, and who fills them is sent away. The codes that ran. */
Codes feed(const std::string &bytes, std::mt19937 *random) {
    calls().clear();
    std::string buffer;
    size_t at = 0;
    while (at < bytes.size() && buffer.size() < 512) {
        const size_t count = std::min<size_t>(1 + (*random)() % 100, 512 - buffer.size());
        buffer += bytes.substr(at, count);
        at += count;
        const int32_t consumed = parse(buffer);
        EXPECT_GE(consumed, 0);
        EXPECT_LE(consumed, static_cast<int32_t>(buffer.size()));
        buffer.erase(0, static_cast<size_t>(consumed));
        EXPECT_EQ(parse(buffer), 0) << "what stays, stays";
    }
    return codes();
}

TEST_F(AvCmdParse, AnyBytesAreSurvivedAndMeanTheSameHoweverTheyAreCut) {
    const uint32_t seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 300; ++round) {
        const std::string bytes = random_stream(&random);
        const Codes once = feed(bytes, &random);
        ASSERT_EQ(feed(bytes, &random), once);
    }
}

// ---- acknowledgements ----

TEST(AvCmdAck, IsWrittenAsDocumented) {
    const Pair pair;
    EXPECT_EQ(send_av_cmd_ack(pair.daemon(), 0x1017, 0, "\x01\0\0\0", 4), 0);
    const unsigned char bytes[] = {0x41, 0x56, 0x61, 0x6b, 0x17, 0x10, 0, 0, 0, 0,
                                   0,    0,    4,    0,    0,    0,    1, 0, 0, 0};
    EXPECT_EQ(Pair::take(pair.client()), std::string(std::begin(bytes), std::end(bytes)));
}

TEST(AvCmdAck, CarriesResultsAndData) {
    const Pair pair;
    EXPECT_EQ(send_av_cmd_ack(pair.daemon(), 0x100a, -1, nullptr, 0), 0);
    EXPECT_EQ(send_av_cmd_ack(pair.daemon(), 0x101b, 7, std::string(28, 'e').data(), 28), 0);
    EXPECT_EQ(Pair::take(pair.client()),
              acknowledgement(0x100a, -1) + acknowledgement(0x101b, 7, std::string(28, 'e')));
}

TEST(AvCmdAck, LongDataGoesWholeOrNotAtAll) {
    const Pair pair;
    const std::string data(AV_CMD_DATA_MAX, 'd');
    EXPECT_EQ(send_av_cmd_ack(pair.daemon(), 2, 0, data.data(), AV_CMD_DATA_MAX), 0);
    EXPECT_EQ(Pair::take(pair.client()), acknowledgement(2, 0, data));
    const std::string more(AV_CMD_DATA_MAX + 1, 'd');
    EXPECT_EQ(send_av_cmd_ack(pair.daemon(), 2, 0, more.data(), AV_CMD_DATA_MAX + 1), -EMSGSIZE);
    EXPECT_EQ(send_av_cmd_ack(pair.daemon(), 2, 0, more.data(), UINT32_MAX), -EMSGSIZE);
    EXPECT_EQ(send_av_cmd_ack(pair.daemon(), 2, 0, nullptr, 4), -EINVAL);
    EXPECT_EQ(Pair::take(pair.client()), "");
}

TEST(AvCmdAck, ToAClientThatHasGoneFailsWithoutASignal) {
    ASSERT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_DFL) << "a signal would end this process";
    Pair pair;
    pair.close_client();
    EXPECT_EQ(send_av_cmd_ack(pair.daemon(), 0x100a, 0, nullptr, 0), -EPIPE);
    EXPECT_EQ(send_av_cmd_ack(pair.daemon(), 0x100a, 0, "data", 4), -EPIPE);
}

TEST(AvCmdAck, ToAClientThatLeftSomethingUnreadBehindFailsToo) {
    Pair pair;
    ASSERT_EQ(send_av_cmd_ack(pair.daemon(), 0x100a, 0, nullptr, 0), 0);
    pair.close_client(); // with the acknowledgement in it: the peer sees a reset
    EXPECT_EQ(send_av_cmd_ack(pair.daemon(), 0x100a, 0, nullptr, 0), -EPIPE);
}

TEST(AvCmdAck, ToWhatIsNoSocketFails) {
    EXPECT_EQ(send_av_cmd_ack(-1, 2, 0, nullptr, 0), -EBADF);
    const int fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(send_av_cmd_ack(fd, 2, 0, nullptr, 0), -ENOTSOCK);
    close(fd);
}

/* Acknowledges until one is not taken; how many were, and why the last was not. */
int fill(int fd, const std::string &data, int32_t *reason) {
    int count = 0;
    while ((*reason = send_av_cmd_ack(fd, 2, 0, data.data(), static_cast<uint32_t>(data.size()))) == 0) {
        ++count;
    }
    return count;
}

TEST(AvCmdAck, AFullSocketLosesWholeAcknowledgementsAndNeverBlocks) {
    const Pair pair;
    const std::string data(28, 'd');
    int32_t reason = 0;
    const int count = fill(pair.daemon(), data, &reason);
    EXPECT_EQ(reason, -EAGAIN);
    EXPECT_GT(count, 10);
    const std::string bytes = Pair::take(pair.client());
    EXPECT_EQ(bytes.size(), static_cast<size_t>(count) * acknowledgement(2, 0, data).size());
    EXPECT_EQ(send_av_cmd_ack(pair.daemon(), 2, 0, nullptr, 0), 0) << "and goes on when there is room again";
    EXPECT_EQ(Pair::take(pair.client()), acknowledgement(2, 0));
}

TEST(AvCmdAck, APartThatASmallSocketTakesIsTheEndOfTheConnection) {
    int parts = 0;
    for (size_t before = 0; before < 2000; before += 100) {
        const Pair pair;
        const int least = 1;
        setsockopt(pair.daemon(), SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
        const std::string first = acknowledgement(1, 0, std::string(before, 'f'));
        send_av_cmd_ack(pair.daemon(), 1, 0, std::string(before, 'f').data(), static_cast<uint32_t>(before));
        const std::string second = acknowledgement(2, 0, std::string(AV_CMD_DATA_MAX, 'd'));
        const int32_t result =
            send_av_cmd_ack(pair.daemon(), 2, 0, std::string(AV_CMD_DATA_MAX, 'd').data(), AV_CMD_DATA_MAX);
        bool ended = false;
        const std::string bytes = Pair::take(pair.client(), &ended);
        const bool whole = bytes == first || bytes == first + second;
        EXPECT_EQ(ended, !whole) << before;
        EXPECT_EQ(result == -EPIPE, !whole) << before;
        EXPECT_EQ(result == 0, bytes == first + second) << before;
        parts += whole ? 0 : 1;
    }
    EXPECT_GT(parts, 0) << "no socket was ever so full that it took a part: the test tests nothing";
}

} // namespace
