// Everything that receivers can do to a broadcaster. The input is a script: four peers connect, say anything,
// attach anything, write anything into their link pages, and go; meanwhile the broadcaster's owner allocates,
// publishes and sends, and one receiver that behaves well (the library's) takes part. That one gets all that
// was meant for it, whole and in order, or is told how much it has missed; and when the others have gone,
// nothing is left of them: no buffer, no descriptor.
//
// One thread: peers and owner act in turn, the loop runs when the script says so. The clock is the script's
// as well, since who holds a frame for long is given up.

#include "fuzz.h"
#include "libshbf.h"
#include "libshbf_receiver.h"
#include "libshbfev.h"
#include "shbf/wire.h"

#include <cerrno>
#include <ctime>
#include <deque>
#include <ev.h>
#include <fcntl.h>
#include <linux/falloc.h>
#include <poll.h>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

using fuzz::must;

namespace {

int64_t clock_offset_ms;
thread_local bool in_script; // libFuzzer, outside of one, has the true time

} // namespace

/* In the place of the C library's, for all libraries of this process. */
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): its names there are reserved ones
extern "C" int clock_gettime(clockid_t clock, timespec *now) {
    const long result = syscall(SYS_clock_gettime, clock, now);
    if (!in_script) {
        return static_cast<int>(result);
    }
    const int64_t ns = now->tv_nsec + clock_offset_ms % 1000 * 1000000;
    now->tv_sec += static_cast<time_t>(clock_offset_ms / 1000 + ns / 1000000000);
    now->tv_nsec = static_cast<long>(ns % 1000000000);
    return static_cast<int>(result);
}

/* Those who are turned away would fill the screen. */
extern "C" int log_warning(const char * /*format*/, ...) {
    return 0;
}

namespace {

constexpr char path[] = "/run/fuzzed";
constexpr char honest_says[] = "this is who behaves well"; // by which it is known from the others
constexpr size_t peers = 4;
constexpr size_t buffers = 4;
constexpr size_t crowd = 34; // with the others, more than a channel takes
constexpr size_t descriptors_counted = 128;
constexpr int channels_max = 2000; // a channel is never freed
constexpr int turns_max = 400;
constexpr uint32_t first_buffer = 20000; // the arena has four times as much

/* The run directory, made once and left empty. */
struct RunDir {
    char folder[32] = "/tmp/strell-fuzz.XXXXXX";
    sockaddr_un address{};
    RunDir() {
        must(mkdtemp(folder) != nullptr, "a run directory can be made");
        setenv("STRELL_RUN_DIR", folder, 1);
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "%s/fuzzed", folder);
    }
    ~RunDir() {
        unlink(address.sun_path);
        const std::string lock = std::string(folder) + "/.lock";
        unlink(lock.c_str());
        rmdir(folder);
    }
};

/* Something that the owner has sent to the receiver that behaves well. */
struct Sent {
    bool frame;
    uint32_t number; // of the publication, or of the message
    bool skipped;    // the owner was told so; it may be sent once more
};

/* The bytes of a buffer are told from its first, a line of the cache at a time. */
constexpr uint32_t line = 64;

void fill(uint8_t *bytes, uint32_t size, uint32_t stamp) {
    for (uint32_t at = 0; at < size; at += line) {
        std::memset(bytes + at, static_cast<uint8_t>(stamp + at / line), size - at < line ? size - at : line);
    }
}

/* Looks at a byte of each line, and at the last. */
bool is_filled(const uint8_t *bytes, uint32_t size) {
    for (uint32_t at = 0; at < size; at += line) {
        if (bytes[at] != static_cast<uint8_t>(bytes[0] + at / line)) {
            return false;
        }
    }
    return size == 0 || bytes[size - 1] == static_cast<uint8_t>(bytes[0] + (size - 1) / line);
}

struct Peer {
    int fd = -1;
    shbf::LinkPage *page = nullptr;
    int page_fd = -1;
    int arena_fd = -1;
    uint32_t taken = 0;

