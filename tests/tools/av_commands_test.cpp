// The table of AV commands: command lines into payloads, acknowledgements into text.

#include "strellctl/av_commands.h"

#include "strellctl/failure.h"

#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <vector>

namespace {

using Words = std::vector<std::string>;

ctl::AvRequest request(const Words &words) {
    return ctl::av_request(words);
}

std::string word(uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<char>(value >> shift & 0xff));
    }
    return bytes;
}

std::string reply(const Words &words, int32_t result, const std::string &data) {
    const ctl::AvRequest asked = request(words);
    av_cmd_ack_t ack{};
    ack.code = asked.code + 1;
    ack.result = result;
    ack.length = static_cast<uint32_t>(data.size());
    std::memcpy(ack.data, data.data(), data.size());
    return ctl::av_reply_text(asked, ack);
}

TEST(AvCommands, AreTheDocumentedOnes) {
    struct Row {
        const char *name;
        uint32_t code;
        bool acknowledged;
    };
    const Row rows[] = {{"md-sensitivity", 0x1001, true},
                        {"md-on", 0x1005, true},
                        {"md-off", 0x1007, true},
                        {"osd-on", 0x1009, true},
                        {"osd-off", 0x100b, true},
                        {"wdr-on", 0x100d, true},
                        {"wdr-off", 0x100f, true},
                        {"flip-on", 0x1011, true},
                        {"flip-off", 0x1013, true},
                        {"dnmode-get", 0x1016, true},
                        {"dnmode-set", 0x1018, true},
                        {"ev-get", 0x101a, true},
                        {"wb-get", 0x101e, true},
                        {"wb-set", 0x1020, true},
                        {"speaker-volume", 0x1022, false},
                        {"speaker-talking", 0x1023, false},
                        {"speaker-default", 0x1024, false},
                        {"bitrate", 0x1025, true},
                        {"ir-lamp", 0x1027, true},
                        {"motor-move", 0x1029, true},
                        {"track", 0x102b, true},
                        {"track-off", 0x102d, true}};
    EXPECT_EQ(ctl::av_commands().size(), std::size(rows));
    for (const Row &row : rows) {
        const ctl::AvCommand *command = ctl::find_av_command(std::string(row.name));
        ASSERT_NE(command, nullptr) << row.name;
        EXPECT_EQ(command->code, row.code) << row.name;
        EXPECT_EQ(command->reply != ctl::AvReply::none, row.acknowledged) << row.name;
        EXPECT_EQ(ctl::find_av_command(row.code), command) << row.name;
        EXPECT_NE(ctl::av_commands_help().find(std::string("\n  ") + row.name + " "), std::string::npos);
    }
    EXPECT_EQ(ctl::find_av_command(std::string("osd")), nullptr);
    EXPECT_EQ(ctl::find_av_command(uint32_t{0x1003}), nullptr);
}

TEST(AvCommands, CommandsWithoutValuesHaveNoPayload) {
    for (const ctl::AvCommand &command : ctl::av_commands()) {
        if (command.most_values == 0) {
            EXPECT_EQ(request({command.name}).payload, "") << command.name;
            EXPECT_THROW(request({command.name, "1"}), ctl::Usage) << command.name;
        } else {
            EXPECT_THROW(request({command.name}), ctl::Usage) << command.name;
            EXPECT_THROW(request(Words(command.most_values + 2, command.name)), ctl::Usage) << command.name;
        }
    }
}

TEST(AvCommands, NumbersBecomeWords) {
    EXPECT_EQ(request({"speaker-volume", "100"}).payload, word(100));
    EXPECT_EQ(request({"speaker-volume", "0x10"}).payload, word(16));
    EXPECT_EQ(request({"speaker-volume", "-1"}).payload, word(0xffffffff));
    EXPECT_EQ(request({"speaker-volume", "4294967295"}).payload, word(0xffffffff));
    EXPECT_EQ(request({"track", "1", "2", "3", "4"}).payload, word(1) + word(2) + word(3) + word(4));
    for (const char *bad : {"", "x", "1x", "0x", "0x-1", "--1", " 1", "4294967296", "-2147483649", "1.5",
                            "99999999999999999999", "loud"}) {
        EXPECT_THROW(request({"speaker-volume", bad}), ctl::Usage) << bad;
    }
}

