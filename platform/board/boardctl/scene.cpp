// boardctl.h: light, view and scene.

#include "board/boardctl.h"

#include <cerrno>
#include <cstring>

namespace board {

/* The reply's payload; throws when the board does not do it. `what` is refused. */
std::string BoardCtl::ask(const char *what, uint32_t op, int32_t value, const void *payload,
                          uint32_t payload_bytes) {
    std::string reply;
    const int32_t result = call(op, value, payload, payload_bytes, &reply);
    if (result == -ENODEV) {
        throw BoardCtlError(std::string("boardd refuses ") + what +
                            ": the camera's system has not started it");
    }
    if (result < 0) {
        throw BoardCtlError(std::string("boardd refuses ") + what + ": " + std::strerror(-result));
    }
    return reply;
}

template <typename Record>
Record BoardCtl::ask_for(const char *what, uint32_t op, int32_t value, const void *payload,
                         uint32_t payload_bytes) {
    const std::string reply = ask(what, op, value, payload, payload_bytes);
    Record record;
    if (reply.size() != sizeof record) {
        throw BoardCtlError("what answers is no boardd of this version");
    }
    std::memcpy(&record, reply.data(), sizeof record);
    return record;
}

SceneStateRecord BoardCtl::scene() {
    return ask_for<SceneStateRecord>("to tell the scene", op_scene_get, 0, "", 0);
}

LightSeenRecord BoardCtl::light_seen() {
    return ask_for<LightSeenRecord>("to tell the light", op_light_seen, 0, "", 0);
}

void BoardCtl::set_sky(const SceneLightRecord &sky) {
    ask("this light", op_scene_light, 0, &sky, sizeof sky);
}

void BoardCtl::set_sky_noise(int32_t percent) {
    ask("this noise", op_scene_noise, percent, "", 0);
}

void BoardCtl::set_object(const SceneObjectRecord &object) {
    ask("this object", op_scene_object, 0, &object, sizeof object);
}

ViewRecord BoardCtl::move_view_by(const ViewRecord &move) {
    return ask_for<ViewRecord>("this move", op_view, 0, &move, sizeof move);
}

ViewRecord BoardCtl::move_view_to(const ViewRecord &place) {
    return ask_for<ViewRecord>("this move", op_view, 1, &place, sizeof place);
}

void BoardCtl::burst(const BurstRecord &noise) {
    ask("the noise", op_scene_burst, 0, &noise, sizeof noise);
}

} // namespace board
