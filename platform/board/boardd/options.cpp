#include "board/boardd/options.h"

#include "board/boardd/log.h"

#include <cstdio>
#include <cstring>
#include <getopt.h>

namespace board {

namespace {

constexpr int exit_usage = 2;
constexpr size_t source_max_bytes = 4096; // of a path, too

constexpr char help_text[] = R"(boardd: the software board, a camera's sensor and encoders in one process

  boardd [--source SOURCE] [--sensor 300|400]

  --source SOURCE   where the picture comes from, instead of the test scene:
                      a video file                     played in a loop
                      a URI                            rtsp://..., http://..., file:///...
                      a GStreamer source               'v4l2src device=/dev/video0'
                                                       'rtspsrc location=rtsp://host/path latency=200'
                                                       'videotestsrc pattern=smpte is-live=true'
                    A source that fails or ends is started again. At most 4096 bytes.
  --sensor CLASS    which sensor is fitted: 400 for 2560x1440 (this is the default), 300 for 2304x1296
  --help            this text

It serves until SIGTERM or SIGINT. Its sockets are under /run, or under STRELL_RUN_DIR when that is set.
boardctl shows what it does and makes it misbehave.
)";

bool read_source(const char *text, Options &options) {
    if (std::strlen(text) > source_max_bytes) {
        log_line("--source takes at most %zu bytes, not %zu", source_max_bytes, std::strlen(text));
        return false;
    }
    options.source = text;
    return true;
}

bool read_sensor(const char *text, Options &options) {
    if (std::strcmp(text, "300") != 0 && std::strcmp(text, "400") != 0) {
        log_line("--sensor takes 300 or 400, not \"%s\"", text);
        return false;
    }
    options.flag_300 = text[0] == '3' ? 1 : 0;
    return true;
}

} // namespace

Options read_options(int argc, char **argv) {
    static const option long_options[] = {{"source", required_argument, nullptr, 's'},
                                          {"sensor", required_argument, nullptr, 'c'},
                                          {"help", no_argument, nullptr, 'h'},
                                          {nullptr, 0, nullptr, 0}};
    Options options;
    int chosen = 0;
    while (options.exit_code < 0 && (chosen = getopt_long(argc, argv, "h", long_options, nullptr)) != -1) {
        if (chosen == 'h') {
            std::fputs(help_text, stdout);
            options.exit_code = 0;
        } else if (!((chosen == 's' && read_source(optarg, options)) ||
                     (chosen == 'c' && read_sensor(optarg, options)))) {
            options.exit_code = exit_usage;
        }
    }
    if (options.exit_code < 0 && optind < argc) {
        log_line("\"%s\" is no option; boardd --help shows all", argv[optind]);
        options.exit_code = exit_usage;
    }
    return options;
}

} // namespace board