    void connect_to(const sockaddr_un &address) {
        leave();
        fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
            leave();
        }
    }
    void leave() {
        if (page != nullptr) {
            munmap(page, shbf::link_page_bytes);
        }
        for (int *each : {&fd, &page_fd, &arena_fd}) {
            if (*each >= 0) {
                close(*each);
            }
            *each = -1;
        }
        page = nullptr;
        taken = 0;
    }
    void say(const void *bytes, size_t length, uint32_t passed_count = 0) const {
        iovec part = {const_cast<void *>(bytes), length};
        alignas(cmsghdr) char control[CMSG_SPACE(3 * sizeof(int))] = {};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        if (passed_count > 0) {
            const int passed[3] = {0, fd, 1};
            message.msg_control = control;
            message.msg_controllen = CMSG_SPACE(passed_count * sizeof(int));
            cmsghdr *header = CMSG_FIRSTHDR(&message);
            header->cmsg_level = SOL_SOCKET;
            header->cmsg_type = SCM_RIGHTS;
            header->cmsg_len = CMSG_LEN(passed_count * sizeof(int));
            memcpy(CMSG_DATA(header), passed, passed_count * sizeof(int));
        }
        sendmsg(fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    void keep(int *place, int passed) const {
        if (*place >= 0) {
            close(*place);
        }
        *place = passed;
    }
    void hear() {
        static uint8_t bytes[shbf::packet_max];
        for (;;) {
            iovec part = {bytes, sizeof bytes};
            alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
            msghdr message{};
            message.msg_iov = &part;
            message.msg_iovlen = 1;
            message.msg_control = control;
            message.msg_controllen = sizeof control;
            if (recvmsg(fd, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC) <= 0) {
                return;
            }
            const cmsghdr *header = CMSG_FIRSTHDR(&message);
            if (header == nullptr) {
                continue;
            }
            int passed;
            memcpy(&passed, CMSG_DATA(header), sizeof passed);
            shbf::Kind kind;
            memcpy(&kind, bytes, sizeof kind);
            if (kind == shbf::Kind::welcome && page == nullptr) {
                void *memory =
                    mmap(nullptr, shbf::link_page_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, passed, 0);
                must(memory != MAP_FAILED, "a receiver can map its link page");
                page = static_cast<shbf::LinkPage *>(memory);
                keep(&page_fd, passed);
            } else {
                keep(&arena_fd, passed);
            }
        }
    }
    /* Takes the next frame that was pushed, and releases it. */
    void release_next() {
        if (page->pushed.load() == taken) {
            return;
        }
        const shbf::Word *entry = page->ring[taken % shbf::ring_entries];
        page->released[entry[2] % shbf::slots_max] = entry[3].load();
        ++taken;
    }
    /* What the kernel has to refuse. */
    void try_to_break_memory() const {
        if (arena_fd >= 0) {
            must(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, arena_fd, 0) == MAP_FAILED,
                 "nobody maps the arena writable");
            must(ftruncate(arena_fd, 0) != 0 && write(arena_fd, "x", 1) < 0, "nor writes it");
        }
        if (page_fd >= 0) {
            must(ftruncate(page_fd, 0) != 0, "a link page cannot be cut short");
            must(fallocate(page_fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, 4096) == 0, "but emptied");
        }
    }
};

class World {
  public:
    World() : loop_(ev_loop_new(0)) {
        const rlimit limit = {descriptors_counted, descriptors_counted};
        setrlimit(RLIMIT_NOFILE, &limit);
        open_channel();
    }
    ~World() {
        shbfev_brd_destroy(brd_);
        ev_loop_destroy(loop_);
    }
    void run(fuzz::Script *script);

  private:
    void open_channel();
    void turn(int times = 1) {
        for (int i = 0; i < times; ++i) {
            ev_run(loop_, EVRUN_NOWAIT);
        }
    }
    void step(fuzz::Script *script);
    void peer_step(fuzz::Script *script, uint8_t action);
    void owner_step(fuzz::Script *script, uint8_t action);
    void honest_step(fuzz::Script *script, uint8_t action);
    void allocate(size_t place, uint32_t size);
    void publish(size_t place);
    void send(size_t place, int32_t to);
    void message(int32_t to, uint32_t length);
    int32_t someone(uint8_t choice) const {
        return choice % 2 == 0 ? honest_id_ : static_cast<int32_t>(choice / 2) + last_id_ - 4;
    }

    // the receiver that behaves well
    void open_honest();
    void close_honest();
    void expect(bool frame, uint32_t number, bool skipped = false) {
        if (honest_id_ != 0) {
            sent_.push_back({frame, number, skipped});
        }
    }
    void heard(bool frame, uint32_t number);
    void check(const shbf_frame_t &frame) const;
    void release(size_t which);

