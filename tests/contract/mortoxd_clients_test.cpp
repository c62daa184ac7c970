// mortoxd and clients that misbehave: none of them may hold up or harm the others.

#include "mortox_watcher.h"
#include "support/settings_store.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

using namespace mortox_test;
using support::ScratchRunDir;
using support::SettingsStore;

namespace {

class MortoxdClients : public testing::Test {
  protected:
    MortoxdClients() { store_.start(); }

    std::string packet(const wire::Message &message) {
        std::string bytes(wire::packet_max_bytes, '\0');
        bytes.resize(wire::encode(message, reinterpret_cast<uint8_t *>(bytes.data())));
        return bytes;
    }

    void expect_served() {
        const Handle handle = open_store();
        ASSERT_NE(handle, nullptr) << store_.process().output();
        EXPECT_TRUE(set(handle, "served", "yes", "mem"));
        EXPECT_EQ(get(handle, "served", "mem"), "yes");
    }

    ScratchRunDir run_dir_;
    SettingsStore store_{run_dir_};
};

TEST_F(MortoxdClients, NonsenseIsAnsweredAndEndsTheConnection) {
    const std::string good = packet(request(wire::Type::get, "nvram", "default", "flip", 9));
    std::string other_version = good;
    other_version[2] = 2;
    struct Case {
        std::string bytes;
        uint32_t number;
        const char *why;
    };
    const Case cases[] = {
        {"x", 0, "shorter than its header"},   {std::string(100, 'x'), 0, "not a packet"},
        {other_version, 9, "another version"}, {good.substr(0, good.size() - 1), 9, "not the size"},
        {good + "x", 9, "not the size"},       {good + std::string(60000, 'x'), 9, "not the size"}};
    for (const Case &one : cases) {
        RawClient client(store_.socket());
        ASSERT_TRUE(client.send_bytes(one.bytes.data(), one.bytes.size()));
        const wire::Message *answer = client.receive();
        ASSERT_NE(answer, nullptr);
        EXPECT_EQ(answer->type, wire::Type::answer);
        EXPECT_EQ(answer->status, wire::Status::bad_request);
        EXPECT_EQ(answer->request, one.number);
        EXPECT_NE(std::string(answer->value).find(one.why), std::string::npos) << answer->value;
        EXPECT_EQ(client.receive(), nullptr);
    }
    EXPECT_TRUE(store_.process().saw("process " + std::to_string(getpid()) + " sent what is no request: "));
    expect_served();
}

TEST_F(MortoxdClients, WhatIsNoRequestIsRefusedAndTheConnectionStays) {
    RawClient client(store_.socket());
    for (const int type : {0, 8, 15, 16, 17, 18, 255}) {
        ASSERT_TRUE(client.send_message(request(static_cast<wire::Type>(type), "nvram", "default", "flip")));
        const wire::Message *answer = client.receive();
        ASSERT_NE(answer, nullptr);
        EXPECT_EQ(answer->status, wire::Status::bad_request);
        EXPECT_NE(std::string(answer->value).find("there is no request " + std::to_string(type)),
                  std::string::npos)
            << answer->value;
    }
    ASSERT_TRUE(client.send_message(request(wire::Type::hello, "", "", "", 5)));
    EXPECT_EQ(client.receive()->status, wire::Status::ok);
}

TEST_F(MortoxdClients, TheServerChecksNamesItself) {
    RawClient client(store_.socket());
    const wire::Type types[] = {wire::Type::get, wire::Type::set, wire::Type::remove, wire::Type::watch};
    for (const wire::Type type : types) {
        for (const auto &[section, key] : {std::pair("", "flip"), std::pair("default", ""),
                                           std::pair("a b", "flip"), std::pair("default", "\x7f")}) {
            wire::Message message = request(type, "mem", section, key);
            message.value_type = wire::ValueType::text;
            ASSERT_TRUE(client.send_message(message));
            EXPECT_EQ(client.receive()->status, wire::Status::bad_request);
        }
        ASSERT_TRUE(client.send_message(request(type, "flash", "default", "flip")));
        EXPECT_EQ(client.receive()->status, wire::Status::no_namespace);
    }
    ASSERT_TRUE(client.send_message(request(wire::Type::set, "mem", "default", "flip")));
    EXPECT_EQ(client.receive()->status, wire::Status::bad_request) << "a set without a value";
    ASSERT_TRUE(client.send_message(request(wire::Type::list, "mem", "", "")));
    EXPECT_EQ(client.receive()->type, wire::Type::answer) << "nothing was stored";
}

TEST_F(MortoxdClients, RandomBytesDoNoHarm) {
    std::mt19937 random(20240902);
    const std::string name(63, 'n');
    auto client = std::make_unique<RawClient>(store_.socket());
    for (int i = 0; i < 3000; ++i) {
        wire::Message message = request(static_cast<wire::Type>(random() % 9), random() % 2 ? "mem" : "nvram",
                                        random() % 2 ? "default" : name.c_str(), random() % 2 ? "flip" : "");
        message.value_type = wire::ValueType::text;
        message.value = "on";
        std::string bytes = packet(message);
        for (unsigned changes = random() % 4; changes > 0; --changes) {
            bytes[random() % bytes.size()] = static_cast<char>(random());
        }
        bytes.resize(random() % 4 == 0 ? random() % 20000 : bytes.size());
        const bool sent = client->send_bytes(bytes.data(), bytes.size());
        if (!sent || random() % 8 == 0) { // also without reading the answer
            client = std::make_unique<RawClient>(store_.socket());
        } else {
            char answer[wire::packet_max_bytes];
            recv(client->fd(), answer, sizeof answer, MSG_DONTWAIT);
        }
    }
    expect_served();
    EXPECT_EQ(store_.end(), 0);
}

TEST_F(MortoxdClients, AnEmptyPacketIsAnEnd) {
    RawClient client(store_.socket());
    ASSERT_TRUE(client.send_bytes("", 0));
    EXPECT_EQ(client.receive(), nullptr);
    expect_served();
}

TEST_F(MortoxdClients, AWatcherThatDoesNotReadIsCutOffAndNobodyElseNotices) {
    RawClient sleeper(store_.socket());
    ASSERT_TRUE(sleeper.send_message(request(wire::Type::watch, "mem", "default", "counter")));
    ASSERT_EQ(sleeper.receive()->status, wire::Status::ok);
    Watcher reader;
    ASSERT_TRUE(reader.watch("counter", {}, "mem"));
    const Handle writer = open_store();
    const std::string padding(8000, 'v');
    constexpr size_t writes = 400; // 3 MB, where 1 MB and a socket's buffer may wait
    for (size_t i = 1; i <= writes; ++i) {
        ASSERT_TRUE(set(writer, "counter", padding + std::to_string(i), "mem"));
        ASSERT_TRUE(reader.turn_until_told(i));
        EXPECT_EQ(reader.told().back().value, padding + std::to_string(i));
        EXPECT_EQ(reader.told().back().type, XRESPONSE_NOTIFY);
    }
    EXPECT_TRUE(store_.process().saw("process " + std::to_string(getpid()) +
                                     " does not read its notifications: disconnected"));
    size_t heard = 0;
    while (const wire::Message *change = sleeper.receive()) {
        EXPECT_EQ(change->value, padding + std::to_string(++heard))
            << "what was sent is complete up to the end";
    }
    EXPECT_GT(heard, 0U);
    EXPECT_LT(heard, writes);
}

TEST_F(MortoxdClients, AClientThatDoesNotReadItsAnswersWaitsForItself) {
    const Handle writer = open_store();
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(set(writer, "key" + std::to_string(i), std::string(8000, 'v'), "mem"));
    }
    RawClient lazy(store_.socket());
    constexpr uint32_t lists = 50; // 40 MB of answers
    for (uint32_t number = 1; number <= lists; ++number) {
        ASSERT_TRUE(lazy.send_message(request(wire::Type::list, "mem", "", "", number)));
    }
    expect_served();
    for (uint32_t number = 1; number <= lists; ++number) {
        size_t items = 0;
        const wire::Message *message = lazy.receive();
        for (; message != nullptr && message->type == wire::Type::item; message = lazy.receive()) {
            EXPECT_EQ(message->request, number);
            ++items;
        }
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(message->type, wire::Type::answer);
        EXPECT_GE(items, 100U);
    }
}

