// Stand-ins for libalgo_kit.

#include "libalgo_kit.h"

#include "script/script.h"

#include <cstring>

using script::answer;
using script::current;
using script::format;

extern "C" {

int32_t oru_api_algo_init(algo_event_callback_t on_event, algo_track_callback_t on_track) {
    current().on_event = on_event;
    current().on_track = on_track;
    return answer("oru_api_algo_init", "");
}

int32_t oru_api_algo_deinit(void) {
    return answer("oru_api_algo_deinit", "");
}

int32_t oru_api_algo_start(void) {
    return answer("oru_api_algo_start", "");
}

int32_t oru_api_algo_stop(void) {
    return answer("oru_api_algo_stop", "");
}

int32_t oru_api_algo_set_param(int32_t parameter, const void *value, int32_t length) {
    int32_t number = 0;
    std::memcpy(&number, value, sizeof number);
    return answer("oru_api_algo_set_param", format("%d, %d, %d", parameter, number, length));
}

int32_t track_init(void) {
    return answer("track_init", "");
}

int32_t track_deinit(void) {
    return answer("track_deinit", "");
}

} // extern "C"
