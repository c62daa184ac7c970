#include "board/boardd/picture/memory_file.h"

#include <cerrno>
#include <sys/mman.h>
#include <unistd.h>

namespace board {

MemoryFile::MemoryFile(std::span<const uint8_t> bytes) : fd_(memfd_create("boardd_picture", MFD_CLOEXEC)) {
    if (fd_ < 0) {
        fd_ = -errno;
        return;
    }
    while (!bytes.empty()) {
        const ssize_t written = write(fd_, bytes.data(), bytes.size());
        if (written <= 0) {
            const int error = written < 0 ? errno : ENOSPC;
            close(fd_);
            fd_ = -error;
            return;
        }
        bytes = bytes.subspan(static_cast<size_t>(written));
    }
}

MemoryFile::~MemoryFile() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

} // namespace board
