/*
 * What clients may ask about light, view and scene (scene_protocol.h): checks each request and does it.
 *
 * Threads: the loop thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_SCENE_CONTROLS_H
#define PLATFORM_BOARD_BOARDD_SCENE_CONTROLS_H

#include "board/boardd/audio/audio.h"
#include "board/boardd/scene/world.h"

#include <optional>
#include <span>
#include <vector>

namespace board {

class SceneControls {
  public:
    SceneControls(World &world, Audio &audio) : world_(world), audio_(audio) {}

    struct Reply {
        int32_t result;               /* 0, or a negative errno value */
        std::vector<uint8_t> payload; /* empty with an error */
    };

    /* The payload that the operation takes, in bytes; nothing when it is none of the scene's. */
    static std::optional<size_t> payload_bytes(uint32_t op);

    /* `payload` is of that size. -EINVAL for values out of range. */
    Reply perform(uint32_t op, int32_t value, std::span<const uint8_t> payload);

  private:
    using Payload = std::span<const uint8_t>;
    struct Row {
        uint32_t op;
        size_t payload_bytes;
        Reply (SceneControls::*perform)(int32_t value, Payload payload);
    };
    static const Row rows[];
    static const Row *row_of(uint32_t op);

    Reply move_filter(int32_t value, Payload payload);
    Reply set_light(int32_t value, Payload payload);
    Reply see_light(int32_t value, Payload payload);
    Reply move_view(int32_t value, Payload payload);
    Reply set_sky(int32_t value, Payload payload);
    Reply get_scene(int32_t value, Payload payload);
    Reply set_noise(int32_t value, Payload payload);
    Reply set_object(int32_t value, Payload payload);
    Reply burst(int32_t value, Payload payload);

    World &world_;
    Audio &audio_;
};

} // namespace board

#endif