TEST_F(MortoxdClients, ChangesComeBetweenTheItemsOfAList) {
    const Handle writer = open_store();
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(set(writer, "key" + std::to_string(i), std::string(8000, 'v'), "mem"));
    }
    RawClient client(store_.socket());
    ASSERT_TRUE(client.send_message(request(wire::Type::watch, "mem", "other", "flip", 1)));
    ASSERT_EQ(client.receive()->status, wire::Status::ok);
    ASSERT_TRUE(client.send_message(request(wire::Type::list, "mem", "default", "", 2)));
    EXPECT_TRUE(
        libmortox_set_value(writer.get(), "mem", "other", "flip", XDATA_TEXT, "on", nullptr, nullptr, -1, 0));
    size_t items = 0;
    size_t changes = 0;
    const wire::Message *message = client.receive();
    for (; message != nullptr && message->type != wire::Type::answer; message = client.receive()) {
        changes += message->type == wire::Type::change ? 1U : 0U;
        items += message->type == wire::Type::item ? 1U : 0U;
    }
    EXPECT_EQ(items, 200U);
    EXPECT_EQ(changes, 1U) << "the list is longer than what a socket holds, so it is not out yet";
}

TEST_F(MortoxdClients, LeavingInTheMiddleOfAListIsFine) {
    const Handle writer = open_store();
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(set(writer, "key" + std::to_string(i), std::string(8000, 'v'), "mem"));
    }
    for (int i = 0; i < 20; ++i) {
        RawClient client(store_.socket());
        ASSERT_TRUE(client.send_message(request(wire::Type::list, "mem", "", "", 1)));
        client.receive();
    }
    expect_served();
}

