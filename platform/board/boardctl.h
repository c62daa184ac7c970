/*
 * Development control of boardd: what it does, misbehaviour on demand, and the world before the camera. For
 * tools and tests; the daemon has no part in it. Library board_ctl; the command of the same purpose is
 * `boardctl`.
 *
 *     board::BoardCtl board;
 *     board.answer_fetches(0, -1, 202);    // the main stream fails 202 times
 *     board.status();                      // {"phase":"running", ...}
 *     board.clear_faults();
 *
 * Every call is a request of its own on a connection of its own, made with the object, answered within 2 s.
 * All throw BoardCtlError when boardd is not there or refuses. One thread at a time for each object.
 */
#ifndef PLATFORM_BOARD_BOARDCTL_H
#define PLATFORM_BOARD_BOARDCTL_H

#include "board/scene_protocol.h"

#include <cstdint>
#include <stdexcept>
#include <string>

namespace board {

/* What went wrong, and what to do about it. */
struct BoardCtlError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/* In place of a channel, 0 or 1, where a function takes both at once. */
constexpr int32_t all_channels = -1;

/* In place of a channel where a function takes the microphone: answer_fetches with -1 or 0 (then
 * get_audio_stream is meant), stall, clear_faults. */
constexpr int32_t microphone_channel = 0x10;

class BoardCtl {
  public:
    /* Connects to the boardd of this run directory. */
    BoardCtl();
    ~BoardCtl();
    BoardCtl(const BoardCtl &) = delete;
    BoardCtl &operator=(const BoardCtl &) = delete;

    /* What boardd does at this moment: a JSON object, described in docs/formats/board.md. */
    std::string status();

    /*
     * The next `count` fetches of get_video_stream, or all until cleared when it is 0, answer `result`: -1,
     * -2, or 0 for an empty frame. Then the stream goes on with a key frame.
     */
    void answer_fetches(int32_t channel, int32_t result, uint32_t count);

    /* No frame comes out of the channel until cleared; fetches wait in vain. */
    void stall(int32_t channel);

    /* These requests answer `result`, negative, until cleared. */
    void refuse_init(int32_t result);
    void refuse_sensor(int32_t result);
    void refuse_profile(int32_t result);

    /* Ends the faults of one channel, or with all_channels every fault there is. */
    void clear_faults(int32_t channel = all_channels);

    /* ---- light, view and scene: records and units are those of scene_protocol.h ---- */

    SceneStateRecord scene();
    LightSeenRecord light_seen();
    void set_sky(const SceneLightRecord &sky);
    void set_sky_noise(int32_t percent);
    void set_object(const SceneObjectRecord &object);

    /* Where it looks then: moves end at the stops. */
    ViewRecord move_view_by(const ViewRecord &move);
    ViewRecord move_view_to(const ViewRecord &place);

    /* The board must have power. */
    void burst(const BurstRecord &noise);

  private:
    std::string ask(const char *what, uint32_t op, int32_t value, const void *payload,
                    uint32_t payload_bytes);
    template <typename Record>
    Record ask_for(const char *what, uint32_t op, int32_t value, const void *payload, uint32_t payload_bytes);
    int32_t call(uint32_t op, int32_t value, const void *payload, uint32_t payload_bytes, std::string *reply);
    void set_fault(int32_t channel, uint32_t kind, int32_t result, uint32_t count);

    int fd_;
    uint32_t next_id_ = 1;
};

} // namespace board

#endif
