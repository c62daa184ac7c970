/*
 * Where recorded frames go: an elementary stream, or a container. The ending of the file's name decides.
 *
 *     const Ending &ending = ending_of("x.mp4");          // Usage for an ending that is none
 *     check_codec(ending, Codec::h265, "main");           // Failure for x.h264
 *     auto recording = open_recording("x.mp4", ending, Codec::h265);
 *     recording->write(payload, time_us);
 *     recording->finish();
 *
 * An existing file is overwritten, from the moment on at which there is a frame to write. Whatever happens,
 * the frames that were written before a failure stay in the file.
 *
 * Threads: one at a time.
 */
#ifndef STRELLCTL_RECORDING_H
#define STRELLCTL_RECORDING_H

#include "strellctl/frame.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ctl {

enum class Container { none, mp4, matroska };

struct Ending {
    const char *text; // ".mp4"; "-" is standard output
    Container container;
    std::optional<Codec> codec; // the only one that fits, or any
};

/* Every ending there is. */
std::span<const Ending> endings();

/* By the name of the file, or "-". Throws Usage when the ending says nothing. */
const Ending &ending_of(const std::string &path);

/* Throws Failure, naming the endings that fit, when the stream's codec does not. */
void check_codec(const Ending &ending, Codec codec, const std::string &stream);

class Recording {
  public:
    virtual ~Recording() = default;

    /* Appends an access unit. `time_us` counts from the first, which has 0, and grows. Throws Failure when
     * the disk is full and the like, OutputClosed when it goes to a pipe that nobody reads any more. */
    virtual void write(std::string_view payload, uint64_t time_us) = 0;

    /* Completes the file. Throws WriteFailure when that cannot be done. */
    virtual void finish() = 0;
};

/* Creates the file. Throws Failure when that cannot be done. */
std::unique_ptr<Recording> open_recording(const std::string &path, const Ending &ending, Codec codec);

} // namespace ctl

#endif
