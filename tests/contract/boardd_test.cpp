// boardd and boardctl as processes: start and end, what they say, and clients that are not to be trusted.

#include "board/protocol.h"
#include "contract/board_fixture.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace contract {
namespace {

using Boardd = BoardTest;
using support::BoardProcess;

const std::string boardctl = STRELL_BIN_DIR "/boardctl";

TEST_F(Boardd, SaysThatItIsReadyAndEndsOnASignal) {
    for (const int signal : {SIGTERM, SIGINT}) {
        start_boardd();
        EXPECT_NE(boardd_->output().find("boardd: ready: source \"test scene\""), std::string::npos);
        boardd_->signal(signal);
        EXPECT_EQ(boardd_->exit_code(), 0) << boardd_->output();
        EXPECT_TRUE(std::filesystem::is_empty(run_dir_.path())) << "it left something behind";
    }
}

TEST_F(Boardd, EndsCleanlyInTheMiddleOfItsWorkAndLeaksNothing) {
    boardd_.emplace(std::vector<std::string>{}, support::Leaks::sought);
    const VencConfig profiles[] = {profile_of(h265_channel(64, 64, 30), h264_channel(128, 96, 30)),
                                   profile_of(h264_channel(192, 108, 30), h265_channel(64, 64, 30))};
    // So slow is it now that a call may take longer than it may; what was asked for is done all the same.
    const auto sooner_or_later = [](auto call) { return support::eventually([&] { return call() == 0; }); };
    ASSERT_TRUE(sooner_or_later([&] { return control_venc_dynamically(&profiles[0]); }));
    board_system_init(1);
    for (int i = 1; i < 6; ++i) {
        ASSERT_TRUE(sooner_or_later([&] { return control_venc_dynamically(&profiles[i % 2]); }));
    }
    EXPECT_TRUE(support::eventually([&] { return boardd_->count("channel 0: ") >= 6; })) << boardd_->output();
    boardd_->signal(SIGTERM);
    EXPECT_EQ(boardd_->exit_code(), 0) << boardd_->output();
    for (const std::string &line : boardd_->lines()) {
        EXPECT_TRUE(line.starts_with("boardd: ")) << line;
    }
}

TEST_F(Boardd, HelpSaysHowItIsUsed) {
    const auto help = support::run(BoardProcess::command({"--help"}), support::board_environment());
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_NE(help.output.find("--source"), std::string::npos);
}

TEST_F(Boardd, RefusesOptionsThatItDoesNotKnow) {
    for (const std::vector<std::string> &options :
         {std::vector<std::string>{"--sensor", "500"}, {"--nonsense"}, {"word"}, {"--source"}}) {
        const auto outcome = support::run(BoardProcess::command(options), support::board_environment());
        EXPECT_EQ(outcome.exit_code, 2) << options[0];
        EXPECT_FALSE(outcome.output.empty());
    }
}

TEST_F(Boardd, RefusesASourceThatIsTooLong) {
    for (const size_t length : {size_t{4097}, size_t{15'000}, size_t{100'000}}) {
        const auto outcome = support::run(BoardProcess::command({"--source", std::string(length, 'x')}),
                                          support::board_environment());
        EXPECT_EQ(outcome.exit_code, 2);
        EXPECT_NE(outcome.output.find("--source takes at most 4096 bytes, not " + std::to_string(length)),
                  std::string::npos)
            << outcome.output;
    }
}

/* Quotes take two bytes of JSON each, and control characters six. */
TEST_F(Boardd, ShowsItsStatusWithTheLongestNames) {
    for (const char byte : {'x', '"', '\x01'}) {
        const std::string longest(4096, byte);
        start_boardd({"--source", longest, "--microphone", longest, "--speaker", longest});
        for (const char *const what : {"/source/name", "/microphone/name", "/speaker/name"}) {
            const std::string name = status(what);
            EXPECT_TRUE(name.starts_with(std::string(250, byte))) << name;
            EXPECT_TRUE(name.ends_with("...")) << name;
        }
    }
}

TEST_F(Boardd, ASecondOneSaysThatTheFirstRuns) {
    start_boardd();
    const auto second = support::run(BoardProcess::command({}), support::board_environment());
    EXPECT_EQ(second.exit_code, 1);
    EXPECT_NE(second.output.find("another boardd runs already"), std::string::npos) << second.output;
    board::BoardCtl().status();
}

TEST_F(Boardd, ReplacesTheSocketsOfAKilledOne) {
    start_boardd();
    boardd_->signal(SIGKILL);
    ASSERT_TRUE(boardd_->wait());
    ASSERT_TRUE(std::filesystem::exists(run_dir_.file("boardd")));
    start_board();
    next_frame(0);
}

TEST_F(Boardd, LeavesAloneWhatIsNoSocket) {
    std::ofstream(run_dir_.file("boardd")) << "mine";
    const auto outcome = support::run(BoardProcess::command({}), support::board_environment());
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("is no socket"), std::string::npos) << outcome.output;
    EXPECT_TRUE(std::filesystem::is_regular_file(run_dir_.file("boardd")));
}

