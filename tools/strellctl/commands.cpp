// The table of commands.

#include "strellctl/all_commands.h"
#include "strellctl/av_commands.h"
#include "strellctl/known_settings.h"

#include <algorithm>
#include <array>

namespace ctl {

namespace {

constexpr size_t most_settings = 1000; // a store takes 1024 watches from one client

constexpr size_t most_scene_words = 4;
constexpr size_t most_av_words = 33; // a name and 32 values

constexpr Option json_option = {"--json", nullptr, "for programs; docs/strellctl.md lists the members"};
constexpr Option force_option = {"--force", nullptr, "stores it unchecked"};

constexpr std::array status_options = {
    Option{"--follow", nullptr, "goes on until Ctrl-C, one live line for each stream"}, json_option};
constexpr std::array access_options = {json_option};
constexpr std::array watch_options = {Option{"-t", "SECONDS", "ends after so long; otherwise at Ctrl-C"},
                                      json_option};
constexpr std::array record_options = {
    Option{"-t", "SECONDS", "ends after so long, by the frames' capture times; otherwise at Ctrl-C"}};
constexpr std::array set_options = {force_option};
constexpr std::array list_options = {Option{
    "--known", nullptr, "every setting that strell_v2 reads, what it does, its value or (what holds)"}};

constexpr char status_details[] =
    R"(Shows who serves the video channels and how many receive them, the software board, and the settings store.
Exit status 1 when strell_v2 or the store is not there.

With --follow it attaches to both streams, as any receiver does, and shows size, codec, frame rate and bitrate
each second. strell_v2 may come and go meanwhile. In a pipe it prints a line for each stream when something has
changed, and every 10 seconds. It does not count itself among the receivers.
)";

constexpr char access_details[] =
    R"(Shows for each channel of strell_v2 who may attach, the limits, and which processes are attached. The rules
come from /etc/strell/channels.conf (docs/channel_access.md). Exit status 1 when a channel does not answer.
)";

constexpr char watch_details[] =
    R"(Attaches to a stream and shows each second: frame rate (over 2 s), bitrate (over 4 s), time from key frame to
key frame, latency from capture to receipt, and frames lost on the way. A summary comes at the end.
)";

constexpr char record_details[] =
    R"(Records a stream from its next key frame on, for which it asks. The ending of FILE decides what it becomes:
  .mp4 .mkv             a file for players
  .h265 .hevc .265      the encoder's bytes as they are, of an H.265 stream
  .h264 .264            the same of an H.264 stream
  .bin, - (output)      the same of any stream
An existing FILE is overwritten. Ctrl-C completes it. When the stream ends or changes its codec or size, or the
disk is full, what came before stays in FILE (an .mp4 on a full disk cannot be played; an .mkv can).
)";

constexpr char idr_details[] =
    R"(Asks for a key frame, as any receiver may, and says how long it took to come. Gives up after 5 s.
)";

constexpr char monitor_details[] =
    R"(Prints each change of the settings with its new value, until Ctrl-C; without NAMEs of all that strell_v2 reads and
all that are stored at this moment. It goes on when the store restarts.
)";

constexpr char reload_details[] =
    R"(Makes a running strell_v2 hand the stored hot_config to the board. Receivers stay attached; the streams go on with a
key frame.
)";

constexpr char completion_details[] = R"SH(Prints a script that completes strellctl's words. To use it:
  eval "$(strellctl completion bash)"
)SH";

constexpr char get_details[] =
    R"(Prints the value of a setting. NAME is a key such as flip, or NAMESPACE:KEY, or NAMESPACE:SECTION:KEY.
strellctl help settings tells what each setting does.
)";

constexpr char set_details[] =
    R"(Stores a value. It is safe from a power cut when the command returns, unless the setting lives in memory (mem:).
What strell_v2 reads is checked first; a value or key that makes no sense to it is refused. It reads:
)";

constexpr char unset_details[] =
    R"(Takes the value of a setting away, so that what strell_v2 takes by itself holds again.
)";

constexpr char list_details[] = R"(Lists what is stored.
)";

