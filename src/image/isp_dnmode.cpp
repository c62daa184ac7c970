#include "image/isp_dnmode.h"

#include "control/play_audio.h"
#include "libav_cmd.h"
#include "libboardav.h"
#include "libvuto_util.h"

#include <pthread.h>
#include <unistd.h>

Relaxed<int32_t> dn_mode{0};

int32_t set_isp_dnmode_thread(int32_t mode) {
    dn_mode = mode;
    pthread_t thread;
    const int result = pthread_create(&thread, nullptr, isp_dnmode_thread, nullptr);
    if (result < 0) {
        log_err("Create %s error\n", "set_isp_dnmode_thread");
        return -1;
    }
    if (result == 0) { // a positive result passes for success, but there is no thread to detach
        pthread_detach(thread);
    }
    return 0;
}

void *isp_dnmode_thread(void * /*argument*/) {
    constexpr unsigned retry_s = 10;
    log_info("%s():{dn_mode, mortor_run}{%d,%d}\n", "isp_dnmode_thread", dn_mode.get(), mortor_run.get());
    if (set_isp_dnmode(dn_mode) != 0) {
        log_err("strell_v2 set_isp_dnmode mode = %d fail,try again after 10s \n", dn_mode.get());
        sleep(retry_s);
        set_isp_dnmode(dn_mode);
    }
    return nullptr;
}

void get_dnmode_ack(int32_t fd) {
    constexpr uint32_t ack_dnmode = 0x1017;
    int32_t mode = 0;
    const int32_t result = get_isp_dnmode(&mode);
    send_av_cmd_ack(fd, ack_dnmode, result, &mode, sizeof mode);
}
