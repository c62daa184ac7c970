#include "raw_receiver.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <string>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace stress {

namespace {

constexpr int answer_ms = 1000;
constexpr int arena_ms = 20;

/* One packet of at most `capacity` bytes, and its descriptor. The length, or less than 0. */
ssize_t receive(int fd, void *packet, size_t capacity, int timeout_ms, int *passed) {
    pollfd poller = {fd, POLLIN, 0};
    if (poll(&poller, 1, timeout_ms) != 1) {
        return -1;
    }
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
    iovec part = {packet, capacity};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t length = recvmsg(fd, &message, MSG_DONTWAIT);
    const cmsghdr *header = length < 0 ? nullptr : CMSG_FIRSTHDR(&message);
    *passed = -1;
    if (header != nullptr && header->cmsg_type == SCM_RIGHTS) {
        memcpy(passed, CMSG_DATA(header), sizeof *passed);
    }
    return length;
}

bool map_page(RawReceiver *receiver) {
    void *memory =
        mmap(nullptr, shbf::link_page_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, receiver->page_fd, 0);
    receiver->page = memory == MAP_FAILED ? nullptr : static_cast<shbf::LinkPage *>(memory);
    return memory != MAP_FAILED;
}

void map_bell(RawReceiver *receiver) {
    void *memory = mmap(nullptr, shbf::bell_bytes, PROT_READ, MAP_SHARED, receiver->bell_fd, 0);
    receiver->bell = memory == MAP_FAILED ? nullptr : static_cast<const shbf::Bell *>(memory);
}

void map_arena(RawReceiver *receiver, uint32_t size) {
    void *memory = mmap(nullptr, size, PROT_READ, MAP_SHARED, receiver->arena_fd, 0);
    if (memory != MAP_FAILED) {
        receiver->arena = static_cast<const uint8_t *>(memory);
        receiver->arena_bytes = size;
    }
}

/* The bell and the arena, if the channel has them. */
void take_memory(RawReceiver *receiver) {
    for (int i = 0; i < 2; ++i) {
        shbf::ArenaPacket packet{};
        int passed = -1;
        if (receive(receiver->fd, &packet, sizeof packet, arena_ms, &passed) < 0) {
            return;
        }
        if (packet.kind == shbf::Kind::bell && receiver->bell_fd < 0) {
            receiver->bell_fd = passed;
            map_bell(receiver);
        } else if (packet.kind == shbf::Kind::arena && receiver->arena_fd < 0) {
            receiver->arena_fd = passed;
            map_arena(receiver, packet.size);
        } else if (passed >= 0) {
            close(passed);
        }
    }
}

} // namespace

int connect_raw(const char *path) {
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    // "/run" is where the test's run directory is.
    snprintf(address.sun_path, sizeof address.sun_path, "%s%s", getenv("STRELL_RUN_DIR"), path + 4);
    if (fd < 0 || connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

bool attach_raw(const char *path, uint32_t window, RawReceiver *receiver) {
    receiver->fd = connect_raw(path);
    const shbf::Hello hello = {shbf::Kind::hello,    shbf::wire_magic, shbf::wire_version,
                               shbf::Role::receiver, window,           0};
    shbf::Welcome welcome{};
    if (receiver->fd < 0 || send(receiver->fd, &hello, sizeof hello, MSG_NOSIGNAL) < 0 ||
        receive(receiver->fd, &welcome, sizeof welcome, answer_ms, &receiver->page_fd) !=
            static_cast<ssize_t>(sizeof welcome) ||
        welcome.kind != shbf::Kind::welcome || !map_page(receiver)) {
        detach_raw(receiver);
        return false;
    }
    receiver->index = welcome.index;
    take_memory(receiver);
    return true;
}

void detach_raw(RawReceiver *receiver) {
    for (const int fd : {receiver->fd, receiver->page_fd, receiver->arena_fd, receiver->bell_fd}) {
        if (fd >= 0) {
            close(fd);
        }
    }
    if (receiver->page != nullptr) {
        munmap(receiver->page, shbf::link_page_bytes);
    }
    if (receiver->bell != nullptr) {
        munmap(const_cast<shbf::Bell *>(receiver->bell), shbf::bell_bytes);
    }
    if (receiver->arena != nullptr) {
        munmap(const_cast<uint8_t *>(receiver->arena), receiver->arena_bytes);
    }
    *receiver = {};
}

bool send_raw(int fd, const void *bytes, size_t length, const int *descriptors, size_t count) {
    iovec part = {const_cast<void *>(bytes), length};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    std::vector<char> control(CMSG_SPACE(sizeof(int) * count) + sizeof(cmsghdr));
    if (count > 0) {
        message.msg_control = control.data();
        message.msg_controllen = CMSG_SPACE(sizeof(int) * count);
        cmsghdr *header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int) * count);
        memcpy(CMSG_DATA(header), descriptors, sizeof(int) * count);
    }
    return sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

} // namespace stress
