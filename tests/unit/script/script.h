/*
 * The scripted platform: stand-ins for every platform library and for time, under the daemon's own objects.
 *
 * Every call that the daemon makes to its surroundings is written to one journal, in order, in the form of
 * the call ("board_system_init(1)", "usleep(20000)") or of the log line ("info: main(),637\n"). What a call
 * answers is in the script; a test changes what it needs. Time is virtual: sleeps return at once and move the
 * clock.
 *
 * The libev loop is the real one; what the daemon does with it is journalled as well.
 *
 * Threads: the daemon starts none, unless the script wants them real. pthread_create only journals and
 * remembers; a test runs a thread's body itself by calling it. Only the journal may be written by another
 * thread than the test's.
 */
#ifndef TESTS_UNIT_SCRIPT_H
#define TESTS_UNIT_SCRIPT_H

#include "libalgo_kit.h"
#include "libav_cmd.h"
#include "libboardav.h"
#include "libdevice_kitv2.h"
#include "libmortox.h"
#include "libshbfev.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace script {

/* Thrown by exit() in place of ending the test program. */
struct Exited {
    int status;
};

/* Thrown when the daemon does so much that it can only be caught in a loop. */
struct Runaway : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/*
 * A buffer of the scripted shared-buffer library. Its memory ends with shbf_free or with a broadcast that
 * took it, so the address sanitizer notices whoever touches it later.
 */
struct Buffer {
    std::unique_ptr<uint8_t[]> memory; // null once it was freed or taken
    const void *address = nullptr;     // of `memory`, also afterwards
    uint32_t capacity = 0;
    uint32_t size = 0;          // valid bytes: what shbf_set_size said
    std::vector<uint8_t> bytes; // what was valid when it was broadcast or sent
    bool freed = false;
    bool taken = false; // by a broadcast
};

/* A channel of the scripted shared-buffer library. */
struct Channel {
    std::string path;
    std::map<int32_t, std::pair<shbfev_callback, void *>> events;
    bool started = false;
    bool destroyed = false;
};

/* A watch that the daemon registered. */
struct Watch {
    std::string name_space;
    std::string section;
    std::string key;
    int32_t *registration;
    int32_t registration_before; // what stood there
    mortox_callback_t callback;
    void *user;
};

/* A thread that the daemon created. */
struct Thread {
    void *(*body)(void *);
    void *argument;
};

/*
 * The script and what came of it. One instance, made new for each test by the fixture (daemon_test.h).
 */
class Script {
  public:
    // ---- what happened ----

    std::vector<std::string> journal;
    std::vector<Buffer *> buffers; // in order of allocation
    std::vector<Channel *> channels;
    std::vector<Watch> watches;
    std::vector<Thread> threads;
    std::map<int, void (*)(int)> signal_handlers;
    uint64_t now_us = 0;             // virtual
    uint64_t alarm_at_us = 0;        // 0: none is set
    std::vector<std::string> misuse; // of buffers: freed twice, freed after a broadcast took it ...
    // The play queue's lock and condition: what kind of lock it was last made, how often the condition was
    // signalled, and how often of these without the lock.
    int mutex_type = -1;
    std::atomic<size_t> cond_signals{0};
    std::atomic<size_t> cond_signals_unlocked{0};
    /* What the daemon gave to the analytics library. */
    algo_event_callback_t on_event = nullptr;
    algo_track_callback_t on_track = nullptr;
    /* The System V segment that the daemon asked for, of exactly its size; zeros at first. One for all keys.
     */
    std::unique_ptr<uint8_t[]> shared_memory;

    /* How many entries begin with `text`, and those entries. */
    size_t count(const std::string &text) const;
    std::vector<std::string> entries(const std::string &text) const;
    bool has(const std::string &text) const { return count(text) > 0; }
    /* The position of the first entry that begins with `text`; journal.size() when there is none. */
    size_t position(const std::string &text) const;
    /* All entries but those that begin with one of `prefixes`. */
    std::vector<std::string> without(const std::vector<std::string> &prefixes) const;

    // ---- what is to happen ----

    /* Runs `action` at the `nth` entry that begins with `text`, right after it was written. */
    void when(const std::string &text, std::function<void()> action, size_t nth = 1);

    /* Values of the settings store, by "namespace:section:key"; a key that is not there has no value. */
    std::map<std::string, std::string> store;
    std::vector<std::string> namespaces = {"nvram", "mem"};
    bool store_opens = true;
    bool store_on_loop_opens = true;
    /* What xcontrol_get_response answers for these keys, whose values are then not the daemon's to touch. */
    std::map<std::string, int32_t> response_results;
    /* The type of every value. */
    int32_t value_type = XDATA_TEXT;
    /* xresponse_parse says nothing about its status, and gives no result. */
    bool parse_says_nothing = false;
    /* Keys whose requests cannot be sent, and keys that cannot be watched or written. */
    std::vector<std::string> get_fails;
    std::vector<std::string> watch_fails;
    std::vector<std::string> set_fails;

