#include "run_dir/run_dir.h"

#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr char prefix[] = "/run/";
constexpr size_t prefix_length = sizeof prefix - 1;

const sockaddr *generic(const sockaddr_un *address) {
    return reinterpret_cast<const sockaddr *>(address);
}

/* Removes what a crashed process left at the address: 0, or why it must stay. */
int remove_stale(const sockaddr_un *address, socklen_t length, int type) {
    struct stat status;
    if (lstat(address->sun_path, &status) != 0) {
        return errno == ENOENT ? 0 : -errno;
    }
    if (!S_ISSOCK(status.st_mode)) {
        return -EEXIST;
    }
    const int probe = socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (probe < 0) {
        return -errno;
    }
    const bool refused = connect(probe, generic(address), length) != 0 && errno == ECONNREFUSED;
    close(probe);
    if (!refused) {
        return -EADDRINUSE;
    }
    return unlink(address->sun_path) == 0 || errno == ENOENT ? 0 : -errno;
}

/* The directory that holds the address, locked against others who look for stale sockets in it. */
int lock_directory(const sockaddr_un *address) {
    char directory[sizeof address->sun_path];
    memcpy(directory, address->sun_path, sizeof directory);
    char *slash = strrchr(directory, '/');
    *slash = '\0';
    const int fd = open(directory[0] == '\0' ? "/" : directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return -errno;
    }
    while (flock(fd, LOCK_EX) != 0) {
        if (errno != EINTR) {
            const int error = errno;
            close(fd);
            return -error;
        }
    }
    return fd;
}

} // namespace

int run_dir_address(const char *path, sockaddr_un *address) {
    if (path == nullptr || strncmp(path, prefix, prefix_length) != 0 || path[prefix_length] == '\0') {
        return -EINVAL;
    }
    const char *root = getenv("STRELL_RUN_DIR");
    if (root == nullptr || root[0] == '\0') {
        root = "/run";
    }
    memset(address, 0, sizeof *address);
    address->sun_family = AF_UNIX;
    const int length =
        snprintf(address->sun_path, sizeof address->sun_path, "%s/%s", root, path + prefix_length);
    if (length < 0 || static_cast<size_t>(length) >= sizeof address->sun_path) {
        return -ENAMETOOLONG;
    }
    return static_cast<int>(offsetof(sockaddr_un, sun_path)) + length + 1;
}

int run_dir_listen(const char *path, int type, int backlog) {
    sockaddr_un address;
    const int length = run_dir_address(path, &address);
    if (length < 0) {
        return length;
    }
    const int directory = lock_directory(&address);
    if (directory < 0) {
        return directory;
    }
    int result = remove_stale(&address, static_cast<socklen_t>(length), type);
    if (result == 0) {
        result = socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (result < 0 || bind(result, generic(&address), static_cast<socklen_t>(length)) != 0 ||
            listen(result, backlog) != 0) {
            const int error = errno;
            if (result >= 0) {
                close(result);
            }
            result = -error;
        }
    }
    close(directory);
    return result;
}

int run_dir_connect(const char *path, int type, int timeout_ms) {
    sockaddr_un address;
    const int length = run_dir_address(path, &address);
    if (length < 0) {
        return length;
    }
    const int fd = socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        return -errno;
    }
    // A Unix socket whose server's backlog is full says EAGAIN and offers nothing to poll for.
    constexpr int retry_ms = 5;
    int error = 0;
    while (connect(fd, generic(&address), static_cast<socklen_t>(length)) != 0) {
        error = errno;
        if (error == EINTR) {
            continue;
        }
        if (error != EAGAIN || timeout_ms <= 0) {
            close(fd);
            return error == EAGAIN ? -ETIMEDOUT : -error;
        }
        const timespec pause = {0, retry_ms * 1000000L};
        nanosleep(&pause, nullptr);
        timeout_ms -= retry_ms;
    }
    const int flags = fcntl(fd, F_GETFL);
    fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    return fd;
}
