#include "strellctl/board_status.h"

#include "board/boardctl.h"

#include <json-c/json.h>
#include <memory>

namespace ctl {

namespace {

struct JsonPut {
    void operator()(json_object *object) const { json_object_put(object); }
};

/* The member, or null: json-c takes null for an empty object wherever it is asked. */
json_object *member(json_object *object, const char *name) {
    json_object *value = nullptr;
    return json_object_object_get_ex(object, name, &value) ? value : nullptr;
}

std::string text(json_object *object, const char *name) {
    json_object *value = member(object, name);
    return json_object_is_type(value, json_type_string) ? json_object_get_string(value) : "";
}

int64_t number(json_object *object, const char *name) {
    return json_object_get_int64(member(object, name));
}

BoardChannel read_channel(json_object *object) {
    BoardChannel channel;
    channel.encoding = text(object, "encoding");
    channel.width = number(object, "width");
    channel.height = number(object, "height");
    channel.fps = number(object, "fps");
    channel.bitrate = number(object, "bitrate");
    channel.lost = number(object, "lost");
    channel.fault = text(member(object, "fault"), "kind");
    return channel;
}

} // namespace

BoardStatus parse_board_status(const std::string &json) {
    const std::unique_ptr<json_object, JsonPut> root(json_tokener_parse(json.c_str()));
    if (!json_object_is_type(root.get(), json_type_object)) {
        throw board::BoardCtlError("boardd's status is no JSON object");
    }
    BoardStatus status;
    status.json = json;
    status.phase = text(root.get(), "phase");
    json_object *source = member(root.get(), "source");
    status.source = text(source, "name");
    status.source_error = text(source, "error");
    status.captured = number(source, "frames");
    json_object *channels = member(root.get(), "channels");
    for (size_t i = 0; i < status.channels.size(); ++i) {
        if (json_object_is_type(channels, json_type_array) && i < json_object_array_length(channels)) {
            status.channels[i] = read_channel(json_object_array_get_idx(channels, i));
        }
    }
    return status;
}

BoardStatus read_board_status() {
    return parse_board_status(board::BoardCtl().status());
}

} // namespace ctl
