#include "strellctl/recorder.h"

#include "strellctl/clock.h"
#include "strellctl/failure.h"
#include "strellctl/wording.h"

#include <utility>

namespace ctl {

Recorder::Recorder(double seconds, Outside outside)
    : length_us_(static_cast<uint64_t>(seconds * static_cast<double>(us_per_s))),
      outside_(std::move(outside)) {}

void Recorder::begin(const FrameView &frame) {
    const std::optional<StreamFormat> format = outside_.read_format(frame.payload);
    if (!format) {
        throw Failure("the stream is neither H.265 nor H.264, or its key frames have no parameter sets");
    }
    format_ = *format;
    recording_ = outside_.open(format_);
    first_ = frame.info;
}

/*
 * A new profile restarts the encoder, so its count begins anew. The header's words of the board alone are
 * not to be trusted with what they mean, but a change of them is a reason to look.
 */
void Recorder::check(const FrameView &frame) {
    const bool restarted = frame.info.seq <= last_.seq;
    lost_ += restarted ? frame.info.seq : frame.info.seq - last_.seq - 1;
    if (frame.info.timestamp_us <= last_.timestamp_us) {
        throw Failure("the capture times of the frames do not advance, so they cannot be recorded");
    }
    if (!restarted && frame.info.board0 == last_.board0 && frame.info.board24 == last_.board24) {
        return;
    }
    const std::optional<StreamFormat> format = outside_.read_format(frame.payload);
    if (format && *format != format_) {
        throw Failure("the stream is now " + format_text(*format) +
                      ", and a file holds one codec and size: record again for the rest");
    }
}

bool Recorder::add(const FrameView &frame) {
    if (recording_ == nullptr) {
        if (frame.info.is_key == 0) {
            return true;
        }
        begin(frame);
    } else {
        check(frame);
        last_duration_us_ = frame.info.timestamp_us - last_.timestamp_us;
    }
    const uint64_t time_us = frame.info.timestamp_us - first_.timestamp_us;
    if (time_us >= length_us_) {
        return false;
    }
    recording_->write(frame.payload, time_us);
    last_ = frame.info;
    ++frames_;
    bytes_ += frame.payload.size();
    return true;
}

void Recorder::finish() {
    if (recording_ != nullptr) {
        std::exchange(recording_, nullptr)->finish();
    }
}

double Recorder::seconds() const {
    return frames_ == 0 ? 0 : seconds_of(last_.timestamp_us - first_.timestamp_us + last_duration_us_);
}

std::string Recorder::text() const {
    return count_text(frames_, "frame") +
           format(", %.1f s, %s, %s", seconds(), format_text(format_).c_str(), bytes_text(bytes_).c_str());
}

} // namespace ctl
