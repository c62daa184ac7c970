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

void Recorder::count_losses(const FrameView &frame) {
    const bool restarted = frame.info.seq <= last_.seq;
    const uint32_t lost = restarted ? frame.info.seq : frame.info.seq - last_.seq - 1;
    missing_ += lost;
    waits_for_key_frame_ = waits_for_key_frame_ || lost > 0;
}

/*
 * A new profile restarts the encoder, so its count begins anew. The header's words of the board alone are
 * not to be trusted with what they mean, but a change of them is a reason to look.
 */
void Recorder::check(const FrameView &frame) {
    if (frame.info.timestamp_us <= last_.timestamp_us) {
        throw Failure("the capture times of the frames do not advance, so they cannot be recorded");
    }
    if (frame.info.seq > last_.seq && frame.info.board0 == last_.board0 &&
        frame.info.board24 == last_.board24) {
        return;
    }
    const std::optional<StreamFormat> format = outside_.read_format(frame.payload);
    if (format && *format != format_) {
        throw Failure("the stream is now " + format_text(*format) +
                      ", and a file holds one codec and size: record again for the rest");
    }
}

void Recorder::write(const FrameView &frame, uint64_t time_us) {
    const uint64_t duration_us = frames_ > 0 ? frame.info.timestamp_us - last_.timestamp_us : 0;
    recording_->write(frame.payload, time_us);
    end_us_ = time_us + duration_us;
    ++frames_;
    bytes_ += frame.payload.size();
}

bool Recorder::add(const FrameView &frame) {
    const bool key = frame.info.is_key != 0;
    if (recording_ == nullptr) {
        if (!key) {
            return true;
        }
        begin(frame);
    } else {
        count_losses(frame);
        check(frame);
    }
    const uint64_t time_us = frame.info.timestamp_us - first_.timestamp_us;
    if (time_us >= length_us_) {
        return false;
    }
    waits_for_key_frame_ = waits_for_key_frame_ && !key;
    if (waits_for_key_frame_) {
        ++missing_;
    } else {
        write(frame, time_us);
    }
    last_ = frame.info;
    return true;
}

void Recorder::finish() {
    if (recording_ != nullptr) {
        std::exchange(recording_, nullptr)->finish();
    }
}

double Recorder::seconds() const {
    return seconds_of(end_us_);
}

std::string Recorder::text() const {
    return count_text(frames_, "frame") +
           format(", %.1f s, %s, %s", seconds(), format_text(format_).c_str(), bytes_text(bytes_).c_str());
}

} // namespace ctl
