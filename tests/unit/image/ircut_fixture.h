/*
 * The fixture of tests about day and night: the two sequences as the journal has them, a worker that runs as
 * far as the controller knows, and an eye on the lock.
 */
#ifndef TESTS_UNIT_IRCUT_FIXTURE_H
#define TESTS_UNIT_IRCUT_FIXTURE_H

#include "image/ircut.h"
#include "script/daemon_test.h"

#include <cerrno>
#include <memory>

/* A step of a sequence that can fail. */
struct FailingStep {
    const char *name;
    const char *call;
};

class Ircut : public DaemonTest {
  protected:
    static Entries day_steps() {
        return {"info: set_ircut_day_mode():set_ircut_day_mode", "oru_api_light_disable(1)",
                "oru_api_ircut_switch(1)", "set_isp_dnmode(0)"};
    }
    static Entries night_steps() {
        return {"info: set_ircut_night_mode():set_ircut_night_mode",
                "usleep(200000)",
                "oru_api_ircut_switch(0)",
                "oru_api_light_brightness_set(1, 10000)",
                "oru_api_light_enable(1)",
                "set_isp_dnmode(1)"};
    }
    static constexpr char day_failed[] = "err: [set_ircut_day_mode 126] set night to day fail \n";
    static constexpr char night_failed[] = "err: [set_ircut_night_mode 141] set day to night fail \n";

    /* As if the thread 42 ran. */
    static void pretend_worker(bool running) {
        ircut_controller.running = running ? 1 : 0;
        ircut_controller.joinable = running;
        ircut_controller.thread = 42;
    }

    static bool lock_is_held() {
        if (pthread_mutex_trylock(&ircut_controller.lock) == EBUSY) {
            return true;
        }
        pthread_mutex_unlock(&ircut_controller.lock);
        return false;
    }

    /* From now on notes at every entry of the journal whether the lock is held. */
    std::shared_ptr<std::vector<bool>> watch_lock() {
        constexpr size_t entries = 20;
        auto held = std::make_shared<std::vector<bool>>();
        for (size_t nth = 1; nth <= entries; ++nth) {
            script.when(
                "", [held] { held->push_back(lock_is_held()); }, nth);
        }
        return held;
    }
};

inline constexpr FailingStep day_calls[] = {
    {"Lamp", "oru_api_light_disable"}, {"Filter", "oru_api_ircut_switch"}, {"Picture", "set_isp_dnmode"}};
inline constexpr FailingStep night_calls[] = {{"Filter", "oru_api_ircut_switch"},
                                              {"Brightness", "oru_api_light_brightness_set"},
                                              {"Lamp", "oru_api_light_enable"},
                                              {"Picture", "set_isp_dnmode"}};

#endif
