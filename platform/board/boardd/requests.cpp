#include "board/boardd/requests.h"

#include "board/boardd/log.h"
#include "board/boardd/picture/memory_file.h"
#include "board/boardd/status.h"

#include <cerrno>
#include <cstring>

namespace board {

namespace {

template <typename Record>
Record record_of(std::span<const uint8_t> payload) {
    Record record;
    std::memcpy(&record, payload.data(), sizeof record);
    return record;
}

std::span<const uint8_t> bytes_of(const std::string &text) {
    return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}

bool channel_or_all(int32_t channel) {
    return channel >= -1 && channel < venc_channels;
}

/* Calls `function(index)` for one channel, or for all when `channel` is -1. */
template <typename Function>
void for_channels(int32_t channel, Function function) {
    for (int32_t i = 0; i < venc_channels; ++i) {
        if (channel == -1 || channel == i) {
            function(i);
        }
    }
}

} // namespace

const Requests::Row Requests::rows[] = {
    {op_system_init, 0, Access::takes_board, &Requests::system_init},
    {op_system_exit, 0, Access::anyone, &Requests::system_exit},
    {op_set_profile, sizeof(VencConfig), Access::takes_board, &Requests::set_profile},
    {op_key_frame, 0, Access::owner, &Requests::key_frame},
    {op_sensor_class, 0, Access::anyone, &Requests::sensor_class},
    {op_play, sizeof(PlayRecord), Access::anyone, &Requests::play},
    {op_speaker, 0, Access::owner, &Requests::speaker},
    {op_aec, 0, Access::owner, &Requests::aec},
    {op_volume, 0, Access::owner, &Requests::volume},
    {op_volume_preset, 0, Access::owner, &Requests::volume_preset},
    {op_hush, 0, Access::owner, &Requests::hush},
    {op_jpeg_snapshot, 0, Access::anyone, &Requests::jpeg_snapshot},
    {op_raw_frame, 0, Access::anyone, &Requests::raw_frame},
    {op_algo_detect, 0, Access::analytics, &Requests::algo_detect},
    {op_algo_track, 0, Access::analytics, &Requests::algo_track},
    {op_algo_param, sizeof(int32_t), Access::analytics, &Requests::algo_param},
    {op_status, 0, Access::anyone, &Requests::status},
    {op_fault, sizeof(FaultRecord), Access::anyone, &Requests::fault},
};

void Requests::request(ClientId client, const ControlRequest &header, std::span<const uint8_t> payload) {
    const Call call = {client, header, payload};
    for (const Row &row : rows) {
        if (row.op != header.op) {
            continue;
        }
        const int32_t no = payload.size() == row.payload_bytes ? objection(client, row.access) : -EINVAL;
        if (no < 0) {
            answer(call, no);
        } else {
            (this->*row.perform)(call);
        }
        return;
    }
    SceneControls::payload_bytes(header.op) ? scene(call) : picture(call);
}

/* Why the client may not: a negative errno value, or 0. */
int32_t Requests::objection(ClientId client, Access access) {
    if (access == Access::anyone) {
        return 0;
    }
    if (access == Access::analytics) {
        algo_owner_ = algo_owner_ == 0 ? client : algo_owner_;
        return algo_owner_ == client ? 0 : -EBUSY;
    }
    if (exited_.contains(client)) {
        return -ESHUTDOWN;
    }
    if (access == Access::takes_board && owner_ == 0) {
        owner_ = client;
    }
    return owner_ == client ? 0 : -EBUSY;
}

void Requests::gone(ClientId client) {
    const bool exited = exited_.erase(client) > 0;
    if (exited && owner_ == 0) {
        // Until its end the daemon that shut the board down had threads that may have switched the light.
        board_.picture().world().reset_board();
    }
    if (owner_ == client) {
        log_line("the daemon has gone: idle");
        owner_ = 0;
        board_.power_off();
        picture_.reset();
    }
    if (algo_owner_ == client) {
        algo_owner_ = 0;
        algo_ = AlgoWishes();
    }
    set_analytics();
}

void Requests::answer(const Call &call, int32_t result, std::span<const uint8_t> payload) {
    server_.reply(call.client, call.header, result, payload);
}

void Requests::system_init(const Call &call) {
    if (refusals_.init < 0) {
        answer(call, refusals_.init);
        return;
    }
    board_.init(call.header.value, [&server = server_, client = call.client, header = call.header](
                                       int32_t result) { server.reply(client, header, result, {}); });
}

void Requests::system_exit(const Call &call) {
    exited_.insert(call.client);
    if (owner_ == call.client) {
        log_line("shut down by the daemon: idle");
        owner_ = 0;
        board_.power_off();
        picture_.reset();
        set_analytics();
    }
}

void Requests::set_profile(const Call &call) {
    answer(call, refusals_.profile < 0 ? refusals_.profile
                                       : board_.set_profile(record_of<VencConfig>(call.payload)));
}

void Requests::key_frame(const Call &call) {
    int32_t result = channel_or_all(call.header.value) ? 0 : -EINVAL;
    if (result == 0) {
        for_channels(call.header.value, [&](int32_t i) { result |= board_.request_key_frame(i); });
    }
    answer(call, result);
}

void Requests::sensor_class(const Call &call) {
    if (refusals_.sensor < 0) {
        answer(call, refusals_.sensor);
        return;
    }
    uint8_t flag[sizeof flag_300_];
    std::memcpy(flag, &flag_300_, sizeof flag);
    answer(call, 0, flag);
}

void Requests::status(const Call &call) {
    answer(call, 0,
           bytes_of(status_json(board_, audio_, analytics_, flag_300_, refusals_, picture_.notes())));
}

/* Light, view and scene, which have their own table. */
void Requests::scene(const Call &call) {
    if (call.payload.size() != *SceneControls::payload_bytes(call.header.op)) {
        answer(call, -EINVAL);
        return;
    }
    const auto reply = scene_.perform(call.header.op, call.header.value, call.payload);
    answer(call, reply.result, reply.payload);
}

/* The picture's controls, which have their own table. */
void Requests::picture(const Call &call) {
    const std::optional<size_t> payload_bytes = PictureControls::payload_bytes(call.header.op);
    if (!payload_bytes) {
        answer(call, -ENOSYS);
        return;
    }
    const int32_t no =
        call.payload.size() == *payload_bytes ? objection(call.client, Access::owner) : -EINVAL;
    if (no < 0) {
        answer(call, no);
        return;
    }
    const auto reply = picture_.perform(call.header.op, call.header.value, call.payload);
    set_analytics();
    answer(call, reply.result, reply.payload);
}

void Requests::jpeg_snapshot(const Call &call) {
    int32_t result = call.header.value > 0 ? -ENODEV : -EINVAL;
    if (result == -ENODEV && board_.phase() != Phase::idle) {
        const VencChannel &main = board_.profile()->channel[0];
        result = board_.snapshots().take_jpeg(
            {main.width, main.height, static_cast<size_t>(call.header.value), board_.picture().changes()},
            answer_with_picture(call));
    }
    if (result < 0) {
        answer(call, result);
    }
}

void Requests::raw_frame(const Call &call) {
    int32_t result = -ENODEV;
    if (board_.phase() != Phase::idle) {
        result = board_.snapshots().take_raw(capture_format(*board_.profile()).fps,
                                             board_.picture().changes(), answer_with_picture(call));
    }
    if (result < 0) {
        answer(call, result);
    }
}

Snapshots::Finish Requests::answer_with_picture(const Call &call) {
    return [&server = server_, client = call.client, header = call.header](const Snapshot &snapshot) {
        if (snapshot.result < 0) {
            server.reply(client, header, snapshot.result, {});
            return;
        }
        const MemoryFile file(snapshot.picture);
        if (file.fd() < 0) {
            server.reply(client, header, file.fd(), {});
            return;
        }
        server.reply_with_file(client, header, 0, snapshot.info, file.fd());
    };
}

void Requests::fault(const Call &call) {
    const auto fault = record_of<FaultRecord>(call.payload);
    const int32_t result = set_fault(call.header.value, fault);
    if (result == 0) {
        log_line("fault: kind %u, channel %d, result %d, count %u", fault.kind, call.header.value,
                 fault.result, fault.count);
    }
    answer(call, result);
}

int32_t Requests::set_fault(int32_t channel, const FaultRecord &fault) {
    if (channel == mic_fault_channel) {
        return set_mic_fault(fault);
    }
    if (!channel_or_all(channel)) {
        return -EINVAL;
    }
    switch (fault.kind) {
    case fault_clear:
        clear_faults(channel);
        return 0;
    case fault_fetch:
        if (fault.result < -2 || fault.result > 0) {
            return -EINVAL;
        }
        hold_channels(channel, {false, fault.result, fault.count});
        return 0;
    case fault_stall:
        hold_channels(channel, {true, 0, 0});
        return 0;
    default:
        return set_refusal(fault);
    }
}

int32_t Requests::set_refusal(const FaultRecord &fault) {
    if (fault.result >= 0) {
        return -EINVAL;
    }
    switch (fault.kind) {
    case fault_init:
        refusals_.init = fault.result;
        return 0;
    case fault_sensor:
        refusals_.sensor = fault.result;
        return 0;
    case fault_profile:
        refusals_.profile = fault.result;
        return 0;
    default:
        return -EINVAL;
    }
}

void Requests::hold_channels(int32_t channel, const Answers &answers) {
    for_channels(channel, [&](int32_t i) { board_.channel(i).hold(Cause::fault, answers); });
}

void Requests::clear_faults(int32_t channel) {
    for_channels(channel, [&](int32_t i) { board_.channel(i).release(Cause::fault); });
    if (channel == -1) {
        audio_.channel().release(Cause::fault);
        refusals_ = Refusals();
    }
}

} // namespace board
