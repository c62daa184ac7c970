#include "strellctl/interrupt.h"

#include "strellctl/failure.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace ctl {

namespace {

constexpr std::array signals = {SIGINT, SIGTERM, SIGHUP};

int event_fd = -1;

void on_signal(int /*number*/) {
    const int error = errno;
    eventfd_write(event_fd, 1);
    errno = error;
}

void set_action(void (*handler)(int), int flags) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    for (const int number : signals) {
        sigaction(number, &action, nullptr);
    }
}

} // namespace

Interrupt::Interrupt() {
    event_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (event_fd < 0) {
        throw Failure("no file descriptor is left for this process: see ulimit -n");
    }
    set_action(on_signal, static_cast<int>(SA_RESETHAND | SA_RESTART));
}

Interrupt::~Interrupt() {
    set_action(SIG_DFL, 0);
    close(event_fd);
    event_fd = -1;
}

int Interrupt::fd() const {
    return event_fd;
}

bool Interrupt::happened() const {
    pollfd entry = {event_fd, POLLIN, 0};
    return poll(&entry, 1, 0) == 1;
}

} // namespace ctl
