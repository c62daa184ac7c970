// The owner's side of a buffer (libshbf.h): find its channel, and let that do it.

#include "libshbf.h"

#include "shbf/channel.h"

#include <errno.h>

using shbf::Channel;

PLATFORM_API int32_t shbf_set_size(void *buffer, uint32_t size) {
    Channel *channel = shbf_channel_of(buffer);
    return channel == nullptr ? -EINVAL : shbf_channel_trim(channel, buffer, size);
}

PLATFORM_API uint32_t shbf_get_size(const void *buffer) {
    Channel *channel = shbf_channel_of(buffer);
    return channel == nullptr ? 0 : shbf_channel_size(channel, buffer);
}

PLATFORM_API void shbf_free(void *buffer) {
    Channel *channel = shbf_channel_of(buffer);
    if (channel != nullptr) {
        shbf_channel_free(channel, buffer);
    }
}
