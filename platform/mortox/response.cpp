#include "mortox/response.h"

#include "export.h"

#include <stdlib.h>
#include <string.h>

namespace {

// Copies `text` to *end, moves *end behind it, and answers where the copy is.
const char *append(char **end, const char *text) {
    const size_t bytes = strlen(text) + 1;
    char *copy = *end;
    memcpy(copy, text, bytes);
    *end += bytes;
    return copy;
}

const MortoxResponse *inside(const xresponse_t *response) {
    return reinterpret_cast<const MortoxResponse *>(response);
}

xdata_t *new_data(const char *text) {
    const size_t text_bytes = text == nullptr ? 0 : strlen(text) + 1;
    void *block = malloc(sizeof(MortoxData) + text_bytes);
    if (block == nullptr) {
        return nullptr;
    }
    auto *data = static_cast<MortoxData *>(block);
    char *end = static_cast<char *>(block) + sizeof *data;
    data->head.type = text == nullptr ? XDATA_NONE : XDATA_TEXT;
    data->text = text == nullptr ? nullptr : append(&end, text);
    return &data->head;
}

NotifyPair *new_pair(const MortoxResponse *response) {
    const size_t names_bytes =
        strlen(response->name_space) + strlen(response->section) + strlen(response->key) + 3;
    xdata_t *value = new_data(response->text);
    void *block = malloc(sizeof(NotifyPair) + sizeof(xkey_t) + names_bytes);
    if (value == nullptr || block == nullptr) {
        xdata_free(value);
        free(block);
        return nullptr;
    }
    auto *pair = static_cast<NotifyPair *>(block);
    auto *key = reinterpret_cast<xkey_t *>(pair + 1);
    char *end = reinterpret_cast<char *>(key + 1);
    key->name_space = append(&end, response->name_space);
    key->section = append(&end, response->section);
    key->key = append(&end, response->key);
    pair->key = key;
    pair->value = value;
    return pair;
}

} // namespace

void mortox_item_pair(const wire::Message &item, MortoxItemPair *pair) {
    const bool has_value = item.value_type == wire::ValueType::text;
    pair->key = {item.name_space, item.section, item.key};
    pair->value = {{has_value ? XDATA_TEXT : XDATA_NONE}, has_value ? item.value : nullptr};
    pair->head = {&pair->key, &pair->value.head};
}

PLATFORM_API MortoxResponse *mortox_internal_response(int32_t type, const wire::Message *message) {
    const bool has_value = message->value_type == wire::ValueType::text;
    const size_t bytes = strlen(message->name_space) + strlen(message->section) + strlen(message->key) + 3 +
                         (has_value ? strlen(message->value) + 1 : 0);
    void *block = malloc(sizeof(MortoxResponse) + bytes);
    if (block == nullptr) {
        return nullptr;
    }
    auto *response = static_cast<MortoxResponse *>(block);
    char *end = static_cast<char *>(block) + sizeof *response;
    response->head.type = type;
    response->name_space = append(&end, message->name_space);
    response->section = append(&end, message->section);
    response->key = append(&end, message->key);
    response->text = has_value ? append(&end, message->value) : nullptr;
    return response;
}

PLATFORM_API int32_t xcontrol_get_response(const xresponse_t *response, xdata_t **data) {
    if (data == nullptr) {
        return -1;
    }
    *data = nullptr;
    if (response == nullptr || response->type != XRESPONSE_DATA) {
        return -1;
    }
    if (inside(response)->text == nullptr) {
        return 0;
    }
    *data = new_data(inside(response)->text);
    return *data == nullptr ? -1 : 1;
}

PLATFORM_API void *xresponse_parse(const xresponse_t *response, int32_t *status) {
    void *result = nullptr;
    if (response != nullptr && response->type == XRESPONSE_DATA) {
        result = new_data(inside(response)->text);
    } else if (response != nullptr &&
               (response->type == XRESPONSE_NOTIFY || response->type == XRESPONSE_RESYNC)) {
        result = new_pair(inside(response));
    }
    if (status != nullptr) {
        *status = result == nullptr ? -1 : 0;
    }
    return result;
}

PLATFORM_API char *xdata_value_as_char(const xdata_t *data) {
    if (data == nullptr || data->type != XDATA_TEXT) {
        return nullptr;
    }
    return strdup(reinterpret_cast<const MortoxData *>(data)->text);
}

PLATFORM_API void xdata_free(xdata_t *data) {
    free(data);
}

PLATFORM_API void xpair_free(NotifyPair *pair, int32_t /*flags*/) {
    if (pair != nullptr) {
        xdata_free(pair->value);
        free(pair);
    }
}
