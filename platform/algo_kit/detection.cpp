#include "algo_kit/detection.h"

#include "export.h"
#include "libalgo_kit.h"

#include <atomic>

namespace {

std::atomic<int32_t> paused{0};

} // namespace

bool algo_kit::detection_wanted() {
    return paused.load() == 0;
}

PLATFORM_API int32_t oru_api_algo_start(void) {
    paused.store(0);
    return 0;
}

PLATFORM_API int32_t oru_api_algo_stop(void) {
    paused.store(1);
    return 0;
}
