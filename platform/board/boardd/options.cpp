#include "board/boardd/options.h"

#include "board/boardd/log.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>

namespace board {

namespace {

constexpr int exit_usage = 2;
constexpr size_t source_max_bytes = 4096; // of a path, too

constexpr char help_text[] = R"(boardd: the software board, a camera's sensor and encoders in one process

  boardd [--source SOURCE] [--sensor 300|400] [--light LUX] [--microphone SOURCE] [--speaker SINK] [--echo ECHO]

  --source SOURCE   where the picture comes from, instead of the test scene:
                      a video file                     played in a loop
                      a URI                            rtsp://..., http://..., file:///...
                      a GStreamer source               'v4l2src device=/dev/video0'
                                                       'rtspsrc location=rtsp://host/path latency=200'
                                                       'videotestsrc pattern=smpte is-live=true'
                    A source that fails or ends is started again. At most 4096 bytes.
  --sensor CLASS    which sensor is fitted: 400 for 2560x1440 (this is the default), 300 for 2304x1296
  --light LUX       how bright the test scene is at first: 500 when not given; 0 to 200000, with a point. What
                    strellctl scene sets goes on from there
  --microphone SOURCE  what the microphone hears, instead of a synthetic voice: a sound file (in a loop), a
                    URI, or a GStreamer source (autoaudiosrc, 'alsasrc device=hw:1')
  --speaker SINK    where the speaker is heard: wav (the file boardd_speaker.wav beside the sockets), none, or
                    a GStreamer sink (autoaudiosink, 'alsasink device=hw:1'). Without it: the sound card, or
                    wav where there is none
  --echo DELAY_MS,ATTENUATION_DB[,REVERB_MS]
                    how the microphone hears the speaker: 40,12,60 when not given; up to 100,60,100
  --echo off        it does not
  --help            this text

It serves until SIGTERM or SIGINT. Its sockets are under /run, or under STRELL_RUN_DIR when that is set.
boardctl shows what it does and makes it misbehave.
)";

/* What a source or a sink is; `name` is the option's. */
bool read_text(const char *name, const char *argument, std::string &text) {
    if (std::strlen(argument) > source_max_bytes) {
        log_line("--%s takes at most %zu bytes, not %zu", name, source_max_bytes, std::strlen(argument));
        return false;
    }
    text = argument;
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

bool read_light(const char *text, Options &options) {
    constexpr double most_lux = scene_mlux_max / 1000.0;
    char *end = nullptr;
    const double lux = std::strtod(text, &end);
    if (end == text || *end != '\0' || !(lux >= 0 && lux <= most_lux)) {
        log_line("--light takes a number of lux from 0 to %.0f, not \"%s\"", most_lux, text);
        return false;
    }
    options.light_mlux = static_cast<uint32_t>(std::lround(lux * 1000));
    return true;
}

/* Numbers with commas between them, each from 0 to its limit, two at least. */
bool read_echo(const char *text, Options &options) {
    EchoSettings &echo = options.audio.echo;
    if (std::strcmp(text, "off") == 0) {
        echo.present = false;
        return true;
    }
    int end = 0;
    const int numbers =
        std::sscanf(text, "%d,%d%n,%d%n", &echo.delay_ms, &echo.attenuation_db, &end, &echo.reverb_ms, &end);
    const bool in_range = echo.delay_ms >= 0 && echo.delay_ms <= echo_delay_max_ms &&
                          echo.attenuation_db >= 0 && echo.attenuation_db <= echo_attenuation_max_db &&
                          echo.reverb_ms >= 0 && echo.reverb_ms <= echo_reverb_max_ms;
    if (numbers < 2 || text[end] != '\0' || !in_range) {
        log_line("--echo takes off, or DELAY_MS,ATTENUATION_DB[,REVERB_MS] of at most %d,%d,%d, not \"%s\"",
                 echo_delay_max_ms, echo_attenuation_max_db, echo_reverb_max_ms, text);
        return false;
    }
    return true;
}

/* One option and its argument; false when it makes no sense. */
bool read_one(int chosen, const char *argument, Options &options) {
    switch (chosen) {
    case 's':
        return read_text("source", argument, options.source);
    case 'm':
        return read_text("microphone", argument, options.audio.microphone);
    case 'l':
        return read_text("speaker", argument, options.audio.speaker);
    case 'c':
        return read_sensor(argument, options);
    case 'i':
        return read_light(argument, options);
    case 'e':
        return read_echo(argument, options);
    default:
        return false;
    }
}

} // namespace

Options read_options(int argc, char **argv) {
    static const option long_options[] = {
        {"source", required_argument, nullptr, 's'},  {"sensor", required_argument, nullptr, 'c'},
        {"light", required_argument, nullptr, 'i'},   {"microphone", required_argument, nullptr, 'm'},
        {"speaker", required_argument, nullptr, 'l'}, {"echo", required_argument, nullptr, 'e'},
        {"help", no_argument, nullptr, 'h'},          {nullptr, 0, nullptr, 0}};
    Options options;
    int chosen = 0;
    while (options.exit_code < 0 && (chosen = getopt_long(argc, argv, "h", long_options, nullptr)) != -1) {
        if (chosen == 'h') {
            std::fputs(help_text, stdout);
            options.exit_code = 0;
        } else if (!read_one(chosen, optarg, options)) {
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
