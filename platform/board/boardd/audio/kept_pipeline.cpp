#include "board/boardd/audio/kept_pipeline.h"

#include "board/boardd/log.h"

#include <stdexcept>
#include <utility>

namespace board {

namespace {

constexpr ev_tstamp retry_s = 1.0;
constexpr ev_tstamp settled_s = 2.0;      // a pipeline that has run for so long is well
constexpr ev_tstamp shortest_run_s = 0.1; // what ends sooner has brought nothing

} // namespace

KeptPipeline::KeptPipeline(struct ev_loop *loop, std::string name, Make make)
    : loop_(loop), name_(std::move(name)), make_(std::move(make)) {
    ev_timer_init(&retry_, on_retry, retry_s, 0.0);
    retry_.data = this;
}

KeptPipeline::~KeptPipeline() {
    stop();
}

void KeptPipeline::start() {
    begin();
}

void KeptPipeline::stop() {
    ev_timer_stop(loop_, &retry_);
    running_.reset();
    error_.clear();
}

void KeptPipeline::on_retry(struct ev_loop * /*loop*/, ev_timer *watcher, int /*events*/) {
    static_cast<KeptPipeline *>(watcher->data)->begin();
}

void KeptPipeline::begin() {
    began_ = ev_now(loop_);
    try {
        running_ = make_({[this](const std::string &why) { failed(why); }, [this] { ended(); }});
    } catch (const std::runtime_error &error) {
        failed(error.what());
    }
}

std::string KeptPipeline::error() const {
    return running_ != nullptr && ev_now(loop_) - began_ > settled_s ? "" : error_;
}

void KeptPipeline::failed(const std::string &why) {
    running_.reset();
    if (why != error()) {
        log_line("%s failed: %s", name_.c_str(), why.c_str());
    }
    error_ = why;
    ev_timer_set(&retry_, retry_s, 0.0);
    ev_timer_start(loop_, &retry_);
}

void KeptPipeline::ended() {
    if (ev_now(loop_) - began_ < shortest_run_s) {
        failed("it ended at once");
        return;
    }
    running_.reset();
    error_.clear();
    begin();
}

} // namespace board
