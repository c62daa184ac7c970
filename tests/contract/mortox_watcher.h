/*
 * A handle on a loop that the test turns by hand, so that it decides what happens between two turns; and what
 * its watches were told, in order.
 */
#ifndef TESTS_CONTRACT_MORTOX_WATCHER_H
#define TESTS_CONTRACT_MORTOX_WATCHER_H

#include "libmortoxev.h"
#include "mortox_client.h"
#include "support/eventually.h"

#include <algorithm>
#include <ev.h>
#include <functional>
#include <list>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace mortox_test {

struct Told {
    int32_t type;
    std::string key; // "namespace section key"
    std::optional<std::string> value;
    bool operator==(const Told &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const Told &told) {
    return out << "{" << told.type << " " << told.key << " " << told.value.value_or("(none)").substr(0, 40)
               << "}";
}

inline Told notified(const std::string &key, const std::optional<std::string> &value) {
    return {XRESPONSE_NOTIFY, "nvram default " + key, value};
}

inline Told resynced(const std::string &key, const std::optional<std::string> &value) {
    return {XRESPONSE_RESYNC, "nvram default " + key, value};
}

class Watcher {
  public:
    Watcher() : loop_(ev_loop_new(EVFLAG_AUTO)), handle_(libmortoxev_config_open(loop_, 0)) {
        ev_timer_init(
            &tick_, [](struct ev_loop *, ev_timer *, int) {}, 0.002, 0.002);
    }
    ~Watcher() {
        close();
        ev_loop_destroy(loop_);
    }
    Watcher(const Watcher &) = delete;
    Watcher &operator=(const Watcher &) = delete;

    mortox_t *handle() { return handle_; }
    struct ev_loop *loop() {
        return loop_;
    }
    void close() {
        libmortoxev_close(loop_, handle_);
        handle_ = nullptr;
    }

    /* What runs in the callback, after it is noted. */
    using Action = std::function<void(const Told &told)>;

    bool watch(const std::string &key, Action action = {}, const std::string &name_space = "nvram",
               std::vector<Told> *told = nullptr) {
        watches_.push_back({told == nullptr ? &told_ : told, std::move(action)});
        return libmortox_register_notification(handle_, name_space.c_str(), "default", key.c_str(),
                                               &registration_, on_notification, &watches_.back(), -1, 0);
    }

    /* Turns the loop until the condition holds; false at the deadline. */
    bool turn_until(const std::function<bool()> &condition) {
        const auto end = std::chrono::steady_clock::now() + support::patience;
        ev_timer_again(loop_, &tick_);
        while (!condition() && std::chrono::steady_clock::now() < end) {
            ev_run(loop_, EVRUN_ONCE);
        }
        ev_timer_stop(loop_, &tick_);
        return condition();
    }
    bool turn_until_told(size_t count) {
        return turn_until([&] { return told_.size() >= count; });
    }

    /* Turns the loop until all that was sent before has been delivered: a watch of its own hears of a write
     * that comes after it. */
    void settle() {
        const std::string key = "settle" + std::to_string(++settled_);
        bool heard = false;
        std::vector<Told> ignored;
        ASSERT_TRUE(watch(
            key, [&](const Told &) { heard = true; }, "mem", &ignored));
        ASSERT_TRUE(set(handle_, key, "", "mem"));
        ASSERT_TRUE(turn_until([&] { return heard; }));
        watches_.back().told = &told_;
        watches_.back().action = {};
    }

    /* Turns the loop until a request gets through again. */
    bool reconnect() {
        return turn_until([&] {
            return libmortox_namespaces(
                handle_, [](const char *, bool, void *) {}, nullptr, -1);
        });
    }

    std::vector<Told> &told() { return told_; }
    int32_t registration() const { return registration_; }
    std::string last_error() const { return libmortox_last_error(handle_); }

  private:
    struct Watch {
        std::vector<Told> *told;
        Action action;
    };

    static void on_notification(xresponse_t *response, void *user) {
        auto *watch = static_cast<Watch *>(user);
        int32_t status = -1;
        auto *pair = static_cast<NotifyPair *>(xresponse_parse(response, &status));
        ASSERT_EQ(status, 0);
        ASSERT_NE(pair->value, nullptr);
        const std::optional<std::string> value = text_of(pair->value);
        EXPECT_EQ(pair->value->type, value ? XDATA_TEXT : XDATA_NONE);
        const Told told = {
            response->type,
            std::string(pair->key->name_space) + " " + pair->key->section + " " + pair->key->key, value};
        xpair_free(pair, 0);
        watch->told->push_back(told);
        if (watch->action) {
            const Action action = watch->action;
            action(told);
        }
    }

    struct ev_loop *loop_;
    mortox_t *handle_;
    ev_timer tick_;
    std::list<Watch> watches_; // their addresses stay
    std::vector<Told> told_;
    int32_t registration_ = -1;
    int settled_ = 0;
};

} // namespace mortox_test

#endif
