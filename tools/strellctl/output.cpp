#include "strellctl/output.h"

#include "strellctl/failure.h"

#include <cerrno>
#include <cstring>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace ctl {

namespace {

/* 0, or the errno value of the write that failed. */
int write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        text.remove_prefix(static_cast<size_t>(written < 0 ? 0 : written));
    }
    return 0;
}

} // namespace

void print(const std::string &text) {
    const int error = write_all(STDOUT_FILENO, text);
    if (error == EPIPE) {
        throw OutputClosed();
    }
    if (error != 0) {
        throw Failure(std::string("cannot write to standard output: ") + std::strerror(error));
    }
}

void print_line(const std::string &text) {
    print(text + "\n");
}

void notice(const std::string &text) {
    write_all(STDERR_FILENO, "strellctl: " + text + "\n");
}

bool is_terminal(int fd) {
    return isatty(fd) == 1;
}

size_t terminal_columns(int fd) {
    constexpr size_t usual_columns = 80;
    winsize size{};
    return ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual_columns;
}

} // namespace ctl
