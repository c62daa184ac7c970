#include "settings/hot_config.h"

#include "libdevice_kitv2.h"
#include "libvuto_util.h"

#include <stdio.h>
#include <stdlib.h>

VencConfig venc_config;

namespace {

constexpr int channels = 2;

// bit/s by index. Index 3 gives more than index 4, and 8 as much as 9: clients know the indexes by what they
// give.
constexpr int32_t bitrates[] = {256000,  384000,  512000,  900000,  700000,  1000000,
                                1200000, 1400000, 1900000, 1900000, 2900000, 3900000};
constexpr int32_t bitrate_other = 800000;

struct Resolution {
    int32_t width;
    int32_t height;
};
constexpr Resolution resolutions[] = {{1920, 1080}, {1280, 720}, {640, 360}, {2304, 1296}, {2560, 1440}};

// H.264 needs more bits for the same picture: what replaces the table's value in the larger sizes.
struct RaisedBitrate {
    int32_t width;
    int32_t height;
    int32_t index;
    int32_t bitrate;
};
constexpr RaisedBitrate raised_bitrates[] = {
    {1920, 1080, 2, 1200000},  {1920, 1080, 3, 1500000}, {1920, 1080, 4, 1300000},
    {1920, 1080, 6, 2000000},  {2304, 1296, 5, 1500000}, {2304, 1296, 7, 1800000},
    {2304, 1296, 8, 2300000},  {2304, 1296, 9, 2300000}, {2304, 1296, 10, 3500000},
    {2304, 1296, 11, 4000000}, {2560, 1440, 5, 1500000}, {2560, 1440, 7, 1800000},
    {2560, 1440, 8, 2300000},  {2560, 1440, 9, 2300000}, {2560, 1440, 10, 3500000},
    {2560, 1440, 11, 4000000},
};
constexpr int32_t pt_h264 = 0;

constexpr size_t default_text_bytes = 256;
constexpr char default_text_300[] =
    "{\"id\":0,\"icon\":0,\"cch\":0,\"pt\":[1,1],\"bps\":[5,0],\"fps\":[15,15],\"res\":[3,2]}";
constexpr char default_text_other[] =
    "{\"id\":0,\"icon\":0,\"cch\":0,\"pt\":[1,1],\"bps\":[7,0],\"fps\":[15,15],\"res\":[4,2]}";

template <typename T, size_t count>
constexpr int32_t length_of(const T (&/*array*/)[count]) {
    return static_cast<int32_t>(count);
}

void set_size(VencChannel *channel, int32_t index) {
    if (index < 0 || index >= length_of(resolutions)) {
        log_err("[%s:%d] Unkonw resolution [%d:%d] ???", "hot_config_str_to_vencconfig", 231, channel->width,
                channel->height);
        return;
    }
    channel->width = resolutions[index].width;
    channel->height = resolutions[index].height;
}

void raise_bitrate(VencChannel *channel, int32_t index) {
    for (const RaisedBitrate &raised : raised_bitrates) {
        if (raised.width == channel->width && raised.height == channel->height && raised.index == index) {
            channel->bitrate = raised.bitrate;
        }
    }
}

[[noreturn]] void give_up(mortox_t *store, const char *reason) {
    libmortox_close(store);
    log_err("%s", reason);
    exit(1);
}

} // namespace

int32_t hot_config_str_to_vencconfig(const char *text) {
    HotConfigObject object;
    if (hot_config_str_to_object(text, &object) != 0) {
        return -1;
    }
    venc_config.ready = 1;
    for (int i = 0; i < channels; ++i) {
        VencChannel *channel = &venc_config.channel[i];
        const int32_t bps = object.bps[i];
        log_debug("[%s:%d] hot_config index[%d] bitrate[%d] resolution[%d]", "hot_config_str_to_vencconfig",
                  130, i, bps, object.res[i]);
        channel->pt = object.pt[i];
        channel->fps = object.fps[i];
        channel->bitrate = bps >= 0 && bps < length_of(bitrates) ? bitrates[bps] : bitrate_other;
        set_size(channel, object.res[i]);
    }
    for (int i = 0; i < channels; ++i) {
        if (venc_config.channel[i].pt == pt_h264) {
            raise_bitrate(&venc_config.channel[i], object.bps[i]);
        }
    }
    return 0;
}

void hot_config_ensure(mortox_t *store) {
    log_debug("HotConfig ready flag:%d", venc_config.ready);
    if (venc_config.ready == 1) {
        return;
    }
    int32_t flag_300 = 0;
    if (get_deviceType_by_sensor(&flag_300) != 0) {
        log_err("[%s:%d] Get device type error", "main", 581);
        exit(1);
    }
    log_debug("[%s:%d] flag_300=[%d]", "main", 584, flag_300);
    char text[default_text_bytes];
    snprintf(text, sizeof text, "%s", flag_300 != 0 ? default_text_300 : default_text_other);
    if (hot_config_str_to_vencconfig(text) != 0 || venc_config.ready != 1) {
        give_up(store, "Get hot config fail ...");
    }
    log_warning("Save default HotConfig:%s", text);
    if (!libmortox_set_value(store, "nvram", "default", "hot_config", XDATA_TEXT, text, nullptr, nullptr, -1,
                             0)) {
        give_up(store, "Save Default HotConfig to nvram fail ...");
    }
}