    int32_t board_system_init_result = 0;
    int32_t control_venc_result = 0;
    int32_t device_type_result = 0;
    int32_t flag_300 = 0;
    /* What hot_config_str_to_object answers for a text that it can read. */
    int32_t profile_result = 0;
    /* A frame of the board: fills payload and info, and gives the result. */
    std::function<int32_t(int32_t channel, uint8_t *payload, uint32_t capacity, VideoFrameInfo *info)>
        get_video_stream;
    /* A block of sound, a picture, a raw frame: likewise. */
    std::function<int32_t(uint8_t *payload, uint32_t capacity, AudioFrameInfo *info)> get_audio_stream;
    std::function<int32_t(uint8_t *payload, uint32_t capacity, VideoFrameInfo *info)> get_jpeg_snap;
    std::function<int32_t(uint8_t *payload, uint32_t capacity, RawFrameInfo *info)> get_raw_frame;
    /* What the other calls of the board, of analytics, of the maker's utilities, of the command library and
     * of the system answer, by name; 0 where nothing is said. "shmat" is the address, where it is not that of
     * shared_memory. */
    std::map<std::string, int32_t> results;
    /* errno of a call of the system that answers something negative by `results`. */
    int error_number = 0;
    /* Where the command library finds commands: runs them with `handler` and gives the bytes consumed. */
    std::function<int32_t(int32_t fd, const std::string &bytes, av_cmd_handler_t handler)> av_cmd_parse;

    /* shbfev_brd_create gives null for these paths; shbfev_brd_start fails with the value for these. */
    std::vector<std::string> create_fails;
    std::map<std::string, int32_t> start_results;
    bool alloc_fails = false;
    std::function<int32_t()> broadcast = [] { return 1; };
    std::function<int32_t()> broadcast_message = [] { return 1; };

    int prctl_result = 0;
    int kill_result = 0;
    /* Result of the nth pthread_create, from 1; those not named succeed. */
    std::map<size_t, int> pthread_create_results;
    /* Which calls of malloc fail, counted from 1; and how many there were. */
    std::set<size_t> malloc_fails;
    std::atomic<size_t> mallocs{0};
    /* Whether json_object_new_object gives one. */
    bool json_objects = true;
    /* Waiting for the condition returns at once, without the lock in between, unless threads are real. */
    /* Waiting for the condition returns at once, without the lock in between, unless threads are real. Real
     * threads are created and joined, sleep a thousandth of the time, and leave the virtual time alone. */
    bool threads_are_real = false;

    // ---- sockets: each is one end of a pair, so the loop can watch it ----

    int socket_result = 0; // negative: no socket
    int bind_result = 0;
    int listen_result = 0;
    bool accept_fails = false;
    std::vector<uint8_t> bound_address;
    int listener = -1;           // what socket() gave
    int listener_peer = -1;      // readable at the other end: somebody wants to connect
    std::vector<int> connecting; // the server's ends of those who do
    std::set<int> sockets;       // that are open

    // ---- files ----

    std::string card;                      // directory in place of "/mnt/sdcard"; empty: there is no card
    int64_t card_room_bytes = INT64_MAX;   // of which writes take what fits; 0: they fail
    size_t read_most_bytes = SIZE_MAX;     // that one fread gives
    std::map<int, std::string> card_files; // open ones, by descriptor
    std::set<FILE *> open_files;           // streams that fopen gave and fclose has not closed

    ~Script();

    // ---- for the stand-ins ----

    void write(const std::string &entry);

  private:
    void close_files();

    struct Reaction {
        std::string text;
        size_t nth;
        std::function<void()> action;
    };
    std::vector<Reaction> reactions_;
    std::mutex journal_lock_;
};

/* The script of the running test, and whether there is one. */
Script &current();
bool running();

/* Makes it new. */
void start();

/* Lets virtual time pass; an alarm that becomes due meanwhile runs its handler. */
void pass(uint64_t us);

/* A client connects to the daemon's socket: the client's end, which disconnect() closes. */
int connect();
void disconnect(int fd);

/* What a call does that only tells somebody something: it is journalled, and answers what the script has for
 * its name by then. */
int32_t answer(const char *name, const std::string &arguments);

/* printf into a string. */
std::string format(const char *text, ...) __attribute__((format(printf, 1, 2)));

/*
 * Calls a watch of the daemon with a change, as the store would. A null value is a key without one. `status`
 * is what xresponse_parse says; the result it gives goes by the type.
 */
void notify(const std::string &key, const char *value, int32_t type = XRESPONSE_NOTIFY, int32_t status = 0);

/* The same with a response that has no result, because it does not parse as a rule. */
void notify_broken(const std::string &key, int32_t status = -1, int32_t type = XRESPONSE_ERROR);

/* Allocations of the scripted store client that the daemon has not freed. */
int unfreed();

/* For the stand-in of close(): journals it when it is a file on the card. */
void card_file_closes(int fd);

/* The scripted channel with this path, or null. */
Channel *channel(const std::string &path);

/* What became of every buffer that is neither freed nor taken, one line each. */
std::vector<std::string> lost_buffers();

/* "default loop", "another loop" or "no loop". */
const char *name_of(const struct ev_loop *loop);

} // namespace script

#endif
