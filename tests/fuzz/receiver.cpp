// Everything that a broadcaster can do to a receiver. The input is a script of a hostile broadcaster: packets
// of any content with descriptors of any kind, words in the link page, bytes in the arena; between them the
// receiver takes its turn, on libev or through the calls of the blocking interface that do not wait. Each
// frame that it is given lies in mapped memory as long as it is held, each message in its buffer; and when
// all is closed no descriptor and no mapping is left.

#include "fuzz.h"
#include "libshbf_receiver.h"
#include "shbf/link.h"
#include "shbf/wire.h"

#include <cerrno>
#include <deque>
#include <ev.h>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using fuzz::must;

/* As receiver.cpp has it: shbf_rcv_open waits for an answer, which comes from this thread. */
struct shbf_rcv {
    shbf::Link link;
};

namespace {

constexpr char path[] = "/run/fuzzed";
constexpr size_t files = 4;
constexpr size_t held_max = 40;
constexpr int steps_max = 300;
constexpr size_t descriptors_counted = 64;

volatile uint8_t sink; // for what is read only to see that it can be

void look_at(const void *bytes, uint32_t length) {
    const uint8_t *each = static_cast<const uint8_t *>(bytes);
    for (uint32_t i = 0; i < length; i += 512) {
        sink = each[i];
    }
    if (length > 0) {
        sink = each[length - 1];
    }
}

/* Memory that goes along with packets. What is not sealed could be cut short under the receiver, and is. */
struct File {
    int fd = -1;
    uint8_t *memory = nullptr;
    size_t size = 0;
    bool sealed = false;

    void make(size_t bytes, bool seal) {
        drop();
        fd = memfd_create("fuzz", MFD_ALLOW_SEALING | MFD_CLOEXEC);
        size = bytes;
        sealed = seal;
        must(ftruncate(fd, static_cast<off_t>(size)) == 0, "a memory file can be made");
        if (sealed) {
            must(fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK) == 0, "and sealed");
        }
        if (size > 0) {
            void *mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
            must(mapped != MAP_FAILED, "and mapped");
            memory = static_cast<uint8_t *>(mapped);
        }
    }
    void cut() const {
        const int result = ftruncate(fd, 0);
        must((result == 0) == (!sealed || size == 0), "a sealed file keeps its size");
    }
    void drop() {
        if (memory != nullptr) {
            munmap(memory, size);
        }
        if (fd >= 0) {
            close(fd);
        }
        *this = {};
    }
};

class Broadcaster {
  public:
    Broadcaster() : listener_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
        must(mkdtemp(folder_) != nullptr, "a run directory can be made");
        setenv("STRELL_RUN_DIR", folder_, 1);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "%s/fuzzed", folder_);
        name_ = address.sun_path;
        must(bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
                 listen(listener_, 8) == 0,
             "a socket can be made");
    }
    ~Broadcaster() {
        close(listener_);
        unlink(name_.c_str());
        rmdir(folder_);
    }
    void accept_one() {
        peer_ = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        must(peer_ >= 0, "the receiver connects");
    }
    void leave() {
        if (peer_ >= 0) {
            close(peer_);
        }
        peer_ = -1;
        for (File &file : files_) {
            file.drop();
        }
        page_ = 0;
    }
    void step(fuzz::Script *script, uint8_t action);

  private:
    void say(const void *bytes, size_t length, fuzz::Script *script, int passed);
    uint32_t *page_word(size_t at) {
        File &file = files_[page_];
        return file.size >= shbf::link_page_bytes && (file.sealed)
                   ? static_cast<uint32_t *>(static_cast<void *>(file.memory)) +
                         at % (shbf::link_page_bytes / 4)
                   : nullptr;
    }
    static uint32_t near(uint32_t value, uint8_t by) { return value + by - 128U; }

    char folder_[32] = "/tmp/strell-fuzz.XXXXXX";
    std::string name_;
    int listener_;
    int peer_ = -1;
    File files_[files];
    size_t page_ = 0; // which file is the link page
};

