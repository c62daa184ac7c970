#include "image/ircut.h"

#include "image/infrared_lamp.h"
#include "libboardav.h"
#include "liboru_util.h"
#include "libvuto_util.h"
#include "settings/device_status.h"

#include <sys/prctl.h>
#include <unistd.h>

IrcutController ircut_controller;

namespace {

constexpr int32_t filter_in = 1;
constexpr int32_t filter_out = 0;
constexpr int32_t isp_day = 0;
constexpr int32_t isp_night = 1;
constexpr int32_t lamp_off = 0;
constexpr int32_t lamp_full = 100;

constexpr useconds_t before_night_us = 200000;
constexpr useconds_t after_switching_us = 200000;
constexpr useconds_t between_looks_us = 500000;
constexpr unsigned rest_s = 1;

/* Holds the controller's lock. */
class Hold {
  public:
    Hold() { pthread_mutex_lock(&ircut_controller.lock); }
    ~Hold() { pthread_mutex_unlock(&ircut_controller.lock); }
    Hold(const Hold &) = delete;
    Hold &operator=(const Hold &) = delete;
};

// ---- the worker ----

void begin_with_day() {
    const int32_t result = set_ircut_day_mode(lamp_off);
    if (result != 0) {
        log_err("%s():day mode set fail ret = %d\n", "ircut_main_pthread", result);
        return;
    }
    usleep(after_switching_us);
}

/* True when it is night now. */
bool look_for_night() {
    if (oru_api_reach_night(ircut_controller.ircut_mode, 0) == 0) {
        return false;
    }
    const int32_t result = set_ircut_night_mode(lamp_full);
    if (result != 0) {
        log_err(" %s():night mode set fail ret = %d\n", "ircut_main_pthread", result);
        return false;
    }
    log_info("%s(): set mode night!!!!", "ircut_main_pthread");
    usleep(after_switching_us);
    return true;
}

/* True when it is day now. */
bool look_for_day() {
    int32_t scratch = 0;
    if (oru_api_reach_day(ircut_controller.ircut_mode, &scratch, 0) == 0) {
        return false;
    }
    const int32_t result = set_ircut_day_mode(lamp_off);
    if (result != 0) {
        log_err(" %s():day mode set fail ret = %d\n", "ircut_main_pthread", result);
        return false;
    }
    log_info("%s(): set mode day!!!!", "ircut_main_pthread");
    usleep(after_switching_us);
    return true;
}

// ---- starting and ending it, under the lock ----

/* Result: pthread_create's. One that is positive passes for success, but there is no thread to join. */
int32_t start_worker() {
    ircut_controller.running = 1;
    pthread_t thread;
    const int result = pthread_create(&thread, nullptr, ircut_main_pthread, nullptr);
    if (result < 0) {
        ircut_controller.running = 0;
    } else if (result == 0) {
        ircut_controller.thread = thread;
        ircut_controller.joinable = true;
    }
    return result;
}

void stop_worker() {
    if (!ircut_controller.running) {
        return;
    }
    ircut_controller.running = 0;
    if (ircut_controller.joinable) {
        pthread_join(ircut_controller.thread, nullptr);
        ircut_controller.joinable = false;
    }
}

// ---- changing the mode, under the lock ----

int32_t switch_to_day() {
    log_info("[%s]switch to ircut mode day \n", "ircut_mode_switch");
    stop_worker();
    if (ircut_controller.ircut_mode == ircut_day) {
        return 0;
    }
    ircut_controller.ircut_mode = ircut_day;
    const int32_t result = set_ircut_day_mode(lamp_off);
    if (result != 0) {
        log_err("[%s %d] set night to day fail \n", "ircut_mode_switch", 310);
    }
    return result;
}

int32_t switch_to_night() {
    log_info("[%s]switch to ircut mode night\n", "ircut_mode_switch");
    stop_worker();
    if (ircut_controller.ircut_mode == ircut_night) {
        return 0;
    }
    ircut_controller.ircut_mode = ircut_night;
    const int32_t result = set_ircut_night_mode(lamp_full);
    if (result != 0) {
        log_err("[%s %d] set day to night fail \n", "ircut_mode_switch", 327);
    }
    return result;
}

int32_t switch_to_automatic() {
    log_info("[%s]switch to ircut mode auto\n", "ircut_mode_switch");
    if (ircut_controller.ircut_mode == ircut_automatic) {
        return 0;
    }
    ircut_controller.ircut_mode = ircut_automatic;
    if (ircut_controller.running) {
        return 0;
    }
    const int32_t result = start_worker();
    if (result < 0) {
        log_err("[%s] ircut task create fail\n", "ircut_mode_switch");
    }
    return result;
}

/* Applies the stored mode, at the start. Result: the sequence's, or -1 when the mode is none. */
int32_t ircut_process_mode_init() {
    if (ircut_controller.inited) {
        log_info("[%s] already inited\n", "ircut_process_mode_init");
        return 0;
    }
    switch (ircut_controller.ircut_mode) {
    case ircut_automatic:
    case ircut_day:
        return set_ircut_day_mode(lamp_off);
    case ircut_night:
        return set_ircut_night_mode(lamp_full);
    default:
        log_err("%s(): Unsupported mode\n", "ircut_process_mode_init");
        return -1;
    }
}

} // namespace

