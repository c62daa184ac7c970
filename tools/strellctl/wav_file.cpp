#include "strellctl/wav_file.h"

#include <cstring>

namespace ctl {

namespace {

struct WavHeader {
    char riff[4];
    uint32_t riff_bytes; // behind this word
    char wave[4];
    char fmt[4];
    uint32_t fmt_bytes;
    uint16_t encoding; // 1 linear PCM
    uint16_t channels;
    uint32_t rate_hz;
    uint32_t bytes_per_s;
    uint16_t sample_bytes;
    uint16_t sample_bits;
    char data[4];
    uint32_t data_bytes;
};
static_assert(sizeof(WavHeader) == wav_header_bytes);
static_assert(offsetof(WavHeader, encoding) == 20 && offsetof(WavHeader, data_bytes) == 40);

} // namespace

std::string wav_header(uint64_t sound_bytes) {
    constexpr uint32_t rate_hz = 16000;
    constexpr uint16_t sample_bytes = 2;
    const auto data_bytes = static_cast<uint32_t>(sound_bytes);
    const WavHeader header = {{'R', 'I', 'F', 'F'},
                              static_cast<uint32_t>(data_bytes + sizeof(WavHeader) - 8),
                              {'W', 'A', 'V', 'E'},
                              {'f', 'm', 't', ' '},
                              16,
                              1,
                              1,
                              rate_hz,
                              rate_hz * sample_bytes,
                              sample_bytes,
                              sample_bytes * 8,
                              {'d', 'a', 't', 'a'},
                              data_bytes};
    std::string bytes(sizeof header, '\0');
    std::memcpy(bytes.data(), &header, sizeof header);
    return bytes;
}

WavFile::WavFile(const std::string &path) : file_(path) {
    file_.write(wav_header(wav_most_bytes), 0);
}

void WavFile::write(std::string_view sound) {
    file_.write(sound, 0);
    sound_bytes_ += sound.size();
}

void WavFile::finish() {
    file_.rewrite(wav_header(sound_bytes_));
    file_.finish();
}

} // namespace ctl
