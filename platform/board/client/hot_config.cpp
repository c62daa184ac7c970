// The text form of the encoder profile. Where a member is named twice, the last one counts.

#include "export.h"
#include "libdevice_kitv2.h"

#include <json-c/json.h>
#include <limits.h>
#include <stdint.h>
#include <string.h>

namespace {

/* An integer of 32 bits, written as one: 1.0 and 1e0 are none. */
bool read_number(json_object *value, int32_t *number) {
    if (!json_object_is_type(value, json_type_int)) {
        return false;
    }
    const int64_t wide = json_object_get_int64(value); // saturates, so what is too long stays out of range
    if (wide < INT32_MIN || wide > INT32_MAX) {
        return false;
    }
    *number = static_cast<int32_t>(wide);
    return true;
}

bool read_member(json_object *object, const char *name, int32_t *number) {
    json_object *value = nullptr;
    return json_object_object_get_ex(object, name, &value) && read_number(value, number);
}

bool read_pair(json_object *object, const char *name, int32_t numbers[2]) {
    json_object *value = nullptr;
    return json_object_object_get_ex(object, name, &value) && json_object_is_type(value, json_type_array) &&
           json_object_array_length(value) == 2 &&
           read_number(json_object_array_get_idx(value, 0), &numbers[0]) &&
           read_number(json_object_array_get_idx(value, 1), &numbers[1]);
}

bool read_config(json_object *root, HotConfigObject *config) {
    return json_object_is_type(root, json_type_object) && read_member(root, "id", &config->id) &&
           read_member(root, "icon", &config->icon) && read_member(root, "cch", &config->cch) &&
           read_pair(root, "fps", config->fps) && read_pair(root, "pt", config->pt) &&
           read_pair(root, "bps", config->bps) && read_pair(root, "res", config->res);
}

/* Each of these gives what stands behind a token, or null when there is none as RFC 8259 has it. */
const char *skip_digits(const char *text) {
    const char *end = text + strspn(text, "0123456789");
    return end == text ? nullptr : end;
}

const char *skip_number(const char *text) {
    text += *text == '-' ? 1 : 0;
    const char *end = *text == '0' ? text + 1 : skip_digits(text);
    if (end != nullptr && *end == '.') {
        end = skip_digits(end + 1);
    }
    if (end != nullptr && (*end == 'e' || *end == 'E')) {
        ++end;
        end = skip_digits(*end == '+' || *end == '-' ? end + 1 : end);
    }
    // What may follow it, the end of the text included: not another digit, as in 00.
    return end != nullptr && strchr(" \t\r\n,]}", *end) != nullptr ? end : nullptr;
}

const char *skip_string(const char *text) {
    for (++text; *text != '"'; ++text) {
        text += *text == '\\' ? 1 : 0;
        if (static_cast<uint8_t>(*text) < 0x20) {
            return nullptr; // a bare control character, or the end
        }
    }
    return text + 1;
}

const char *skip_word(const char *text) {
    static const char *const words[] = {"true", "false", "null"};
    for (const char *word : words) {
        if (strncmp(text, word, strlen(word)) == 0) {
            return text + strlen(word);
        }
    }
    return nullptr;
}

/* json-c is the judge of how tokens may follow each other, but takes more tokens than JSON has ('a',
 * Infinity, 00, comments), even in its strict mode. */
bool has_only_json_tokens(const char *text) {
    while (text != nullptr && *text != '\0') {
        if (strchr(" \t\r\n[]{},:", *text) != nullptr) {
            ++text;
        } else if (*text == '"') {
            text = skip_string(text);
        } else {
            text = strchr("-0123456789", *text) != nullptr ? skip_number(text) : skip_word(text);
        }
    }
    return text != nullptr;
}

/* The text as a JSON value that belongs to the caller, or null when it is none. */
json_object *parse(const char *text) {
    const size_t length = strlen(text);
    if (length >= INT_MAX || !has_only_json_tokens(text)) {
        return nullptr;
    }
    json_tokener *tokener = json_tokener_new();
    if (tokener == nullptr) {
        return nullptr;
    }
    json_tokener_set_flags(tokener, JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
    // With its terminating zero, which tells the tokener that nothing follows.
    json_object *root = json_tokener_parse_ex(tokener, text, static_cast<int>(length + 1));
    if (json_tokener_get_error(tokener) != json_tokener_success) {
        json_object_put(root);
        root = nullptr;
    }
    json_tokener_free(tokener);
    return root;
}

} // namespace

PLATFORM_API int32_t hot_config_str_to_object(const char *text, HotConfigObject *object) {
    if (text == nullptr || object == nullptr) {
        return -1;
    }
    json_object *root = parse(text);
    HotConfigObject config;
    const bool good = read_config(root, &config);
    json_object_put(root);
    if (!good) {
        return -1;
    }
    *object = config;
    return 0;
}
