#include "strellctl/json.h"

#include "strellctl/wording.h"

#include <json-c/json.h>
#include <utility>

namespace ctl {

JsonObject::JsonObject() : object_(json_object_new_object()) {}

JsonObject::~JsonObject() {
    json_object_put(object_);
}

JsonObject::JsonObject(JsonObject &&other) noexcept : object_(std::exchange(other.object_, nullptr)) {}

JsonObject &JsonObject::add_object(const char *name, json_object *value) {
    json_object_object_add(object_, name, value);
    return *this;
}

JsonObject &JsonObject::add(const char *name, const std::string &value) {
    return add_object(name, json_object_new_string_len(value.data(), static_cast<int>(value.size())));
}

JsonObject &JsonObject::add(const char *name, const char *value) {
    return add_object(name, json_object_new_string(value));
}

JsonObject &JsonObject::add(const char *name, bool value) {
    return add_object(name, json_object_new_boolean(value ? 1 : 0));
}

JsonObject &JsonObject::add_integer(const char *name, int64_t value) {
    return add_object(name, json_object_new_int64(value));
}

JsonObject &JsonObject::add(const char *name, double value, int digits) {
    return add_object(name, json_object_new_double_s(value, format("%.*f", digits, value).c_str()));
}

JsonObject &JsonObject::add(const char *name, JsonObject value) {
    return add_object(name, std::exchange(value.object_, nullptr));
}

JsonObject &JsonObject::add_null(const char *name) {
    return add_object(name, nullptr);
}

JsonObject &JsonObject::add_json(const char *name, const std::string &text) {
    return add_object(name, json_tokener_parse(text.c_str()));
}

std::string JsonObject::text() const {
    return json_object_to_json_string_ext(object_, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

} // namespace ctl
