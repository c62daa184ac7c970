#include "media/osd.h"

#include "libboardav.h"
#include "libvuto_util.h"
#include "settings/device_status.h"

#include <sys/prctl.h>
#include <unistd.h>

int32_t start_osd_thread(pthread_t *thread) {
    const int result = pthread_create(thread, nullptr, osd_thread, nullptr);
    log_info("%s(), ret is %d\n", "start_osd_thread", result);
    if (result != 0) { // errors come as positive numbers, and main joins what is said to run
        log_err("%s(),create error\n", "start_osd_thread");
        return -1;
    }
    return 0;
}

void *osd_thread(void * /*argument*/) {
    constexpr useconds_t refresh_us = 500000;
    prctl(PR_SET_NAME, "OSD");
    while (device_status.running) {
        if (device_status.power) {
            osd_update_timestamp(device_status.region_code);
        }
        usleep(refresh_us);
    }
    return nullptr;
}