    void begin();
    void finish();
    shbf_channel_info_t ask();
    static size_t descriptors();

    static World *self(void *user) { return static_cast<World *>(user); }
    static int32_t on_new(void *user, int32_t id);
    static int32_t on_closed(void *user, int32_t id);
    static int32_t on_error(void *user, int32_t id, int32_t error);
    static int32_t on_message(void *user, int32_t id, const void *bytes, int32_t length);

    RunDir run_dir_;
    struct ev_loop *loop_;
    shbfev_brd_t *brd_ = nullptr;
    int channels_ = 0;
    size_t descriptors_before_ = 0;
    Peer peers_[peers];
    struct {
        uint8_t *bytes = nullptr;
        uint32_t number = 0; // of the publication, when it has one
        bool honest_has_it = false;
    } buffers_[buffers];
    uint8_t stamp_ = 0;
    uint32_t published_ = 0; // by this channel
    uint32_t messages_ = 0;
    int32_t last_id_ = 0;
    bool keep_on_error_ = true;
    bool crowd_came_ = false;
    bool reopened_ = false;

    shbfev_rcv_t *honest_ = nullptr;
    int32_t honest_id_ = 0;
    bool honest_opening_ = false;
    bool time_passed_ = false; // it may have been given up
    std::deque<Sent> sent_;    // and not yet heard
    std::deque<shbf_frame_t> held_;
    int64_t missed_ = 0; // of what was sent, less what is known to be among it
    uint32_t skipped_ = 0;
};

int32_t World::on_new(void *user, int32_t id) {
    World *world = self(user);
    must(id > world->last_id_, "ids grow");
    world->last_id_ = id;
    return 0;
}

int32_t World::on_closed(void *user, int32_t id) {
    World *world = self(user);
    must(id > 0 && id <= world->last_id_, "who goes has come");
    if (id == world->honest_id_) {
        must(world->time_passed_ || world->honest_ == nullptr, "who behaves well is not dropped");
        world->honest_id_ = 0;
        world->sent_.clear();
    }
    return 0;
}

int32_t World::on_error(void *user, int32_t id, int32_t error) {
    const World *world = self(user);
    must(error == EAGAIN || error == ETIMEDOUT || error == EPROTO || error == EMSGSIZE,
         "an error that is documented");
    if (id == world->honest_id_) {
        must(error == EAGAIN || (error == ETIMEDOUT && world->time_passed_),
             "who behaves well is only behind");
        return -1;
    }
    return world->keep_on_error_ ? -1 : 0;
}

int32_t World::on_message(void *user, int32_t id, const void *bytes, int32_t length) {
    World *world = self(user);
    must(id > 0 && length >= 0 && length <= SHBF_MESSAGE_MAX, "a message has a sender and a length");
    must(static_cast<const uint8_t *>(bytes)[length] == 0, "the byte behind a message is 0");
    if (world->honest_opening_ && length == sizeof honest_says &&
        memcmp(bytes, honest_says, sizeof honest_says) == 0) {
        world->honest_id_ = id;
        world->honest_opening_ = false;
    }
    return 0;
}

void World::open_channel() {
    if (brd_ != nullptr) {
        shbfev_brd_destroy(brd_);
    }
    brd_ = shbfev_brd_create(path);
    shbfev_brd_event(brd_, SHBFEV_RECEIVER_NEW, SHBFEV_CALLBACK(on_new), this);
    shbfev_brd_event(brd_, SHBFEV_RECEIVER_CLOSED, SHBFEV_CALLBACK(on_closed), this);
    shbfev_brd_event(brd_, SHBFEV_RECEIVER_ERROR, SHBFEV_CALLBACK(on_error), this);
    shbfev_brd_event(brd_, SHBFEV_MESSAGE, SHBFEV_CALLBACK(on_message), this);
    must(shbfev_brd_start(loop_, brd_) >= 0, "a channel can be started");
    published_ = 0;
    last_id_ = 0;
    ++channels_;
}

// ---- the receiver that behaves well ----

