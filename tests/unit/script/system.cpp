// Stand-ins for the system: time, signals, threads, the end of the process; and the libev loop, which is the
// real one, journalled. Put in place of the real ones by the linker (--wrap), for the daemon's objects and
// the tests only.

#include "control/message_queue.h"
#include "script/script.h"

#include <csignal>
#include <ev.h>
#include <json-c/json.h>
#include <sys/prctl.h>
#include <sys/time.h>
#include <unistd.h>

using script::current;
using script::format;

namespace script {

const char *name_of(const struct ev_loop *loop) {
    if (loop == nullptr) {
        return "no loop";
    }
    return loop == ev_default_loop_uc_() ? "default loop" : "another loop";
}

void pass(uint64_t us) {
    Script &script = current();
    script.now_us += us;
    if (script.alarm_at_us != 0 && script.now_us >= script.alarm_at_us) {
        script.alarm_at_us = 0;
        script.signal_handlers.at(SIGALRM)(SIGALRM);
    }
}

} // namespace script

extern "C" int __real_usleep(useconds_t us);

namespace {

void fall_asleep(uint64_t us) {
    if (current().threads_are_real) {
        __real_usleep(static_cast<useconds_t>(us / 1000));
    } else {
        script::pass(us);
    }
}

} // namespace

extern "C" {

int __wrap_usleep(useconds_t us) {
    fall_asleep(us);
    current().write(format("usleep(%u)", us));
    return 0;
}

unsigned __wrap_sleep(unsigned seconds) {
    fall_asleep(uint64_t{seconds} * 1000000);
    current().write(format("sleep(%u)", seconds));
    return 0;
}

unsigned __wrap_alarm(unsigned seconds) {
    current().alarm_at_us = seconds == 0 ? 0 : current().now_us + uint64_t{seconds} * 1000000;
    current().write(format("alarm(%u)", seconds));
    return 0;
}

int __wrap_gettimeofday(timeval *now, void * /*zone*/) {
    now->tv_sec = static_cast<time_t>(current().now_us / 1000000);
    now->tv_usec = static_cast<suseconds_t>(current().now_us % 1000000);
    return 0;
}

void *__real_malloc(size_t size);

void *__wrap_malloc(size_t size) {
    if (script::running() && current().malloc_fails.count(++current().mallocs) > 0) {
        return nullptr;
    }
    return __real_malloc(size);
}

json_object *__real_json_object_new_object(void);

json_object *__wrap_json_object_new_object(void) {
    return current().json_objects ? __real_json_object_new_object() : nullptr;
}

int __wrap_kill(pid_t pid, int number) {
    current().write(format("kill(%s, %d)", pid == getpid() ? "self" : "other", number));
    return current().kill_result;
}

int __wrap_prctl(int option, const char *name) {
    current().write(format("prctl(%s, %s)", option == PR_SET_NAME ? "PR_SET_NAME" : "?", name));
    return current().prctl_result;
}

sighandler_t __wrap_signal(int number, sighandler_t handler) {
    const char *what = handler == SIG_IGN ? "SIG_IGN" : handler == SIG_DFL ? "SIG_DFL" : "handler";
    current().signal_handlers[number] = handler;
    current().write(format("signal(%d, %s)", number, what));
    return number == SIGKILL ? SIG_ERR : SIG_DFL;
}

[[noreturn]] void __wrap_exit(int status) {
    current().write(format("exit(%d)", status));
    throw script::Exited{status};
}

int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *),
                          void *argument);

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *),
                          void *argument) {
    script::Script &script = current();
    script.threads.push_back({body, argument});
    const auto planned = script.pthread_create_results.find(script.threads.size());
    const int result = planned == script.pthread_create_results.end() ? 0 : planned->second;
    *thread = static_cast<pthread_t>(script.threads.size());
    script.write(
        format("pthread_create(%zu, %s)", script.threads.size(), attributes == nullptr ? "default" : "?"));
    if (script.threads_are_real && result == 0) {
        return __real_pthread_create(thread, attributes, body, argument);
    }
    return result;
}

int __real_pthread_join(pthread_t thread, void **result);

int __wrap_pthread_join(pthread_t thread, void **result) {
    const int planned = script::answer("pthread_join", std::to_string(thread));
    return current().threads_are_real ? __real_pthread_join(thread, result) : planned;
}

int __wrap_pthread_detach(pthread_t thread) {
    current().write(format("pthread_detach(%lu)", static_cast<unsigned long>(thread)));
    return 0;
}

int __real_pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex);

int __wrap_pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex) {
    if (current().threads_are_real) {
        return __real_pthread_cond_wait(condition, mutex);
    }
    pthread_mutex_unlock(mutex);
    current().write("pthread_cond_wait()");
    pthread_mutex_lock(mutex);
    return 0;
}

int __real_pthread_cond_signal(pthread_cond_t *condition);

int __wrap_pthread_cond_signal(pthread_cond_t *condition) {
    if (condition == &play_queue.condition) {
        ++current().cond_signals;
        if (pthread_mutex_trylock(&play_queue.mutex) == 0) {
            pthread_mutex_unlock(&play_queue.mutex);
            ++current().cond_signals_unlocked;
        }
    }
    return __real_pthread_cond_signal(condition);
}

int __real_pthread_mutexattr_settype(pthread_mutexattr_t *attributes, int type);

int __wrap_pthread_mutexattr_settype(pthread_mutexattr_t *attributes, int type) {
    current().mutex_type = type;
    return __real_pthread_mutexattr_settype(attributes, type);
}

int __real_ev_run(struct ev_loop *loop, int flags);
void __real_ev_break(struct ev_loop *loop, int how);
void __real_ev_async_send(struct ev_loop *loop, ev_async *watcher);
void __real_ev_loop_destroy(struct ev_loop *loop);

int __wrap_ev_run(struct ev_loop *loop, int flags) {
    current().write(format("ev_run(%s, %d)", script::name_of(loop), flags));
    return __real_ev_run(loop, flags);
}

void __wrap_ev_break(struct ev_loop *loop, int how) {
    const char *what = how == EVBREAK_ALL ? "EVBREAK_ALL" : how == EVBREAK_ONE ? "EVBREAK_ONE" : "?";
    current().write(format("ev_break(%s, %s)", script::name_of(loop), what));
    __real_ev_break(loop, how);
}

void __wrap_ev_async_send(struct ev_loop *loop, ev_async *watcher) {
    current().write(format("ev_async_send(%s)", script::name_of(loop)));
    __real_ev_async_send(loop, watcher);
}

void __wrap_ev_loop_destroy(struct ev_loop *loop) {
    current().write(format("ev_loop_destroy(%s)", script::name_of(loop)));
    __real_ev_loop_destroy(loop);
}

} // extern "C"
