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

constexpr int lock_wait_ms = 200;
constexpr int retry_ms = 5;

void pause_before_retry() {
    const timespec pause = {0, retry_ms * 1000000L};
    nanosleep(&pause, nullptr);
}

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

/* Anybody who may open the directory may hold its lock for as long as he likes. */
int lock_for_a_moment(int fd) {
    for (int waited_ms = 0; flock(fd, LOCK_EX | LOCK_NB) != 0; waited_ms += retry_ms) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return -errno;
        }
        if (waited_ms >= lock_wait_ms) {
            return -EBUSY;
        }
        pause_before_retry();
    }
    return 0;
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
    const int result = lock_for_a_moment(fd);
    if (result < 0) {
        close(fd);
        return result;
    }
    return fd;
}

// ---- mode and group of a socket's file ----
//
// A socket's file must at no instant be more open than it was asked for, and the umask, which belongs to the
// whole process, cannot be used for that where other threads make files. Linux gives two better means. bind
// creates the file with the mode of the socket's own inode less the umask (unix_bind in net/unix/af_unix.c,
// before Linux 2.6 already), and fchmod on the unbound socket sets that. And as long as listen has not been
// called, connect answers ECONNREFUSED to everybody (unix_stream_connect, the same file): so what the umask
// took away, and the group, can be set between bind and listen. The file is changed through a descriptor of
// its own, never by its path, which somebody who may write to the directory could turn elsewhere meanwhile.

constexpr mode_t mode_bits = 07777;
constexpr mode_t owner_bits = 0700;

bool gives_access(const RunDirAccess &access) {
    return access.mode >= 0 || access.group != static_cast<gid_t>(-1);
}

/* chmod through an O_PATH descriptor, which fchmod does not take. */
bool change_mode(int file, mode_t mode) {
    char link[32];
    snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    return chmod(link, mode) == 0;
}

bool apply_access(int file, const RunDirAccess &access) {
    struct stat status;
    if (fstat(file, &status) != 0 || !S_ISSOCK(status.st_mode) || status.st_uid != geteuid() ||
        status.st_nlink != 1) {
        return false; // not the one that bind made
    }
    if (access.group != static_cast<gid_t>(-1) &&
        fchownat(file, "", static_cast<uid_t>(-1), access.group, AT_EMPTY_PATH) != 0) {
        return false;
    }
    const mode_t mode = static_cast<mode_t>(access.mode);
    return access.mode < 0 || (status.st_mode & mode_bits) == mode || change_mode(file, mode);
}

/* Mode and group of the file of a socket that is bound and does not listen yet. */
int give_access(const sockaddr_un *address, const RunDirAccess &access) {
    const int file = open(address->sun_path, O_PATH | O_NOFOLLOW | O_CLOEXEC);
    const bool given = file >= 0 && apply_access(file, access);
    if (file >= 0) {
        close(file);
    }
    return given ? 0 : -EPERM;
}

// The C library's headers may be older than the option.
#ifndef SO_PASSRIGHTS
#define SO_PASSRIGHTS 83
#endif

/* The last close of a descriptor may wait, as that of a TCP socket that lingers does: whoever could hand some
 * over could stop the server in its tracks. Connections inherit it. Kernels before 6.16 do not know it. */
void take_no_descriptors(int fd) {
    const int no = 0;
    setsockopt(fd, SOL_SOCKET, SO_PASSRIGHTS, &no, sizeof no);
}

int bind_and_listen(int fd, const sockaddr_un *address, socklen_t length, int backlog,
                    const RunDirAccess &access) {
    take_no_descriptors(fd);
    if (access.mode >= 0 && fchmod(fd, static_cast<mode_t>(access.mode) & owner_bits) != 0) {
        return -EPERM;
    }
    if (bind(fd, generic(address), length) != 0) {
        return -errno;
    }
    int result = gives_access(access) ? give_access(address, access) : 0;
    if (result == 0 && listen(fd, backlog) != 0) {
        result = -errno;
    }
    if (result < 0) {
        unlink(address->sun_path);
    }
    return result;
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

int run_dir_listen(const char *path, int type, int backlog, const RunDirAccess &access) {
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
        const int fd = socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        result =
            fd < 0 ? -errno : bind_and_listen(fd, &address, static_cast<socklen_t>(length), backlog, access);
        if (fd >= 0 && result < 0) {
            close(fd);
        }
        result = result < 0 ? result : fd;
    }
    close(directory);
    return result;
}

const char *run_dir_listen_problem(int error) {
    switch (-error) {
    case EADDRINUSE:
        return "another process is alive and serves it: end that one first, or set STRELL_RUN_DIR";
    case EEXIST:
        return "something that is no socket is in the way: move it away";
    case EBUSY:
        return "another process holds a lock on its directory: end that one first (lslocks shows it)";
    case EPERM:
        return "this user may not make it: run as another, or set STRELL_RUN_DIR to a directory of its own";
    case ENAMETOOLONG:
        return "the path in STRELL_RUN_DIR is too long for a socket: take a shorter one";
    default:
        return strerror(-error);
    }
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
        pause_before_retry();
        timeout_ms -= retry_ms;
    }
    const int flags = fcntl(fd, F_GETFL);
    fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    return fd;
}