TEST_F(Boardd, OfManyStartedAtOnceOneServes) {
    start_boardd();
    boardd_->signal(SIGKILL);
    ASSERT_TRUE(boardd_->wait());
    std::vector<std::unique_ptr<support::Process>> servers;
    for (int i = 0; i < 4; ++i) {
        servers.push_back(
            std::make_unique<support::Process>(BoardProcess::command({}), support::board_environment()));
    }
    int serving = 0;
    int refused = 0;
    std::string said;
    for (const auto &server : servers) {
        server->saw("boardd: "); // the first line says which it is
        said += server->output();
        serving += server->count("boardd: ready") == 1 ? 1 : 0;
        refused += server->count("another boardd runs already") == 1 ? 1 : 0;
    }
    EXPECT_EQ(serving, 1) << said;
    EXPECT_EQ(refused, 3) << said;
    board::BoardCtl().status();
}

TEST_F(Boardd, LeavesAloneWhoeverServesThePath) {
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, run_dir_.file("boardd").c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    const auto outcome = support::run(BoardProcess::command({}), support::board_environment());
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("runs already at " + run_dir_.file("boardd")), std::string::npos)
        << outcome.output;
    const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connect(client, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    close(client);
    close(listener);
}

TEST_F(Boardd, SaysThatSomebodyKeepsTheDirectoryLocked) {
    const int directory = open(run_dir_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(directory, LOCK_EX), 0);
    const auto outcome = support::run(BoardProcess::command({}), support::board_environment());
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("another process holds a lock on its directory"), std::string::npos)
        << outcome.output;
    close(directory);
}

TEST_F(Boardd, SaysWhichPackageBringsAMissingElement) {
    auto environment = support::board_environment();
    environment["GST_PLUGIN_SYSTEM_PATH_1_0"] = run_dir_.path();
    environment["GST_PLUGIN_PATH_1_0"] = run_dir_.path();
    environment["GST_REGISTRY_1_0"] = run_dir_.file("registry.bin");
    const auto outcome = support::run(BoardProcess::command({}), environment);
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("x265enc"), std::string::npos) << outcome.output;
    EXPECT_NE(outcome.output.find("apt-get install gstreamer1.0-plugins-base"), std::string::npos);
    EXPECT_NE(outcome.output.find("gstreamer1.0-plugins-ugly"), std::string::npos);
}

/* ---- memory ---- */

struct Footprint {
    long resident_kb;
    long descriptors;
    long threads;
};

Footprint footprint_of(pid_t pid) {
    const std::string proc = "/proc/" + std::to_string(pid);
    Footprint result{};
    std::ifstream file(proc + "/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("VmRSS:")) {
            result.resident_kb = std::stol(line.substr(6));
        } else if (line.starts_with("Threads:")) {
            result.threads = std::stol(line.substr(8));
        }
    }
    const std::filesystem::directory_iterator descriptors(proc + "/fd");
    result.descriptors = std::distance(begin(descriptors), end(descriptors));
    return result;
}

