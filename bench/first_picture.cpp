// From nothing to a picture: starts store, board and daemon with the default profile as ./dev run does,
// attaches to the main stream, and decodes it. How long each step takes, median of several runs.

#include "libboardav.h"
#include "libmortox.h"
#include "libshbf_receiver.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/gst.h>
#include <map>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int runs = 5;

/* Steps, as run_once times them. */
constexpr size_t board_serves = 1;
constexpr size_t first_frame = 3;
constexpr const char *main_stream = "/run/video_mainstream";

[[noreturn]] void fail(const std::string &what) {
    std::fprintf(stderr, "first_picture: %s\n", what.c_str());
    std::exit(1);
}

pid_t spawn(std::vector<std::string> command) {
    command[0] = std::string(STRELL_BIN_DIR) + "/" + command[0];
    std::vector<char *> argv;
    for (std::string &word : command) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
        fail("cannot start " + command[0]);
    }
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

/* Repeats what may take a moment to work. */
template <typename Attempt>
auto patiently(Attempt attempt) {
    for (int i = 0; i < 20000; ++i) {
        if (auto result = attempt()) {
            return result;
        }
        usleep(1000);
    }
    fail("something does not come up");
}

/* H.265 access units in, pictures out. */
class Decoder {
  public:
    Decoder()
        : pipeline_(gst_parse_launch(
              "appsrc name=in format=time ! "
              "video/x-h265,stream-format=byte-stream,alignment=au ! h265parse ! avdec_h265 ! "
              "appsink name=out sync=false",
              nullptr)),
          in_(gst_bin_get_by_name(GST_BIN(pipeline_), "in")),
          out_(gst_bin_get_by_name(GST_BIN(pipeline_), "out")) {
        gst_element_set_state(pipeline_, GST_STATE_PLAYING);
    }
    ~Decoder() {
        gst_element_set_state(pipeline_, GST_STATE_NULL);
        gst_object_unref(in_);
        gst_object_unref(out_);
        gst_object_unref(pipeline_);
    }
    Decoder(const Decoder &) = delete;
    Decoder &operator=(const Decoder &) = delete;

    void push(const void *bytes, size_t length) {
        GstBuffer *buffer = gst_buffer_new_memdup(bytes, length);
        gst_app_src_push_buffer(GST_APP_SRC(in_), buffer);
    }
    bool has_picture() {
        GstSample *sample = gst_app_sink_try_pull_sample(GST_APP_SINK(out_), 0);
        if (sample == nullptr) {
            return false;
        }
        gst_sample_unref(sample);
        return true;
    }

  private:
    GstElement *pipeline_;
    GstElement *in_;
    GstElement *out_;
};

/* Milliseconds from the start to each step. */
std::vector<double> run_once() {
    const auto begin = Clock::now();
    std::vector<double> steps;
    const auto step = [&] {
        steps.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
    };
    std::vector<pid_t> pids = {spawn({"mortoxd", "--memory", "nvram", "--memory", "mem"})};
    mortox_t *store = patiently([] { return libmortox_config_open(0); });
    if (!libmortox_set_value(store, "nvram", "default", "bind_status", XDATA_TEXT, "ok", nullptr, nullptr, -1,
                             0)) {
        fail(libmortox_last_error(store));
    }
    libmortox_close(store);
    step();
    pids.push_back(spawn({"boardd"}));
    const std::string board_socket = std::string(std::getenv("STRELL_RUN_DIR")) + "/boardd";
    patiently([&] { return access(board_socket.c_str(), F_OK) == 0; });
    step();
    pids.push_back(spawn({"strell_v2"}));
    shbf_rcv_t *receiver = patiently([] { return shbf_rcv_open(main_stream, nullptr); });
    step();
    Decoder decoder;
    bool first = true;
    do {
        shbf_event_t event;
        const int result = shbf_rcv_next(receiver, &event, 5);
        if (result < 0) {
            fail("the stream ended");
        }
        if (result == 1 && event.kind == SHBF_EVENT_FRAME) {
            if (first) {
                step();
                first = false;
            }
            const auto *bytes = static_cast<const uint8_t *>(event.frame.data);
            decoder.push(bytes + sizeof(VideoFrameInfo), event.frame.size - sizeof(VideoFrameInfo));
            shbf_rcv_release(receiver, &event.frame);
        }
    } while (!decoder.has_picture());
    step();
    shbf_rcv_close(receiver);
    std::reverse(pids.begin(), pids.end());
    for (const pid_t pid : pids) {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
    }
    return steps;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char **argv) {
    gst_init(&argc, &argv);
    char directory[] = "/tmp/strell-bench-XXXXXX";
    if (mkdtemp(directory) == nullptr) {
        fail("cannot make a run directory");
    }
    setenv("STRELL_RUN_DIR", directory, 1);
    std::vector<std::vector<double>> all;
    for (int i = 0; i < runs; ++i) {
        all.push_back(run_once());
    }
    const char *names[] = {"store serves", "board serves", "attached to the main stream",
                           "first frame received", "first picture decoded (2560x1440)"};
    std::printf("From starting the first process, median of %d runs\n\n| step | ms |\n|---|---|\n", runs);
    for (size_t i = 0; i < std::size(names); ++i) {
        std::vector<double> values;
        for (const std::vector<double> &steps : all) {
            values.push_back(steps.at(i));
        }
        std::printf("| %s | %.0f |\n", names[i], median(values));
    }
    std::vector<double> daemon_alone;
    for (const std::vector<double> &steps : all) {
        daemon_alone.push_back(steps.at(first_frame) - steps.at(board_serves));
    }
    std::printf("| of it the daemon: from its start to its first frame | %.0f |\n", median(daemon_alone));
    return std::system(("rm -rf " + std::string(directory)).c_str()) == 0 ? 0 : 1;
}
