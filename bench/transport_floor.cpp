#include "measure.h"
#include "transport.h"

#include <cstring>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <unistd.h>

namespace bench {

namespace {

/* What lies before the slots. */
struct Head {
    uint64_t frame_bytes; // of all frames
};

constexpr size_t head_bytes = 64;

class Floor : public Transport {
  public:
    explicit Floor(const Channel &channel) : arena_bytes_(4 * static_cast<size_t>(channel.capacity)) {
        void *memory = mmap(nullptr, head_bytes + arena_bytes_, PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            fail("mmap");
        }
        head_ = static_cast<Head *>(memory);
        std::memset(slots(), 1, arena_bytes_);
        for (int i = 0; i < channel.receivers; ++i) {
            events_.push_back(eventfd(0, EFD_NONBLOCK));
        }
    }
    ~Floor() override {
        munmap(head_, head_bytes + arena_bytes_);
        for (const int fd : events_) {
            close(fd);
        }
        if (epoll_ >= 0) {
            close(epoll_);
        }
    }

    void open_sender() override {}
    uint8_t *prepare(uint32_t size) override {
        head_->frame_bytes = size;
        return slot(position_);
    }
    void publish(uint32_t /*size*/) override {
        ++position_;
        const uint64_t one = 1;
        for (const int fd : events_) {
            if (write(fd, &one, sizeof one) != sizeof one) {
                fail("eventfd");
            }
        }
    }

    void open_receiver(int index) override {
        fd_ = events_[static_cast<size_t>(index)];
        epoll_ = epoll_create1(0);
        epoll_event event{};
        event.events = EPOLLIN;
        epoll_ctl(epoll_, EPOLL_CTL_ADD, fd_, &event);
    }
    FrameHead receive() override {
        if (position_ == published_) {
            epoll_event event{};
            uint64_t count = 0;
            do {
                epoll_wait(epoll_, &event, 1, -1);
            } while (read(fd_, &count, sizeof count) != sizeof count);
            published_ += count;
            if (published_ - position_ > slot_count()) { // those are gone
                position_ = published_ - slot_count();
            }
        }
        return look_at(slot(position_++), head_->frame_bytes);
    }

  private:
    uint8_t *slots() const { return static_cast<uint8_t *>(static_cast<void *>(head_)) + head_bytes; }
    uint64_t slot_count() const { return arena_bytes_ / head_->frame_bytes; }
    uint8_t *slot(uint64_t position) const { return slots() + position % slot_count() * head_->frame_bytes; }

    size_t arena_bytes_;
    Head *head_ = nullptr;
    std::vector<int> events_;
    uint64_t position_ = 0;  // frames published, or received
    uint64_t published_ = 0; // as far as the receiver knows
    int fd_ = -1;
    int epoll_ = -1;
};

} // namespace

std::unique_ptr<Transport> make_floor(const Channel &channel) {
    return std::make_unique<Floor>(channel);
}

} // namespace bench
