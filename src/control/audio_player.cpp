#include "control/audio_player.h"

#include "control/message_queue.h"
#include "libvuto_util.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h> // basename(): the one that leaves its argument alone
#include <sys/stat.h>

namespace {

constexpr size_t path_bytes = 256;

/* Reads the whole file, or as much of it as there is. Result: how many bytes that was. */
size_t read_all(FILE *file, uint8_t *bytes, size_t size) {
    size_t have = 0;
    while (have < size) {
        const size_t more = fread(bytes + have, 1, size - have, file);
        if (more == 0) {
            break;
        }
        have += more;
    }
    return have;
}

int32_t malloc_failed() {
    return log_err("[audio_player] malloc error");
}

int32_t append(void *bytes, size_t length) {
    auto *item = static_cast<PlayItem *>(malloc(sizeof(PlayItem)));
    if (item == nullptr) {
        free(bytes);
        return malloc_failed();
    }
    item->bytes = bytes;
    item->length = static_cast<int32_t>(length);
    return message_queue_append(item);
}

} // namespace

int32_t audio_player(const char *file_name) {
    const char *name = file_name == nullptr ? nullptr : basename(file_name);
    if (name == nullptr) {
        return log_err("[audio_player] filename is NULL");
    }
    char path[path_bytes];
    snprintf(path, sizeof path, "%s/%s", "/tmp", name);
    FILE *file = fopen(path, "rb"); // never closed, as ever
    if (file == nullptr) {
        return log_err("[audio_player] Open %s failed: %m\n", path);
    }
    log_info("playing audio file: [%s]\n", path);
    struct stat status = {};
    if (stat(path, &status) != 0) {
        return malloc_failed();
    }
    const auto size = static_cast<size_t>(status.st_size);
    auto *bytes = static_cast<uint8_t *>(malloc(size));
    if (bytes == nullptr && size > 0) { // some C libraries have no address for nothing
        return malloc_failed();
    }
    return append(bytes, read_all(file, bytes, size));
}