constexpr char help_details[] =
    R"(Without a word: all commands. With that of a command: its help. settings: what each does, its values, what holds
without a value, and when strell_v2 takes it over.
)";

constexpr std::array snapshot_options = {
    Option{"--raw", nullptr, "an uncompressed frame of 640x384 pixels"},
    Option{"--kind", "A|R", "which of the two requests for a JPEG is sent; A unless given"}};
constexpr std::array listen_options = {
    Option{"-t", "SECONDS", "ends after so much sound; otherwise at Ctrl-C"}};

constexpr char cmd_details[] =
    R"(Sends an AV command to strell_v2 over its command socket, and shows code, result and data of the acknowledgement.
A number is decimal, or hexadecimal behind 0x. Exit status 1 when strell_v2 is not there, when no
acknowledgement comes within 2 s where one is due, and when the result is negative.
CODE sends any code: 0x and hex digits, and its payload in hex digits.
)";

constexpr char snapshot_details[] =
    R"(Asks for a picture and writes it to FILE: a JPEG of the main stream's size to a name that ends with .jpg. With --raw
the ending decides: .png, .jpg, .y4m, or .yuv for the bytes as they came (4:2:0, planar). - is standard output.
)";

constexpr char listen_details[] =
    R"(Records the microphone as WAV, 16 bit, 16 kHz, mono. Ctrl-C completes it. - is standard output, to be piped on:
  strellctl listen - | ffplay -
)";

constexpr char talk_details[] =
    R"(Plays the sound of FILE on the camera's speaker, in real time: any kind of file that GStreamer can decode.
- is standard input. strell_v2 plays nothing while the camera is off or the speaker is banned, and does not say so.
)";

constexpr char ban_details[] =
    R"(Bans the speaker, as the motor's process does while the motor runs: sound that comes is thrown away until
strellctl unban. Without effect while the camera is off.
)";

constexpr char unban_details[] = R"(Lets the speaker play again. Without effect while the camera is off.
)";

constexpr std::array object_options = {
    Option{"--path", "swing|round", "from side to side, or round the camera"},
    Option{"--speed", "DEGREES", "a second; round the camera also negative, to the left"},
    Option{"--size", "DEGREES", "how high it is, 1 to 40"},
    Option{"--pan", "DEGREES", "where it starts, -180 to 180"},
    Option{"--tilt", "DEGREES", "how high up, -60 to 60"},
    Option{"--span", "DEGREES", "how far it swings to the right, 0 to 360"}};

constexpr char scene_details[] =
    R"(Shows and changes the world before the software board's camera: its test scene, the light there, where the
camera looks, and noises. A real camera has none of this.
  scene [show]                      light, what the sensor sees of it, view, object
  scene brightness LUX              500 is a well-lit room, 2 a street at night
  scene ramp LUX SECONDS            from what it is to LUX
  scene cycle SECONDS [HIGH LOW]    day and night within SECONDS, again and again; 1000 and 0.1 lux unless given
  scene noise PERCENT               the light flickers by so much
  scene object on|off [OPTIONS]     somebody walks through; what no option says stays as it is
  scene burst [DB] [MS]             a noise that the microphone hears; -10 dB of full scale, 500 ms unless given
  scene view PAN TILT               where the camera looks, in degrees: -160 to 160, -30 to 30
)";

constexpr char night_details[] =
    R"(Stores the setting night_mode: with auto the light decides between day and night, with day or night it does not.
)";

constexpr std::array events_options = {Option{"-t", "SECONDS", "ends after so long; otherwise at Ctrl-C"},
                                       json_option};
constexpr std::array motor_options = {
    Option{"-t", "SECONDS", "ends after so long; otherwise at Ctrl-C"},
    Option{"--move", nullptr, "fails when there is no software board to move"},
    Option{"--no-move", nullptr, "only prints"}, json_option};

constexpr char events_details[] =
    R"(Prints what is detected, as it comes, one event a line: the time, "motion" or "sound", and its text.
docs/formats/events.md lists the texts.
)";

