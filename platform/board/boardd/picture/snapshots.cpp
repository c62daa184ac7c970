#include "board/boardd/picture/snapshots.h"

#include "board/boardd/sample.h"
#include "board/client/control_call.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace board {

namespace {

constexpr uint64_t us_per_ms = 1000;
constexpr uint32_t encoding_jpeg = 2;

template <typename Record>
Bytes bytes_of(const Record &record) {
    Bytes bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

Snapshot failure(int32_t result) {
    return {result, {}, {}};
}

Snapshot jpeg_of(Image image, size_t capacity, uint64_t timestamp_us) {
    use_full_range(image);
    Snapshot snapshot = {0, {}, jpeg_within(capacity, image)};
    if (snapshot.picture.empty()) {
        return failure(-ENOSPC);
    }
    VideoFrameInfo info{};
    info.board0 = encoding_jpeg;
    info.timestamp_us = timestamp_us;
    info.len = static_cast<uint32_t>(snapshot.picture.size());
    info.is_key = 1;
    snapshot.info = bytes_of(info);
    return snapshot;
}

Snapshot raw_of(Image image, uint64_t timestamp_us) {
    RawFrameInfo info{};
    info.board0 = raw_width;
    info.board4 = raw_height;
    info.len = raw_frame_bytes;
    info.timestamp_us = timestamp_us;
    return {0, bytes_of(info), std::move(image.bytes)};
}

/* Writes the running number into the record, which is known only when it is handed out. */
void number(Snapshot &snapshot, size_t offset, uint32_t value) {
    std::memcpy(snapshot.info.data() + offset, &value, sizeof value);
}

} // namespace

Snapshots::Snapshots(struct ev_loop *loop) : loop_(loop) {
    ev_async_init(&done_watcher_, on_done);
    done_watcher_.data = this;
    ev_async_start(loop_, &done_watcher_);
    thread_ = std::thread([this] { work(); });
}

Snapshots::~Snapshots() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ending_ = true;
        changed_.notify_all();
    }
    thread_.join();
    ev_async_stop(loop_, &done_watcher_);
    gst_clear_buffer(&latest_.buffer);
    gst_clear_caps(&latest_.caps);
}

int32_t Snapshots::take_jpeg(int32_t width, int32_t height, size_t capacity, Finish finish) {
    return submit({true, width, height, capacity, 0, 0, std::move(finish)}, jpeg_patience_ms);
}

int32_t Snapshots::take_raw(int32_t fps, Finish finish) {
    return submit({false, raw_width, raw_height, raw_frame_bytes, 0, 0, std::move(finish)},
                  std::max(raw_patience_ms, 1500 / fps));
}

int32_t Snapshots::submit(Job job, int32_t patience_ms) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (jobs_.size() >= snapshots_max) {
        return -EAGAIN;
    }
    job.after = latest_.number;
    job.deadline_us = monotonic_us() + static_cast<uint64_t>(patience_ms) * us_per_ms;
    jobs_.push_back(std::move(job));
    changed_.notify_all();
    return 0;
}

void Snapshots::offer(GstBuffer *buffer, GstCaps *caps) {
    const std::lock_guard<std::mutex> lock(mutex_);
    gst_buffer_replace(&latest_.buffer, buffer);
    gst_caps_replace(&latest_.caps, caps);
    ++latest_.number;
    if (!jobs_.empty()) {
        changed_.notify_all();
    }
}

void Snapshots::cancel() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++generation_;
    gst_clear_buffer(&latest_.buffer);
    gst_clear_caps(&latest_.caps);
    for (Job &job : jobs_) {
        done_.push_back({std::move(job), failure(-ECANCELED)});
    }
    jobs_.clear();
    ev_async_send(loop_, &done_watcher_);
}

void Snapshots::work() {
    Lock lock(mutex_);
    while (!ending_) {
        const uint64_t now_us = monotonic_us();
        const auto due = due_job(now_us);
        if (due == jobs_.end()) {
            wait_for_more(lock, now_us);
            continue;
        }
        Job job = std::move(*due);
        jobs_.erase(due);
        perform(lock, std::move(job));
    }
}

/* The first whose frame has come, or whose time is up. */
std::deque<Snapshots::Job>::iterator Snapshots::due_job(uint64_t now_us) {
    return std::find_if(jobs_.begin(), jobs_.end(), [&](const Job &job) {
        return job.after != latest_.number || job.deadline_us <= now_us;
    });
}

void Snapshots::wait_for_more(Lock &lock, uint64_t now_us) {
    if (jobs_.empty()) {
        changed_.wait(lock);
        return;
    }
    const auto first = std::min_element(jobs_.begin(), jobs_.end(), [](const Job &one, const Job &other) {
        return one.deadline_us < other.deadline_us;
    });
    changed_.wait_for(lock, std::chrono::microseconds(first->deadline_us - now_us));
}

/* Makes it, without the lock meanwhile. */
void Snapshots::perform(Lock &lock, Job job) {
    const uint32_t generation = generation_;
    const bool is_next = job.after != latest_.number;
    GstBuffer *buffer = latest_.buffer != nullptr ? gst_buffer_ref(latest_.buffer) : nullptr;
    GstCaps *caps = latest_.caps != nullptr ? gst_caps_ref(latest_.caps) : nullptr;
    lock.unlock();
    Snapshot snapshot = failure(-ETIMEDOUT);
    const uint64_t timestamp_us = buffer != nullptr ? buffer_time(buffer) / us_per_ms : 0;
    const bool fresh = monotonic_us() < timestamp_us + frame_fresh_ms * us_per_ms;
    if (buffer != nullptr && (is_next || (job.jpeg && fresh))) {
        Image image =
            scaled(buffer, caps, job.width, job.height, job.jpeg ? Shape::bordered : Shape::stretched);
        const bool good = !image.bytes.empty();
        snapshot = !good      ? failure(-EIO)
                   : job.jpeg ? jpeg_of(std::move(image), job.capacity, timestamp_us)
                              : raw_of(std::move(image), timestamp_us);
    }
    gst_clear_buffer(&buffer);
    gst_clear_caps(&caps);
    lock.lock();
    done_.push_back({std::move(job), generation == generation_ ? std::move(snapshot) : failure(-ECANCELED)});
    ev_async_send(loop_, &done_watcher_);
}

void Snapshots::on_done(struct ev_loop * /*loop*/, ev_async *watcher, int /*events*/) {
    static_cast<Snapshots *>(watcher->data)->deliver();
}

void Snapshots::deliver() {
    std::deque<Done> done;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        done.swap(done_);
    }
    for (Done &one : done) {
        if (one.snapshot.result >= 0 && one.job.jpeg) {
            number(one.snapshot, offsetof(VideoFrameInfo, seq), jpegs_++);
        } else if (one.snapshot.result >= 0) {
            number(one.snapshot, offsetof(RawFrameInfo, board12), raws_++);
        }
        one.job.finish(one.snapshot);
    }
}

} // namespace board
