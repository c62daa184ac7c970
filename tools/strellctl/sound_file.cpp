#include "strellctl/sound_file.h"

#include "strellctl/failure.h"
#include "strellctl/gstreamer.h"
#include "strellctl/gstreamer_handles.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <gst/app/gstappsink.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ctl {

namespace {

constexpr uint64_t look_again_ns = 50 * GST_MSECOND; // for Ctrl-C and errors

// A stream that is no sound stays where it is, undecoded.
constexpr char decoding[] =
    " ! decodebin caps=audio/x-raw expose-all-streams=false ! audioconvert ! audioresample "
    "! audio/x-raw,format=S16LE,rate=16000,channels=1,layout=interleaved "
    "! appsink name=sink sync=false max-buffers=16 wait-on-eos=false";

/* What GStreamer says of a missing file is no sentence for people. */
void check_readable(const std::string &path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (fd >= 0 && fstat(fd, &status) == 0 && S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        close(fd);
    } else if (fd >= 0) {
        close(fd);
        return;
    }
    throw Failure("cannot read " + printable(path) + ": " + std::strerror(errno));
}

GstElement *pipeline_of(const std::string &path) {
    if (path == "-") {
        return build_pipeline(std::string("fdsrc fd=0") + decoding);
    }
    check_readable(path);
    GstElement *pipeline = build_pipeline(std::string("filesrc name=file") + decoding);
    const Held<GstElement> file(gst_bin_get_by_name(GST_BIN(pipeline), "file"));
    g_object_set(file.get(), "location", path.c_str(), nullptr);
    return pipeline;
}

} // namespace

SoundFile::SoundFile(const std::string &path)
    : name_(path == "-" ? "standard input" : printable(path)), pipeline_(pipeline_of(path)),
      sink_(gst_bin_get_by_name(GST_BIN(pipeline_), "sink")) {
    gst_element_set_state(pipeline_, GST_STATE_PLAYING);
}

SoundFile::~SoundFile() {
    gst_element_set_state(pipeline_, GST_STATE_NULL);
    gst_object_unref(sink_);
    gst_object_unref(pipeline_);
}

void SoundFile::check() {
    const std::optional<std::string> error = pipeline_error(pipeline_, 0, false);
    if (error) {
        throw Failure("cannot play " + name_ + ", or there is no sound in it: " + *error);
    }
}

/* Until so much is waiting, or the end. False after an interrupt. */
bool SoundFile::fill(size_t bytes, const Interrupt &interrupt) {
    while (waiting_.size() < bytes && !ended_) {
        if (interrupt.happened()) {
            return false;
        }
        const std::optional<std::string> more = pull_bytes(sink_, look_again_ns);
        if (more) {
            waiting_ += *more;
            continue;
        }
        check();
        ended_ = gst_app_sink_is_eos(GST_APP_SINK(sink_)) == TRUE;
    }
    return true;
}

std::optional<std::string> SoundFile::next(size_t bytes, const Interrupt &interrupt) {
    if (!fill(bytes, interrupt) || waiting_.empty()) {
        return std::nullopt;
    }
    std::string sound = waiting_.substr(0, bytes);
    waiting_.erase(0, sound.size());
    return sound;
}

} // namespace ctl
