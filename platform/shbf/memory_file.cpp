#include "shbf/memory_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#ifndef F_SEAL_FUTURE_WRITE
#define F_SEAL_FUTURE_WRITE 0x0010
#endif

namespace shbf {

int memory_file_create(const char *name, uint32_t size) {
    const int fd = memfd_create(name, MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd < 0) {
        return -errno;
    }
    int allocated = EINTR;
    while (allocated == EINTR) {
        allocated = posix_fallocate(fd, 0, static_cast<off_t>(size));
    }
    if (allocated != 0) {
        close(fd);
        return -allocated;
    }
    if (fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW) != 0) {
        const int error = errno;
        close(fd);
        return -error;
    }
    return fd;
}

int memory_file_seal_for_readers(int fd) {
    // Kernels before 5.1 do not know the seal. There the file's mode keeps other users from opening the
    // descriptor again for writing, and nothing keeps this user's own processes and root from it.
    fcntl(fd, F_ADD_SEALS, F_SEAL_FUTURE_WRITE);
    fcntl(fd, F_ADD_SEALS, F_SEAL_SEAL);
    char path[32];
    snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
    const int readable = open(path, O_RDONLY | O_CLOEXEC);
    const int error = errno;
    fchmod(fd, 0);
    close(fd);
    return readable >= 0 ? readable : -error;
}

bool memory_file_is_safe(int fd, uint32_t size) {
    struct stat status;
    const int seals = fcntl(fd, F_GET_SEALS);
    return seals >= 0 && (seals & F_SEAL_SHRINK) != 0 && fstat(fd, &status) == 0 &&
           status.st_size >= static_cast<off_t>(size);
}

} // namespace shbf