void Broadcaster::say(const void *bytes, size_t length, fuzz::Script *script, int passed) {
    iovec part = {const_cast<void *>(bytes), length};
    alignas(cmsghdr) char control[CMSG_SPACE(3 * sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (passed >= 0) {
        const uint32_t count = script->byte() < 250 ? 1 : 3;
        const int descriptors[3] = {passed, peer_, listener_};
        message.msg_control = control;
        message.msg_controllen = CMSG_SPACE(count * sizeof(int));
        cmsghdr *header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(count * sizeof(int));
        memcpy(CMSG_DATA(header), descriptors, count * sizeof(int));
    }
    sendmsg(peer_, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
}

/* Packets are as an honest broadcaster has them but for one word, as a rule. */
void Broadcaster::step(fuzz::Script *script, uint8_t action) {
    static constexpr size_t sizes[] = {0, 100, 3200, 4096, 8192, 65536};
    File *file = &files_[script->byte() % files];
    switch (action) {
    case 0: {
        const uint8_t choice = script->byte();
        file->make(sizes[choice % 6], choice < 240);
        break;
    }
    case 1: {
        uint32_t words[6] = {2, shbf::wire_magic, shbf::wire_version, 1, shbf::slots_max, 0};
        const uint8_t which = script->byte();
        if (which >= 128) {
            words[which % 6] = script->word();
        }
        if (file->fd >= 0) {
            page_ = static_cast<size_t>(file - files_);
        }
        say(words, sizeof words, script, file->fd);
        break;
    }
    case 2: {
        uint32_t words[3] = {4, static_cast<uint32_t>(file->size), script->byte() % 4U};
        const uint8_t which = script->byte();
        if (which >= 200) {
            words[which % 3] = script->word();
        }
        say(words, sizeof words, script, file->fd);
        break;
    }
    case 3: {
        static uint8_t bytes[shbf::packet_max + 4];
        uint32_t words[3] = {6, script->half(), script->byte()};
        const uint8_t which = script->byte();
        const size_t length = sizeof words + words[1];
        if (which >= 200) {
            words[which % 3] = script->word();
        }
        memcpy(bytes, words, sizeof words);
        say(bytes, length, script, which == 199 ? file->fd : -1);
        break;
    }
    case 4: {
        uint8_t bytes[40];
        const size_t length = script->byte() % sizeof bytes;
        script->read(bytes, length);
        say(bytes, length, script, file->fd);
        break;
    }
    case 5: {
        const uint32_t wake = 5;
        say(&wake, sizeof wake, script, -1);
        break;
    }
    case 6: // a frame in the ring
        if (page_word(0) != nullptr) {
            uint32_t *pushed = page_word(offsetof(shbf::LinkPage, pushed) / 4);
            uint32_t *entry = page_word(offsetof(shbf::LinkPage, ring) / 4 +
                                        *pushed % shbf::ring_entries * shbf::frame_words);
            const uint8_t arena = script->byte() % 4;
            const uint32_t words[] = {script->half(),
                                      script->half(),
                                      arena % 2U * shbf::arena_slots + script->byte() % 8U,
                                      script->byte(),
                                      0,
                                      script->byte() % 8U,
                                      arena,
                                      0};
            memcpy(entry, words, sizeof words);
            const uint8_t which = script->byte();
            if (which >= 200) {
                entry[which % 8] = script->word();
            }
            ++*pushed;
        }
        break;
    case 7: { // any word of the page, or near what it is
        uint32_t *word = page_word(script->half());
        if (word != nullptr) {
            *word = script->byte() % 2 == 0 ? script->word() : near(*word, script->byte());
        }
        break;
    }
    case 8:
        if (page_word(0) != nullptr) {
            uint32_t *packets = page_word(offsetof(shbf::LinkPage, packets) / 4);
            *packets = near(*packets, script->byte());
        }
        break;
    case 9:
        if (file->memory != nullptr && file->sealed) {
            file->memory[script->half() % file->size] = script->byte();
        }
        break;
    case 10:
        if (file->fd >= 0) {
            file->cut();
        }
        break;
    default:
        if (script->byte() > 200) {
            shutdown(peer_, SHUT_RDWR);
        }
        break;
    }
}

/* What the receiver does with what it is given, through either interface. */
class Holder {
  public:
    template <typename Release>
    void take(const shbf_frame_t &frame, Release release) {
        look_at(frame.data, frame.size);
        held_.push_back(frame);
        if (held_.size() > held_max) {
            release(held_.front());
            held_.pop_front();
        }
    }
    /* One of those that it holds, or one that it held before, once more. */
    template <typename Release>
    void let_go(uint8_t which, Release release) {
        for (const shbf_frame_t &frame : held_) {
            look_at(frame.data, frame.size);
        }
        if (which >= 200) {
            release(last_);
        } else if (!held_.empty()) {
            const auto frame = held_.begin() + static_cast<long>(which % held_.size());
            last_ = *frame;
            held_.erase(frame);
            release(last_);
        }
    }
    void forget() {
        for (const shbf_frame_t &frame : held_) {
            look_at(frame.data, frame.size);
        }
        held_.clear();
        last_ = {};
    }

  private:
    std::deque<shbf_frame_t> held_;
    shbf_frame_t last_{};
};

Holder holder;

void hear_message(const void *bytes, uint32_t length) {
    must(length <= shbf::message_max, "a message is not longer than it may be");
    look_at(bytes, length + 1);
    must(static_cast<const char *>(bytes)[length] == '\0', "the byte behind a message is 0");
}

bool is_reason(int32_t result) {
    return result < 0 && result > -4096;
}

class LoopReceiver {
  public:
    LoopReceiver() : loop_(ev_loop_new(0)) {}
    ~LoopReceiver() { ev_loop_destroy(loop_); }
    void open() {
        ended_ = false;
        const shbfev_rcv_callbacks_t callbacks = {
            nullptr,
            [](void *user, shbfev_rcv_t *receiver, const shbf_frame_t *frame) {
                must(!static_cast<LoopReceiver *>(user)->ended_, "nothing comes after the end");
                holder.take(*frame, [&](const shbf_frame_t &old) { shbfev_rcv_release(receiver, &old); });
            },
            [](void *, shbfev_rcv_t *, const void *bytes, uint32_t length) { hear_message(bytes, length); },
            [](void *user, shbfev_rcv_t *, int32_t reason) {
                LoopReceiver *self = static_cast<LoopReceiver *>(user);
                must(!self->ended_ && is_reason(reason), "the end comes once, with a reason");
                self->ended_ = true;
            }};
        receiver_ = shbfev_rcv_open(loop_, path, nullptr, &callbacks, this);
        must(receiver_ != nullptr, "a receiver can be opened");
    }
    void turn() { ev_run(loop_, EVRUN_NOWAIT); }
    void release(uint8_t which) {
        holder.let_go(which, [&](const shbf_frame_t &frame) { shbfev_rcv_release(receiver_, &frame); });
        shbfev_rcv_intact(receiver_);
    }
    void send() { shbfev_rcv_send(receiver_, "REQ_IDR", 7); }
    void end() {
        turn();
        holder.forget();
        shbfev_rcv_close(receiver_);
    }

  private:
    struct ev_loop *loop_;
    shbfev_rcv_t *receiver_ = nullptr;
    bool ended_ = false;
};

class CallReceiver {
  public:
    void open() {
        must(shbf_link_open(&receiver_.link, path, shbf::Role::receiver, 0, 0) == 0,
             "a receiver can be opened");
        dead_ = false;
    }
    void turn() {
        shbf_event_t event;
        int result = 1;
        for (int i = 0; i < 20 && result > 0 && !dead_; ++i) {
            result = shbf_rcv_next(&receiver_, &event, 0);
            if (result < 0) {
                must(is_reason(result), "an error is an errno value");
                dead_ = result != -EINTR;
            } else if (result > 0 && event.kind == SHBF_EVENT_MESSAGE) {
                hear_message(event.message.bytes, event.message.length);
            } else if (result > 0) {
                must(event.kind == SHBF_EVENT_FRAME, "an event is a frame or a message");
                holder.take(event.frame,
                            [&](const shbf_frame_t &old) { shbf_rcv_release(&receiver_, &old); });
            }
        }
    }
    void release(uint8_t which) {
        holder.let_go(which, [&](const shbf_frame_t &frame) { shbf_rcv_release(&receiver_, &frame); });
        shbf_rcv_intact(&receiver_);
    }
    void send() { shbf_rcv_send(&receiver_, "REQ_IDR", 7); }
    void end() {
        turn();
        holder.forget();
        shbf_link_close(&receiver_.link);
    }

  private:
    shbf_rcv_t receiver_{};
    bool dead_ = false;
};

size_t descriptors() {
    size_t count = 0;
    for (int fd = 0; fd < static_cast<int>(descriptors_counted); ++fd) {
        count += fcntl(fd, F_GETFD) >= 0 ? 1U : 0U;
    }
    return count;
}

template <typename Receiver>
void play(Broadcaster *broadcaster, Receiver *receiver, fuzz::Script *script) {
    const size_t before = descriptors();
    receiver->open();
    broadcaster->accept_one();
    for (int i = 0; i < steps_max && !script->done(); ++i) {
        const uint8_t action = script->byte();
        if (action < 160) {
            broadcaster->step(script, action % 12);
        } else if (action < 210) {
            receiver->turn();
        } else if (action < 250) {
            receiver->release(script->byte());
        } else {
            receiver->send();
        }
    }
    receiver->end();
    broadcaster->leave();
    must(descriptors() == before, "no descriptor is lost");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t length) {
    static Broadcaster broadcaster;
    static LoopReceiver on_loop;
    static CallReceiver by_calls;
    fuzz::Script script(bytes, length);
    if (script.byte() % 2 == 0) {
        play(&broadcaster, &on_loop, &script);
    } else {
        play(&broadcaster, &by_calls, &script);
    }
    return 0;
}
