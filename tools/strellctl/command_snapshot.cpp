// strellctl snapshot: asks for a picture, and writes it to a file.

#include "strellctl/all_commands.h"
#include "strellctl/channel.h"
#include "strellctl/clock.h"
#include "strellctl/diagnosis.h"
#include "strellctl/failure.h"
#include "strellctl/output.h"
#include "strellctl/raw_picture.h"
#include "strellctl/recording_elementary.h"
#include "strellctl/wording.h"

namespace ctl {

namespace {

constexpr uint64_t answer_max_us = 5 * us_per_s;

std::string why_no_answer() {
    const std::string reason = why_camera_rests();
    return reason.empty()
               ? "strell_v2 answers none while the camera is off (setting power), while the encoder "
                 "profile is being changed (hot_status), and while it has no memory for one: see its log"
               : reason;
}

/* The bytes of the reply frame. */
std::string ask(Channel *channel, const std::string &request) {
    const Interrupt interrupt;
    const uint64_t deadline_us = monotonic_us() + answer_max_us;
    channel->send(request, deadline_us);
    switch (channel->wait(deadline_us, interrupt)) {
    case Channel::Outcome::frame:
        return channel->copy();
    case Channel::Outcome::time_is_up:
        throw Failure("no picture came within 5 s: " + why_no_answer());
    case Channel::Outcome::interrupted:
        throw Failure("interrupted before the picture came");
    case Channel::Outcome::gone:
        break;
    }
    throw Failure("strell_v2 has ended, or has dropped this receiver: see its log");
}

std::string request_of_kind(const Arguments &arguments) {
    const std::string kind = arguments.value("--kind", "A");
    if (kind != "A" && kind != "R") {
        throw Usage("there is no kind \"" + printable(kind) + "\": it is A or R");
    }
    return "REQ_SNAPSHOT_" + kind;
}

void write_file(const std::string &path, const std::string &bytes) {
    ElementaryRecording file(path);
    file.write(bytes, 0);
    file.finish();
    if (path != "-") {
        print_line(printable(path) + ": " + bytes_text(bytes.size()));
    }
}

} // namespace

int run_snapshot(const Arguments &arguments) {
    const bool raw = arguments.has("--raw");
    const std::string &path = arguments.word(0);
    const PictureFormat format = picture_format(path, raw);
    if (raw && arguments.has("--kind")) {
        throw Usage("--kind is for JPEG pictures, --raw has none");
    }
    const std::string request = raw ? "REQ_RAW" : request_of_kind(arguments);
    Channel channel(raw ? "/run/video_rawstream" : "/run/jpeg_snap",
                    raw ? "the raw picture channel" : "the snapshot channel");
    const std::string reply = ask(&channel, request);
    write_file(path, raw ? encoded(raw_picture_in(reply), format) : std::string(jpeg_in(reply)));
    return exit_good;
}

} // namespace ctl
