#include "mortox/wire.h"

#include <endian.h>
#include <stdio.h>
#include <string.h>

namespace wire {

namespace {

const char *text_or_empty(const char *text) {
    return text == nullptr ? "" : text;
}

size_t put_text(uint8_t *packet, size_t at, const char *text, size_t bytes) {
    memcpy(packet + at, text, bytes);
    packet[at + bytes] = 0;
    return at + bytes + 1;
}

// The text of `bytes` bytes that begins at *at, or null when it is not terminated where it should be.
const char *take_text(const uint8_t *packet, size_t *at, size_t bytes) {
    const uint8_t *text = packet + *at;
    *at += bytes + 1;
    const void *end = memchr(text, 0, bytes + 1);
    return end == text + bytes ? reinterpret_cast<const char *>(text) : nullptr;
}

const char *check_header(const Header &header) {
    if (le16toh(header.magic) != magic) {
        return "this is not a packet of the settings store";
    }
    if (header.version != version) {
        return "the packet is of another version of the settings store: use a matching libmortox";
    }
    if (header.name_space_bytes > name_max_bytes || header.section_bytes > name_max_bytes ||
        header.key_bytes > name_max_bytes) {
        return "a name in the packet is longer than 63 bytes";
    }
    if (le16toh(header.value_bytes) > value_max_bytes) {
        return "the value in the packet is longer than 8191 bytes";
    }
    if (header.value_type > static_cast<uint8_t>(ValueType::text)) {
        return "the packet has a value of an unknown type";
    }
    return nullptr;
}

} // namespace

size_t encode(const Message &message, uint8_t *packet) {
    const char *texts[] = {text_or_empty(message.name_space), text_or_empty(message.section),
                           text_or_empty(message.key), text_or_empty(message.value)};
    size_t bytes[4];
    for (size_t i = 0; i < 4; ++i) {
        bytes[i] = strlen(texts[i]);
        if (bytes[i] > (i < 3 ? name_max_bytes : value_max_bytes)) {
            return 0;
        }
    }
    Header header{};
    header.magic = htole16(magic);
    header.version = version;
    header.type = static_cast<uint8_t>(message.type);
    header.request = htole32(message.request);
    header.status = static_cast<uint8_t>(message.status);
    header.value_type = static_cast<uint8_t>(message.value_type);
    header.flags = message.flags;
    header.name_space_bytes = static_cast<uint8_t>(bytes[0]);
    header.section_bytes = static_cast<uint8_t>(bytes[1]);
    header.key_bytes = static_cast<uint8_t>(bytes[2]);
    header.value_bytes = htole16(static_cast<uint16_t>(bytes[3]));
    memcpy(packet, &header, sizeof header);
    size_t at = sizeof header;
    for (size_t i = 0; i < 4; ++i) {
        at = put_text(packet, at, texts[i], bytes[i]);
    }
    return at;
}

const char *decode(const uint8_t *packet, size_t bytes, Message *message) {
    *message = Message{};
    Header header;
    if (bytes < sizeof header) {
        return "the packet is shorter than its header";
    }
    memcpy(&header, packet, sizeof header);
    if (le16toh(header.magic) == magic) {
        message->request = le32toh(header.request);
    }
    const char *why = check_header(header);
    if (why != nullptr) {
        return why;
    }
    const size_t value_bytes = le16toh(header.value_bytes);
    if (bytes !=
        sizeof header + header.name_space_bytes + header.section_bytes + header.key_bytes + value_bytes + 4) {
        return "the packet has not the size that its header says";
    }
    size_t at = sizeof header;
    message->name_space = take_text(packet, &at, header.name_space_bytes);
    message->section = take_text(packet, &at, header.section_bytes);
    message->key = take_text(packet, &at, header.key_bytes);
    message->value = take_text(packet, &at, value_bytes);
    if (message->name_space == nullptr || message->section == nullptr || message->key == nullptr ||
        message->value == nullptr) {
        return "a text in the packet does not end where its header says";
    }
    message->type = static_cast<Type>(header.type);
    message->status = static_cast<Status>(header.status);
    message->value_type = static_cast<ValueType>(header.value_type);
    message->flags = header.flags;
    return nullptr;
}

bool check_name(const char *what, const char *name, char *error, size_t error_bytes) {
    if (name == nullptr || name[0] == '\0') {
        snprintf(error, error_bytes, "%s is empty: give it 1 to %zu bytes", what, name_max_bytes);
        return false;
    }
    const size_t bytes = strlen(name);
    if (bytes > name_max_bytes) {
        snprintf(error, error_bytes, "%s is %zu bytes long: at most %zu are allowed", what, bytes,
                 name_max_bytes);
        return false;
    }
    for (size_t i = 0; i < bytes; ++i) {
        if (name[i] <= ' ' || name[i] > '~') {
            snprintf(error, error_bytes,
                     "%s has a byte 0x%02x: only printable ASCII without blanks is allowed", what,
                     static_cast<unsigned>(static_cast<uint8_t>(name[i])));
            return false;
        }
    }
    return true;
}

bool check_value(const char *value, char *error, size_t error_bytes) {
    if (value == nullptr) {
        snprintf(error, error_bytes, "there is no value: to remove one, use libmortox_remove_value");
        return false;
    }
    const size_t bytes = strlen(value);
    if (bytes > value_max_bytes) {
        snprintf(error, error_bytes, "the value is %zu bytes long: at most %zu are allowed", bytes,
                 value_max_bytes);
        return false;
    }
    return true;
}

} // namespace wire
