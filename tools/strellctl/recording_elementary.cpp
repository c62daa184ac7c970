#include "strellctl/recording_elementary.h"

#include "strellctl/failure.h"
#include "strellctl/wording.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace ctl {

namespace {

constexpr mode_t file_mode = 0666; // as far as the umask lets it be

[[noreturn]] void fail(const std::string &path, const char *what) {
    throw Failure(std::string("cannot ") + what + " " + printable(path) + ": " + std::strerror(errno));
}

} // namespace

int create_file(const std::string &path) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, file_mode);
    if (fd < 0) {
        fail(path, "create");
    }
    return fd;
}

ElementaryRecording::ElementaryRecording(const std::string &path)
    : path_(path == "-" ? "standard output" : path),
      fd_(path == "-" ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0) : create_file(path)) {}

ElementaryRecording::~ElementaryRecording() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

void ElementaryRecording::write(std::string_view payload, uint64_t /*time_us*/) {
    std::string_view rest = payload;
    while (!rest.empty()) {
        const ssize_t count = ::write(fd_, rest.data(), rest.size());
        if (count < 0 && errno == EPIPE) {
            throw OutputClosed();
        }
        if (count < 0 && errno != EINTR) {
            const int error = errno;
            // Not on a pipe or a device: there it fails, and nothing can be taken back.
            static_cast<void>(ftruncate(fd_, written_bytes_) == 0);
            throw WriteFailure("cannot write " + printable(path_) + ": " + std::strerror(error) +
                               "; what came before is in it");
        }
        rest.remove_prefix(static_cast<size_t>(count < 0 ? 0 : count));
    }
    written_bytes_ += static_cast<int64_t>(payload.size());
}

void ElementaryRecording::rewrite(std::string_view beginning) {
    if (pwrite(fd_, beginning.data(), beginning.size(), 0) < 0 && errno != ESPIPE) {
        fail(path_, "complete");
    }
}

void ElementaryRecording::finish() {
    if (close(std::exchange(fd_, -1)) != 0) {
        fail(path_, "complete");
    }
}

} // namespace ctl
