#include "strellctl/scene_text.h"

#include "strellctl/wording.h"

namespace ctl {

namespace {

std::string lux_text(uint32_t mlux) {
    return format("%g lux", mlux / 1000.0);
}

std::string light_text(const board::SceneStateRecord &state) {
    const board::SceneLightRecord &light = state.light;
    const double seconds = light.period_ms / 1000.0;
    std::string text = lux_text(state.ambient_mlux);
    if (light.mode == board::scene_ramp && state.ambient_mlux != light.high_mlux) {
        text += format(", to %s within %g s", lux_text(light.high_mlux).c_str(), seconds);
    } else if (light.mode == board::scene_cycle) {
        text += format(", from %s to %s and back in %g s", lux_text(light.high_mlux).c_str(),
                       lux_text(light.low_mlux).c_str(), seconds);
    }
    return text + (state.noise_percent > 0 ? format(", flickers by %u %%", state.noise_percent) : "");
}

std::string sensor_text(const board::LightSeenRecord &seen) {
    return "sees " + lux_text(seen.seen_mlux) +
           (seen.filter != 0 ? ", filter in front" : ", filter out of the way") +
           (seen.lamp > 0 ? format(", lamp %g %%", seen.lamp * 100.0 / board::light_brightness_max)
                          : ", lamp off") +
           format(", gain %.1f", seen.gain_milli / 1000.0);
}

std::string object_text(const board::SceneStateRecord &state) {
    const board::SceneObjectRecord &object = state.object;
    if (object.on == 0) {
        return "off";
    }
    std::string text = format("at pan %.1f, tilt %.1f, %g degrees high, ", state.object_pan / 100.0,
                              object.tilt / 100.0, object.size / 100.0);
    if (object.path == board::path_swing) {
        text += format("from pan %g %g degrees on and back", object.pan / 100.0, object.span / 100.0);
    } else {
        text += "round the camera";
    }
    return text + format(", %g degrees a second", object.speed / 100.0);
}

} // namespace

std::string scene_text(const board::SceneStateRecord &state) {
    return "light   " + light_text(state) + "\nsensor  " + sensor_text(state.seen) +
           format("\nview    pan %g, tilt %g", state.view.pan / 100.0, state.view.tilt / 100.0) +
           "\nobject  " + object_text(state) + "\n";
}

} // namespace ctl
