/*
 * What clients may ask of the board, and who may: the operations of protocol.h, one row each.
 *
 * Threads: the loop thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_REQUESTS_H
#define PLATFORM_BOARD_BOARDD_REQUESTS_H

#include "board/analytics_protocol.h"
#include "board/boardd/analytics/analytics.h"
#include "board/boardd/audio/audio.h"
#include "board/boardd/board.h"
#include "board/boardd/control_server.h"
#include "board/boardd/picture/controls.h"
#include "board/boardd/scene/controls.h"

#include <set>

namespace board {

/* What is refused on demand: 0, or the negative answer. */
struct Refusals {
    int32_t init = 0;
    int32_t sensor = 0;
    int32_t profile = 0;
};

/* What libalgo_kit wants of the analytics. */
struct AlgoWishes {
    bool detecting = false;
    bool tracking = false;
    bool lowest = false;
};

class Requests : public RequestHandler {
  public:
    /* `flag_300` is the sensor class. Replies go to `server`. */
    Requests(Board &board, Audio &audio, Analytics &analytics, ControlServer &server, int32_t flag_300)
        : board_(board), audio_(audio), analytics_(analytics), server_(server), flag_300_(flag_300),
          picture_(board), scene_(board.picture().world(), audio) {}

    void request(ClientId client, const ControlRequest &header, std::span<const uint8_t> payload) override;
    void gone(ClientId client) override;

  private:
    /* A request that has its row and the right size. */
    struct Call {
        ClientId client;
        const ControlRequest &header;
        std::span<const uint8_t> payload;
    };
    enum class Access {
        anyone,
        owner,       /* only the client that owns the board */
        takes_board, /* as above; the first to ask becomes the owner */
        analytics,   /* only the client that has the analytics: the first to ask */
    };
    using Perform = void (Requests::*)(const Call &call);
    struct Row {
        uint32_t op;
        size_t payload_bytes;
        Access access;
        Perform perform;
    };
    static const Row rows[];

    void system_init(const Call &call);
    void system_exit(const Call &call);
    void set_profile(const Call &call);
    void key_frame(const Call &call);
    void sensor_class(const Call &call);
    void play(const Call &call); /* this and what follows: requests_audio.cpp */
    void speaker(const Call &call);
    void aec(const Call &call);
    void volume(const Call &call);
    void volume_preset(const Call &call);
    void hush(const Call &call);
    int32_t set_mic_fault(const FaultRecord &fault);
    void algo_detect(const Call &call); /* this and what follows: requests_analytics.cpp */
    void algo_track(const Call &call);
    void algo_param(const Call &call);
    void set_analytics();
    void status(const Call &call);
    void fault(const Call &call);

    void scene(const Call &call);
    void picture(const Call &call);
    void jpeg_snapshot(const Call &call);
    void raw_frame(const Call &call);
    Snapshots::Finish answer_with_picture(const Call &call);

    void answer(const Call &call, int32_t result, std::span<const uint8_t> payload = {});
    int32_t objection(ClientId client, Access access);
    int32_t set_fault(int32_t channel, const FaultRecord &fault);
    int32_t set_refusal(const FaultRecord &fault);
    void hold_channels(int32_t channel, const Answers &answers);
    void clear_faults(int32_t channel);

    Board &board_;
    Audio &audio_;
    Analytics &analytics_;
    ControlServer &server_;
    int32_t flag_300_;
    ClientId owner_ = 0;        /* 0: nobody */
    ClientId algo_owner_ = 0;   /* who has the analytics; 0: nobody */
    std::set<ClientId> exited_; /* clients that have shut the board down */
    Refusals refusals_;
    AlgoWishes algo_;
    PictureControls picture_;
    SceneControls scene_;
};

} // namespace board

#endif
