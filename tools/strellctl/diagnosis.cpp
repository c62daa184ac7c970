#include "strellctl/diagnosis.h"

#include "board/boardctl.h"
#include "libshbf_receiver.h"
#include "strellctl/board_status.h"
#include "strellctl/failure.h"
#include "strellctl/store.h"

namespace ctl {

namespace {

bool daemon_answers(const Stream &stream) {
    constexpr int32_t answer_ms = 1000;
    shbf_channel_info_t info;
    return shbf_channel_query(stream.path, &info, answer_ms) == 0;
}

/* Empty when the store has no explanation. */
std::string store_explanation() {
    try {
        Store store;
        const std::optional<std::string> bound = store.get({"nvram", "default", "bind_status"});
        return bound == "ok" ? "" : "the camera is not bound to an owner: strellctl set bind_status ok";
    } catch (const Failure &) {
        return "";
    }
}

std::string board_explanation(const Stream &stream) {
    try {
        const BoardStatus board = read_board_status();
        const std::string fault = board.channels[static_cast<size_t>(&stream - streams.data())].fault;
        if (!board.source_error.empty()) {
            return "the board's source fails (" + board.source_error + ")";
        }
        return fault.empty() ? "" : "the board is told to fail (" + fault + "): boardctl clear";
    } catch (const board::BoardCtlError &error) {
        return std::string("the software board: ") + error.what();
    }
}

} // namespace

std::string why_camera_rests() {
    try {
        Store store;
        if (store.get({"nvram", "default", "power"}) == "off") {
            return "the camera is switched off: strellctl set power on";
        }
        if (store.get({"mem", "default", "hot_status"}) == "changing") {
            return "the encoder profile is being changed: try again when hot_status is \"changed\"";
        }
    } catch (const Failure &) {
        return ""; // no store, no explanation
    }
    return "";
}

std::string why_no_frames(const Stream &stream) {
    if (!daemon_answers(stream)) {
        return "strell_v2 does not answer: see its log";
    }
    for (const std::string &text : {store_explanation(), why_camera_rests(), board_explanation(stream)}) {
        if (!text.empty()) {
            return text;
        }
    }
    return "strell_v2, store and board are there: see the log of strell_v2";
}

} // namespace ctl
