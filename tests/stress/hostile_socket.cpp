#include "hostile.h"

#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace stress {

namespace {

constexpr uint32_t most_descriptors = 253; // that the system takes in one packet

/* Descriptors of many kinds, the connection itself among them. */
std::vector<int> some_descriptors(Hostile *hostile, const RawReceiver &receiver,
                                  const std::vector<int> &odd) {
    std::vector<int> result(hostile->random.one_in(8) ? most_descriptors : hostile->random.below(4));
    for (int &fd : result) {
        const uint32_t choice = hostile->random.below(static_cast<uint32_t>(odd.size()) + 3);
        fd = choice == 0                            ? receiver.fd
             : choice == 1 || receiver.arena_fd < 0 ? receiver.page_fd
             : choice == 2                          ? receiver.arena_fd
                                                    : odd[choice - 3];
    }
    return result;
}

struct Packet {
    std::vector<uint8_t> bytes;

    explicit Packet(Random *random) {
        constexpr uint32_t lengths[] = {0,  1,   3,    4,     11,    12,    13,    24,
                                        32, 100, 5000, 65547, 65548, 65549, 70000, 150000};
        bytes.resize(lengths[random->below(16)]);
        for (size_t i = 0; i + 4 <= bytes.size() && i < 64; i += 4) {
            put(i, random->one_in(2) ? random->below(9) : random->word());
        }
        if (random->one_in(2)) {
            put(0, static_cast<uint32_t>(shbf::Kind::message));
            put(4, static_cast<uint32_t>(bytes.size()) - 12 + (random->one_in(2) ? 0 : random->below(3) - 1));
        }
        if (random->one_in(10)) {
            put(0, static_cast<uint32_t>(shbf::Kind::hello));
            put(4, shbf::wire_magic);
            put(8, shbf::wire_version);
        }
    }
    void put(size_t offset, uint32_t value) {
        if (offset + 4 <= bytes.size()) {
            memcpy(&bytes[offset], &value, 4);
        }
    }
};

/* A pair of TCP sockets over the loopback; false when there is no such thing here. */
bool tcp_pair(int *here, int *there) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    *here = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    *there = -1;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    if (bind(listener, generic, length) == 0 && listen(listener, 1) == 0 &&
        getsockname(listener, generic, &length) == 0 && connect(*here, generic, length) == 0) {
        *there = accept(listener, nullptr, nullptr);
    }
    close(listener);
    if (*there < 0) {
        close(*here);
    }
    return *there >= 0;
}

/* Does the system know how to keep descriptors from the broadcaster? Linux does from 6.16 on. */
bool can_be_refused(int fd) {
    constexpr int so_passrights = 83;
    int value = 0;
    socklen_t length = sizeof value;
    return getsockopt(fd, SOL_SOCKET, so_passrights, &value, &length) == 0;
}

} // namespace

void talk_nonsense(Hostile *hostile) {
    const std::vector<int> odd = {open("/dev/null", O_RDONLY), open("/", O_PATH), epoll_create1(0),
                                  socket(AF_UNIX, SOCK_STREAM, 0)};
    for (;;) {
        RawReceiver receiver = hostile->attach();
        for (int i = 0; i < 50; ++i) {
            const Packet packet(&hostile->random);
            const std::vector<int> descriptors = some_descriptors(hostile, receiver, odd);
            if (!send_raw(receiver.fd, packet.bytes.data(), packet.bytes.size(), descriptors.data(),
                          descriptors.size())) {
                pause_us(200);
            }
        }
        if (hostile->random.one_in(2)) {
            shutdown(receiver.fd, hostile->random.one_in(2) ? SHUT_RD : SHUT_WR);
            pause_us(1000);
        }
        detach_raw(&receiver);
        // And the same without a Hello.
        const int fd = connect_raw(hostile->path);
        const Packet packet(&hostile->random);
        send_raw(fd, packet.bytes.data(), packet.bytes.size(), &fd, fd < 0 ? 0 : 1);
        close(fd);
    }
}

void flood(Hostile *hostile) {
    const RawReceiver receiver = hostile->attach();
    const int most = 1 << 30;
    setsockopt(receiver.fd, SOL_SOCKET, SO_SNDBUF, &most, sizeof most);
    std::vector<uint8_t> packet(sizeof(shbf::Message) + shbf::message_max);
    for (;;) {
        const uint32_t length = hostile->random.one_in(2) ? 0 : hostile->random.below(shbf::message_max + 1);
        const shbf::Message record = {shbf::Kind::message, length, hostile->random.word()};
        memcpy(packet.data(), &record, sizeof record);
        if (!send_raw(receiver.fd, packet.data(), sizeof record + length, nullptr, 0)) {
            pause_us(50);
        }
    }
}

void never_read(Hostile *hostile) {
    const RawReceiver receiver = hostile->attach();
    const int least = 1;
    setsockopt(receiver.fd, SOL_SOCKET, SO_RCVBUF, &least, sizeof least);
    uint32_t released = 0;
    for (;;) {
        receiver.page->asleep = shbf::asleep_on_socket;
        // It does release, so that there is a next frame to be woken for.
        for (; released != receiver.page->pushed.load(); ++released) {
            const shbf::Word *entry = receiver.page->ring[released % shbf::ring_entries];
            receiver.page->released[entry[2].load() % shbf::slots_max] = entry[3].load();
        }
        pause_us(50);
    }
}

void crowd_in(Hostile *hostile) {
    for (;;) {
        std::vector<int> idle(hostile->random.below(60));
        for (int &fd : idle) {
            fd = connect_raw(hostile->path);
        }
        pause_us(hostile->random.below(10000));
        for (const int fd : idle) {
            close(fd);
        }
        pause_us(hostile->random.below(10000)); // leaves others some room
    }
}

/* The last close of such a socket waits until what it has to send has been taken: never. */
void linger(Hostile *hostile) {
    for (;;) {
        RawReceiver receiver = hostile->attach();
        int here = -1;
        int there = -1;
        if (tcp_pair(&here, &there)) {
            const std::vector<uint8_t> bytes(1 << 20);
            while (send(here, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL) > 0) {
            }
            const ::linger wait = {1, 3};
            setsockopt(here, SOL_SOCKET, SO_LINGER, &wait, sizeof wait);
            const shbf::Message record = {shbf::Kind::message, 0, 0};
            if (send_raw(receiver.fd, &record, sizeof record, &here, 1) && can_be_refused(receiver.fd)) {
                fail(hostile->board, "a receiver can hand over what is slow to close");
            }
            // Closed without a wait when the packet has another reference, or the other end is gone.
            pause_us(3000 + hostile->random.below(20000));
            close(there);
            close(here);
        }
        detach_raw(&receiver);
    }
}

} // namespace stress
