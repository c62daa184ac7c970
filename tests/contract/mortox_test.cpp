// libmortox against a real store: what the ordinary handle promises.

#include "libmortox.h"
#include "mortox_fixture.h"

#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <thread>

using namespace mortox_test;

namespace {

TEST_F(Mortox, AValueComesBack) {
    EXPECT_TRUE(set(handle(), "flip", "on"));
    const Answer answer = ask("nvram", "default", "flip");
    EXPECT_EQ(answer.type, XRESPONSE_DATA);
    EXPECT_EQ(answer.taken, 1);
    EXPECT_EQ(answer.value, "on");
}

TEST_F(Mortox, TheLastWriteCounts) {
    for (const char *value : {"on", "off", "", "on"}) {
        EXPECT_TRUE(set(handle(), "flip", value));
        EXPECT_EQ(get(handle(), "flip"), value);
    }
}

TEST_F(Mortox, AKeyThatWasNeverSetHasNoValue) {
    const Answer answer = ask("nvram", "default", "flip");
    EXPECT_EQ(answer.type, XRESPONSE_DATA);
    EXPECT_EQ(answer.taken, 0);
    EXPECT_EQ(answer.value, std::nullopt);
}

TEST_F(Mortox, AnEmptyValueIsAValue) {
    EXPECT_TRUE(set(handle(), "flip", ""));
    const Answer answer = ask("nvram", "default", "flip");
    EXPECT_EQ(answer.taken, 1);
    EXPECT_EQ(answer.value, "");
}

TEST_F(Mortox, NamespacesSectionsAndKeysAreApart) {
    EXPECT_TRUE(write("nvram", "one", "key", "1"));
    EXPECT_TRUE(write("nvram", "two", "key", "2"));
    EXPECT_TRUE(write("mem", "one", "key", "3"));
    EXPECT_TRUE(write("nvram", "one", "KEY", "4"));
    EXPECT_EQ(ask("nvram", "one", "key").value, "1");
    EXPECT_EQ(ask("nvram", "two", "key").value, "2");
    EXPECT_EQ(ask("mem", "one", "key").value, "3");
    EXPECT_EQ(ask("nvram", "one", "KEY").value, "4");
    EXPECT_EQ(ask("mem", "two", "key").value, std::nullopt);
}

TEST_F(Mortox, ValuesAreBytes) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    for (const char *name_space : {"nvram", "mem"}) {
        EXPECT_TRUE(set(handle(), "bytes", all, name_space));
        EXPECT_EQ(get(handle(), "bytes", name_space), all);
    }
}

TEST_F(Mortox, NamesAndValuesAtTheLimit) {
    const std::string name(63, 'n');
    const std::string value(8191, 'v');
    EXPECT_TRUE(write("nvram", name.c_str(), name.c_str(), value.c_str()));
    EXPECT_EQ(ask("nvram", name.c_str(), name.c_str()).value, value);
    EXPECT_TRUE(write("nvram", "!", "~", "shortest"));
    EXPECT_EQ(ask("nvram", "!", "~").value, "shortest");
}

TEST_F(Mortox, AValueOverTheLimitIsRefusedAndTheOldOneStays) {
    EXPECT_TRUE(set(handle(), "flip", "old"));
    Answer answer;
    EXPECT_FALSE(write("nvram", "default", "flip", std::string(8192, 'v').c_str(), &answer));
    EXPECT_EQ(answer.calls, 1);
    EXPECT_EQ(answer.type, XRESPONSE_ERROR);
    EXPECT_EQ(last_error(), "the value is 8192 bytes long: at most 8191 are allowed");
    EXPECT_EQ(get(handle(), "flip"), "old");
}

