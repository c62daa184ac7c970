/*
 * Being told of changes in the settings store, on a libev loop (libmortoxev.h).
 *
 *     StoreWatch store([](const SettingName &name, const std::optional<std::string> &value) { ... });
 *     store.add(parse_setting_name("flip"));
 *     store.run(interrupt, 0);
 *
 * Goes on when the store restarts: what has changed meanwhile comes then. Threads: one.
 */
#ifndef STRELLCTL_STORE_WATCH_H
#define STRELLCTL_STORE_WATCH_H

#include "libmortox.h"
#include "strellctl/interrupt.h"
#include "strellctl/setting_name.h"

#include <exception>
#include <functional>
#include <optional>
#include <string>

struct ev_loop;

namespace ctl {

class StoreWatch {
  public:
    /* The value is nothing when the key was removed. Runs inside run(), and may throw. */
    using Changed = std::function<void(const SettingName &name, const std::optional<std::string> &value)>;

    /* Throws Failure when the store is not there. */
    explicit StoreWatch(Changed changed);
    ~StoreWatch();
    StoreWatch(const StoreWatch &) = delete;
    StoreWatch &operator=(const StoreWatch &) = delete;

    /* Both throw Failure when the store refuses. */
    void add(const SettingName &name);
    void set(const SettingName &name, const std::string &value);

    enum class End { stopped, interrupted, time_is_up };

    /* Until stop(), Ctrl-C or so many seconds (0: no end). Throws what `changed` has thrown. */
    End run(const Interrupt &interrupt, double timeout_s);

    /* From inside `changed`. */
    void stop() { end_with(End::stopped); }

  private:
    static void on_change(xresponse_t *response, void *user);
    void end_with(End end);

    Changed changed_;
    struct ev_loop *loop_;
    mortox_t *handle_;
    End end_ = End::stopped;
    std::exception_ptr failure_;
};

} // namespace ctl

#endif