TEST(AvCommands, NamesStandForNumbers) {
    EXPECT_EQ(request({"ir-lamp", "on"}).payload, word(1));
    EXPECT_EQ(request({"ir-lamp", "off"}).payload, word(0));
    EXPECT_EQ(request({"ir-lamp", "1"}).payload, word(1));
    EXPECT_EQ(request({"dnmode-set", "day"}).payload, word(0));
    EXPECT_EQ(request({"dnmode-set", "night"}).payload, word(1));
    EXPECT_THROW(request({"dnmode-set", "dusk"}), ctl::Usage);
}

TEST(AvCommands, WordsThatAreLeftOutHaveDefaults) {
    EXPECT_EQ(request({"bitrate", "1", "256000", "7", "20"}).payload,
              word(1) + word(256000) + word(7) + word(20) + word(1) + word(51) + word(0) + word(0));
    EXPECT_EQ(request({"wb-set", "1", "2048"}).payload, word(1) + word(2048) + std::string(24, '\0'));
    EXPECT_THROW(request({"bitrate", "1"}), ctl::Usage);
}

TEST(AvCommands, ASensitivityIsForAllRegionsOrForEach) {
    EXPECT_EQ(request({"md-sensitivity", "200"}).payload, std::string(32, '\xc8'));
    Words each = {"md-sensitivity"};
    std::string bytes;
    for (int region = 0; region < 32; ++region) {
        each.push_back(std::to_string(region * 8));
        bytes.push_back(static_cast<char>(region * 8));
    }
    EXPECT_EQ(request(each).payload, bytes);
    EXPECT_THROW(request({"md-sensitivity", "1", "2"}), ctl::Usage);
    EXPECT_THROW(request({"md-sensitivity", "256"}), ctl::Usage);
    EXPECT_THROW(request({"md-sensitivity", "-1"}), ctl::Usage);
}

TEST(AvCommands, ACodeCarriesAnyBytes) {
    const ctl::AvRequest plain = request({"0x2000"});
    EXPECT_EQ(plain.code, 0x2000U);
    EXPECT_EQ(plain.payload, "");
    EXPECT_FALSE(plain.is_acknowledged());
    EXPECT_EQ(request({"0xffffffff", "00fFa1"}).payload, std::string("\0\xff\xa1", 3));
    EXPECT_TRUE(request({"0x1009"}).is_acknowledged());
    EXPECT_FALSE(request({"0x1022", "00"}).is_acknowledged());
    EXPECT_EQ(request({"0x2000", std::string(1000, '7')}).payload.size(), 500U);
    for (const Words &bad : {Words{"0x"},
                             {"0x100000000"},
                             {"0xg"},
                             {"0x-1"},
                             {"0x2000", "1"},
                             {"0x2000", "xx"},
                             {"0x2000", "00", "11"},
                             {"0x2000", "+1"},
                             {"0x2000", std::string(1002, '7')}}) {
        EXPECT_THROW(request(bad), ctl::Usage) << bad[0] << bad.back();
    }
    EXPECT_THROW(request({"4105"}), ctl::Usage) << "not mistaken for a code";
}

TEST(AvCommands, RepliesAreReadable) {
    EXPECT_EQ(reply({"osd-on"}, 0, ""), "0x100a  result 0");
    EXPECT_EQ(reply({"osd-on"}, -22, ""), "0x100a  result -22");
    EXPECT_EQ(reply({"dnmode-get"}, 0, word(0)), "0x1017  result 0  day (0)");
    EXPECT_EQ(reply({"wb-get"}, 0, word(7) + word(4294967295)), "0x101f  result 0  7 4294967295");
    EXPECT_EQ(reply({"0x2000"}, 5, "\x01\xff"), "0x2001  result 5  01ff");
}

TEST(AvCommands, OddRepliesAreShownAsBytes) {
    EXPECT_EQ(reply({"dnmode-get"}, 0, word(2)), "0x1017  result 0  02000000");
    EXPECT_EQ(reply({"dnmode-get"}, 0, "\x01"), "0x1017  result 0  01");
    EXPECT_EQ(reply({"dnmode-get"}, 0, word(0) + word(1)), "0x1017  result 0  0000000001000000");
    EXPECT_EQ(reply({"dnmode-get"}, -1, ""), "0x1017  result -1");
    EXPECT_EQ(reply({"wb-get"}, 0, "abc"), "0x101f  result 0  616263");
    EXPECT_EQ(reply({"osd-on"}, 0, "a"), "0x100a  result 0  61");
}

} // namespace