void World::open_honest() {
    honest_opening_ = true;
    for (auto &buffer : buffers_) {
        buffer.honest_has_it = false;
    }
    const shbfev_rcv_callbacks_t callbacks = {
        [](void *, shbfev_rcv_t *receiver) { shbfev_rcv_send(receiver, honest_says, sizeof honest_says); },
        [](void *user, shbfev_rcv_t *, const shbf_frame_t *frame) {
            World *world = self(user);
            world->check(*frame);
            world->missed_ += frame->skipped - world->skipped_;
            world->skipped_ = frame->skipped;
            world->heard(true, frame->number);
            world->held_.push_back(*frame);
        },
        [](void *user, shbfev_rcv_t *, const void *bytes, uint32_t length) {
            uint32_t number = 0;
            must(length >= sizeof number, "a message comes whole");
            memcpy(&number, bytes, sizeof number);
            self(user)->heard(false, number);
        },
        [](void *user, shbfev_rcv_t *, int32_t reason) {
            must(reason == -EPIPE && self(user)->time_passed_, "who behaves well is not cut off");
        }};
    errno = ETIMEDOUT; // which it stays while those who connect and leave fill the backlog
    for (int i = 0; i < turns_max && honest_ == nullptr && errno == ETIMEDOUT; ++i) {
        turn();
        errno = 0;
        honest_ = shbfev_rcv_open(loop_, path, nullptr, &callbacks, this);
    }
    must(honest_ != nullptr, "who behaves well can attach");
    for (int i = 0; i < turns_max && honest_opening_; ++i) {
        turn();
    }
    must(honest_id_ != 0, "who behaves well attaches");
}

void World::close_honest() {
    for (const shbf_frame_t &frame : held_) {
        check(frame);
    }
    held_.clear();
    shbfev_rcv_t *honest = honest_;
    honest_ = nullptr;
    shbfev_rcv_close(honest);
    for (int i = 0; i < 40 && honest_id_ != 0; ++i) {
        turn();
    }
    must(honest_id_ == 0, "the broadcaster notices that it has gone");
    sent_.clear();
    missed_ = skipped_ = 0;
    time_passed_ = false;
}

/* What comes is the next of what was sent, but for what was skipped. */
void World::heard(bool frame, uint32_t number) {
    if (honest_id_ == 0) {
        return; // given up, and does not know it yet
    }
    const auto is_it = [&](const Sent &sent) {
        return !sent.skipped && sent.frame == frame && sent.number == number;
    };
    while (!sent_.empty() && !is_it(sent_.front())) {
        sent_.pop_front();
        --missed_;
    }
    must(!sent_.empty(), "what comes was sent, once, and in this order");
    sent_.pop_front();
    must(!frame || missed_ == 0, "a frame says how much was missed before it");
}

void World::check(const shbf_frame_t &frame) const {
    const bool whole = is_filled(static_cast<const uint8_t *>(frame.data), frame.size);
    must(whole || shbfev_rcv_intact(honest_) == 0, "a frame is whole as long as it is held");
}

void World::release(size_t which) {
    if (held_.empty()) {
        return;
    }
    const auto frame = held_.begin() + static_cast<long>(which % held_.size());
    check(*frame);
    shbfev_rcv_release(honest_, &*frame);
    held_.erase(frame);
}

// ---- the owner ----

void World::allocate(size_t place, uint32_t size) {
    shbf_free(buffers_[place].bytes);
    buffers_[place] = {};
    uint8_t *bytes = static_cast<uint8_t *>(shbfev_brd_alloc(brd_, size));
    if (bytes != nullptr) {
        must(shbf_get_size(bytes) == size, "a buffer has the size that was asked for");
        fill(bytes, size, ++stamp_);
        buffers_[place].bytes = bytes;
    }
}

void World::publish(size_t place) {
    auto &buffer = buffers_[place];
    if (buffer.bytes == nullptr) {
        return;
    }
    must(is_filled(buffer.bytes, shbf_get_size(buffer.bytes)), "nobody else writes an owner's buffer");
    if (buffer.number == 0) {
        buffer.number = ++published_;
    }
    if (!buffer.honest_has_it) {
        expect(true, buffer.number);
    }
    must(shbfev_brd_broadcast(brd_, buffer.bytes) >= 0, "an owner's buffer can be published");
    buffer = {};
}

void World::send(size_t place, int32_t to) {
    auto &buffer = buffers_[place];
    if (buffer.bytes == nullptr) {
        return;
    }
    const int32_t result = shbfev_brd_send(brd_, to, buffer.bytes);
    must(result == 0 || result == -ENOENT || result == -EAGAIN || result == -EALREADY,
         "a result that is documented");
    if (buffer.number == 0 && (result == 0 || result == -EAGAIN)) {
        buffer.number = ++published_;
    }
    if (to == honest_id_ && to != 0 && (result == 0 || result == -EAGAIN)) {
        buffer.honest_has_it = result == 0;
        expect(true, buffer.number, !buffer.honest_has_it);
    }
    must(buffer.number == 0 || shbf_set_size(buffer.bytes, 1) == -EINVAL, "what was sent keeps its size");
}

