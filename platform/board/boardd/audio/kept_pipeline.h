/*
 * A pipeline that is kept going: one that fails is started again after a second, one that comes to its end (a
 * file) at once. Threads: the loop thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_KEPT_PIPELINE_H
#define PLATFORM_BOARD_BOARDD_AUDIO_KEPT_PIPELINE_H

#include "board/boardd/pipeline.h"

#include <memory>

namespace board {

class KeptPipeline {
  public:
    /* Makes what is to run, and starts it: a pipeline with what belongs to it. Destroying it stops it. Throws
     * std::runtime_error when it cannot be put together. */
    using Make = std::function<std::shared_ptr<void>(Pipeline::Callbacks callbacks)>;

    /* `name` is for people. Nothing runs yet. */
    KeptPipeline(struct ev_loop *loop, std::string name, Make make);
    ~KeptPipeline();
    KeptPipeline(const KeptPipeline &) = delete;
    KeptPipeline &operator=(const KeptPipeline &) = delete;

    void start();
    void stop();

    /* Why it does not run; empty once it has run for a while, or when it was not started. */
    std::string error() const;

  private:
    static void on_retry(struct ev_loop *loop, ev_timer *watcher, int events);
    void begin();
    void failed(const std::string &why);
    void ended();

    struct ev_loop *loop_;
    std::string name_;
    Make make_;
    std::shared_ptr<void> running_;
    ev_tstamp began_ = 0;
    ev_timer retry_{};
    std::string error_;
};

} // namespace board

#endif
