// mortoxd as a program: how it starts and ends, and who gets the socket.

#include "mortox_client.h"
#include "support/settings_store.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

using namespace mortox_test;
using support::eventually;
using support::Outcome;
using support::ScratchRunDir;
using support::SettingsStore;

namespace {

const std::string program = std::string(STRELL_BIN_DIR) + "/mortoxd";

mode_t permissions(const std::string &path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 0777;
}

TEST(Mortoxd, HelpSaysHowToStartIt) {
    const Outcome outcome = support::run({program, "--help"});
    EXPECT_EQ(outcome.exit_code, 0);
    for (const char *word : {"--persistent NAME=FILE", "--memory NAME", "STRELL_RUN_DIR", "exit status"}) {
        EXPECT_NE(outcome.output.find(word), std::string::npos) << word;
    }
}

TEST(Mortoxd, WrongUsageSaysWhatIsWrong) {
    const ScratchRunDir run_dir;
    const std::string name(64, 'n');
    struct Case {
        std::vector<std::string> arguments;
        std::string sentence;
    };
    const Case cases[] = {
        {{}, "there is no namespace to serve: give --persistent NAME=FILE or --memory NAME"},
        {{"--memory", "mem", "--frob"}, "there is no option --frob"},
        {{"--memory"}, "--memory needs a value"},
        {{"--persistent", "nvram"}, "--persistent takes NAME=FILE, not \"nvram\""},
        {{"--persistent", "nvram="}, "--persistent takes NAME=FILE, not \"nvram=\""},
        {{"--persistent", "=x.db"}, "the namespace is empty: give it 1 to 63 bytes"},
        {{"--memory", name}, "the namespace is 64 bytes long: at most 63 are allowed"},
        {{"--memory", "a b"}, "the namespace has a byte 0x20"},
        {{"--memory", "a", "--memory", "a"}, "the namespace a is given twice"},
        {{"--memory", "a", "b"}, "there is nothing to be done with \"b\""},
    };
    for (const Case &one : cases) {
        std::vector<std::string> command = {program};
        command.insert(command.end(), one.arguments.begin(), one.arguments.end());
        const Outcome outcome = support::run(command);
        EXPECT_EQ(outcome.exit_code, 2) << one.sentence;
        EXPECT_NE(outcome.output.find("mortoxd: " + one.sentence), std::string::npos) << outcome.output;
        EXPECT_NE(outcome.output.find("(see mortoxd --help)"), std::string::npos) << outcome.output;
    }
    EXPECT_TRUE(std::filesystem::is_empty(run_dir.path()));
}

TEST(Mortoxd, SaysWhenItServes) {
    const ScratchRunDir run_dir;
    SettingsStore store(run_dir);
    store.start();
    EXPECT_EQ(store.process().lines(),
              (std::vector<std::string>{"mortoxd: nvram: made " + store.database() + ", which did not exist",
                                        "mortoxd: nvram: 0 values in " + store.database(),
                                        "mortoxd: serving " + store.socket() +
                                            ": nvram (persistent), mem (memory)"}));
}

TEST(Mortoxd, ServesAsManyNamespacesAsItIsTold) {
    const ScratchRunDir run_dir;
    SettingsStore store(run_dir);
    store.set_arguments({"--memory", "a", "--persistent", "b=" + run_dir.file("b.db"), "--memory", "c",
                         "--persistent", "d=" + run_dir.file("d.db")});
    store.start();
    const Handle handle = open_store();
    for (const char *name : {"a", "b", "c", "d"}) {
        EXPECT_TRUE(set(handle, "name", name, name));
    }
    for (const char *name : {"a", "b", "c", "d"}) {
        EXPECT_EQ(get(handle, "name", name), name);
    }
}

TEST(Mortoxd, EndsInOrderOnASignal) {
    for (const int number : {SIGTERM, SIGINT}) {
        const ScratchRunDir run_dir;
        SettingsStore store(run_dir);
        store.start();
        const Handle handle = open_store();
        EXPECT_TRUE(set(handle, "flip", "on"));
        store.process().signal(number);
        EXPECT_EQ(store.process().exit_code(), 0);
        EXPECT_TRUE(store.process().saw("mortoxd: ended"));
        EXPECT_FALSE(std::filesystem::exists(store.socket()));
        EXPECT_FALSE(std::filesystem::exists(store.database() + "-wal")) << "the file alone is the store";
        EXPECT_FALSE(set(handle, "flip", "off"));
    }
}

TEST(Mortoxd, KeepsItsFilesToItself) {
    const ScratchRunDir run_dir;
    SettingsStore store(run_dir);
    store.start();
    EXPECT_TRUE(set(open_store(), "flip", "on"));
    for (const std::string &path : {store.database(), store.database() + "-wal", store.socket()}) {
        EXPECT_EQ(permissions(path) & 0077, 0U) << path;
    }
}

TEST(Mortoxd, ItsDescriptorsEndWithExec) {
    const ScratchRunDir run_dir;
    SettingsStore store(run_dir);
    store.start();
    const Handle handle = open_store();
    int seen = 0;
    const std::string fds = "/proc/" + std::to_string(store.process().pid()) + "/fdinfo";
    for (const auto &entry : std::filesystem::directory_iterator(fds)) {
        std::ifstream file(entry.path());
        std::string word;
        while (file >> word && word != "flags:") {
        }
        file >> word;
        const int inherited = fcntl(std::stoi(entry.path().filename()), F_GETFD);
        if (inherited < 0 || (inherited & FD_CLOEXEC) != 0) { // not what this process was itself given
            ++seen;
            EXPECT_NE(std::stoul(word, nullptr, 8) & 02000000, 0U) << entry.path();
        }
    }
    EXPECT_GT(seen, 4);
}

/* ---- the socket ---- */

TEST(Mortoxd, ReplacesTheSocketOfADeadServer) {
    const ScratchRunDir run_dir;
    SettingsStore store(run_dir);
    store.start();
    store.kill();
    EXPECT_TRUE(std::filesystem::exists(store.socket()));
    store.start();
    EXPECT_NE(open_store(), nullptr);
}

TEST(Mortoxd, LeavesALiveServerAlone) {
    const ScratchRunDir run_dir;
    SettingsStore store(run_dir);
    store.start();
    const Outcome second = support::run({program, "--memory", "mem"});
    EXPECT_EQ(second.exit_code, 3);
    EXPECT_NE(second.output.find("mortoxd: another mortoxd is alive and serves " + store.socket()),
              std::string::npos)
        << second.output;
    EXPECT_TRUE(set(open_store(), "flip", "on"));
}

TEST(Mortoxd, LeavesAloneWhoeverServesThePath) {
    const ScratchRunDir run_dir;
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, run_dir.file("mortoxd").c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    EXPECT_EQ(support::run({program, "--memory", "mem"}).exit_code, 3) << "alive, of whatever kind it is";
    const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connect(client, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    close(client);
    close(listener);
}

TEST(Mortoxd, SaysThatSomebodyKeepsTheDirectoryLocked) {
    const ScratchRunDir run_dir;
    const int directory = open(run_dir.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(directory, LOCK_EX), 0);
    const Outcome outcome = support::run({program, "--memory", "mem"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("another process holds a lock on its directory"), std::string::npos)
        << outcome.output;
    close(directory);
}

TEST(Mortoxd, OfManyStartedAtOnceOneServes) {
    const ScratchRunDir run_dir;
    SettingsStore stale(run_dir);
    stale.start();
    stale.kill();
    std::vector<std::unique_ptr<support::Process>> servers;
    for (int i = 0; i < 6; ++i) {
        servers.push_back(
            std::make_unique<support::Process>(std::vector<std::string>{program, "--memory", "mem"}));
    }
    int serving = 0;
    int refused = 0;
    for (const auto &server : servers) {
        server->saw("mortoxd: "); // the first line says which it is
        serving += server->count("serving") == 1 ? 1 : 0;
        refused += server->count("another mortoxd is alive") == 1 ? 1 : 0;
    }
    EXPECT_EQ(serving, 1);
    EXPECT_EQ(refused, 5);
    EXPECT_NE(open_store(), nullptr);
}

TEST(Mortoxd, DoesNotRemoveWhatIsNoSocket) {
    const ScratchRunDir run_dir;
    std::ofstream(run_dir.file("mortoxd")) << "precious";
    const Outcome outcome = support::run({program, "--memory", "mem"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("something that is no socket is in the way: move it away"),
              std::string::npos);
    EXPECT_TRUE(std::filesystem::is_regular_file(run_dir.file("mortoxd")));
}

TEST(Mortoxd, NeedsARunDirectory) {
    const ScratchRunDir run_dir;
    const std::string missing = run_dir.file("missing");
    const Outcome outcome = support::run({program, "--memory", "mem"}, {{"STRELL_RUN_DIR", missing}});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("cannot serve " + missing + "/mortoxd: No such file or directory"),
              std::string::npos)
        << outcome.output;
    const Outcome longer =
        support::run({program, "--memory", "mem"}, {{"STRELL_RUN_DIR", "/" + std::string(200, 'x')}});
    EXPECT_EQ(longer.exit_code, 1);
    EXPECT_NE(longer.output.find("the path in STRELL_RUN_DIR is too long for a socket"), std::string::npos);
}

/* ---- limits of the system ---- */

TEST(Mortoxd, WaitsForDescriptorsWhenTheyRunOut) {
    const ScratchRunDir run_dir;
    SettingsStore store(run_dir);
    store.start();
    const Handle first = open_store();
    const pid_t pid = store.process().pid();
    rlimit before{};
    ASSERT_EQ(prlimit(pid, RLIMIT_NOFILE, nullptr, &before), 0);
    const rlimit none = {3, before.rlim_max};
    ASSERT_EQ(prlimit(pid, RLIMIT_NOFILE, &none, nullptr), 0);
    Handle second;
    std::thread opening([&] { second = open_store(); });
    EXPECT_TRUE(store.process().saw("cannot take new clients at present: Too many open files"));
    EXPECT_TRUE(set(first, "flip", "on", "mem")) << "who is there is served";
    const auto start = std::chrono::steady_clock::now();
    const auto cpu_start = store.process().cpu_time();
    EXPECT_TRUE(eventually(
        [&] { return std::chrono::steady_clock::now() - start > std::chrono::milliseconds(500); }));
    EXPECT_LT(store.process().cpu_time() - cpu_start, std::chrono::milliseconds(150))
        << "it tries without a pause";
    ASSERT_EQ(prlimit(pid, RLIMIT_NOFILE, &before, nullptr), 0);
    opening.join();
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(get(second, "flip", "mem"), "on");
    EXPECT_EQ(store.process().count("cannot take new clients"), 1U) << "said once, not at each try";
}

TEST(Mortoxd, TurnsAwayMoreClientsThanItServes) {
    const ScratchRunDir run_dir;
    SettingsStore store(run_dir);
    store.start();
    const Handle first = open_store();
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 255; ++i) {
        clients.push_back(std::make_unique<RawClient>(store.socket()));
    }
    EXPECT_EQ(open_store(), nullptr);
    EXPECT_TRUE(store.process().saw("there are 256 clients already: another one is turned away"));
    EXPECT_TRUE(set(first, "flip", "on"));
    clients.clear();
    EXPECT_TRUE(eventually([] { return open_store() != nullptr; }));
}

} // namespace
