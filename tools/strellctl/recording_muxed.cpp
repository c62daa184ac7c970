#include "strellctl/recording_muxed.h"

#include "strellctl/failure.h"
#include "strellctl/recording_elementary.h"
#include "strellctl/wording.h"

#include <unistd.h>

namespace ctl {

namespace {

constexpr uint64_t waiting_max_bytes = 64000000;
constexpr uint32_t finish_max_s = 20;

/* A file that cannot be created is reported here, with the system's reason. */
std::string created(const std::string &path) {
    close(create_file(path));
    return path;
}

std::string rest_of_pipeline(Container container, Codec codec) {
    const char *muxer = container == Container::mp4 ? "mp4mux" : "matroskamux";
    return std::string(parser_element(codec)) + " ! " + muxer + " ! filesink name=file";
}

} // namespace

MuxedRecording::MuxedRecording(const std::string &path, Container container, Codec codec)
    : path_(printable(path)),
      remains_(container == Container::mp4 ? "; an .mp4 without its end cannot be played, an .mkv could"
                                           : "; what came before is in it"),
      pipeline_(codec, rest_of_pipeline(container, codec), created(path)) {}

/* The duration matters for the last frame only; that of the frame before it is the best guess. */
void MuxedRecording::write(std::string_view payload, uint64_t time_us) {
    const std::optional<std::string> error = pipeline_.error();
    if (error) {
        throw WriteFailure("cannot write " + path_ + ": " + *error + remains_);
    }
    if (pipeline_.waiting_bytes() > waiting_max_bytes) {
        throw WriteFailure("cannot write " + path_ + ": the disk is too slow for the stream" + remains_);
    }
    pipeline_.push(payload, time_us, time_us - last_us_);
    last_us_ = time_us;
}

void MuxedRecording::finish() {
    const std::optional<std::string> error = pipeline_.finish(finish_max_s);
    if (error) {
        throw WriteFailure("cannot complete " + path_ + ": " + *error + remains_);
    }
}

} // namespace ctl
