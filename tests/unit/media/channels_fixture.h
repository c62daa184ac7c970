/*
 * The fixture of tests about the shared-buffer channels: their paths, and the events that the library
 * delivers.
 */
#ifndef TESTS_UNIT_CHANNELS_FIXTURE_H
#define TESTS_UNIT_CHANNELS_FIXTURE_H

#include "media/channels.h"
#include "script/daemon_test.h"

inline constexpr const char *media_paths[] = {"/run/video_mainstream", "/run/video_substream",
                                              "/run/video_rawstream",  "/run/jpeg_snap",
                                              "/run/audio_in",         "/run/audio_play"};
inline constexpr const char *event_paths[] = {"/run/md_event", "/run/motor_event", "/run/lsd_event"};

class Channels : public DaemonTest {
  protected:
    static const char *media_path(int32_t index) { return media_paths[index]; }

    // ---- what the library calls ----

    template <typename... Arguments>
    static int32_t call(const std::string &path, int32_t code, Arguments... arguments) {
        const auto [callback, user] = script::channel(path)->events.at(code);
        return reinterpret_cast<int32_t (*)(void *, Arguments...)>(callback)(user, arguments...);
    }
    static int32_t close_server(int32_t index) { return call(media_path(index), 1); }
    static int32_t attach(int32_t index, int32_t receiver) { return call(media_path(index), 2, receiver); }
    static int32_t detach(int32_t index, int32_t receiver) { return call(media_path(index), 3, receiver); }

    void create_all() {
        for (int32_t index = 0; index < media_channel_count; ++index) {
            shbf_init(index);
        }
        script.journal.clear();
    }

    /* The state as it is before anything is created. */
    static void expect_untouched() {
        for (const MediaChannel &channel : media_channels) {
            EXPECT_EQ(channel.broadcaster.load(), nullptr);
        }
        for (const MediaChannel &channel : shbf_mde) {
            EXPECT_EQ(channel.broadcaster.load(), nullptr);
        }
    }
};

#endif
