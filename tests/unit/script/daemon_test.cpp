#include "script/daemon_test.h"

#include "analytics/track_mailbox.h"
#include "control/ipc_server.h"
#include "control/play_audio.h"
#include "core/ipc_loop.h"
#include "image/ircut.h"
#include "image/isp_dnmode.h"
#include "media/channels.h"
#include "settings/device_status.h"
#include "settings/hot_config.h"

#include <algorithm>
#include <cstring>
#include <ev.h>

namespace {

void reset(IrcutController *controller) {
    controller->inited = 0;
    controller->running = 0;
    controller->ircut_mode = 0;
    controller->joinable = false;
    controller->lamp_step = 0;
}

void reset(MediaChannel *channel) {
    channel->broadcaster = nullptr;
    channel->receivers = 0;
    channel->index = 0;
}

/* Log lines of which only the text is promised, not the level. */
constexpr const char *texts_of_any_level[] = {
    "libmortox_open faild.",
    "send get ",
    "Get faild.",
    "Get flicker faild",
    "Hot Config Get faild.",
    "device status is",
    "[hot_config_str_to_vencconfig:231]",
    "[main:581]",
    "Get hot config fail",
    "Save Default HotConfig",
    "shbf_index is",
    "video_stream_thread(),",
    "strell:video kill",
    "start_audio_thread(), ret is",
    "fetch_aduio_thread(),",
    "strell:audio kill",
    "start_osd_thread(), ret is",
    "isp_dnmode_thread():",
    "strell_v2 set_isp_dnmode",
    "Create set_isp_dnmode_thread error",
    "rawsnap_thread(),",
    "failed: ",
    "stream write error:",
    "[audio_player] ",
    "playing audio file: ",
    "notify_cb_motion_sensiti(),",
    "notify_cb_lsd_threshold(),",
    "anyka_notify_cb_ircut_switch(),",
    "track_switch_cb(),",
    "algo_sensitivity_cb(),",
    "ret = ",
};

std::string without_open_level(const std::string &entry) {
    for (const char *level : {"err: ", "warning: ", "info: ", "debug: "}) {
        if (entry.rfind(level, 0) != 0) {
            continue;
        }
        const std::string text = entry.substr(std::strlen(level));
        for (const char *beginning : texts_of_any_level) {
            if (text.rfind(beginning, 0) == 0) {
                return "log: " + text;
            }
        }
    }
    return entry;
}

std::vector<std::string> without_open_levels(std::vector<std::string> entries) {
    std::transform(entries.begin(), entries.end(), entries.begin(), without_open_level);
    return entries;
}

} // namespace

DaemonTest::DaemonTest() : script((script::start(), script::current())) {
    device_status.region_code = 3;
    device_status.flicker_hz = 50;
    device_status.running = 1;
    device_status.bind_status = 0;
    device_status.power = 1;
    device_status.watermark = 1;
    device_status.flip = 0;
    device_status.wdr = 0;
    device_status.reload_boardav = 0;
    device_status.hdr_switch = 0;
    device_status.motion_detection_enable = 0;
    last_signal = -1;
    std::memset(&venc_config, 0, sizeof venc_config);
    for (MediaChannel &channel : media_channels) {
        reset(&channel);
    }
    for (MediaChannel &channel : shbf_mde) {
        reset(&channel);
    }
    broadcast_fail_count = 0;
    dn_mode = 0;
    mortor_run = 0;
    aec_on = 0;
    ipc_client_count = 0;
    settings_handle = nullptr;
    reset(&ircut_controller);
    track_mailbox = nullptr;
    track_shm_active = 0;
    ev_default_loop(0);
}

DaemonTest::~DaemonTest() {
    EXPECT_EQ(script::unfreed(), 0) << "values of the settings store that were not freed";
    EXPECT_EQ(script::lost_buffers(), Entries{}) << "neither freed nor published";
    EXPECT_EQ(script.misuse, Entries{});
    ev_loop_destroy(ev_default_loop(0));
}

DaemonTest::Entries DaemonTest::journal() const {
    return without_open_levels(script.journal);
}

DaemonTest::Entries DaemonTest::journal_without(const std::vector<std::string> &prefixes) const {
    return without_open_levels(script.without(prefixes));
}

DaemonTest::Entries DaemonTest::joined(std::initializer_list<Entries> pieces) {
    Entries result;
    for (const Entries &piece : pieces) {
        result.insert(result.end(), piece.begin(), piece.end());
    }
    return result;
}
