// strellctl events: what the analytics have found, as it comes. An example of an event receiver.

#include "libshbf_receiver.h"
#include "strellctl/all_commands.h"
#include "strellctl/channel.h"
#include "strellctl/clock.h"
#include "strellctl/failure.h"
#include "strellctl/interrupt.h"
#include "strellctl/json.h"
#include "strellctl/output.h"
#include "strellctl/wall_clock.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <poll.h>

namespace ctl {

namespace {

constexpr double until_interrupted_s = 1e9;

struct Receiver {
    struct Close {
        void operator()(shbf_rcv_t *receiver) const { shbf_rcv_close(receiver); }
    };
    const char *kind;
    std::unique_ptr<shbf_rcv_t, Close> receiver;
};

Receiver attach(const char *kind, const char *path) {
    Receiver result = {kind, std::unique_ptr<shbf_rcv_t, Receiver::Close>(shbf_rcv_open(path, nullptr))};
    if (result.receiver == nullptr) {
        throw Failure(attach_failure(std::string("the channel of ") + kind + " events", errno));
    }
    return result;
}

void tell(const char *kind, const std::string &text, bool json) {
    const std::string time = wall_clock_text();
    if (json) {
        JsonObject object;
        object.add("time", time).add("kind", kind).add("text", text);
        print_line(object.text());
    } else {
        print_line(time + "  " + format("%-6s  ", kind) + printable(text));
    }
}

/* Tells all that has come. */
void take(const Receiver &from, bool json) {
    shbf_event_t event;
    int32_t result = 0;
    while ((result = shbf_rcv_next(from.receiver.get(), &event, 0)) == 1) {
        if (event.kind == SHBF_EVENT_FRAME) {
            shbf_rcv_release(from.receiver.get(), &event.frame); // events are messages
            continue;
        }
        const std::string bytes(static_cast<const char *>(event.message.bytes), event.message.length);
        tell(from.kind, bytes.substr(0, bytes.find('\0')), json);
    }
    if (result == -EPROTO) {
        throw Failure("what comes on this channel makes no sense: it is served by something else than this "
                      "version's strell_v2");
    }
    if (result < 0 && result != -EINTR) {
        throw Failure("strell_v2 has ended, or has dropped this receiver: see its log");
    }
}

} // namespace

int run_events(const Arguments &arguments) {
    const bool json = arguments.has("--json");
    const uint64_t end_us =
        monotonic_us() +
        static_cast<uint64_t>(arguments.seconds("-t", until_interrupted_s) * static_cast<double>(us_per_s));
    const Interrupt interrupt;
    const Receiver receivers[] = {attach("motion", "/run/md_event"), attach("sound", "/run/lsd_event")};
    while (!interrupt.happened()) {
        for (const Receiver &receiver : receivers) {
            take(receiver, json);
        }
        const uint64_t now_us = monotonic_us();
        if (now_us >= end_us) {
            break;
        }
        constexpr uint64_t most_ms = 60'000;
        pollfd entries[] = {{shbf_rcv_fd(receivers[0].receiver.get()), POLLIN, 0},
                            {shbf_rcv_fd(receivers[1].receiver.get()), POLLIN, 0},
                            {interrupt.fd(), POLLIN, 0}};
        poll(entries, std::size(entries),
             static_cast<int>(std::min((end_us - now_us + 999) / 1000, most_ms)));
    }
    return exit_good;
}

} // namespace ctl
