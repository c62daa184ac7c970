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

/* When a frame was captured. */
uint64_t time_us(GstBuffer *buffer) {
    return buffer_time(buffer) / 1000U;
}

Snapshot failure(int32_t result) {
    return {result, {}, {}};
}

Snapshot jpeg_snapshot(Bytes jpeg, uint64_t timestamp_us) {
    Snapshot snapshot = {0, {}, std::move(jpeg)};
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

Snapshot raw_snapshot(Image image, uint64_t timestamp_us) {
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

int32_t Snapshots::take_jpeg(const Wish &wish, Finish finish) {
    return submit({true, wish, 0, 0, std::move(finish)}, jpeg_patience_ms);
}

int32_t Snapshots::take_raw(int32_t fps, uint32_t changes, Finish finish) {
    return submit({false, {raw_width, raw_height, raw_frame_bytes, changes}, 0, 0, std::move(finish)},
                  std::max(raw_patience_ms, 1500 / fps));
}

int32_t Snapshots::submit(Job job, int32_t patience_ms) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (jobs_.size() >= snapshots_max) {
        return -EAGAIN;
    }
    const uint64_t now_us = monotonic_us();
    const bool last_is_current =
        latest_.buffer != nullptr && now_us < latest_.arrived_us + frame_current_ms * us_per_ms;
    job.after = job.jpeg && last_is_current ? latest_.number - 1 : latest_.number;
    job.deadline_us = now_us + static_cast<uint64_t>(patience_ms) * us_per_ms;
    jobs_.push_back(std::move(job));
    changed_.notify_all();
    return 0;
}

void Snapshots::offer(GstBuffer *buffer, GstCaps *caps, uint32_t changes) {
    const std::lock_guard<std::mutex> lock(mutex_);
    gst_buffer_replace(&latest_.buffer, buffer);
    gst_caps_replace(&latest_.caps, caps);
    ++latest_.number;
    latest_.changes = changes;
    latest_.arrived_us = monotonic_us();
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

/* Under the lock. Both numbers wrap. */
bool Snapshots::frame_came(const Job &job) const {
    const auto reaches = [](uint32_t one, uint32_t other) { return static_cast<int32_t>(one - other) >= 0; };
    return latest_.buffer != nullptr && reaches(latest_.number, job.after + 1) &&
           reaches(latest_.changes, job.wish.changes);
}

/* The first whose frame has come, or whose time is up. */
std::deque<Snapshots::Job>::iterator Snapshots::due_job(uint64_t now_us) {
    return std::find_if(jobs_.begin(), jobs_.end(),
                        [&](const Job &job) { return frame_came(job) || job.deadline_us <= now_us; });
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
    const bool fresh = monotonic_us() < latest_.arrived_us + frame_fresh_ms * us_per_ms;
    const bool good = latest_.buffer != nullptr && (frame_came(job) || (job.jpeg && fresh));
    GstBuffer *buffer = good ? gst_buffer_ref(latest_.buffer) : nullptr;
    GstCaps *caps = good ? gst_caps_ref(latest_.caps) : nullptr;
    lock.unlock();
    Snapshot snapshot = good ? made_of(job, buffer, caps) : failure(-ETIMEDOUT);
    gst_clear_buffer(&buffer);
    gst_clear_caps(&caps);
    lock.lock();
    done_.push_back({std::move(job), generation == generation_ ? std::move(snapshot) : failure(-ECANCELED)});
    ev_async_send(loop_, &done_watcher_);
}

/* The worker. */
Snapshot Snapshots::made_of(const Job &job, GstBuffer *buffer, GstCaps *caps) {
    const Wish &wish = job.wish;
    Image image =
        scaled(buffer, caps, wish.width, wish.height, job.jpeg ? Shape::bordered : Shape::stretched);
    if (image.bytes.empty()) {
        return failure(-EIO);
    }
    if (!job.jpeg) {
        return raw_snapshot(std::move(image), time_us(buffer));
    }
    use_full_range(image);
    return jpeg_snapshot(jpeg_within(wish.capacity, image, quality_), time_us(buffer));
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
