/*
 * A libev loop on a thread of its own, for the tests of libraries that live on a loop: the test's thread
 * posts work to it and waits for the result.
 */
#ifndef TESTS_SUPPORT_LOOP_THREAD_H
#define TESTS_SUPPORT_LOOP_THREAD_H

#include <deque>
#include <ev.h>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

namespace support {

class LoopThread {
  public:
    LoopThread() : loop_(ev_loop_new(EVFLAG_AUTO)) {
        ev_async_init(&async_, [](struct ev_loop *, ev_async *watcher, int) {
            static_cast<LoopThread *>(watcher->data)->work();
        });
        async_.data = this;
        ev_async_start(loop_, &async_);
        thread_ = std::thread([this] { ev_run(loop_, 0); });
    }

    /* Ends the loop after the work that was posted. What lives on the loop must be gone by then. */
    ~LoopThread() {
        call([this] {
            ev_async_stop(loop_, &async_);
            ev_break(loop_, EVBREAK_ALL);
        });
        thread_.join();
        ev_loop_destroy(loop_);
    }
    LoopThread(const LoopThread &) = delete;
    LoopThread &operator=(const LoopThread &) = delete;

    struct ev_loop *loop() {
        return loop_;
    }

    /* Runs `function` on the loop's thread and returns its result. */
    template <typename Function>
    auto call(Function function) -> decltype(function()) {
        std::packaged_task<decltype(function())()> task(std::move(function));
        auto result = task.get_future();
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            tasks_.emplace_back([&task] { task(); });
        }
        ev_async_send(loop_, &async_);
        return result.get();
    }

  private:
    void work() {
        for (;;) {
            std::function<void()> task;
            {
                const std::lock_guard<std::mutex> lock(mutex_);
                if (tasks_.empty()) {
                    return;
                }
                task = std::move(tasks_.front());
                tasks_.pop_front();
            }
            task();
        }
    }

    struct ev_loop *loop_;
    ev_async async_;
    std::mutex mutex_;
    std::deque<std::function<void()>> tasks_;
    std::thread thread_;
};

} // namespace support

#endif
