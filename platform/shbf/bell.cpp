#include "shbf/bell.h"

#include "shbf/holding.h"
#include "shbf/memory_file.h"
#include "shbf/packet.h"

#include <sys/mman.h>
#include <unistd.h>

namespace shbf {

void bell_open(Channel *channel) {
    if (channel->bell != nullptr || channel->closed) {
        return;
    }
    const int fd = memory_file_create("shbf-bell", bell_bytes);
    if (fd < 0) {
        return;
    }
    void *memory = mmap(nullptr, bell_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    const int readable = memory_file_seal_for_readers(fd);
    if (memory != MAP_FAILED && readable >= 0) {
        channel->bell = static_cast<Bell *>(memory);
        channel->bell_fd = readable;
        return;
    }
    if (memory != MAP_FAILED) {
        munmap(memory, bell_bytes);
    }
    if (readable >= 0) {
        close(readable);
    }
}

void bell_close(Channel *channel) {
    Bell *bell = channel->bell;
    if (bell == nullptr) {
        return;
    }
    channel->bell = nullptr;
    wait_for_pins(channel, channel->bell_pins);
    munmap(bell, bell_bytes);
    close(channel->bell_fd);
}

void bell_send(const Channel *channel, Receiver *receiver) {
    if (channel->bell == nullptr || receiver->has_bell) {
        return;
    }
    const BellPacket packet = {Kind::bell};
    if (packet_send(receiver->fd, &packet, sizeof packet, channel->bell_fd) == 0) {
        receiver->has_bell = true;
        ++receiver->begun;
        count_packet(receiver);
    }
}

} // namespace shbf
