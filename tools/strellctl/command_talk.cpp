// strellctl talk: plays a file on the camera's speaker.

#include "strellctl/all_commands.h"
#include "strellctl/channel.h"
#include "strellctl/clock.h"
#include "strellctl/failure.h"
#include "strellctl/output.h"
#include "strellctl/sound_file.h"
#include "strellctl/speaker.h"
#include "strellctl/wording.h"

namespace ctl {

namespace {

constexpr uint64_t send_max_us = 5 * us_per_s;

/* Sleeps, but for Ctrl-C (then it returns false) and the end of the daemon. */
bool wait_until(Channel *speaker, uint64_t moment_us, const Interrupt &interrupt) {
    for (;;) {
        switch (speaker->wait(moment_us, interrupt)) {
        case Channel::Outcome::frame: // nobody broadcasts here; whatever it is, it is not for us
            break;
        case Channel::Outcome::time_is_up:
            return true;
        case Channel::Outcome::interrupted:
            return false;
        case Channel::Outcome::gone:
            throw Failure("strell_v2 has ended, or has dropped this receiver: see its log");
        }
    }
}

/* Sends all of it in real time, and waits for the end of what was ahead. How much was sent. */
size_t play(SoundFile *sound, Channel *speaker, const Interrupt &interrupt) {
    PlayClock clock;
    size_t sent_bytes = 0;
    while (const auto message = sound->next(sound_message_bytes, interrupt)) {
        if (!wait_until(speaker, clock.send_us(), interrupt)) {
            return sent_bytes;
        }
        speaker->send(*message, monotonic_us() + send_max_us);
        clock.sent(message->size(), monotonic_us());
        sent_bytes += message->size();
    }
    wait_until(speaker, clock.end_us(), interrupt);
    return sent_bytes;
}

} // namespace

int run_talk(const Arguments &arguments) {
    const std::string &path = arguments.word(0);
    const Interrupt interrupt;
    SoundFile sound(path);
    Channel speaker(speaker_path, speaker_name);
    const size_t bytes = play(&sound, &speaker, interrupt);
    if (bytes == 0 && !interrupt.happened()) {
        throw Failure("there is no sound in " + printable(path));
    }
    print_line(format("%s: %.1f s", path == "-" ? "standard input" : printable(path).c_str(),
                      seconds_of(sound_us(bytes))));
    return exit_good;
}

} // namespace ctl
