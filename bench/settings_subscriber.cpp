// In the place of the daemon, for a store that is Redis: has the board, subscribes to one setting, and does
// with a change what the daemon does, on a loop of the same kind.
//
//   bench_settings_subscriber SOCKET

#include "libboardav.h"
#include "settings_redis.h"

#include <cstdio>
#include <cstring>
#include <ev.h>
#include <hiredis/async.h>
#include <hiredis/hiredis.h>
// After those.
#include <hiredis/adapters/libev.h>

namespace {

constexpr int32_t h264 = 0;
constexpr int32_t h265 = 1;
constexpr VencConfig profile = {
    1, {0, 0, 0}, 1, {{h265, 0, 256000, 15, 640, 360}, {h264, 0, 256000, 15, 640, 360}}};

/* The names of a setting are in the channel's, with colons between. */
bool is_flip(const char *name) {
    char name_space[64];
    char section[64];
    char key[64];
    return std::sscanf(name, "%63[^:]:%63[^:]:%63s", name_space, section, key) == 3 &&
           std::strcmp(name_space, "nvram") == 0 && std::strcmp(section, "default") == 0 &&
           std::strcmp(key, "flip") == 0;
}

void on_reply(redisAsyncContext * /*redis*/, void *answer, void * /*user*/) {
    const auto *reply = static_cast<redisReply *>(answer);
    if (reply == nullptr || reply->type != REDIS_REPLY_ARRAY || reply->elements != 3) {
        return;
    }
    if (std::strcmp(reply->element[0]->str, "subscribe") == 0) {
        std::fputs("subscribed\n", stderr);
    } else if (is_flip(reply->element[1]->str)) {
        if (std::strcmp(reply->element[2]->str, "on") == 0) {
            set_video_Vflip();
        } else {
            set_video_normal();
        }
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2 || control_venc_dynamically(&profile) < 0 || board_system_init(1) < 0) {
        std::fputs("no board\n", stderr);
        return 1;
    }
    struct ev_loop *loop = ev_default_loop(0);
    redisAsyncContext *redis = redisAsyncConnectUnix(argv[1]);
    if (redis == nullptr || redis->err != 0 || redisLibevAttach(loop, redis) != REDIS_OK) {
        std::fputs("no redis-server\n", stderr);
        return 1;
    }
    redisAsyncCommand(redis, on_reply, nullptr, "SUBSCRIBE %s", redis_flip_key);
    ev_run(loop, 0);
    return 0;
}