constexpr char motor_details[] =
    R"(Takes the tracking directions out of the mailbox, as the process of the motor does, and prints them. Where the
software board is there its view is moved. strell_v2 makes the mailbox when tracking is switched on:
  strellctl set motion_detection_enable on
)";

constexpr std::array table = {
    Command{"status", "[--follow] [--json]", "channels, board and store", status_details, status_options,
            Words::none, 0, 0, run_status},
    Command{"access", "[--json]", "who may listen, and who does", access_details, access_options, Words::none,
            0, 0, run_access},
    Command{"watch", "main|sub [-t SECONDS] [--json]", "how a stream runs, live", watch_details,
            watch_options, Words::streams, 1, 1, run_watch},
    Command{"record", "main|sub [-t SECONDS] FILE", "a stream into a file", record_details, record_options,
            Words::streams, 2, 2, run_record},
    Command{"idr", "main|sub", "asks for a key frame", idr_details, {}, Words::streams, 1, 1, run_idr},
    Command{"get", "NAME", "the value of a setting", get_details, {}, Words::settings, 1, 1, run_get},
    Command{"set", "NAME VALUE [--force]", "gives a setting a value", set_details, set_options,
            Words::settings_and_values, 2, 2, run_set, settings_help},
    Command{"unset",
            "NAME",
            "takes the value of a setting away",
            unset_details,
            {},
            Words::settings,
            1,
            1,
            run_unset},
    Command{"list", "[--known]", "the settings and their values", list_details, list_options, Words::none, 0,
            0, run_list},
    Command{"monitor",
            "[NAME...]",
            "changes of settings, as they come",
            monitor_details,
            {},
            Words::settings,
            0,
            most_settings,
            run_monitor},
    Command{"reload", "", "applies a changed hot_config", reload_details, {}, Words::none, 0, 0, run_reload},
    Command{"snapshot", "[--raw] [--kind A|R] FILE", "a picture into a file", snapshot_details,
            snapshot_options, Words::none, 1, 1, run_snapshot},
    Command{"listen", "FILE.wav [-t SECONDS]", "the microphone into a file", listen_details, listen_options,
            Words::none, 1, 1, run_listen},
    Command{"talk", "FILE", "plays a file on the speaker", talk_details, {}, Words::none, 1, 1, run_talk},
    Command{"ban", "", "keeps the speaker quiet", ban_details, {}, Words::none, 0, 0, run_ban},
    Command{"unban", "", "lets the speaker play again", unban_details, {}, Words::none, 0, 0, run_unban},
    Command{"night",
            "auto|day|night",
            "day and night by the light, or not",
            night_details,
            {},
            Words::night_modes,
            1,
            1,
            run_night},
    Command{"scene", "[SUBJECT [VALUE...]] [OPTIONS]", "the world before the software board", scene_details,
            object_options, Words::scene_subjects, 0, most_scene_words, run_scene, nullptr, true},
    Command{"cmd",
            "NAME [VALUE...] | CODE [HEX]",
            "an AV command",
            cmd_details,
            {},
            Words::av_commands,
            1,
            most_av_words,
            run_cmd,
            av_commands_help},
    Command{"events", "[-t SECONDS] [--json]", "motion and abnormal sound, as they come", events_details,
            events_options, Words::none, 0, 0, run_events},
    Command{"motor", "[-t SECONDS] [--move|--no-move] [--json]", "follows what moves, as the motor does",
            motor_details, motor_options, Words::none, 0, 0, run_motor},
    Command{"completion",
            "bash",
            "a script for the shell",
            completion_details,
            {},
            Words::shells,
            1,
            1,
            run_completion},
    Command{"help",
            "[COMMAND|settings]",
            "this list, a command, or what each setting does",
            help_details,
            {},
            Words::topics,
            0,
            1,
            run_help},
};

} // namespace

std::span<const Command> commands() {
    return table;
}

const Command *find_command(const std::string &name) {
    const auto found = std::ranges::find_if(table, [&](const Command &row) { return name == row.name; });
    return found != table.end() ? &*found : nullptr;
}

} // namespace ctl
