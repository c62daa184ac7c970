// The packets of the settings store: byte for byte as they are documented, and nothing else is taken for one.

#include "mortox/wire.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

namespace {

using Packet = std::vector<uint8_t>;

Packet encoded(const wire::Message &message) {
    Packet packet(wire::packet_max_bytes);
    packet.resize(wire::encode(message, packet.data()));
    return packet;
}

wire::Message set_flip() {
    wire::Message message{};
    message.type = wire::Type::set;
    message.value_type = wire::ValueType::text;
    message.request = 7;
    message.name_space = "nvram";
    message.section = "default";
    message.key = "flip";
    message.value = "on";
    return message;
}

const char *decoded(const Packet &packet, wire::Message *message) {
    return wire::decode(packet.data(), packet.size(), message);
}

/* The example of docs/formats/settings-store.md. */
TEST(Wire, SetAsDocumented) {
    const Packet documented = {
        0x4d, 0x58, 0x01, 0x03, 0x07, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x05, 0x07, 0x04, 0x02, 0x00, //
        'n',  'v',  'r',  'a',  'm',  0,    'd',  'e',  'f',  'a',  'u',  'l',  't',  0,                //
        'f',  'l',  'i',  'p',  0,    'o',  'n',  0};
    EXPECT_EQ(encoded(set_flip()), documented);
}

TEST(Wire, AnswerAsDocumented) {
    wire::Message answer{};
    answer.type = wire::Type::answer;
    answer.request = 7;
    const Packet documented = {0x4d, 0x58, 0x01, 0x10, 0x07, 0x00, 0x00, 0x00, 0x00, 0x00,
                               0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0,    0,    0,    0};
    EXPECT_EQ(encoded(answer), documented);
}

TEST(Wire, ChangeAsDocumented) {
    wire::Message change = set_flip();
    change.type = wire::Type::change;
    change.request = 0;
    const Packet packet = encoded(change);
    const Packet header(packet.begin(), packet.begin() + 16);
    EXPECT_EQ(header, (Packet{0x4d, 0x58, 0x01, 0x12, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x05, 0x07,
                              0x04, 0x02, 0x00}));
}

TEST(Wire, ComesBackAsItWas) {
    wire::Message sent = set_flip();
    sent.type = wire::Type::item;
    sent.status = wire::Status::storage;
    sent.flags = wire::persistent_flag;
    sent.request = 0x89abcdef;
    const Packet packet = encoded(sent);
    wire::Message got;
    ASSERT_EQ(decoded(packet, &got), nullptr);
    EXPECT_EQ(got.type, sent.type);
    EXPECT_EQ(got.status, sent.status);
    EXPECT_EQ(got.value_type, sent.value_type);
    EXPECT_EQ(got.flags, sent.flags);
    EXPECT_EQ(got.request, sent.request);
    EXPECT_STREQ(got.name_space, "nvram");
    EXPECT_STREQ(got.section, "default");
    EXPECT_STREQ(got.key, "flip");
    EXPECT_STREQ(got.value, "on");
}

TEST(Wire, LargestPacket) {
    const std::string name(wire::name_max_bytes, 'n');
    const std::string value(wire::value_max_bytes, 'v');
    wire::Message message = set_flip();
    message.name_space = message.section = message.key = name.c_str();
    message.value = value.c_str();
    const Packet packet = encoded(message);
    EXPECT_EQ(packet.size(), wire::packet_max_bytes);
    wire::Message got;
    ASSERT_EQ(decoded(packet, &got), nullptr);
    EXPECT_EQ(got.value, value);
}

TEST(Wire, DoesNotEncodeWhatIsOverALimit) {
    const std::string name(wire::name_max_bytes + 1, 'n');
    const std::string value(wire::value_max_bytes + 1, 'v');
    wire::Message message = set_flip();
    message.key = name.c_str();
    EXPECT_TRUE(encoded(message).empty());
    message = set_flip();
    message.value = value.c_str();
    EXPECT_TRUE(encoded(message).empty());
}

/* Each byte that matters, changed in a good packet. */
TEST(Wire, RefusesWhatIsNoPacket) {
    struct Case {
        size_t at;
        uint8_t byte;
        const char *why;
    };
    const Case cases[] = {{0, 0x4e, "not a packet of the settings store"},
                          {2, 2, "another version"},
                          {9, 2, "value of an unknown type"},
                          {11, 64, "longer than 63"},
                          {12, 255, "longer than 63"},
                          {13, 64, "longer than 63"},
                          {13, 5, "not the size"},
                          {15, 0x20, "longer than 8191"},
                          {16, 0, "does not end where"},
                          {21, 'x', "does not end where"},
                          {37, 'x', "does not end where"}};
    for (const Case &one : cases) {
        Packet packet = encoded(set_flip());
        packet.at(one.at) = one.byte;
        wire::Message message;
        const char *why = decoded(packet, &message);
        ASSERT_NE(why, nullptr) << "byte " << one.at;
        EXPECT_NE(std::string(why).find(one.why), std::string::npos) << why;
    }
}

TEST(Wire, RefusesEveryOtherLength) {
    const Packet good = encoded(set_flip());
    for (size_t bytes = 0; bytes < good.size() + 3; ++bytes) {
        Packet packet = good;
        packet.resize(bytes);
        packet.shrink_to_fit(); // so that a read beyond the end is one
        wire::Message message;
        EXPECT_EQ(decoded(packet, &message) == nullptr, bytes == good.size()) << bytes;
    }
}

TEST(Wire, TellsTheNumberOfABadRequest) {
    Packet packet = encoded(set_flip());
    packet.pop_back();
    wire::Message message;
    ASSERT_NE(decoded(packet, &message), nullptr);
    EXPECT_EQ(message.request, 7U);
    packet[0] = 0;
    ASSERT_NE(decoded(packet, &message), nullptr);
    EXPECT_EQ(message.request, 0U) << "what is no packet has no number";
}

TEST(Wire, ReadsNothingOutsideOfRandomPackets) {
    std::mt19937 random(20240901);
    const Packet good = encoded(set_flip());
    int taken = 0;
    for (int i = 0; i < 20000; ++i) {
        Packet packet = good;
        for (unsigned changes = random() % 4; changes > 0; --changes) {
            packet[random() % packet.size()] = static_cast<uint8_t>(random());
        }
        packet.resize(random() % 3 == 0 ? random() % 60 : packet.size());
        packet.shrink_to_fit();
        wire::Message message;
        if (decoded(packet, &message) == nullptr) {
            ++taken;
            EXPECT_EQ(packet.size(), 20 + strlen(message.name_space) + strlen(message.section) +
                                         strlen(message.key) + strlen(message.value));
        }
    }
    EXPECT_GT(taken, 100);
}

TEST(Wire, LimitsOfNames) {
    char error[200] = "";
    EXPECT_TRUE(wire::check_name("the key", "k", error, sizeof error));
    EXPECT_TRUE(wire::check_name("the key", std::string(63, '~').c_str(), error, sizeof error));
    EXPECT_FALSE(wire::check_name("the key", std::string(64, 'k').c_str(), error, sizeof error));
    EXPECT_STREQ(error, "the key is 64 bytes long: at most 63 are allowed");
    EXPECT_FALSE(wire::check_name("the key", "", error, sizeof error));
    EXPECT_STREQ(error, "the key is empty: give it 1 to 63 bytes");
    EXPECT_FALSE(wire::check_name("the key", nullptr, error, sizeof error));
    for (const char *bad : {"a b", "a\tb", "a\n", "\x7f", "\xc3\xa4"}) {
        EXPECT_FALSE(wire::check_name("the key", bad, error, sizeof error)) << bad;
    }
    EXPECT_STREQ(error, "the key has a byte 0xc3: only printable ASCII without blanks is allowed");
}

TEST(Wire, LimitsOfValues) {
    char error[200] = "";
    EXPECT_TRUE(wire::check_value("", error, sizeof error));
    EXPECT_TRUE(wire::check_value(std::string(8191, 'v').c_str(), error, sizeof error));
    EXPECT_FALSE(wire::check_value(std::string(8192, 'v').c_str(), error, sizeof error));
    EXPECT_STREQ(error, "the value is 8192 bytes long: at most 8191 are allowed");
    EXPECT_FALSE(wire::check_value(nullptr, error, sizeof error));
}

} // namespace
