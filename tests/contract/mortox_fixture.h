/*
 * A real store and an ordinary handle on it.
 */
#ifndef TESTS_CONTRACT_MORTOX_FIXTURE_H
#define TESTS_CONTRACT_MORTOX_FIXTURE_H

#include "mortox_client.h"
#include "support/settings_store.h"

#include <csignal>
#include <gtest/gtest.h>
#include <string>
#include <sys/time.h>

namespace mortox_test {

/* While it lives, system calls of the main thread are interrupted every 300 us, and not begun again. */
class OftenInterrupted {
  public:
    OftenInterrupted() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, &before_);
        const itimerval often = {{0, 300}, {0, 300}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    ~OftenInterrupted() {
        const itimerval never = {};
        setitimer(ITIMER_REAL, &never, nullptr);
        sigaction(SIGALRM, &before_, nullptr);
    }
    OftenInterrupted(const OftenInterrupted &) = delete;
    OftenInterrupted &operator=(const OftenInterrupted &) = delete;

  private:
    struct sigaction before_ {};
};

class Mortox : public testing::Test {
  protected:
    Mortox() { store_.start(); }

    Answer ask(const char *name_space, const char *section, const char *key) {
        Answer answer;
        EXPECT_TRUE(
            libmortox_get_value(handle().get(), name_space, section, key, Answer::store, &answer, -1, 0));
        EXPECT_EQ(answer.calls, 1);
        return answer;
    }
    bool write(const char *name_space, const char *section, const char *key, const char *value,
               Answer *answer = nullptr, int32_t type = XDATA_TEXT) {
        return libmortox_set_value(handle().get(), name_space, section, key, type, value,
                                   answer == nullptr ? nullptr : Answer::store, answer, -1, 0);
    }
    /* Opened when it is first asked for. */
    const Handle &handle() {
        if (handle_ == nullptr) {
            handle_ = open_store();
        }
        return handle_;
    }
    std::string last_error() { return libmortox_last_error(handle().get()); }

    support::ScratchRunDir run_dir_;
    support::SettingsStore store_{run_dir_};
    Handle handle_;
};

} // namespace mortox_test

#endif
