// boardd: the software board.

#include "board/boardd/analytics/analytics.h"
#include "board/boardd/audio/audio.h"
#include "board/boardd/board.h"
#include "board/boardd/control_server.h"
#include "board/boardd/elements.h"
#include "board/boardd/log.h"
#include "board/boardd/options.h"
#include "board/boardd/requests.h"

#include <csignal>
#include <cstdlib>
#include <ev.h>
#include <exception>
#include <gst/gst.h>
#include <stdexcept>

namespace {

using namespace board;

void on_signal(struct ev_loop *loop, ev_signal *watcher, int /*events*/) {
    log_line("signal %d: ending", watcher->signum);
    ev_break(loop, EVBREAK_ALL);
}

/* Serves until a signal comes. */
void serve(const Options &options) {
    struct ev_loop *loop = ev_default_loop(EVFLAG_AUTO);
    ev_signal terminated;
    ev_signal interrupted;
    ev_signal_init(&terminated, on_signal, SIGTERM);
    ev_signal_init(&interrupted, on_signal, SIGINT);
    ev_signal_start(loop, &terminated);
    ev_signal_start(loop, &interrupted);

    ControlServer server(loop);
    bool reachable = true;
    const auto channel_lost = [&] {
        reachable = false;
        ev_break(loop, EVBREAK_ALL);
    };
    Analytics analytics(loop, channel_lost);
    Audio audio(loop, options.audio, channel_lost);
    Board board(loop, Source(options.source), channel_lost);
    board.picture().world().set_sky({scene_constant, options.light_mlux, 0, 0});
    board.on_power([&](bool on) { on ? audio.start() : audio.stop(); });
    board.on_picture(
        [&](const Plane &y, uint64_t time_us, uint32_t look) { analytics.look_at(y, time_us, look); });
    audio.on_sound([&](const Turn &turn) { analytics.hear(turn); });
    Requests requests(board, audio, analytics, server, options.flag_300);
    server.set_handler(&requests);
    log_line("ready: source \"%s\", microphone \"%s\", speaker \"%s\", serving %s",
             board.source().name().c_str(), audio.microphone().name().c_str(),
             audio.loudspeaker().name().c_str(), server.path().c_str());
    ev_run(loop, 0);
    if (!reachable) {
        throw std::runtime_error("a stream channel was removed or taken over by another process");
    }
}

} // namespace

int main(int argc, char **argv) {
    const Options options = read_options(argc, argv);
    if (options.exit_code >= 0) {
        return options.exit_code;
    }
    std::signal(SIGPIPE, SIG_IGN);
    gst_init(nullptr, nullptr);
    const std::string missing = missing_elements();
    if (!missing.empty()) {
        log_line("%s", missing.c_str());
        return EXIT_FAILURE;
    }
    try {
        serve(options);
    } catch (const std::exception &error) {
        log_line("%s", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