TEST_F(Mortox, NamesOverTheLimitsAreErrorResponses) {
    const std::string longer(64, 'n');
    for (const char *bad : {"", longer.c_str(), "with blank", "tab\t", "\xc3\xa4"}) {
        EXPECT_EQ(ask(bad, "default", "flip").type, XRESPONSE_ERROR) << bad;
        EXPECT_NE(last_error().find("the namespace "), std::string::npos) << last_error();
        EXPECT_EQ(ask("nvram", bad, "flip").type, XRESPONSE_ERROR) << bad;
        EXPECT_NE(last_error().find("the section "), std::string::npos) << last_error();
        const Answer answer = ask("nvram", "default", bad);
        EXPECT_EQ(answer.type, XRESPONSE_ERROR) << bad;
        EXPECT_EQ(answer.taken, -1);
        EXPECT_NE(last_error().find("the key "), std::string::npos) << last_error();
        EXPECT_FALSE(write("nvram", "default", bad, "v")) << bad;
        EXPECT_FALSE(libmortox_remove_value(handle().get(), "nvram", bad, "flip", -1)) << bad;
    }
    EXPECT_EQ(ask("nvram", "default", nullptr).type, XRESPONSE_ERROR);
}

TEST_F(Mortox, AnUnknownNamespaceIsAnErrorResponse) {
    const Answer answer = ask("flash", "default", "flip");
    EXPECT_EQ(answer.type, XRESPONSE_ERROR);
    EXPECT_EQ(answer.taken, -1);
    EXPECT_EQ(last_error(), "there is no namespace flash: this store has nvram, mem");
    EXPECT_FALSE(write("flash", "default", "flip", "on"));
    EXPECT_FALSE(libmortox_remove_value(handle().get(), "flash", "default", "flip", -1));
}

TEST_F(Mortox, WritesAnswerTheirCallbackOnce) {
    Answer answer;
    EXPECT_TRUE(write("nvram", "default", "flip", "on", &answer));
    EXPECT_EQ(answer.calls, 1);
    EXPECT_EQ(answer.type, XRESPONSE_DATA);
    EXPECT_EQ(answer.taken, 0) << "parses to no value";
    Answer refused;
    EXPECT_FALSE(write("flash", "default", "flip", "on", &refused));
    EXPECT_EQ(refused.calls, 1);
    EXPECT_EQ(refused.type, XRESPONSE_ERROR);
}

TEST_F(Mortox, OnlyTextCanBeWritten) {
    EXPECT_FALSE(write("nvram", "default", "flip", "on", nullptr, XDATA_NONE));
    EXPECT_FALSE(write("nvram", "default", "flip", "on", nullptr, 7));
    EXPECT_FALSE(write("nvram", "default", "flip", nullptr));
    EXPECT_EQ(get(handle(), "flip"), std::nullopt);
}

TEST_F(Mortox, TheCallbackRunsOnTheCallersThread) {
    struct Seen {
        std::thread::id thread;
    } seen;
    EXPECT_TRUE(libmortox_get_value(
        handle().get(), "nvram", "default", "flip",
        [](xresponse_t *, void *user) { static_cast<Seen *>(user)->thread = std::this_thread::get_id(); },
        &seen, -1, 0));
    EXPECT_EQ(seen.thread, std::this_thread::get_id());
}

TEST_F(Mortox, TheCallbackMayUseTheHandle) {
    struct Nested {
        mortox_t *handle;
        Answer inner;
        Answer outer;
    } nested{handle().get(), {}, {}};
    EXPECT_TRUE(set(handle(), "outer", "1"));
    EXPECT_TRUE(set(handle(), "inner", "2"));
    EXPECT_TRUE(libmortox_get_value(
        nested.handle, "nvram", "default", "outer",
        [](xresponse_t *response, void *user) {
            auto *both = static_cast<Nested *>(user);
            EXPECT_TRUE(libmortox_get_value(both->handle, "nvram", "default", "inner", Answer::store,
                                            &both->inner, -1, 0));
            Answer::store(response, &both->outer);
        },
        &nested, -1, 0));
    EXPECT_EQ(nested.inner.value, "2");
    EXPECT_EQ(nested.outer.value, "1");
}

