#include "platform/board/fake_board.h"

#include "board/analytics_protocol.h"
#include "board/client/control_call.h"
#include "libshbf.h"
#include "run_dir/run_dir.h"

#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace fake {

using namespace board;

FakeBoard::FakeBoard(double init_delay_s)
    : loop_(ev_loop_new(EVFLAG_AUTO)), listener_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)),
      init_delay_s_(init_delay_s) {
    ev_timer_init(&delay_, on_delay, 0., 0.);
    delay_.data = this;
    sockaddr_un address{};
    const int length = run_dir_address(control_path, &address);
    if (bind(listener_, reinterpret_cast<sockaddr *>(&address), static_cast<socklen_t>(length)) != 0 ||
        listen(listener_, 1) != 0) {
        throw std::runtime_error("cannot listen");
    }
    ev_io_init(&listener_watcher_, on_listener, listener_, EV_READ);
    listener_watcher_.data = this;
    ev_io_start(loop_, &listener_watcher_);
    ev_async_init(&stop_, on_stop);
    ev_async_start(loop_, &stop_);
    for (int32_t i = 0; i < venc_channels; ++i) {
        channels_[i] = shbfev_brd_create(venc_paths[i]);
        shbfev_brd_event(channels_[i], SHBFEV_MESSAGE, SHBFEV_CALLBACK(on_message), this);
        if (shbfev_brd_start(loop_, channels_[i]) < 0) {
            throw std::runtime_error("cannot serve a channel");
        }
    }
    microphone_ = shbfev_brd_create(mic_path);
    if (shbfev_brd_start(loop_, microphone_) < 0) {
        throw std::runtime_error("cannot serve the microphone");
    }
    analytics_ = shbfev_brd_create(algo_path);
    if (shbfev_brd_start(loop_, analytics_) < 0) {
        throw std::runtime_error("cannot serve the analytics");
    }
    thread_ = std::thread([this] { ev_run(loop_, 0); });
}

FakeBoard::~FakeBoard() {
    ev_async_send(loop_, &stop_);
    thread_.join();
    ev_timer_stop(loop_, &delay_);
    for (shbfev_brd_t *channel : channels_) {
        shbfev_brd_destroy(channel);
    }
    shbfev_brd_destroy(microphone_);
    shbfev_brd_destroy(analytics_);
    close(listener_);
    if (connection_watcher_.data != nullptr) {
        close(connection_watcher_.fd);
    }
    ev_loop_destroy(loop_);
}

void FakeBoard::on_stop(struct ev_loop *loop, ev_async * /*watcher*/, int /*events*/) {
    ev_break(loop, EVBREAK_ALL);
}

void FakeBoard::on_listener(struct ev_loop *loop, ev_io *watcher, int /*events*/) {
    auto *self = static_cast<FakeBoard *>(watcher->data);
    const int fd = accept4(self->listener_, nullptr, nullptr, SOCK_CLOEXEC);
    ev_io_init(&self->connection_watcher_, on_connection, fd, EV_READ);
    self->connection_watcher_.data = self;
    ev_io_start(loop, &self->connection_watcher_);
}

void FakeBoard::on_connection(struct ev_loop *loop, ev_io *watcher, int /*events*/) {
    ControlRequest request{};
    if (recv(watcher->fd, &request, sizeof request, 0) < static_cast<ssize_t>(sizeof request)) {
        ev_io_stop(loop, watcher);
        return;
    }
    auto *self = static_cast<FakeBoard *>(watcher->data);
    if (request.op != op_system_init || self->init_delay_s_ <= 0) {
        self->answer(request);
        return;
    }
    self->delayed_ = request;
    ev_now_update(loop);
    ev_timer_set(&self->delay_, self->init_delay_s_, 0.);
    ev_timer_start(loop, &self->delay_);
}

void FakeBoard::on_delay(struct ev_loop * /*loop*/, ev_timer *timer, int /*events*/) {
    const auto *self = static_cast<FakeBoard *>(timer->data);
    self->answer(self->delayed_);
}

void FakeBoard::answer(const ControlRequest &request) const {
    const ControlReply reply = {control_magic, request.op, request.id, 0};
    send(connection_watcher_.fd, &reply, sizeof reply, MSG_NOSIGNAL);
}

int32_t FakeBoard::on_message(void *self, int32_t /*receiver*/, const void *bytes, int32_t length) {
    auto *fake = static_cast<FakeBoard *>(self);
    const std::lock_guard<std::mutex> lock(fake->mutex_);
    fake->messages_.emplace_back(static_cast<const char *>(bytes), static_cast<size_t>(length));
    return 0;
}

void FakeBoard::publish_on(shbfev_brd_t *channel, const std::string &bytes) {
    void *buffer = shbfev_brd_alloc(channel, static_cast<uint32_t>(bytes.size()));
    if (buffer == nullptr) {
        throw std::runtime_error("the channel is full");
    }
    std::memcpy(buffer, bytes.data(), bytes.size());
    shbfev_brd_broadcast(channel, buffer);
}

void FakeBoard::publish_message(const std::string &bytes) {
    shbfev_brd_broadcast_message(channels_[0], bytes.data(), static_cast<int32_t>(bytes.size()));
}

std::vector<std::string> FakeBoard::messages() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return messages_;
}

VencRecord frame_record(uint32_t seq, uint32_t length) {
    VencRecord record{};
    record.magic = venc_magic;
    record.kind = venc_frame;
    record.published_us = monotonic_us();
    record.info.seq = seq;
    record.info.len = length;
    return record;
}

MicRecord block_record(uint32_t length, uint64_t timestamp_us) {
    MicRecord record{};
    record.magic = mic_magic;
    record.kind = venc_frame;
    record.published_us = monotonic_us();
    record.info.timestamp_us = timestamp_us;
    record.info.len = length;
    return record;
}

} // namespace fake
