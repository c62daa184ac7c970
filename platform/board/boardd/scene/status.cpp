#include "board/boardd/scene/status.h"

#include <initializer_list>
#include <utility>

namespace board {

namespace {

using Member = std::pair<const char *, json_object *>;

json_object *object_of(std::initializer_list<Member> members) {
    json_object *object = json_object_new_object();
    for (const auto &[name, value] : members) {
        json_object_object_add(object, name, value);
    }
    return object;
}

json_object *number(int64_t value) {
    return json_object_new_int64(value);
}

json_object *flag(bool value) {
    return json_object_new_boolean(value ? 1 : 0);
}

const char *mode_name(uint32_t mode) {
    switch (mode) {
    case scene_ramp:
        return "ramp";
    case scene_cycle:
        return "cycle";
    default:
        return "constant";
    }
}

json_object *moving_object(const SceneStateRecord &state) {
    return object_of({{"on", flag(state.object.on != 0)},
                      {"path", json_object_new_string(state.object.path == path_swing ? "swing" : "round")},
                      {"speed", number(state.object.speed)},
                      {"size", number(state.object.size)},
                      {"pan", number(state.object_pan)},
                      {"tilt", number(state.object.tilt)}});
}

} // namespace

void add_scene_status(json_object *root, const World &world) {
    const SceneStateRecord state = world.state();
    const LightRecord light = world.light();
    json_object_object_add(root, "light",
                           object_of({{"filter", number(state.seen.filter)},
                                      {"enabled", flag(light.enabled != 0)},
                                      {"brightness", number(light.brightness)},
                                      {"lamp", number(state.seen.lamp)},
                                      {"seen_mlux", number(state.seen.seen_mlux)},
                                      {"gain_milli", number(state.seen.gain_milli)}}));
    json_object_object_add(root, "view",
                           object_of({{"pan", number(state.view.pan)},
                                      {"tilt", number(state.view.tilt)},
                                      {"moves", number(state.view_moves)}}));
    json_object_object_add(root, "scene",
                           object_of({{"ambient_mlux", number(state.ambient_mlux)},
                                      {"mode", json_object_new_string(mode_name(state.light.mode))},
                                      {"high_mlux", number(state.light.high_mlux)},
                                      {"low_mlux", number(state.light.low_mlux)},
                                      {"period_ms", number(state.light.period_ms)},
                                      {"noise_percent", number(state.noise_percent)},
                                      {"object", moving_object(state)}}));
}

} // namespace board