void World::message(int32_t to, uint32_t length) {
    static uint8_t bytes[SHBF_MESSAGE_MAX];
    ++messages_;
    memcpy(bytes, &messages_, sizeof messages_);
    const int32_t size = static_cast<int32_t>(length + sizeof messages_);
    if (to == 0) {
        expect(false, messages_);
        shbfev_brd_broadcast_message(brd_, bytes, size);
    } else {
        if (to == honest_id_) {
            expect(false, messages_);
        }
        shbfev_brd_send_message(brd_, to, bytes, size);
    }
}

// ---- scripts ----

void World::peer_step(fuzz::Script *script, uint8_t action) {
    Peer *peer = &peers_[script->byte() % peers];
    shbf::Hello hello = {shbf::Kind::hello, shbf::wire_magic, shbf::wire_version, shbf::Role::receiver, 0, 0};
    uint8_t bytes[64];
    switch (action) {
    case 0:
        peer->connect_to(run_dir_.address);
        break;
    case 1:
        hello.window = script->byte();
        peer->say(&hello, sizeof hello);
        break;
    case 2: // one word of it is something else
        reinterpret_cast<uint32_t *>(&hello)[script->byte() % 6] = script->word();
        peer->say(&hello, sizeof hello);
        break;
    case 3: {
        const size_t length = script->byte() % sizeof bytes;
        script->read(bytes, length);
        peer->say(bytes, length, script->byte() % 4);
        break;
    }
    case 4: { // a message of any length, which it need not say
        static uint8_t large[shbf::packet_max + 8];
        const shbf::Message record = {shbf::Kind::message, script->word(), script->word()};
        memcpy(large, &record, sizeof record);
        const uint32_t length = record.length + (script->byte() % 8 == 0 ? script->byte() : 0U);
        peer->say(large, sizeof record + length % (shbf::message_max + 8));
        break;
    }
    case 5:
        peer->hear();
        break;
    case 6:
        if (peer->page != nullptr) {
            uint32_t *words = static_cast<uint32_t *>(static_cast<void *>(peer->page));
            const uint32_t at = script->half() % (shbf::link_page_bytes / 4);
            __atomic_store_n(words + at, script->word(), __ATOMIC_SEQ_CST);
        }
        break;
    case 7:
        if (peer->page != nullptr) {
            peer->release_next();
        }
        break;
    case 8:
        if (peer->page != nullptr) {
            peer->page->asleep = script->byte() % 4;
        }
        break;
    case 9:
        peer->try_to_break_memory();
        break;
    default:
        peer->leave();
        break;
    }
}

void World::owner_step(fuzz::Script *script, uint8_t action) {
    static constexpr uint32_t sizes[] = {0, 1, 64, 1000, 4096, 16000, 40000, 70000};
    const size_t place = script->byte() % buffers;
    switch (action) {
    case 0: {
        const uint8_t choice = script->byte();
        allocate(place, sizes[choice % 8] + choice / 8);
        break;
    }
    case 1:
        if (buffers_[place].bytes != nullptr && buffers_[place].number == 0) {
            const uint32_t size = shbf_get_size(buffers_[place].bytes);
            const uint32_t wanted = script->half();
            must(shbf_set_size(buffers_[place].bytes, wanted) == (wanted <= size ? 0 : -EMSGSIZE),
                 "a buffer gets smaller only");
        }
        break;
    case 2:
    case 3:
        publish(place);
        break;
    case 4:
        send(place, someone(script->byte()));
        break;
    case 5:
        shbf_free(buffers_[place].bytes);
        buffers_[place] = {};
        break;
    case 6:
        message(0, script->half() % 3000);
        break;
    default:
        message(someone(script->byte()), script->byte());
        break;
    }
}