TEST_F(MortoxdClients, TheNumberOfWatchesIsLimited) {
    RawClient client(store_.socket());
    for (int i = 0; i < 1024; ++i) {
        ASSERT_TRUE(
            client.send_message(request(wire::Type::watch, "mem", "default", std::to_string(i).c_str())));
        ASSERT_EQ(client.receive()->status, wire::Status::ok);
    }
    ASSERT_TRUE(client.send_message(request(wire::Type::watch, "mem", "default", "one_more")));
    const wire::Message *answer = client.receive();
    EXPECT_EQ(answer->status, wire::Status::bad_request);
    EXPECT_STREQ(answer->value, "a connection can watch no more than 1024 keys");
    ASSERT_TRUE(client.send_message(request(wire::Type::watch, "mem", "default", "7")));
    EXPECT_EQ(client.receive()->status, wire::Status::ok) << "one that it has already";
}

TEST_F(MortoxdClients, AWatchIsAnsweredWithTheValueOfTheMoment) {
    EXPECT_TRUE(set(open_store(), "flip", "on"));
    RawClient client(store_.socket());
    ASSERT_TRUE(client.send_message(request(wire::Type::watch, "nvram", "default", "flip")));
    EXPECT_STREQ(client.receive()->value, "on");
}

TEST_F(MortoxdClients, AChangeIsAnnouncedBeforeItIsConfirmed) {
    RawClient client(store_.socket());
    ASSERT_TRUE(client.send_message(request(wire::Type::watch, "mem", "default", "flip", 1)));
    ASSERT_EQ(client.receive()->status, wire::Status::ok);
    wire::Message message = request(wire::Type::set, "mem", "default", "flip", 2);
    message.value_type = wire::ValueType::text;
    message.value = "on";
    ASSERT_TRUE(client.send_message(message));
    const wire::Message *first = client.receive();
    EXPECT_EQ(first->type, wire::Type::change);
    EXPECT_EQ(first->request, 0U);
    EXPECT_EQ(client.receive()->request, 2U);
}

} // namespace
