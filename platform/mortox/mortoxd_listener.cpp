#include "mortox/mortoxd_listener.h"

#include "mortox/mortoxd_report.h"
#include "mortox/wire.h"
#include "run_dir/run_dir.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int waiting_connections_max = 64;

[[noreturn]] void cannot_serve(const std::string &what, int error) {
    throw StartError(ExitCode::cannot_serve, what + ": " + strerror(error));
}

[[noreturn]] void already_served(const std::string &path) {
    throw StartError(ExitCode::already_served,
                     "another mortoxd is alive and serves " + path +
                         ": end it first, or set STRELL_RUN_DIR for a store of your own");
}

int lock_beside(const std::string &path) {
    const std::string lock_path = path + ".lock";
    const int fd = open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        cannot_serve("cannot make " + lock_path, errno);
    }
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        close(fd);
        if (error == EWOULDBLOCK) {
            already_served(path);
        }
        cannot_serve("cannot lock " + lock_path, error);
    }
    return fd;
}

// Also asks at the socket itself: somebody may have removed the lock file of a living server.
void remove_stale(const sockaddr_un &address, socklen_t address_bytes) {
    const std::string path = address.sun_path;
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return;
    }
    if (!S_ISSOCK(status.st_mode)) {
        throw StartError(ExitCode::cannot_serve, path + " is in the way and is no socket: move it away");
    }
    const int probe = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int result = connect(probe, reinterpret_cast<const sockaddr *>(&address), address_bytes);
    const bool alive = result == 0 || errno == EAGAIN;
    close(probe);
    if (alive) {
        already_served(path);
    }
    unlink(path.c_str());
}

} // namespace

Listener::Listener() {
    sockaddr_un address;
    const int result = run_dir_address(wire::socket_path, &address);
    if (result < 0) {
        cannot_serve("the path of the socket under STRELL_RUN_DIR does not do", -result);
    }
    const auto address_bytes = static_cast<socklen_t>(result);
    path_ = address.sun_path;
    lock_ = lock_beside(path_);
    try {
        remove_stale(address, address_bytes);
        fd_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (fd_ < 0 || bind(fd_, reinterpret_cast<const sockaddr *>(&address), address_bytes) != 0 ||
            listen(fd_, waiting_connections_max) != 0) {
            cannot_serve("cannot listen on " + path_, errno);
        }
    } catch (...) {
        close(fd_);
        close(lock_);
        throw;
    }
}

Listener::~Listener() {
    unlink(path_.c_str());
    close(fd_);
    close(lock_);
}
