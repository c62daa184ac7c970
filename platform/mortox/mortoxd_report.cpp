#include "mortox/mortoxd_report.h"

#include <cerrno>
#include <unistd.h>

void report(const std::string &sentence) {
    const int saved_errno = errno;
    const std::string line = "mortoxd: " + sentence + "\n";
    // There is nobody to tell when the standard error is gone.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
    errno = saved_errno;
}