void World::honest_step(fuzz::Script *script, uint8_t action) {
    switch (action) {
    case 0:
    case 1:
        release(script->byte());
        break;
    case 2:
        shbfev_rcv_send(honest_, "REQ_IDR", 7);
        break;
    case 3: // a long time goes by
        clock_offset_ms += 1100;
        time_passed_ = true;
        break;
    case 4:
        close_honest();
        open_honest();
        break;
    case 5:
        keep_on_error_ = !keep_on_error_;
        break;
    case 6: { // more than there is room for; it takes long, so once a script
        if (crowd_came_) {
            break;
        }
        crowd_came_ = true;
        Peer many[crowd];
        for (Peer &peer : many) {
            const shbf::Hello hello = {
                shbf::Kind::hello, shbf::wire_magic, shbf::wire_version, shbf::Role::receiver, 0, 0};
            peer.connect_to(run_dir_.address);
            peer.say(&hello, sizeof hello);
            turn();
        }
        for (Peer &peer : many) {
            peer.leave();
        }
        break;
    }
    default:
        if (channels_ < channels_max && !reopened_) {
            reopened_ = true;
            finish();
            open_channel();
            begin();
        }
        break;
    }
}

void World::step(fuzz::Script *script) {
    const uint8_t action = script->byte();
    if (action < 90) {
        peer_step(script, action % 11);
    } else if (action < 180) {
        owner_step(script, action % 8);
    } else if (action < 210) {
        honest_step(script, action % 8);
    } else {
        turn(action % 4);
    }
}

void World::begin() {
    // The arena is there from the first buffer on, and keeps a descriptor.
    shbf_free(shbfev_brd_alloc(brd_, first_buffer));
    descriptors_before_ = descriptors();
    open_honest();
}

/* The others leave, and nothing is left of them. */
void World::finish() {
    for (Peer &peer : peers_) {
        peer.leave();
    }
    for (auto &buffer : buffers_) {
        shbf_free(buffer.bytes);
        buffer = {};
    }
    clock_offset_ms +=
        3000; // who has not said Hello is dropped, and who has been refused for want of descriptors accepted
    time_passed_ = time_passed_ || !held_.empty();
    shbf_channel_info_t info{};
    for (int i = 0; i < turns_max && (i == 0 || info.receivers != (honest_id_ != 0 ? 1U : 0U)); ++i) {
        turn(2);
        if (i % 8 == 0) {
            info = ask();
        }
    }
    for (int i = 0; i < turns_max && honest_id_ != 0 && !sent_.empty() && i < 20; ++i) {
        while (!held_.empty()) {
            release(0);
        }
        turn();
    }
    while (!held_.empty()) {
        release(0);
    }
    if (honest_id_ != 0) {
        // The last frame says what was missed before it.
        allocate(0, 64);
        must(buffers_[0].bytes != nullptr, "all memory is free for the last frame");
        publish(0);
        turn(4);
        must(sent_.empty() || honest_id_ == 0, "who behaves well is told of all that was sent");
        release(0);
    }
    info = ask();
    must(info.receivers == (honest_id_ != 0 ? 1U : 0U), "nobody is attached who has gone");
    must(info.arena_used == 0 && info.buffers == 0, "no buffer is lost");
    close_honest();
    must(descriptors() == descriptors_before_, "no descriptor is lost");
}

shbf_channel_info_t World::ask() {
    Peer peer;
    const shbf::Hello hello = {
        shbf::Kind::hello, shbf::wire_magic, shbf::wire_version, shbf::Role::query, 0, 0};
    peer.connect_to(run_dir_.address);
    peer.say(&hello, sizeof hello);
    shbf::Info info{};
    ssize_t length = -1;
    for (int i = 0; i < turns_max && length < 0; ++i) {
        turn();
        length = recv(peer.fd, &info, sizeof info, MSG_DONTWAIT);
    }
    peer.leave();
    must(length == sizeof info, "a query is answered");
    return {info.receivers,  info.published, info.skipped, info.arena_bytes,
            info.arena_used, info.buffers,   info.pid};
}

size_t World::descriptors() {
    size_t count = 0;
    for (int fd = 0; fd < static_cast<int>(descriptors_counted); ++fd) {
        count += fcntl(fd, F_GETFD) >= 0 ? 1U : 0U;
    }
    return count;
}

void World::run(fuzz::Script *script) {
    keep_on_error_ = true;
    crowd_came_ = reopened_ = false;
    begin();
    for (int i = 0; i < turns_max && !script->done(); ++i) {
        step(script);
    }
    finish();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t length) {
    in_script = true;
    static World world;
    fuzz::Script script(bytes, length);
    world.run(&script);
    in_script = false;
    return 0;
}