TEST_F(Mortox, WhatAResponseParsesTo) {
    EXPECT_TRUE(set(handle(), "flip", "on"));
    const mortox_callback_t parse = [](xresponse_t *response, void *user) {
        int32_t status = 99;
        auto *data = static_cast<xdata_t *>(xresponse_parse(response, &status));
        EXPECT_EQ(status, 0);
        *static_cast<std::optional<std::string> *>(user) = text_of(data);
        xdata_free(data);
    };
    std::optional<std::string> parsed;
    EXPECT_TRUE(libmortox_get_value(handle().get(), "nvram", "default", "flip", parse, &parsed, -1, 0));
    EXPECT_EQ(parsed, "on");
    EXPECT_TRUE(libmortox_get_value(handle().get(), "nvram", "default", "none", parse, &parsed, -1, 0));
    EXPECT_EQ(parsed, std::nullopt);
    EXPECT_TRUE(libmortox_get_value(
        handle().get(), "flash", "default", "flip",
        [](xresponse_t *response, void *) {
            int32_t status = 99;
            EXPECT_EQ(xresponse_parse(response, &status), nullptr);
            EXPECT_LT(status, 0);
        },
        nullptr, -1, 0));
}

TEST(MortoxAccessors, TakeNull) {
    int32_t status = 99;
    xdata_t *data = nullptr;
    EXPECT_EQ(xresponse_parse(nullptr, &status), nullptr);
    EXPECT_LT(status, 0);
    EXPECT_EQ(xcontrol_get_response(nullptr, &data), -1);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(xdata_value_as_char(nullptr), nullptr);
    xdata_free(nullptr);
    xpair_free(nullptr, 0);
    libmortox_close(nullptr);
    EXPECT_STRNE(libmortox_last_error(nullptr), "");
    EXPECT_FALSE(libmortox_register_notification(nullptr, "nvram", "default", "flip", nullptr, Answer::store,
                                                 nullptr, -1, 0));
    EXPECT_FALSE(libmortox_remove_value(nullptr, "nvram", "default", "flip", -1));
}

TEST_F(Mortox, AnOrdinaryHandleTakesNoRegistrations) {
    int32_t registration = -1;
    EXPECT_FALSE(libmortox_register_notification(handle().get(), "nvram", "default", "flip", &registration,
                                                 Answer::store, nullptr, -1, 0));
    EXPECT_EQ(registration, -1);
    EXPECT_EQ(last_error(), "this handle delivers no notifications: use libmortoxev_config_open");
}

TEST_F(Mortox, RemovesAValue) {
    EXPECT_TRUE(set(handle(), "flip", "on"));
    EXPECT_TRUE(libmortox_remove_value(handle().get(), "nvram", "default", "flip", -1));
    EXPECT_EQ(get(handle(), "flip"), std::nullopt);
    EXPECT_TRUE(libmortox_remove_value(handle().get(), "nvram", "default", "flip", -1))
        << "nothing to remove";
}

using Listed = std::vector<std::string>;

void add_pair(const NotifyPair *pair, void *user) {
    static_cast<Listed *>(user)->push_back(std::string(pair->key->name_space) + " " + pair->key->section +
                                           " " + pair->key->key + "=" +
                                           text_of(pair->value).value_or("(none)"));
}

TEST_F(Mortox, ListsSortedBySectionAndKey) {
    for (const char *section : {"b", "a", "B"}) {
        for (const char *key : {"2", "10", "1"}) {
            EXPECT_TRUE(write("nvram", section, key, section));
        }
    }
    EXPECT_TRUE(write("mem", "a", "elsewhere", ""));
    Listed all;
    EXPECT_TRUE(libmortox_list(handle().get(), "nvram", nullptr, add_pair, &all, -1));
    EXPECT_EQ(all, (Listed{"nvram B 1=B", "nvram B 10=B", "nvram B 2=B", "nvram a 1=a", "nvram a 10=a",
                           "nvram a 2=a", "nvram b 1=b", "nvram b 10=b", "nvram b 2=b"}));
    Listed one;
    EXPECT_TRUE(libmortox_list(handle().get(), "nvram", "a", add_pair, &one, -1));
    EXPECT_EQ(one, (Listed{"nvram a 1=a", "nvram a 10=a", "nvram a 2=a"}));
    Listed none;
    EXPECT_TRUE(libmortox_list(handle().get(), "nvram", "c", add_pair, &none, -1));
    EXPECT_TRUE(none.empty());
}

