/*
 * What the tests of channels under attack share: peers that speak the protocol by hand, and an honest
 * receiver that looks whether anything comes to harm.
 */
#ifndef TESTS_CONTRACT_SHBF_ROBUSTNESS_FIXTURE_H
#define TESTS_CONTRACT_SHBF_ROBUSTNESS_FIXTURE_H

#include "libshbf_receiver.h"
#include "shbf/wire.h"
#include "support/channel_fixture.h"
#include "support/passing.h"
#include "support/process.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace robustness {

constexpr const char *path = "/run/test_channel";

class Robustness : public testing::Test {
  protected:
    static std::vector<std::string> probe_command(const char *mode) {
        return {std::string(STRELL_BIN_DIR) + "/shbf_probe", path, mode};
    }
    static support::Process probe(const char *mode) { return support::Process(probe_command(mode)); }
    static shbf_channel_info_t query() {
        shbf_channel_info_t info{};
        EXPECT_EQ(shbf_channel_query(path, &info, 5000), 0);
        return info;
    }
    /* A raw connection that speaks only when told to. */
    int connect_raw() {
        const int fd = socket(AF_UNIX, SOCK_SEQPACKET, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, run_dir_.file("test_channel").c_str(), sizeof address.sun_path - 1);
        if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
            close(fd);
            return -1;
        }
        return fd;
    }
    /* With `page`, maps its link page there. */
    int attach_raw(shbf::LinkPage **page = nullptr) {
        const int fd = connect_raw();
        const shbf::Hello hello = {
            shbf::Kind::hello, shbf::wire_magic, shbf::wire_version, shbf::Role::receiver, 0, 0};
        EXPECT_EQ(send(fd, &hello, sizeof hello, 0), static_cast<ssize_t>(sizeof hello));
        shbf::Welcome welcome{};
        iovec part = {&welcome, sizeof welcome};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        EXPECT_EQ(recvmsg(fd, &message, 0), static_cast<ssize_t>(sizeof welcome));
        int page_fd = -1;
        memcpy(&page_fd, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof page_fd);
        if (page != nullptr) {
            *page = static_cast<shbf::LinkPage *>(
                mmap(nullptr, shbf::link_page_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, page_fd, 0));
        }
        close(page_fd);
        return fd;
    }
    /* An empty message with a descriptor. */
    static bool send_descriptor(int fd, int descriptor) {
        const shbf::Message record = {shbf::Kind::message, 0, 0};
        return support::send_passing(fd, &record, sizeof record, descriptor) > 0;
    }
    static bool ended(int fd) {
        return support::eventually([&] {
            char byte;
            const ssize_t length = recv(fd, &byte, 1, MSG_DONTWAIT);
            return length == 0 || (length < 0 && errno != EAGAIN);
        });
    }

    support::ScratchRunDir run_dir_;
};

/* An honest receiver on a thread of its own, which checks every frame that comes. */
class Witness {
  public:
    Witness() : receiver_(shbf_rcv_open(path, nullptr)), thread_([this] { watch(); }) {}
    ~Witness() { finish(); }
    void finish() {
        stop_ = true;
        if (thread_.joinable()) {
            thread_.join();
            shbf_rcv_close(receiver_);
        }
    }
    std::atomic<uint32_t> frames = 0;
    std::atomic<uint32_t> lost = 0;
    std::atomic<uint32_t> torn = 0;

  private:
    void watch() {
        shbf_event_t event;
        while (!stop_) {
            if (shbf_rcv_next(receiver_, &event, 10) != 1) {
                continue;
            }
            const auto *bytes = static_cast<const uint8_t *>(event.frame.data);
            for (uint32_t i = 1; i < event.frame.size; ++i) {
                torn += bytes[i] != bytes[0] ? 1 : 0;
            }
            lost = event.frame.skipped;
            shbf_rcv_release(receiver_, &event.frame);
            ++frames;
        }
    }
    shbf_rcv_t *receiver_;
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

} // namespace robustness

#endif
