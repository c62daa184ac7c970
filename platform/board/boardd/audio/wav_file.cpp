#include "board/boardd/audio/wav_file.h"

#include "board/boardd/audio/pcm.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace board {

namespace {

constexpr uint16_t format_pcm = 1;
constexpr uint16_t channels = 1;
constexpr uint16_t sample_bytes = 2;

/* As it stands in the file. */
struct Header {
    char riff[4] = {'R', 'I', 'F', 'F'};
    uint32_t riff_bytes; // of what follows
    char wave_fmt[8] = {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '};
    uint32_t fmt_bytes = 16;
    uint16_t format = format_pcm;
    uint16_t channel_count = channels;
    uint32_t rate = sample_rate_hz;
    uint32_t bytes_per_second = sample_rate_hz * channels * sample_bytes;
    uint16_t bytes_per_sample = channels * sample_bytes;
    uint16_t bits_per_sample = sample_bytes * 8;
    char data[4] = {'d', 'a', 't', 'a'};
    uint32_t data_bytes;
};

static_assert(sizeof(Header) == wav_header_bytes);

} // namespace

WavFile::WavFile(const std::string &path)
    : fd_(open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644)) {
    if (fd_ < 0 || !write_header()) {
        const int error = errno;
        if (fd_ >= 0) {
            close(fd_);
        }
        throw std::runtime_error("cannot write " + path + ": " + std::strerror(error));
    }
}

WavFile::~WavFile() {
    close(fd_);
}

bool WavFile::append(std::span<const int16_t> samples) {
    const ssize_t written =
        pwrite(fd_, samples.data(), samples.size_bytes(), static_cast<off_t>(wav_header_bytes) + data_bytes_);
    if (written != static_cast<ssize_t>(samples.size_bytes())) {
        return false; // what is behind the announced length counts for nothing and is written over
    }
    data_bytes_ += static_cast<uint32_t>(samples.size_bytes());
    return write_header();
}

bool WavFile::write_header() {
    Header header;
    header.data_bytes = data_bytes_;
    header.riff_bytes = data_bytes_ + wav_header_bytes - 8;
    return pwrite(fd_, &header, sizeof header, 0) == static_cast<ssize_t>(sizeof header);
}

} // namespace board
