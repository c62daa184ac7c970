// What the board's echo canceller does, in virtual time: single talk and double talk, in several rooms.

#include "bench/echo_measure.h"

#include <cstdio>

namespace {

using namespace bench;
using board::EchoSettings;

constexpr EchoSettings rooms[] = {
    {true, 40, 12, 60}, {true, 40, 0, 60}, {true, 100, 12, 100}, {true, 0, 12, 0}};
constexpr uint32_t voices[] = {1, 5};
constexpr float soft_db = -10;

void single_talk(const EchoSettings &room, uint32_t voice) {
    const Talk talk = {voice, 0, 0, false};
    const Capture off = run_engine(room, talk, false);
    const Capture on = run_engine(room, talk, true);
    std::printf(" %5.1f | %5.1f | %5.1f | %5.1f |", erle_db(off, on, 0, 1), erle_db(off, on, 1, 2),
                erle_db(off, on, 2, 4), erle_db(off, on, 4, talk.seconds));
}

void double_talk(const EchoSettings &room, uint32_t voice, float level_db) {
    const Talk talk = {voice, voice + 1, level_db, true};
    const Capture off = run_engine(room, talk, false);
    const Capture on = run_engine(room, talk, true);
    std::printf(" %.3f | %.3f | %4.1f |", similarity(off), similarity(on), kept_db(on));
}

} // namespace

int main() {
    std::puts(
        "Echo return loss enhancement on single talk (dB, by seconds since the far voice began), and how\n"
        "like the near voice what is captured is on double talk (correlation with the canceller off and\n"
        "on; loudness kept, dB). Room: delay ms, attenuation dB, reverberation ms.\n");
    std::puts(
        "| room | voice | 0-1 s | 1-2 s | 2-4 s | 4-12 s | equal: off | on | kept | 10 dB softer: off | on "
        "| kept |");
    std::puts("|---|---|---|---|---|---|---|---|---|---|---|---|");
    for (const EchoSettings &room : rooms) {
        for (const uint32_t voice : voices) {
            std::printf("| %d,%d,%d | %u |", room.delay_ms, room.attenuation_db, room.reverb_ms, voice);
            single_talk(room, voice);
            double_talk(room, voice, 0);
            double_talk(room, voice, soft_db);
            std::puts("");
        }
    }
    return 0;
}
