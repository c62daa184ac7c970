#include "soak_work.h"

#include "libav_cmd_client.h"
#include "libmortox.h"
#include "libshbf_receiver.h"
#include "picture_client.h"
#include "support/eventually.h"

#include <cstdint>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace bench {

namespace {

constexpr int32_t patience_ms = 60000; // the loop may be busy with pictures for others

struct Command {
    uint32_t code;
    std::vector<uint32_t> payload;
};

const Command commands[] = {{0x1001, {0x05050505, 0x05050505}},
                            {0x1005, {}},
                            {0x1007, {}},
                            {0x1009, {}},
                            {0x100b, {}},
                            {0x100d, {}},
                            {0x100f, {}},
                            {0x1011, {}},
                            {0x1013, {}},
                            {0x1016, {}},
                            {0x101a, {}},
                            {0x101e, {}},
                            {0x1020, {1, 2048, 1024, 1024, 0, 0, 0, 0}},
                            {0x1025, {1, 200000, 0, 30, 10, 40, 0, 0}},
                            {0x1027, {1}},
                            {0x1029, {}},
                            {0x102b, {10, 10, 50, 50}},
                            {0x102d, {}}};

class CommandClient {
  public:
    CommandClient() {
        support::eventually([this] { return (fd_ = av_cmd_connect()) >= 0; });
    }
    ~CommandClient() { close(fd_); }
    CommandClient(const CommandClient &) = delete;
    CommandClient &operator=(const CommandClient &) = delete;

    void send(const Command &command) const {
        av_cmd_ack_t ack;
        const auto bytes = static_cast<uint32_t>(command.payload.size() * sizeof(uint32_t));
        if (av_cmd_send(fd_, command.code, command.payload.data(), bytes) != 0 ||
            av_cmd_read_ack(fd_, &ack, patience_ms) != 1 || ack.code != command.code + 1 || ack.result < 0) {
            throw std::runtime_error("a command is not acknowledged: " + std::to_string(command.code));
        }
    }

  private:
    int32_t fd_ = -1;
};

struct Change {
    const char *key;
    const char *value;
};

constexpr Change changes[] = {
    {"flip", "on"},  {"wdr", "on"},  {"watermark", "off"}, {"regioncode", "IN"}, {"flicker", "60"},
    {"flip", "off"}, {"wdr", "off"}, {"flicker", "50"},    {"watermark", "on"},  {"regioncode", "US"}};

struct Channel {
    const char *path;
    bool has_frames;
};

constexpr Channel channels[] = {{"/run/video_mainstream", true}, {"/run/video_substream", true},
                                {"/run/audio_in", true},         {"/run/video_rawstream", false},
                                {"/run/jpeg_snap", false},       {"/run/audio_play", false},
                                {"/run/md_event", false},        {"/run/lsd_event", false}};

struct Closer {
    void operator()(shbf_rcv_t *receiver) const { shbf_rcv_close(receiver); }
    void operator()(mortox_t *store) const { libmortox_close(store); }
};

int take_pictures(Picture picture, int count) {
    PictureClient client(picture);
    int none = 0;
    for (int i = 0; i < count; ++i) {
        none += client.ask() ? 0 : 1;
    }
    return none;
}

} // namespace

void send_commands(int count) {
    constexpr int per_connection = 100;
    for (int i = 0; i < count;) {
        const CommandClient client;
        for (int j = 0; j < per_connection && i < count; ++i, ++j) {
            client.send(commands[static_cast<size_t>(i) % std::size(commands)]);
        }
    }
}

int take_jpegs(int count) {
    return take_pictures(Picture::jpeg, count);
}

int take_raw_frames(int count) {
    return take_pictures(Picture::raw, count);
}

void change_settings(int count) {
    const std::unique_ptr<mortox_t, Closer> store(libmortox_config_open(0));
    for (int i = 0; i < count; ++i) {
        const Change &change = changes[static_cast<size_t>(i) % std::size(changes)];
        if (!libmortox_set_value(store.get(), "nvram", "default", change.key, XDATA_TEXT, change.value,
                                 nullptr, nullptr, patience_ms, 0)) {
            throw std::runtime_error("a setting cannot be written");
        }
    }
}

void attach_and_detach(int count) {
    const shbf_rcv_options_t patient = {0, patience_ms};
    for (int i = 0; i < count; ++i) {
        const Channel &channel = channels[static_cast<size_t>(i) % std::size(channels)];
        const std::unique_ptr<shbf_rcv_t, Closer> receiver(shbf_rcv_open(channel.path, &patient));
        shbf_event_t event;
        if (receiver == nullptr ||
            (channel.has_frames && shbf_rcv_next(receiver.get(), &event, patience_ms) != 1)) {
            throw std::runtime_error(std::string("cannot attach to ") + channel.path);
        }
    }
}

} // namespace bench
