/*
 * A WAV file of PCM sound (pcm.h) that can be listened to at any moment, also while it grows: the header is
 * right after each append. One thread at a time.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_WAV_FILE_H
#define PLATFORM_BOARD_BOARDD_AUDIO_WAV_FILE_H

#include <cstdint>
#include <span>
#include <string>

namespace board {

constexpr uint32_t wav_header_bytes = 44;

class WavFile {
  public:
    /* Makes the file, or empties it. Throws std::runtime_error with the reason when it cannot. */
    explicit WavFile(const std::string &path);
    ~WavFile();
    WavFile(const WavFile &) = delete;
    WavFile &operator=(const WavFile &) = delete;

    /* False when the disk is full or the like: nothing has been added then. */
    bool append(std::span<const int16_t> samples);

    uint32_t data_bytes() const { return data_bytes_; }

  private:
    bool write_header();

    int fd_;
    uint32_t data_bytes_ = 0;
};

} // namespace board

#endif
