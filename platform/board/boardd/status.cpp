#include "board/boardd/status.h"

#include "board/boardd/picture/status.h"
#include "board/boardd/scene/status.h"

#include <json-c/json.h>

namespace board {

namespace {

void add(json_object *object, const char *name, json_object *value) {
    json_object_object_add(object, name, value);
}

void add(json_object *object, const char *name, int64_t value) {
    json_object_object_add(object, name, json_object_new_int64(value));
}

void add(json_object *object, const char *name, const std::string &value) {
    json_object_object_add(object, name, json_object_new_string(value.c_str()));
}

// A byte of text takes up to six of JSON, and the reply is to fit into a packet whatever a source, microphone
// and speaker are called and say.
std::string shortened(const std::string &text) {
    constexpr size_t shown_bytes = 300;
    static_assert(shown_bytes * 6 * 6 < control_packet_max_bytes - 4000);
    if (text.size() <= shown_bytes) {
        return text;
    }
    size_t end = shown_bytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) {
        --end; // not in the middle of a character
    }
    return text.substr(0, end) + "...";
}

const char *phase_name(Phase phase) {
    switch (phase) {
    case Phase::idle:
        return "idle";
    case Phase::starting:
        return "starting";
    default:
        return "running";
    }
}

json_object *source_object(const Board &board) {
    json_object *object = json_object_new_object();
    const char *state = board.phase() == Phase::idle ? "off" : "good";
    add(object, "name", shortened(board.source().name()));
    add(object, "state", std::string(board.source_error().empty() ? state : "failing"));
    add(object, "error", shortened(board.source_error()));
    add(object, "frames", int64_t{board.captured()});
    return object;
}

json_object *fault_object(const std::optional<Answers> &answers) {
    if (!answers) {
        return nullptr; // JSON's null
    }
    json_object *object = json_object_new_object();
    add(object, "kind", std::string(answers->silent ? "stall" : "fetch"));
    add(object, "result", int64_t{answers->result});
    add(object, "count", int64_t{answers->count});
    return object;
}

json_object *channel_object(const Board &board, int32_t index) {
    const EncoderChannel &channel = board.channel(index);
    const ChannelCounts counts = channel.counts();
    json_object *object = json_object_new_object();
    if (board.profile()) {
        const VencChannel &encoding = board.profile()->channel[index];
        add(object, "encoding", std::string(encoding_name(encoding.pt)));
        add(object, "pt", int64_t{encoding.pt});
        add(object, "width", int64_t{encoding.width});
        add(object, "height", int64_t{encoding.height});
        add(object, "fps", int64_t{encoding.fps});
        add(object, "bitrate", int64_t{encoding.bitrate});
    }
    add(object, "frames", int64_t{counts.frames});
    add(object, "key_frames", int64_t{counts.key_frames});
    add(object, "bytes", static_cast<int64_t>(counts.bytes));
    add(object, "lost", int64_t{counts.lost});
    add(object, "skips", int64_t{channel.skips()});
    add(object, "fault", fault_object(channel.held(Cause::fault)));
    return object;
}

json_object *microphone_object(const Audio &audio) {
    json_object *object = json_object_new_object();
    const MicCounts counts = audio.channel().counts();
    const std::string error = audio.running() ? audio.microphone().error() : "";
    add(object, "name", shortened(audio.microphone().name()));
    add(object, "error", shortened(error));
    add(object, "blocks", int64_t{counts.blocks});
    add(object, "lost", int64_t{counts.lost});
    add(object, "skips", int64_t{audio.channel().skips()});
    add(object, "fault", fault_object(audio.channel().held(Cause::fault)));
    return object;
}

json_object *speaker_object(const Audio &audio) {
    json_object *object = json_object_new_object();
    const SpeakerState state = audio.speaker();
    add(object, "name", shortened(audio.loudspeaker().name()));
    add(object, "error", shortened(audio.loudspeaker().error()));
    add(object, "enabled", json_object_new_boolean(state.enabled));
    add(object, "aec", json_object_new_boolean(state.cancelling));
    add(object, "volume", int64_t{state.volume});
    add(object, "played", static_cast<int64_t>(state.played));
    add(object, "heard", static_cast<int64_t>(state.heard));
    return object;
}

json_object *refusals_object(const Refusals &refusals) {
    json_object *object = json_object_new_object();
    add(object, "init", int64_t{refusals.init});
    add(object, "sensor", int64_t{refusals.sensor});
    add(object, "profile", int64_t{refusals.profile});
    return object;
}

} // namespace

std::string status_json(Board &board, const Audio &audio, const Analytics &analytics, int32_t flag_300,
                        const Refusals &refusals, const Notes &notes) {
    json_object *root = json_object_new_object();
    add(root, "phase", std::string(phase_name(board.phase())));
    add(root, "inited", json_object_new_boolean(board.phase() == Phase::running));
    add(root, "bind_status", int64_t{board.bind_status()});
    add(root, "profile", json_object_new_boolean(board.profile().has_value()));
    add(root, "flag_300", int64_t{flag_300});
    add(root, "source", source_object(board));
    json_object *channels = json_object_new_array();
    for (int32_t i = 0; i < venc_channels; ++i) {
        json_object_array_add(channels, channel_object(board, i));
    }
    add(root, "channels", channels);
    add(root, "microphone", microphone_object(audio));
    add(root, "speaker", speaker_object(audio));
    add_picture_status(root, board, analytics, notes);
    add_scene_status(root, board.picture().world());
    add(root, "refusals", refusals_object(refusals));
    std::string text = json_object_to_json_string_ext(root, JSON_C_TO_STRING_PLAIN);
    json_object_put(root);
    return text;
}

} // namespace board
