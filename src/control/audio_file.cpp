#include "control/audio_file.h"

#include "liboru_util.h"
#include "libvuto_util.h"

#include <stdlib.h>
#include <string.h>
#include <sys/time.h>

AudioFileTransfer audio_file;
int32_t audio_file_chunk_bytes = 640;

namespace {

constexpr uint32_t header_word_4 = 16;
constexpr uint32_t header_word_8 = 1;

struct NamedFormat {
    const char *part_of_name;
    AudioFileFormat format;
};

constexpr NamedFormat formats[] = {
    {".pcm", audio_format_pcm}, {".g711a", audio_format_g711a}, {".opus", audio_format_opus}};

int32_t log_entry(const char *function, int line) {
    return log_debug("[audio_file] %s(), %d\n", function, line);
}

int32_t set_path(char *destination, const char *path) {
    const size_t length = strlen(path);
    if (length >= audio_file_path_bytes) {
        return -1;
    }
    memcpy(destination, path, length + 1);
    return 0;
}

bool may_open(const char *path) {
    return audio_file.enabled == 1 && path[0] != '\0';
}

size_t chunk_bytes() {
    return static_cast<size_t>(audio_file_chunk_bytes);
}

void take_format_from_name() {
    for (const NamedFormat &named : formats) {
        if (strstr(audio_file.tx_path, named.part_of_name) != nullptr) {
            audio_file.format = named.format;
            return;
        }
    }
}

int32_t read_some() {
    audio_file.bytes_read =
        static_cast<int32_t>(fread(audio_file.file_data, 1, chunk_bytes(), audio_file.tx_file));
    return audio_file.bytes_read;
}

/* A file that stands at its end leaves the last chunk as it is: the rewinding below left none to read. */
const uint8_t *read_chunk() {
    if (feof(audio_file.tx_file) == 0) {
        memset(audio_file.file_data, 0, chunk_bytes());
        const int32_t have = read_some();
        ++audio_file.frame_count;
        if (have < audio_file_chunk_bytes) {
            fseek(audio_file.tx_file, 0, SEEK_SET);
            read_some();
        }
    }
    return audio_file.file_data;
}

/* Result: the bytes in `out`. */
int32_t fill_block(void *out) {
    const uint8_t *chunk = read_chunk();
    if (audio_file.format == audio_format_g711a) {
        memcpy(out, chunk, chunk_bytes());
        return audio_file_chunk_bytes;
    }
    return oru_g711a_encode(chunk, 0, audio_file.bytes_read, out);
}

} // namespace

void audio_file_enable(int32_t enabled) {
    audio_file.enabled = enabled;
}

int32_t audio_file_set_tx_path(const char *path) {
    return set_path(audio_file.tx_path, path);
}

int32_t audio_file_set_rx_path(const char *path) {
    return set_path(audio_file.rx_path, path);
}

int32_t oru_tx_file_init(void) {
    log_entry("oru_tx_file_init", 31);
    audio_file.frame_count = 0;
    if (!may_open(audio_file.tx_path)) {
        return -1;
    }
    audio_file.tx_file = fopen(audio_file.tx_path, "rb");
    if (audio_file.tx_file == nullptr) {
        log_err("open %s failed\n", audio_file.tx_path);
        return -1;
    }
    audio_file.file_data = static_cast<uint8_t *>(malloc(chunk_bytes()));
    if (audio_file.file_data == nullptr) {
        log_err("malloc file_data failed\n");
        return -1;
    }
    audio_file.frame = static_cast<AudioFrameInfo *>(malloc(sizeof(AudioFrameInfo)));
    if (audio_file.frame == nullptr) {
        log_err("malloc frame failed\n");
        return -1;
    }
    take_format_from_name();
    return 0;
}

void oru_tx_file_deinit(void) {
    log_entry("oru_tx_file_deinit", 70);
    if (audio_file.tx_file != nullptr) {
        fclose(audio_file.tx_file);
    }
    free(audio_file.file_data);
}

int32_t tx_file_get_frame(void *out, int32_t /*reserved*/, AudioFrameInfo *header) {
    timeval now;
    gettimeofday(&now, nullptr);
    audio_file.frame = header;
    header->seq = static_cast<uint32_t>(audio_file.frame_count);
    header->board4 = header_word_4;
    header->board8 = header_word_8;
    header->timestamp_us = static_cast<uint64_t>(int64_t{now.tv_sec});
    header->len = static_cast<uint32_t>(fill_block(out));
    return 0;
}

int32_t oru_rx_file_init(void) {
    log_entry("oru_rx_file_init", 130);
    if (!may_open(audio_file.rx_path)) {
        return -1;
    }
    audio_file.rx_file = fopen(audio_file.rx_path, "a+");
    if (audio_file.rx_file == nullptr) {
        log_err("fopen rx file failed\n");
        return -1;
    }
    return 0;
}

int32_t oru_rx_file_deinit(void) {
    const int32_t logged = log_entry("oru_rx_file_deinit", 145);
    return audio_file.rx_file != nullptr ? fclose(audio_file.rx_file) : logged;
}

int32_t rx_file_write(const void *data, int32_t length) {
    (void)!fwrite(data, 1, static_cast<size_t>(length), audio_file.rx_file);
    return 0;
}
