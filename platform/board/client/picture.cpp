// The picture's controls: one request each, answered at once. That goes for the day/night mode too: boardd
// switches it without waiting, so nobody waits behind set_isp_dnmode although it shares the one connection. A
// board that takes its time over it would need a connection of its own here, as play_sound has one.

#include "board/client/link.h"
#include "board/client/streams.h"
#include "export.h"
#include "libboardav.h"

using namespace board;

namespace {

constexpr int32_t off = 0;
constexpr int32_t on = 1;

static_assert(MD_SENSE_REGIONS == static_cast<int32_t>(motion_regions));

int32_t call(const ControlCall &request) {
    return streams_running() ? link_call(request) : -1;
}

int32_t set(uint32_t op, int32_t value) {
    return call({op, value, nullptr, 0, nullptr, 0});
}

template <typename Record>
int32_t set_record(uint32_t op, const Record *record) {
    return record != nullptr ? call({op, 0, record, sizeof *record, nullptr, 0}) : -1;
}

template <typename Record>
int32_t get_record(uint32_t op, Record *record) {
    return record != nullptr ? call({op, 0, nullptr, 0, record, sizeof *record}) : -1;
}

} // namespace

PLATFORM_API int32_t stop_stream(void) {
    return set(op_streaming, off);
}

PLATFORM_API int32_t start_stream(void) {
    return set(op_streaming, on);
}

PLATFORM_API int32_t control_bitrate(const BitrateControl *record) {
    return set_record(op_bitrate, record);
}

PLATFORM_API int32_t switch_ch5_res(int32_t bound) {
    return set(op_bound, bound);
}

PLATFORM_API int32_t enable_wdr(void) {
    return set(op_wdr, on);
}

PLATFORM_API int32_t disable_wdr(void) {
    return set(op_wdr, off);
}

PLATFORM_API int32_t set_video_Vflip(void) {
    return set(op_flip, on);
}

PLATFORM_API int32_t set_video_normal(void) {
    return set(op_flip, off);
}

PLATFORM_API int32_t set_video_flicker(int32_t hz) {
    return set(op_flicker, hz);
}

PLATFORM_API int32_t set_isp_dnmode(int32_t mode) {
    return set(op_set_day_night, mode);
}

PLATFORM_API int32_t get_isp_dnmode(int32_t *mode) {
    return get_record(op_get_day_night, mode);
}

PLATFORM_API int32_t get_isp_ev(void *record) {
    return get_record(op_get_exposure, static_cast<ExposureRecord *>(record));
}

PLATFORM_API int32_t get_isp_wb(void *record) {
    return get_record(op_get_white, static_cast<WhiteBalanceRecord *>(record));
}

PLATFORM_API int32_t set_isp_wb(const void *record) {
    return set_record(op_set_white, static_cast<const WhiteBalanceRecord *>(record));
}

PLATFORM_API int32_t control_ir_lamp(int32_t value) {
    return set(op_lamp, value);
}

PLATFORM_API int32_t enable_osd(void) {
    return set(op_overlay, on);
}

PLATFORM_API int32_t disable_osd(void) {
    return set(op_overlay, off);
}

PLATFORM_API int32_t osd_update_timestamp(int32_t region_code) {
    return set(op_timestamp, region_code);
}

PLATFORM_API int32_t osd_display_track(int32_t a, int32_t b, int32_t c, int32_t d) {
    const TrackRecord track = {a, b, c, d};
    return set_record(op_track, &track);
}

PLATFORM_API int32_t osd_destory_track(void) {
    return set(op_track_end, 0);
}

PLATFORM_API int32_t set_md_sense(intptr_t value, int32_t count) {
    if (count == MD_SENSE_PICTURE) {
        return set(op_motion_sense, static_cast<int32_t>(value));
    }
    using Regions = int32_t[motion_regions];
    return count == MD_SENSE_REGIONS ? set_record(op_motion_regions, reinterpret_cast<const Regions *>(value))
                                     : -1;
}

PLATFORM_API int32_t start_md(void) {
    return set(op_motion, on);
}

PLATFORM_API int32_t stop_md(void) {
    return set(op_motion, off);
}

PLATFORM_API int32_t set_lsd_threshold(int32_t threshold) {
    return set(op_sound_threshold, threshold);
}

/* The payload's size is the command's secret, so it stays here. */
PLATFORM_API int32_t set_board_param(uint32_t code, const void * /*payload*/) {
    return set(op_board_param, static_cast<int32_t>(code));
}
