/*
 * Sound as a WAV file: 16-bit little-endian PCM, 16 kHz, mono, as the camera has it.
 *
 * Threads: one at a time.
 */
#ifndef STRELLCTL_WAV_FILE_H
#define STRELLCTL_WAV_FILE_H

#include "strellctl/recording_elementary.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ctl {

constexpr size_t wav_header_bytes = 44;

/* The most sound that the format's lengths can tell, whole samples. */
constexpr uint64_t wav_most_bytes = 0xffffffff - wav_header_bytes - 1;

/* The header in front of `sound_bytes`; of a stream whose length is not known yet with the greatest. */
std::string wav_header(uint64_t sound_bytes);

class WavFile {
  public:
    /* Creates it with the header of a stream; "-" is standard output. Throws Failure. */
    explicit WavFile(const std::string &path);

    /* Adds sound. Throws WriteFailure when that cannot be done; finish() still gives what came before. */
    void write(std::string_view sound);

    /* Completes it: the header tells the true length, but on a pipe. Throws Failure. */
    void finish();

    uint64_t sound_bytes() const { return sound_bytes_; }

  private:
    ElementaryRecording file_;
    uint64_t sound_bytes_ = 0;
};

} // namespace ctl

#endif
