// strellctl ban, strellctl unban: nothing is played while the speaker is banned.

#include "strellctl/all_commands.h"
#include "strellctl/channel.h"
#include "strellctl/clock.h"
#include "strellctl/failure.h"
#include "strellctl/output.h"
#include "strellctl/speaker.h"

namespace ctl {

namespace {

constexpr uint64_t send_max_us = 2 * us_per_s;

int send_control_word(const char *word, const char *result) {
    Channel speaker(speaker_path, speaker_name);
    speaker.send(word, monotonic_us() + send_max_us); // without its NUL, with which it would be sound
    print_line(result);
    return exit_good;
}

} // namespace

int run_ban(const Arguments & /*arguments*/) {
    return send_control_word("SOUND_BAN",
                             "the speaker is banned: what comes is not played, until strellctl unban");
}

int run_unban(const Arguments & /*arguments*/) {
    return send_control_word("SOUND_UNBAN", "the speaker may play");
}

} // namespace ctl
