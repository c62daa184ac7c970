#include "support/socket_names.h"

#include "support/eventually.h"

#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace support {

namespace {

bool write_file(const char *path, const std::string &text) {
    const int fd = open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const bool good = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return good;
}

/* A user keeps the own number inside; without this everybody is "nobody" there. */
void keep_identity(uid_t user, gid_t group) {
    const std::string same_user = std::to_string(user) + " " + std::to_string(user) + " 1";
    const std::string same_group = std::to_string(group) + " " + std::to_string(group) + " 1";
    if (!write_file("/proc/self/setgroups", "deny") || !write_file("/proc/self/uid_map", same_user) ||
        !write_file("/proc/self/gid_map", same_group)) {
        throw std::runtime_error("the kernel gives a user namespace, but no users for it");
    }
}

bool leave_for_own_namespace() {
    constexpr int names = CLONE_NEWNET | CLONE_NEWIPC;
    if (unshare(names) == 0) {
        return true;
    }
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(CLONE_NEWUSER | names) != 0) {
        return false;
    }
    keep_identity(user, group);
    return true;
}

std::shared_ptr<const int> wait_for_turn() {
    int fd = -1;
    const auto has_turn = [&fd] {
        fd = take_turn();
        return fd >= 0;
    };
    if (!eventually(has_turn, 10min)) {
        throw std::runtime_error("another test uses the command socket for ever: find it in ss -lx");
    }
    return {new int(fd), [](const int *turn) {
                close(*turn);
                delete turn;
            }};
}

} // namespace

int take_turn() {
    constexpr char name[] = "strell-test-turn";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name, sizeof name);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

OwnSocketNames::OwnSocketNames() {
    static const bool has_own = leave_for_own_namespace();
    if (!has_own) {
        static std::weak_ptr<const int> of_process;
        turn_ = of_process.expired() ? wait_for_turn() : of_process.lock();
        of_process = turn_;
    }
}

} // namespace support