int32_t set_ircut_day_mode(int32_t duty) {
    log_info("%s():set_ircut_day_mode", "set_ircut_day_mode");
    int32_t result = set_infrared_pwm_duty(duty);
    result |= oru_api_ircut_switch(filter_in);
    result |= set_isp_dnmode(isp_day);
    if (result != 0) {
        log_err("[%s %d] set night to day fail \n", "set_ircut_day_mode", 126);
    }
    return result;
}

int32_t set_ircut_night_mode(int32_t duty) {
    log_info("%s():set_ircut_night_mode", "set_ircut_night_mode");
    usleep(before_night_us);
    int32_t result = oru_api_ircut_switch(filter_out);
    result |= set_infrared_pwm_duty(duty);
    result |= set_isp_dnmode(isp_night);
    if (result != 0) {
        log_err("[%s %d] set day to night fail \n", "set_ircut_night_mode", 141);
    }
    return result;
}

int32_t ircut_mode_switch(int32_t mode) {
    const Hold hold;
    if (!ircut_controller.inited) {
        log_info("[%s] ircut not inited, set variable: ircut_mode :%d \n", "ircut_mode_switch", mode);
        ircut_controller.ircut_mode = mode;
        return 0;
    }
    switch (mode) {
    case ircut_automatic:
        return switch_to_automatic();
    case ircut_day:
        return switch_to_day();
    case ircut_night:
        return switch_to_night();
    default:
        return 0;
    }
}

int32_t oru_ircut_init(void) {
    const Hold hold;
    if (ircut_process_mode_init() != 0) {
        log_err("%s(): init fail\n", "oru_ircut_init");
        return -1;
    }
    if (start_worker() < 0) {
        log_err("%s():ircut task create fail\n", "oru_ircut_init");
        return -1;
    }
    ircut_controller.inited = 1;
    return 0;
}

int32_t oru_ircut_exit(void) {
    log_info("oru_ircut_exit enter\n");
    const Hold hold;
    if (!ircut_controller.inited) {
        log_info("[%s] already exit\n", "oru_ircut_exit");
        return 0;
    }
    stop_worker();
    set_infrared_pwm_duty(lamp_off);
    ircut_controller.inited = 0;
    return 0;
}

void *ircut_main_pthread(void * /*argument*/) {
    bool night = false;
    prctl(PR_SET_NAME, "ankai_ircut_ctrl");
    begin_with_day();
    while (ircut_controller.running) {
        if (device_status.power != 1) {
            if (night) {
                set_ircut_day_mode(lamp_off);
                night = false;
            }
            sleep(rest_s);
            continue;
        }
        if (night) {
            night = !look_for_day();
        } else {
            night = look_for_night();
        }
        usleep(between_looks_us);
    }
    log_info("[%s %d] exit succ ", "ircut_main_pthread", 258);
    return nullptr;
}
