// strellctl watch: how a stream runs, live.

#include "strellctl/all_commands.h"
#include "strellctl/bitstream.h"
#include "strellctl/clock.h"
#include "strellctl/diagnosis.h"
#include "strellctl/failure.h"
#include "strellctl/format_json.h"
#include "strellctl/json.h"
#include "strellctl/live_lines.h"
#include "strellctl/output.h"
#include "strellctl/receiver.h"
#include "strellctl/stream_statistics.h"
#include "strellctl/wording.h"

#include <limits>
#include <unistd.h>

namespace ctl {

namespace {

constexpr double us_per_ms = 1000;

double ms_of(uint64_t us) {
    return static_cast<double>(us) / us_per_ms;
}

/* A stream under observation, and how it is told. */
class Watch {
  public:
    Watch(const Stream &stream, bool json) : stream_(stream), json_(json) {}

    void add(const Receiver &video);
    void tell(uint64_t now_us);
    void tell_summary(uint64_t now_us);
    bool saw_frames() const { return statistics_.totals().frames > 0; }

  private:
    std::string line(uint64_t now_us) const;
    std::string object(uint64_t now_us) const;
    std::string summary() const;
    std::string summary_object(uint64_t now_us) const;
    void add_totals(JsonObject *object) const;

    const Stream &stream_;
    const bool json_;
    const bool terminal_ = is_terminal(STDOUT_FILENO);
    const uint64_t began_us_ = monotonic_us();
    LiveLines live_{STDOUT_FILENO};
    StreamStatistics statistics_;
    Totals told_; // as of the last JSON object
    FormatFinder format_;
};

void Watch::add(const Receiver &video) {
    const FrameView &frame = video.frame();
    statistics_.add({frame.info.timestamp_us, video.received_us(), frame.info.seq, frame.info.len,
                     frame.info.is_key != 0, video.skipped()});
    format_.add(frame);
}

std::string Watch::line(uint64_t now_us) const {
    std::string text = format("%-4s  %s  %4.1f fps  %s", stream_.name, format_text(format_.format()).c_str(),
                              statistics_.fps(now_us), bitrate_text(statistics_.bits_per_s(now_us)).c_str());
    if (statistics_.key_interval().count > 0) {
        text += format("  key every %.2f s", seconds_of(statistics_.key_interval().last_us));
    }
    if (statistics_.latency().count() > 0) {
        text += format("  latency %.0f ms", ms_of(statistics_.last_latency_us()));
    }
    return text + format("  lost %llu", static_cast<unsigned long long>(statistics_.totals().lost));
}

void Watch::add_totals(JsonObject *object) const {
    const Totals &totals = statistics_.totals();
    object->add("lost", totals.lost).add("skipped", totals.skipped).add("restarts", totals.restarts);
}

std::string Watch::object(uint64_t now_us) const {
    const Totals &totals = statistics_.totals();
    JsonObject object;
    object.add("kind", "second").add("stream", stream_.name);
    object.add("elapsed_s", seconds_of(now_us - began_us_), 3);
    add_format(&object, format_.format());
    object.add("fps", statistics_.fps(now_us), 2);
    object.add("bits_per_s", static_cast<int64_t>(statistics_.bits_per_s(now_us)));
    object.add("frames", totals.frames - told_.frames);
    object.add("key_frames", totals.key_frames - told_.key_frames);
    object.add("bytes", totals.bytes - told_.bytes);
    if (statistics_.key_interval().count > 0) {
        object.add("key_interval_ms", ms_of(statistics_.key_interval().last_us), 1);
    } else {
        object.add_null("key_interval_ms");
    }
    if (statistics_.latency().count() > 0) {
        object.add("latency_ms", ms_of(statistics_.last_latency_us()), 1);
    } else {
        object.add_null("latency_ms");
    }
    add_totals(&object);
    return object.text();
}

void Watch::tell(uint64_t now_us) {
    if (json_) {
        print_line(object(now_us));
        told_ = statistics_.totals();
    } else if (terminal_) {
        live_.show({line(now_us)});
    } else {
        print_line(line(now_us));
    }
}

std::string Watch::summary_object(uint64_t now_us) const {
    const Totals &totals = statistics_.totals();
    const LatencyHistogram &latency = statistics_.latency();
    const KeyInterval &keys = statistics_.key_interval();
    JsonObject object;
    object.add("kind", "summary").add("stream", stream_.name);
    object.add("elapsed_s", seconds_of(now_us - began_us_), 3);
    add_format(&object, format_.format());
    object.add("fps", statistics_.average_fps(), 2);
    object.add("bits_per_s", static_cast<int64_t>(statistics_.average_bits_per_s()));
    object.add("frames", totals.frames).add("key_frames", totals.key_frames).add("bytes", totals.bytes);
    if (keys.count > 0) {
        JsonObject interval;
        interval.add("min", ms_of(keys.least_us), 1);
        interval.add("mean", ms_of(keys.sum_us / keys.count), 1);
        interval.add("max", ms_of(keys.most_us), 1);
        object.add("key_interval_ms", std::move(interval));
    } else {
        object.add_null("key_interval_ms");
    }
    if (latency.count() > 0) {
        JsonObject percentiles;
        for (const auto &[name, percent] : {std::pair{"p50", 50U}, {"p95", 95U}, {"p99", 99U}}) {
            percentiles.add(name, ms_of(latency.percentile_us(percent)), 1);
        }
        percentiles.add("max", ms_of(latency.most_us()), 1);
        object.add("latency_ms", std::move(percentiles));
    } else {
        object.add_null("latency_ms");
    }
    add_totals(&object);
    return object.text();
}

std::string Watch::summary() const {
    const Totals &totals = statistics_.totals();
    const LatencyHistogram &latency = statistics_.latency();
    const KeyInterval &keys = statistics_.key_interval();
    std::string text =
        format("%s: %s, %s, %.2f fps, %s", stream_.name, count_text(totals.frames, "frame").c_str(),
               bytes_text(totals.bytes).c_str(), statistics_.average_fps(),
               bitrate_text(statistics_.average_bits_per_s()).c_str());
    if (keys.count > 0) {
        text +=
            format("\n  key frames   %llu, every %.2f s (%.2f to %.2f)",
                   static_cast<unsigned long long>(totals.key_frames), seconds_of(keys.sum_us / keys.count),
                   seconds_of(keys.least_us), seconds_of(keys.most_us));
    }
    if (latency.count() > 0) {
        text += format("\n  latency      %.1f ms median, %.1f ms for 95 of 100, %.1f ms at most",
                       ms_of(latency.percentile_us(50)), ms_of(latency.percentile_us(95)),
                       ms_of(latency.most_us()));
    }
    text += "\n  lost         " + count_text(totals.lost, "frame");
    if (totals.skipped > 0) {
        text += format(" (%u because this receiver was slow)", totals.skipped);
    }
    if (totals.restarts > 0) {
        text += "\n  encoder      restarted " + count_text(totals.restarts, "time");
    }
    return text;
}

void Watch::tell_summary(uint64_t now_us) {
    print_line(json_ ? summary_object(now_us) : summary());
}

uint64_t end_of(const Arguments &arguments, uint64_t now_us) {
    constexpr uint64_t never = std::numeric_limits<uint64_t>::max();
    return arguments.has("-t")
               ? now_us + static_cast<uint64_t>(arguments.seconds("-t", 0) * static_cast<double>(us_per_s))
               : never;
}

/* Until the time is up, Ctrl-C, or the daemon has gone. */
Receiver::Outcome observe(Receiver *video, Watch *watch, uint64_t end_us, const Interrupt &interrupt) {
    uint64_t next_us = monotonic_us() + us_per_s;
    for (;;) {
        const Receiver::Outcome outcome = video->wait(std::min(next_us, end_us), interrupt);
        if (outcome == Receiver::Outcome::frame) {
            watch->add(*video);
        } else if (outcome != Receiver::Outcome::time_is_up) {
            return outcome;
        }
        const uint64_t now = monotonic_us();
        if (now >= next_us) {
            watch->tell(now);
            next_us = std::max(next_us + us_per_s, now);
        }
        if (now >= end_us) {
            return Receiver::Outcome::time_is_up;
        }
    }
}

} // namespace

int run_watch(const Arguments &arguments) {
    const Stream &stream = stream_named(arguments.word(0));
    const uint64_t end_us = end_of(arguments, monotonic_us());
    const Interrupt interrupt;
    Receiver video(stream);
    Watch watch(stream, arguments.has("--json"));
    const Receiver::Outcome outcome = observe(&video, &watch, end_us, interrupt);
    watch.tell_summary(monotonic_us());
    if (outcome == Receiver::Outcome::gone) {
        throw Failure("strell_v2 has ended, or has dropped this receiver: see its log");
    }
    if (!watch.saw_frames()) {
        throw Failure("no frames came: " + why_no_frames(stream));
    }
    return exit_good;
}

} // namespace ctl
