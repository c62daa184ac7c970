// Start and end of the board, and what is asked of its encoders.

#include "board/client/link.h"
#include "board/client/streams.h"
#include "export.h"
#include "libboardav.h"

using namespace board;

PLATFORM_API int32_t control_venc_dynamically(const VencConfig *config) {
    if (config == nullptr) {
        return -1;
    }
    return link_call({op_set_profile, 0, config, sizeof *config, nullptr, 0});
}

PLATFORM_API int32_t board_system_init(int32_t bind_status) {
    // The channels first: so the very first key frame finds somebody who listens.
    if (streams_running() || !link_good() || !streams_open()) {
        return -1;
    }
    const int32_t result = link_call({op_system_init, bind_status, nullptr, 0, nullptr, 0}, init_timeout_ms);
    if (result >= 0) {
        streams_start();
    } else {
        streams_close();
    }
    return result;
}

PLATFORM_API void board_system_exit(void) {
    link_exit();
}

PLATFORM_API int32_t req_IDR_one(int32_t channel) {
    if (channel < 0 || channel >= venc_channels || !streams_running()) {
        return -1;
    }
    return link_call({op_key_frame, channel, nullptr, 0, nullptr, 0});
}

PLATFORM_API int32_t req_IDR(void) {
    if (!streams_running()) {
        return -1;
    }
    return link_call({op_key_frame, -1, nullptr, 0, nullptr, 0});
}