TEST_F(Mortox, ListsAreCompleteHoweverLong) {
    for (const size_t count : {15U, 16U, 17U, 300U}) {
        for (size_t i = 0; i < count; ++i) {
            EXPECT_TRUE(set(handle(), "key" + std::to_string(i), std::string(8000, 'v'), "mem"));
        }
        Listed all;
        EXPECT_TRUE(libmortox_list(handle().get(), "mem", nullptr, add_pair, &all, -1));
        EXPECT_EQ(all.size(), count);
    }
}

TEST_F(Mortox, AListFailsWithAReason) {
    Listed all;
    EXPECT_FALSE(libmortox_list(handle().get(), "flash", nullptr, add_pair, &all, -1));
    EXPECT_EQ(last_error(), "there is no namespace flash: this store has nvram, mem");
    EXPECT_FALSE(libmortox_list(handle().get(), "nvram", "a b", add_pair, &all, -1));
    EXPECT_TRUE(all.empty());
}

TEST_F(Mortox, AVisitMakesNoRequests) {
    EXPECT_TRUE(set(handle(), "flip", "on"));
    struct Visit {
        mortox_t *handle;
        int visits;
    } visit{handle().get(), 0};
    EXPECT_TRUE(libmortox_list(
        handle().get(), "nvram", nullptr,
        [](const NotifyPair *, void *user) {
            auto *seen = static_cast<Visit *>(user);
            ++seen->visits;
            EXPECT_FALSE(set(seen->handle, "flip", "off"));
            EXPECT_STREQ(libmortox_last_error(seen->handle),
                         "this handle is in use: a visit must not make requests on it");
        },
        &visit, -1));
    EXPECT_EQ(visit.visits, 1);
    EXPECT_EQ(get(handle(), "flip"), "on");
}

TEST_F(Mortox, TheTimeOfAVisitIsNotTheStores) {
    for (int i = 0; i < 40; ++i) {
        EXPECT_TRUE(set(handle(), "key" + std::to_string(i), std::string(8000, 'v'), "mem"));
    }
    int visits = 0;
    EXPECT_TRUE(libmortox_list(
        handle().get(), "mem", nullptr,
        [](const NotifyPair *, void *user) {
            ++*static_cast<int *>(user);
            std::this_thread::sleep_for(
                std::chrono::milliseconds(60)); // 40 of them are more than the timeout
        },
        &visits, 2000));
    EXPECT_EQ(visits, 40);
}

TEST_F(Mortox, TellsTheNamespaces) {
    Listed all;
    EXPECT_TRUE(libmortox_namespaces(
        handle().get(),
        [](const char *name_space, bool persistent, void *user) {
            static_cast<Listed *>(user)->push_back(std::string(name_space) + (persistent ? "+" : "-"));
        },
        &all, -1));
    EXPECT_EQ(all, (Listed{"nvram+", "mem-"}));
}

TEST_F(Mortox, HandlesAreIndependent) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            const Handle own = open_store();
            for (int i = 0; i < 100; ++i) {
                const std::string key = "key" + std::to_string(t);
                EXPECT_TRUE(set(own, key, std::to_string(i), "mem"));
                EXPECT_EQ(get(own, key, "mem"), std::to_string(i));
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

TEST_F(Mortox, SignalsDoNotDisturb) {
    const OftenInterrupted interrupted;
    for (int i = 0; i < 300; ++i) {
        const Handle another = open_store();
        ASSERT_NE(another, nullptr);
        EXPECT_TRUE(set(another, "flip", std::to_string(i), "mem"));
        EXPECT_EQ(get(another, "flip", "mem"), std::to_string(i));
    }
}

TEST_F(Mortox, DescriptorsEndWithExec) {
    std::set<std::string> before;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        before.insert(entry.path().filename());
    }
    const Handle another = open_store();
    int opened = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int fd = std::stoi(entry.path().filename());
        const int flags = fcntl(fd, F_GETFD);
        if (!before.contains(entry.path().filename()) && flags >= 0) {
            ++opened;
            EXPECT_NE(flags & FD_CLOEXEC, 0) << fd;
        }
    }
    EXPECT_GE(opened, 1);
}

} // namespace
