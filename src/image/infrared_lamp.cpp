#include "image/infrared_lamp.h"

#include "image/ircut.h"
#include "liboru_util.h"
#include "libvuto_util.h"

namespace {

constexpr int32_t lamp_channel = 1;

struct LampStep {
    int32_t duty;       // percent
    int32_t brightness; // of 10000; not set for duty 0
    int32_t next_duty;
};

// 30 percent is a third of the lamp's light, on purpose.
constexpr LampStep lamp_steps[] = {
    {0, 0, 30}, {30, 3333, 50}, {50, 5000, 75}, {75, 7500, 100}, {100, 10000, 100},
};

const LampStep *find(int32_t duty) {
    for (const LampStep &step : lamp_steps) {
        if (step.duty == duty) {
            return &step;
        }
    }
    return nullptr;
}

} // namespace

int32_t set_infrared_pwm_duty(int32_t duty) {
    const LampStep *step = find(duty);
    if (step == nullptr) {
        log_err("%s set infrared pwm duty: %d error", "set_infrared_pwm_duty", duty);
        return -1;
    }
    if (duty == 0) {
        return oru_api_light_disable(lamp_channel);
    }
    int32_t result = oru_api_light_brightness_set(lamp_channel, step->brightness);
    result |= oru_api_light_enable(lamp_channel);
    return result;
}

int32_t step_infrared_pwm_duty(void) {
    const LampStep *step = find(ircut_controller.lamp_step);
    if (step != nullptr) {
        if (step->next_duty == step->duty) {
            return 0;
        }
        ircut_controller.lamp_step = step->next_duty;
    }
    return set_infrared_pwm_duty(ircut_controller.lamp_step);
}
