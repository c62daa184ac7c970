#include "mortox/watches.h"

#include <stdlib.h>
#include <string.h>

namespace {

const char *text_of(const wire::Message &message) {
    return message.value_type == wire::ValueType::text ? message.value : nullptr;
}

bool same_value(const char *one, const char *other) {
    return one == nullptr || other == nullptr ? one == other : strcmp(one, other) == 0;
}

bool same_key(const MortoxWatch &watch, const wire::Message &message) {
    return strcmp(watch.key, message.key) == 0 && strcmp(watch.section, message.section) == 0 &&
           strcmp(watch.name_space, message.name_space) == 0;
}

// Makes *copy a copy of `text`, or null for null. False when memory is short.
bool copy_text(const char *text, char **copy) {
    *copy = text == nullptr ? nullptr : strdup(text);
    return text == nullptr || *copy != nullptr;
}

bool grow(MortoxWatches *watches) {
    if (watches->count < watches->capacity) {
        return true;
    }
    const int32_t capacity = watches->capacity == 0 ? 16 : watches->capacity * 2;
    void *larger = realloc(watches->all, static_cast<size_t>(capacity) * sizeof(MortoxWatch));
    if (larger == nullptr) {
        return false;
    }
    watches->all = static_cast<MortoxWatch *>(larger);
    watches->capacity = capacity;
    return true;
}

MortoxDelivery *new_delivery(int32_t type, const wire::Message &message) {
    auto *delivery = static_cast<MortoxDelivery *>(calloc(1, sizeof(MortoxDelivery)));
    if (delivery == nullptr) {
        return nullptr;
    }
    delivery->response = mortox_internal_response(type, &message);
    if (delivery->response == nullptr) {
        free(delivery);
        return nullptr;
    }
    delivery->bytes = sizeof *delivery + sizeof *delivery->response + wire::name_max_bytes +
                      (text_of(message) == nullptr ? 0 : strlen(message.value));
    return delivery;
}

void free_delivery(MortoxDelivery *delivery) {
    free(delivery->response);
    free(delivery);
}

bool enqueue(MortoxWatches *watches, int32_t index, int32_t type, const wire::Message &message) {
    MortoxDelivery *delivery = new_delivery(type, message);
    char *value = nullptr;
    if (delivery == nullptr || watches->queued_bytes + delivery->bytes > mortox_queue_max_bytes ||
        !copy_text(text_of(message), &value)) {
        if (delivery != nullptr) {
            free_delivery(delivery);
        }
        return false;
    }
    free(watches->all[index].value);
    watches->all[index].value = value;
    delivery->watch = index;
    if (watches->first == nullptr) {
        watches->first = delivery;
    } else {
        watches->last->next = delivery;
    }
    watches->last = delivery;
    ++watches->queued;
    watches->queued_bytes += delivery->bytes;
    return true;
}

MortoxDelivery *dequeue(MortoxWatches *watches) {
    MortoxDelivery *delivery = watches->first;
    if (delivery != nullptr) {
        watches->first = delivery->next;
        --watches->queued;
        watches->queued_bytes -= delivery->bytes;
    }
    return delivery;
}

} // namespace

int32_t watches_add(MortoxWatches *watches, const wire::Message &accepted, mortox_callback_t callback,
                    void *user) {
    char *value = nullptr;
    if (!grow(watches) || !copy_text(text_of(accepted), &value)) {
        return -1;
    }
    MortoxWatch *watch = &watches->all[watches->count];
    memset(watch, 0, sizeof *watch);
    strncpy(watch->name_space, accepted.name_space, wire::name_max_bytes);
    strncpy(watch->section, accepted.section, wire::name_max_bytes);
    strncpy(watch->key, accepted.key, wire::name_max_bytes);
    watch->value = value;
    watch->callback = callback;
    watch->user = user;
    return watches->count++;
}

bool watches_changed(MortoxWatches *watches, const wire::Message &change) {
    for (int32_t i = 0; i < watches->count; ++i) {
        if (same_key(watches->all[i], change) && !enqueue(watches, i, XRESPONSE_NOTIFY, change)) {
            return false;
        }
    }
    return true;
}

bool watches_compare(MortoxWatches *watches, int32_t index, const wire::Message &now) {
    const MortoxWatch &watch = watches->all[index];
    if (same_value(watch.value, text_of(now))) {
        return true;
    }
    wire::Message named = now;
    named.name_space = watch.name_space;
    named.section = watch.section;
    named.key = watch.key;
    return enqueue(watches, index, XRESPONSE_RESYNC, named);
}

void watches_deliver(MortoxWatches *watches) {
    for (int32_t left = watches->queued; left > 0; --left) {
        MortoxDelivery *delivery = dequeue(watches);
        if (delivery == nullptr) {
            return; // a callback has turned the loop itself
        }
        // By value: a callback may register more, and so move the table.
        const mortox_callback_t callback = watches->all[delivery->watch].callback;
        void *user = watches->all[delivery->watch].user;
        callback(&delivery->response->head, user);
        free_delivery(delivery);
    }
}

void watches_free(MortoxWatches *watches) {
    for (MortoxDelivery *delivery = dequeue(watches); delivery != nullptr; delivery = dequeue(watches)) {
        free_delivery(delivery);
    }
    for (int32_t i = 0; i < watches->count; ++i) {
        free(watches->all[i].value);
    }
    free(watches->all);
}
