/*
 * Any file with sound in it, as what the camera plays: 16-bit little-endian PCM, 16 kHz, mono.
 *
 * Threads: one at a time.
 */
#ifndef STRELLCTL_SOUND_FILE_H
#define STRELLCTL_SOUND_FILE_H

#include "strellctl/interrupt.h"

#include <cstddef>
#include <optional>
#include <string>

typedef struct _GstElement GstElement;

namespace ctl {

class SoundFile {
  public:
    /* Opens it and begins to decode; "-" is standard input. Throws Failure when it cannot be read. */
    explicit SoundFile(const std::string &path);
    ~SoundFile();
    SoundFile(const SoundFile &) = delete;
    SoundFile &operator=(const SoundFile &) = delete;

    /*
     * The next `bytes` of sound, whole samples; fewer at the end; nothing behind it, or after an interrupt.
     * Waits for as long as the source does. Throws Failure when what is in the file is no sound.
     */
    std::optional<std::string> next(size_t bytes, const Interrupt &interrupt);

  private:
    bool fill(size_t bytes, const Interrupt &interrupt);
    void check();

    std::string name_; // for people
    GstElement *pipeline_;
    GstElement *sink_;
    std::string waiting_; // decoded, not taken
    bool ended_ = false;
};

} // namespace ctl

#endif