TEST_F(Boardd, ReconfiguringCostsNothingThatStays) {
    const VencConfig profiles[] = {profile_of(h265_channel(64, 64, 30), h264_channel(128, 96, 30)),
                                   profile_of(h264_channel(192, 108, 30), h265_channel(64, 64, 30))};
    start_board(profiles[0]);
    const auto reconfigure = [&](int times) {
        for (int i = 0; i < times && !HasFailure(); ++i) {
            ASSERT_EQ(control_venc_dynamically(&profiles[(i + 1) % 2]), 0);
            const uint32_t width = static_cast<uint32_t>(profiles[(i + 1) % 2].channel[0].width);
            ASSERT_TRUE(support::eventually([&] {
                Frame frame{};
                return fetch(0, frame) == 0 && frame.info.len > 0 && (frame.info.board24 & 0xffff) == width;
            }));
        }
    };
    reconfigure(10); // whatever is only allocated once
    const Footprint before = footprint_of(boardd_->pid());
    reconfigure(30);
    EXPECT_TRUE(
        support::eventually([&] { return footprint_of(boardd_->pid()).descriptors <= before.descriptors; }));
    // GLib keeps threads that have nothing to do for some seconds, and uses them again.
    EXPECT_LT(footprint_of(boardd_->pid()).threads, before.threads + 10);
    // 60 encoders were made and closed; one alone takes megabytes. Sanitizers keep freed memory for a while.
    EXPECT_LT(footprint_of(boardd_->pid()).resident_kb, before.resident_kb + 60'000);
}

/* ---- clients that are not to be trusted ---- */

class HostileClient : public BoardTest {
  protected:
    int connect_raw() {
        const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, run_dir_.file("boardd").c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        const timeval patience = {20, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        return fd;
    }

    /* True once boardd has a place for a client again. */
    static bool answers() {
        return support::eventually([] {
            try {
                return !board::BoardCtl().status().empty();
            } catch (const board::BoardCtlError &) {
                return false;
            }
        });
    }

    /* The reply's result to one request; nothing when boardd hangs up. */
    static std::optional<int32_t> ask(int fd, uint32_t op, int32_t value, const std::string &payload) {
        const board::ControlRequest request = {board::control_magic, op, 77, value};
        std::string packet(reinterpret_cast<const char *>(&request), sizeof request);
        packet += payload;
        send(fd, packet.data(), packet.size(), MSG_NOSIGNAL);
        char bytes[20000];
        const ssize_t length = recv(fd, bytes, sizeof bytes, 0);
        board::ControlReply reply{};
        if (length < static_cast<ssize_t>(sizeof reply)) {
            return std::nullopt;
        }
        std::memcpy(&reply, bytes, sizeof reply);
        EXPECT_EQ(reply.magic, board::control_magic);
        EXPECT_EQ(reply.op, op);
        EXPECT_EQ(reply.id, 77U);
        return reply.result;
    }
};

TEST_F(HostileClient, WhatIsNoRequestEndsTheConnectionAndNothingElse) {
    start_board();
    const std::string big(board::control_packet_max_bytes + 1, '\0');
    for (const std::string &packet :
         {std::string("x"), std::string(15, '\0'), std::string(16, '\xff'), big}) {
        const int fd = connect_raw();
        ASSERT_EQ(send(fd, packet.data(), packet.size(), MSG_NOSIGNAL), static_cast<ssize_t>(packet.size()));
        char byte = 0;
        EXPECT_EQ(recv(fd, &byte, 1, 0), 0) << packet.size();
        close(fd);
    }
    next_frame(0);
}

TEST_F(HostileClient, RequestsOfTheWrongSizeOrKindAreRefused) {
    start_board();
    const int fd = connect_raw();
    EXPECT_EQ(ask(fd, 0, 0, ""), -ENOSYS);
    EXPECT_EQ(ask(fd, 99999, 0, ""), -ENOSYS);
    EXPECT_EQ(ask(fd, board::op_set_profile, 0, ""), -EINVAL);
    EXPECT_EQ(ask(fd, board::op_set_profile, 0, std::string(55, '\0')), -EINVAL);
    EXPECT_EQ(ask(fd, board::op_set_profile, 0, std::string(57, '\0')), -EINVAL);
    EXPECT_EQ(ask(fd, board::op_sensor_class, 0, "x"), -EINVAL);
    EXPECT_EQ(ask(fd, board::op_fault, 0, std::string(16, '\xff')), -EINVAL);
    EXPECT_EQ(ask(fd, board::op_fault, 5, std::string(16, '\0')), -EINVAL);
    EXPECT_EQ(ask(fd, board::op_sensor_class, 0, ""), 0) << "still served";
    close(fd);
    next_frame(0);
}

TEST_F(HostileClient, TheBoardOfAnotherIsOutOfReach) {
    start_board();
    const int fd = connect_raw();
    const VencConfig profile = profile_of(h264_channel(64, 64), h264_channel(64, 64));
    const std::string bytes(reinterpret_cast<const char *>(&profile), sizeof profile);
    EXPECT_EQ(ask(fd, board::op_set_profile, 0, bytes), -EBUSY);
    EXPECT_EQ(ask(fd, board::op_system_init, 1, ""), -EBUSY);
    EXPECT_EQ(ask(fd, board::op_key_frame, 0, ""), -EBUSY);
    const board::ControlRequest exit = {board::control_magic, board::op_system_exit, 0, 0};
    send(fd, &exit, sizeof exit, MSG_NOSIGNAL);
    EXPECT_EQ(ask(fd, board::op_sensor_class, 0, ""), 0);
    close(fd);
    EXPECT_EQ(status("/phase"), "running");
    next_frame(0);
}

TEST_F(HostileClient, NothingCanBeStartedOnAConnectionThatHasExited) {
    start_boardd();
    const int fd = connect_raw();
    const board::ControlRequest exit = {board::control_magic, board::op_system_exit, 0, 0};
    send(fd, &exit, sizeof exit, MSG_NOSIGNAL);
    EXPECT_EQ(ask(fd, board::op_system_init, 1, ""), -ESHUTDOWN);
    close(fd);
}

/* A daemon that ends shuts the board down first; until it has ended its threads may switch the light. */
TEST_F(HostileClient, WhatAnOwnerSwitchesAfterItsExitEndsWithIt) {
    start_boardd();
    const VencConfig profile = profile_of(h264_channel(64, 64), h264_channel(64, 64));
    const std::string bytes(reinterpret_cast<const char *>(&profile), sizeof profile);
    const auto shut_down = [&] {
        const int fd = connect_raw();
        EXPECT_EQ(ask(fd, board::op_set_profile, 0, bytes), 0) << "it owns the board";
        const board::ControlRequest exit = {board::control_magic, board::op_system_exit, 0, 0};
        send(fd, &exit, sizeof exit, MSG_NOSIGNAL);
        EXPECT_EQ(ask(fd, board::op_sensor_class, 0, ""), 0) << "that was read";
        return fd;
    };
    const auto switch_light = [&] {
        const int fd = connect_raw();
        const board::LightRecord lamp = {board::light_channel_lamp, 1, 7000};
        EXPECT_EQ(ask(fd, board::op_ircut, 0, ""), 0);
        EXPECT_EQ(
            ask(fd, board::op_light, 0, std::string(reinterpret_cast<const char *>(&lamp), sizeof lamp)), 0);
        close(fd);
    };
    const int first = shut_down();
    switch_light();
    EXPECT_EQ(status("/light/filter"), "0");
    close(first);
    EXPECT_TRUE(support::eventually([&] { return status("/light/filter") == "1"; }));
    EXPECT_EQ(status("/light/enabled"), "false");
    EXPECT_EQ(status("/light/brightness"), "10000");

    const int second = shut_down();
    const int next_owner = connect_raw();
    EXPECT_EQ(ask(next_owner, board::op_set_profile, 0, bytes), 0);
    switch_light();
    close(second);
    EXPECT_TRUE(answers());
    EXPECT_EQ(status("/light/lamp"), "7000") << "the next daemon's own";
    close(next_owner);
    EXPECT_TRUE(support::eventually([&] { return status("/light/lamp") == "0"; }));
}

TEST_F(HostileClient, AKeyFrameOfNoChannelIsRefused) {
    start_boardd();
    const int fd = connect_raw();
    const VencConfig profile = profile_of(h264_channel(64, 64), h264_channel(64, 64));
    const std::string bytes(reinterpret_cast<const char *>(&profile), sizeof profile);
    EXPECT_EQ(ask(fd, board::op_set_profile, 0, bytes), 0);
    EXPECT_EQ(ask(fd, board::op_key_frame, 0, ""), -ENODEV) << "idle";
    EXPECT_EQ(ask(fd, board::op_system_init, 1, ""), 0);
    EXPECT_EQ(ask(fd, board::op_key_frame, 2, ""), -EINVAL);
    EXPECT_EQ(ask(fd, board::op_key_frame, INT32_MIN, ""), -EINVAL);
    close(fd);
}

TEST_F(HostileClient, RandomBytesBehindAGoodMagicDoNoHarm) {
    start_board();
    std::mt19937 random(20240517);
    for (int i = 0; i < 500; ++i) {
        const int fd = connect_raw();
        std::string packet(random() % 100, '\0');
        for (char &byte : packet) {
            byte = static_cast<char>(random());
        }
        const board::ControlRequest request = {board::control_magic, static_cast<uint32_t>(random() % 12), 1,
                                               static_cast<int32_t>(random() % 5) - 2};
        packet.insert(0, reinterpret_cast<const char *>(&request), sizeof request);
        send(fd, packet.data(), packet.size(), MSG_NOSIGNAL);
        close(fd);
    }
    ASSERT_TRUE(answers()) << boardd_->output();
    board::BoardCtl().clear_faults();
    EXPECT_EQ(status("/phase"), "running");
    ASSERT_TRUE(fetch_until(0, 0));
}

TEST_F(HostileClient, OneThatReadsNoRepliesIsDroppedAlone) {
    start_board();
    const int fd = connect_raw();
    const board::ControlRequest request = {board::control_magic, board::op_status, 1, 0};
    const bool dropped = support::eventually([&] {
        return send(fd, &request, sizeof request, MSG_NOSIGNAL | MSG_DONTWAIT) < 0 && errno == EPIPE;
    });
    EXPECT_TRUE(dropped);
    close(fd);
    next_frame(0);
}

TEST_F(HostileClient, TooManyConnectionsAreTurnedAway) {
    start_boardd();
    std::vector<int> connections;
    for (int i = 0; i < 40; ++i) {
        connections.push_back(connect_raw());
    }
    EXPECT_TRUE(boardd_->saw("turned away"));
    for (const int fd : connections) {
        close(fd);
    }
    EXPECT_TRUE(answers());
}

TEST_F(HostileClient, WithoutDescriptorsItWaitsForSome) {
    start_boardd();
    const int first = connect_raw();
    ASSERT_EQ(ask(first, board::op_sensor_class, 0, ""), 0);
    rlimit before{};
    ASSERT_EQ(prlimit(boardd_->pid(), RLIMIT_NOFILE, nullptr, &before), 0);
    const rlimit none = {3, before.rlim_max};
    ASSERT_EQ(prlimit(boardd_->pid(), RLIMIT_NOFILE, &none, nullptr), 0);
    const int second = connect_raw();
    EXPECT_TRUE(boardd_->saw("cannot take new clients at present: Too many open files"));
    EXPECT_EQ(ask(first, board::op_sensor_class, 0, ""), 0) << "who is there is served";
    const auto start = std::chrono::steady_clock::now();
    const auto cpu_start = boardd_->cpu_time();
    EXPECT_TRUE(support::eventually(
        [&] { return std::chrono::steady_clock::now() - start > std::chrono::milliseconds(500); }));
    EXPECT_LT(boardd_->cpu_time() - cpu_start, std::chrono::milliseconds(150)) << "it tries without a pause";
    ASSERT_EQ(prlimit(boardd_->pid(), RLIMIT_NOFILE, &before, nullptr), 0);
    EXPECT_EQ(ask(second, board::op_sensor_class, 0, ""), 0);
    EXPECT_EQ(boardd_->count("cannot take new clients"), 1U) << "said once, not at each try";
    close(first);
    close(second);
}

/* ---- boardctl ---- */

TEST_F(Boardd, BoardctlShowsTheStatus) {
    start_board(profile_of(h265_channel(), h264_channel(160, 90)), {"--sensor", "300"});
    const auto shown = support::run({boardctl, "status"});
    EXPECT_EQ(shown.exit_code, 0);
    EXPECT_NE(shown.output.find("\"phase\":\"running\""), std::string::npos) << shown.output;
    EXPECT_EQ(status("/flag_300"), "1");
    EXPECT_EQ(status("/channels/0/encoding"), "H.265");
    EXPECT_EQ(status("/channels/1/encoding"), "H.264");
    EXPECT_EQ(status("/channels/1/width"), "160");
    EXPECT_EQ(status("/source/state"), "good");
}

TEST_F(Boardd, BoardctlMakesFaults) {
    start_board();
    for (const std::vector<std::string> &words : {std::vector<std::string>{"fail", "0", "5"},
                                                  {"empty", "1"},
                                                  {"lose", "all", "2"},
                                                  {"stall", "1"},
                                                  {"refuse", "init", "-3"},
                                                  {"refuse", "sensor", "-1"},
                                                  {"refuse", "profile", "-9"}}) {
        std::vector<std::string> argv = {boardctl};
        argv.insert(argv.end(), words.begin(), words.end());
        EXPECT_EQ(support::run(argv).exit_code, 0) << words[0];
    }
    EXPECT_EQ(status("/channels/0/fault/result"), "-2");
    EXPECT_EQ(status("/channels/1/fault/kind"), "stall");
    EXPECT_EQ(status("/refusals/init"), "-3");
    EXPECT_EQ(status("/refusals/sensor"), "-1");
    EXPECT_EQ(status("/refusals/profile"), "-9");
    EXPECT_EQ(support::run({boardctl, "clear", "1"}).exit_code, 0);
    EXPECT_EQ(status("/channels/1/fault"), "null");
    EXPECT_EQ(support::run({boardctl, "clear"}).exit_code, 0);
    EXPECT_EQ(status("/channels/0/fault"), "null");
    EXPECT_EQ(status("/refusals/init"), "0");
}

TEST_F(Boardd, BoardctlSaysThatBoarddIsNotThere) {
    const auto outcome = support::run({boardctl, "status"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("boardd does not run here"), std::string::npos) << outcome.output;
}

TEST_F(Boardd, BoardctlExplainsItself) {
    EXPECT_EQ(support::run({boardctl, "--help"}).exit_code, 0);
    EXPECT_EQ(support::run({boardctl}).exit_code, 2);
    for (const std::vector<std::string> &words : {std::vector<std::string>{"dance"},
                                                  {"fail"},
                                                  {"fail", "2"},
                                                  {"fail", "0", "x"},
                                                  {"fail", "0", "0"},
                                                  {"refuse", "lunch", "-1"},
                                                  {"refuse", "init", "3"},
                                                  {"status", "now"}}) {
        std::vector<std::string> argv = {boardctl};
        argv.insert(argv.end(), words.begin(), words.end());
        const auto outcome = support::run(argv);
        EXPECT_NE(outcome.exit_code, 0) << words[0];
        EXPECT_NE(outcome.output.find("boardctl: "), std::string::npos);
    }
}

} // namespace
} // namespace contract
