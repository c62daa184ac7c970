// Requests that concern microphone and speaker.

#include "board/boardd/audio/volume.h"
#include "board/boardd/requests.h"

#include <cerrno>
#include <cstring>

namespace board {

/* From anyone, not only the owner: a sound may take long to find room, so libboardav plays over a connection
 * of its own, where nothing waits behind it. */
void Requests::play(const Call &call) {
    PlayRecord record;
    std::memcpy(&record, call.payload.data(), sizeof record);
    if (record.bytes == 0 || record.bytes > play_max_bytes || record.bytes % sizeof(int16_t) != 0) {
        answer(call, -EINVAL);
        return;
    }
    std::vector<int16_t> samples(record.bytes / sizeof(int16_t));
    std::memcpy(samples.data(), record.pcm, record.bytes);
    audio_.play(std::move(samples), [&server = server_, client = call.client, header = call.header](
                                        int32_t result) { server.reply(client, header, result, {}); });
}

void Requests::speaker(const Call &call) {
    answer(call, audio_.set_speaker(call.header.value != 0));
}

void Requests::aec(const Call &call) {
    answer(call, audio_.set_canceller(call.header.value != 0));
}

void Requests::volume(const Call &call) {
    answer(call, audio_.set_volume(call.header.value));
}

void Requests::volume_preset(const Call &call) {
    answer(call, audio_.set_volume(call.header.value == 0 ? volume_default : volume_talking));
}

/* Comes from a signal handler, which cannot wait for a reply. */
void Requests::hush(const Call &call) {
    if ((call.header.value & hush_speaker) != 0) {
        audio_.set_speaker(false);
    }
    if ((call.header.value & hush_aec) != 0) {
        audio_.set_canceller(false);
    }
}

int32_t Requests::set_mic_fault(const FaultRecord &fault) {
    MicChannel &channel = audio_.channel();
    switch (fault.kind) {
    case fault_clear:
        channel.release(Cause::fault);
        return 0;
    case fault_fetch:
        if (fault.result < -1 || fault.result > 0) {
            return -EINVAL; // of sound nothing depends on what was lost: there is no -2
        }
        channel.hold(Cause::fault, {false, fault.result, fault.count});
        return 0;
    case fault_stall:
        channel.hold(Cause::fault, {true, 0, 0});
        return 0;
    default:
        return -EINVAL;
    }
}

} // namespace board
