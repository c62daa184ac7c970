#include "board_call.h"
#include "measure.h"
#include "settings_path.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr size_t page_bytes = 4096;
constexpr off_t file_bytes = 64 * page_bytes;

[[noreturn]] void receive(int fd, int reports) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int loop = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    event.events = EPOLLIN;
    epoll_ctl(loop, EPOLL_CTL_ADD, fd, &event);
    for (;;) {
        char flipped = 0;
        if (epoll_wait(loop, &event, 1, -1) != 1 || recv(fd, &flipped, 1, 0) != 1) {
            _exit(0);
        }
        const uint64_t now = now_ns();
        const BoardCall call = {now, now, flipped, 0};
        if (write(reports, &call, sizeof call) != sizeof call) {
            _exit(1);
        }
    }
}

class Floor : public SettingsPath {
  public:
    Floor(Keeps keeps, int reports) : keeps_(keeps) {
        camera_.start_store(Keeps::in_memory, small_profile);
        camera_.start_board();
        camera_.start_daemon();
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
            fail("socketpair");
        }
        child_ = fork();
        if (child_ == 0) {
            close(ends[0]);
            receive(ends[1], reports);
        }
        close(ends[1]);
        socket_ = ends[0];
        if (keeps_ == Keeps::on_disk) {
            make_file();
        }
    }
    ~Floor() override {
        close(socket_);
        waitpid(child_, nullptr, 0);
        if (file_ >= 0) {
            close(file_);
        }
    }
    Floor(const Floor &) = delete;
    Floor &operator=(const Floor &) = delete;

    std::string name() const override {
        return keeps_ == Keeps::on_disk ? "floor: write and sync a page, wake a process"
                                        : "floor: wake a process";
    }
    void change(bool flipped) override {
        if (keeps_ == Keeps::on_disk) {
            offset_ = (offset_ + static_cast<off_t>(page_bytes)) % file_bytes;
            page_[0] = flipped ? '1' : '0';
            if (pwrite(file_, page_.data(), page_bytes, offset_) != ssize_t{page_bytes} ||
                fdatasync(file_) != 0) {
                fail("write");
            }
        }
        const char word = flipped ? 1 : 0;
        if (send(socket_, &word, 1, 0) != 1) {
            fail("send");
        }
    }

  private:
    /* All of it is there before: a write later changes no size. */
    void make_file() {
        file_ = open(camera_.file("floor").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        for (off_t at = 0; at < file_bytes; at += static_cast<off_t>(page_bytes)) {
            if (pwrite(file_, page_.data(), page_bytes, at) != ssize_t{page_bytes}) {
                fail("write");
            }
        }
        fsync(file_);
    }

    Keeps keeps_;
    Camera camera_; // takes no part, but keeps the machine as busy as the others'
    pid_t child_ = -1;
    int socket_ = -1;
    int file_ = -1;
    off_t offset_ = 0;
    std::array<char, page_bytes> page_{};
};

} // namespace

std::unique_ptr<SettingsPath> make_floor(Keeps keeps, int reports) {
    return std::make_unique<Floor>(keeps, reports);
}

} // namespace bench
