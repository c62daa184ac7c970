#include "board/boardd/picture/status.h"

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

/* JSON's null when there is none. */
json_object *number(const std::optional<int32_t> &value) {
    return value ? number(int64_t{*value}) : nullptr;
}

template <typename Numbers>
json_object *array_of(const Numbers &numbers) {
    json_object *array = json_object_new_array();
    for (const auto value : numbers) {
        json_object_array_add(array, number(int64_t{value}));
    }
    return array;
}

json_object *white_object(const WhiteBalanceRecord &white) {
    return object_of({{"mode", json_object_new_string(white.mode == white_auto ? "auto" : "fixed")},
                      {"red", number(int64_t{white.red})},
                      {"green", number(int64_t{white.green})},
                      {"blue", number(int64_t{white.blue})}});
}

json_object *track_array(const std::optional<TrackRecord> &track) {
    return track ? array_of(std::initializer_list<int32_t>{track->x, track->y, track->width, track->height})
                 : nullptr;
}

json_object *bitrate_array(const std::optional<BitrateControl> &record) {
    return record
               ? array_of(std::initializer_list<uint32_t>{record->channel, record->bitrate, record->board2,
                                                          record->board3, record->quantiser_a,
                                                          record->quantiser_b, record->mode, record->board7})
               : nullptr;
}

json_object *picture_object(Board &board) {
    const PictureSettings settings = board.picture().settings();
    return object_of({{"streaming", flag(board.streaming())},
                      {"flip", flag(settings.flip)},
                      {"overlay", flag(settings.overlay)},
                      {"region", settings.stamp ? number(int64_t{settings.stamp->region}) : nullptr},
                      {"wdr", flag(settings.wdr)},
                      {"flicker_hz", number(int64_t{settings.flicker_hz})},
                      {"night", flag(settings.night)},
                      {"lamp", flag(settings.lamp)},
                      {"white", white_object(settings.white)},
                      {"track", track_array(settings.track)},
                      {"snapshots", number(int64_t{board.snapshots().jpegs()})},
                      {"raw_frames", number(int64_t{board.snapshots().raws()})}});
}

json_object *detection_object(const Analytics &analytics, const Notes &notes) {
    const AnalyticsCounts counts = analytics.counts();
    return object_of({{"motion", flag(notes.motion)},
                      {"motion_sense", array_of(notes.motion_sense)},
                      {"sound_threshold", number(notes.sound_threshold)},
                      {"detecting", flag(analytics.settings().detecting)},
                      {"tracking", flag(analytics.settings().tracking)},
                      {"lowest", flag(analytics.settings().sensitivity.lowest)},
                      {"frames", number(int64_t{counts.frames})},
                      {"relearnt", number(int64_t{counts.relearnt})},
                      {"motion_events", number(int64_t{counts.events})},
                      {"directions", number(int64_t{counts.directions})},
                      {"sound_events", number(int64_t{counts.sounds})}});
}

json_object *notes_object(const Notes &notes) {
    return object_of({{"bound", number(notes.bound)},
                      {"bitrate_control", bitrate_array(notes.bitrate)},
                      {"board_params", number(int64_t{notes.board_params})},
                      {"last_board_param", number(int64_t{notes.last_board_param})}});
}

} // namespace

void add_picture_status(json_object *root, Board &board, const Analytics &analytics, const Notes &notes) {
    json_object_object_add(root, "picture", picture_object(board));
    json_object_object_add(root, "detection", detection_object(analytics, notes));
    json_object_object_add(root, "notes", notes_object(notes));
}

} // namespace board
