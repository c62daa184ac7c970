#include "media/stream_dump.h"

#include "libvuto_util.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

namespace {

constexpr size_t file_name_bytes = 64;

int32_t descriptors[dump_channel_count] = {-1, -1};

} // namespace

int32_t dump_open(int32_t channel) {
    char name[file_name_bytes];
    snprintf(name, sizeof name, "%s/stream-%d.h265", "/mnt/sdcard", channel);
    descriptors[channel] = open(name, O_RDWR | O_CREAT | O_TRUNC, 0777);
    if (descriptors[channel] < 0) {
        log_err("failed: %s\n", strerror(errno));
        return -1;
    }
    return 0;
}

int32_t dump_write(int32_t channel, const void *data, int32_t length) {
    if (write(descriptors[channel], data, static_cast<size_t>(length)) != length) {
        log_err("stream write error:%s\n", strerror(errno));
        return -1;
    }
    return 0;
}

int32_t dump_close(int32_t channel) {
    return close(descriptors[channel]);
}
