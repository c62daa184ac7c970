// The command socket: how it is opened, who is let in, and how bytes become commands.

#include "control/ipc_server.h"

#include "control/av_dispatch.h"
#include "script/daemon_test.h"

#include <cstring>
#include <ev.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// ---- opening it ----

class IpcServerCreate : public DaemonTest {};

TEST_F(IpcServerCreate, GivesASocketThatListens) {
    const int fd = ipc_server_create();
    EXPECT_EQ(fd, script.listener);
    EXPECT_EQ(script.journal, (Entries{script::format("socket(%d, %d, 0)", AF_UNIX, SOCK_STREAM),
                                       "bind(listener, 110)", "listen(listener, 5)"}));
}

TEST_F(IpcServerCreate, BindsTheAbstractNameWithAllItsZeros) {
    ipc_server_create();
    std::vector<uint8_t> expected(110, 0);
    const uint16_t family = AF_UNIX;
    std::memcpy(expected.data(), &family, sizeof family);
    std::memcpy(expected.data() + 3, "vuto_IPCsock", 12);
    EXPECT_EQ(script.bound_address, expected);
}

TEST_F(IpcServerCreate, WithoutASocketFails) {
    script.socket_result = -1;
    EXPECT_EQ(ipc_server_create(), -1);
    EXPECT_EQ(script.without({"socket"}), (Entries{"err: create ipc server error: -1\n"}));
}

TEST_F(IpcServerCreate, WithoutTheNameFailsAndLeavesTheSocketOpen) {
    script.bind_result = -1;
    EXPECT_EQ(ipc_server_create(), -1);
    EXPECT_EQ(script.without({"socket", "bind"}), (Entries{"err: bind ipc server error\n"}));
    EXPECT_EQ(script.sockets.count(script.listener), 1U);
}

TEST_F(IpcServerCreate, WhenItCannotListenFailsAndLeavesTheSocketOpen) {
    script.listen_result = -1;
    EXPECT_EQ(ipc_server_create(), -1);
    EXPECT_EQ(script.without({"socket", "bind", "listen"}), (Entries{"err: listen ipc server error\n"}));
    EXPECT_EQ(script.sockets.count(script.listener), 1U);
}

// ---- clients, on the loop ----

class IpcServer : public DaemonTest {
  protected:
    IpcServer() {
        const int fd = ipc_server_create();
        ev_io_init(&accept_watcher_, ipc_accept_handle, fd, EV_READ);
        ev_io_start(loop_, &accept_watcher_);
        script.av_cmd_parse = [this](int32_t, const std::string &bytes, av_cmd_handler_t handler) {
            EXPECT_EQ(handler, av_cmd_dispatch);
            seen_.push_back(bytes);
            return static_cast<int32_t>(bytes.size());
        };
        script.journal.clear();
    }

    ~IpcServer() override {
        for (const int fd : std::set<int>(clients_)) {
            leave(fd);
        }
        turn(12);
        EXPECT_EQ(ipc_client_count, 0);
    }

    /* Lets the loop do what is to be done now. */
    void turn(int times = 1) {
        for (int i = 0; i < times; ++i) {
            ev_run(loop_, EVRUN_NOWAIT);
        }
    }

    /* A client connects; nobody has accepted it yet. Its end. */
    int connect() {
        const int fd = script::connect();
        clients_.insert(fd);
        return fd;
    }

    /* The same, and the daemon has accepted it. The daemon's end, which the log names, goes to `server`. */
    int connected(int *server = nullptr) {
        const int fd = connect();
        if (server != nullptr) {
            *server = script.connecting.back();
        }
        turn();
        return fd;
    }

    void leave(int fd) {
        clients_.erase(fd);
        script::disconnect(fd);
    }

    static void send(int fd, const std::string &bytes) {
        ASSERT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    /* The journal without the loop's own turns. */
    Entries steps() const { return script.without({"ev_run"}); }

    struct ev_loop *loop_ = ev_default_loop(0);
    ev_io accept_watcher_;
    std::set<int> clients_;
    Entries seen_; // what the parser was given
};

TEST_F(IpcServer, AcceptsAClientAndWatchesIt) {
    int server = -1;
    connected(&server);
    EXPECT_EQ(steps(), (Entries{"accept(listener, null, null)",
                                script::format("info: client %d connected,total 1 clients.\n", server)}));
    EXPECT_EQ(ipc_client_count, 1);
}

TEST_F(IpcServer, HandsWhatAClientSendsToTheParser) {
    int server = -1;
    const int client = connected(&server);
    script.journal.clear();
    send(client, "command");
    turn();
    EXPECT_EQ(steps(), (Entries{script::format("recv(%d, 512, MSG_DONTWAIT)", server),
                                script::format("av_cmd_parse(%d, 7)", server),
                                script::format("recv(%d, 512, MSG_DONTWAIT)", server)}));
    EXPECT_EQ(seen_, (Entries{"command"}));
    EXPECT_EQ(ipc_client_count, 1);
}

TEST_F(IpcServer, ForgetsAClientThatLeaves) {
    int server = -1;
    const int client = connected(&server);
    script.journal.clear();
    leave(client);
    turn();
    EXPECT_EQ(
        steps(),
        (Entries{script::format("recv(%d, 512, MSG_DONTWAIT)", server), script::format("close(%d)", server),
                 script::format("warning: peer %d might closing,now 0 client connected\n", server)}));
    script.journal.clear();
    turn(3);
    EXPECT_EQ(steps(), Entries{}); // nobody is watched any more
}

// A client that leaves without having read an acknowledgement resets the connection.
TEST_F(IpcServer, MakesNothingOfAReadThatFailsAndForgetsTheClientAtTheNextWakeUp) {
    int server = -1;
    const int client = connected(&server);
    send(server, "an acknowledgement");
    script.journal.clear();
    leave(client);
    turn();
    EXPECT_EQ(steps(), (Entries{script::format("recv(%d, 512, MSG_DONTWAIT)", server)}));
    EXPECT_EQ(ipc_client_count, 1);
    turn();
    EXPECT_EQ(script.journal.back(),
              script::format("warning: peer %d might closing,now 0 client connected\n", server));
    EXPECT_EQ(ipc_client_count, 0);
}

TEST_F(IpcServer, RunsWhatAClientSentBeforeItLeft) {
    const int client = connected();
    send(client, "last words");
    leave(client);
    turn();
    EXPECT_EQ(seen_, (Entries{"last words"}));
    EXPECT_EQ(ipc_client_count, 0);
}

TEST_F(IpcServer, ServesTenClientsApart) {
    std::vector<int> servers(10, -1);
    std::vector<int> ends(10, -1);
    for (size_t i = 0; i < 10; ++i) {
        ends[i] = connected(&servers[i]);
    }
    EXPECT_EQ(ipc_client_count, 10);
    EXPECT_FALSE(script.has("err: "));
    for (size_t i = 0; i < 10; ++i) {
        send(ends[i], std::to_string(i));
        turn();
        EXPECT_EQ(script.count(script::format("av_cmd_parse(%d, 1)", servers[i])), 1U);
    }
}

TEST_F(IpcServer, LetsTheEleventhWaitAndSaysSoUntilOneLeaves) {
    std::vector<int> ends(10, -1);
    for (int &end : ends) {
        end = connected();
    }
    script.journal.clear();
    connect();
    turn(3);
    EXPECT_EQ(steps(), Entries(3, "err: too many ipc client to track 10.\n"));
    leave(ends[4]);
    turn(2);
    EXPECT_EQ(ipc_client_count, 10);
    EXPECT_EQ(script.count("accept("), 1U);
    script.journal.clear();
    turn(3);
    EXPECT_EQ(steps(), Entries{});
}

TEST_F(IpcServer, LogsAClientThatCannotBeAccepted) {
    script.accept_fails = true;
    connect();
    turn();
    EXPECT_EQ(steps(), (Entries{"accept(listener, null, null)", "err: accept error\n"}));
    EXPECT_EQ(ipc_client_count, 0);
    script.accept_fails = false;
    turn();
    EXPECT_EQ(ipc_client_count, 1);
}

TEST_F(IpcServer, SendsAClientAwayForWhomThereIsNoMemory) {
    script.mallocs = 0;
    script.malloc_fails = {1};
    int server = -1;
    connected(&server);
    EXPECT_EQ(steps(),
              (Entries{"accept(listener, null, null)", "err: ipc_accept_handle(), 1334: malloc error\n",
                       script::format("close(%d)", server)}));
    EXPECT_EQ(ipc_client_count, 0);
}

TEST_F(IpcServer, LogsAnErrorOfTheListeningSocketAndDoesNotAccept) {
    ipc_accept_handle(loop_, &accept_watcher_, EV_ERROR | EV_READ);
    EXPECT_EQ(steps(), (Entries{"err: error event in accept\n"}));
}

TEST_F(IpcServer, LogsAnErrorOfAClientAndDoesNotRead) {
    ev_io watcher;
    ev_io_init(&watcher, ipc_read_handle, script.listener_peer, EV_READ);
    ipc_read_handle(loop_, &watcher, EV_ERROR | EV_READ);
    EXPECT_EQ(steps(), (Entries{"debug: error event in read"}));
}

// ---- bytes ----

TEST_F(IpcServer, KeepsTheBeginningOfACommandWithinOneWakeUp) {
    const int client = connected();
    script.av_cmd_parse = [&](int32_t, const std::string &bytes, av_cmd_handler_t) {
        seen_.push_back(bytes);
        if (seen_.size() == 1) {
            send(client, "def"); // arrives while the first half is being looked at
            return 3;
        }
        return static_cast<int32_t>(bytes.size());
    };
    send(client, "onetwo");
    turn();
    EXPECT_EQ(seen_, (Entries{"onetwo", "twodef"}));
}

TEST_F(IpcServer, LosesTheBeginningOfACommandWhoseRestComesLater) {
    const int client = connected();
    script.av_cmd_parse = [&](int32_t, const std::string &bytes, av_cmd_handler_t) {
        seen_.push_back(bytes);
        return 0;
    };
    send(client, "half");
    turn();
    send(client, "rest");
    turn();
    EXPECT_EQ(seen_, (Entries{"half", "rest"}));
    EXPECT_EQ(ipc_client_count, 1);
}

TEST_F(IpcServer, AsksForNoMoreThanHasRoom) {
    int server = -1;
    const int client = connected(&server);
    script.av_cmd_parse = [&](int32_t, const std::string &bytes, av_cmd_handler_t) {
        return bytes.size() == 512 ? 512 : 0;
    };
    script.journal.clear();
    send(client, std::string(100, 'a'));
    script.when(script::format("av_cmd_parse(%d, 100)", server),
                [&] { send(client, std::string(500, 'b')); });
    turn();
    EXPECT_EQ(script.entries("recv"), (Entries{script::format("recv(%d, 512, MSG_DONTWAIT)", server),
                                               script::format("recv(%d, 412, MSG_DONTWAIT)", server),
                                               script::format("recv(%d, 512, MSG_DONTWAIT)", server),
                                               script::format("recv(%d, 424, MSG_DONTWAIT)", server)}));
}

TEST_F(IpcServer, TakesAParserThatGoesBackwardsForOneThatStands) {
    const int client = connected();
    script.av_cmd_parse = [&](int32_t, const std::string &bytes, av_cmd_handler_t) {
        seen_.push_back(bytes);
        if (seen_.size() == 1) {
            send(client, "more");
            return -7;
        }
        return static_cast<int32_t>(bytes.size());
    };
    send(client, "some");
    turn();
    EXPECT_EQ(seen_, (Entries{"some", "somemore"}));
}

TEST_F(IpcServer, TakesAParserThatConsumesMoreThanThereIsForOneThatConsumesAll) {
    int server = -1;
    const int client = connected(&server);
    script.av_cmd_parse = [&](int32_t, const std::string &bytes, av_cmd_handler_t) {
        seen_.push_back(bytes);
        if (seen_.size() == 1) {
            send(client, "more");
        }
        return INT32_MAX;
    };
    send(client, "some");
    turn();
    EXPECT_EQ(seen_, (Entries{"some", "more"}));
    EXPECT_EQ(script.count(script::format("recv(%d, 512, MSG_DONTWAIT)", server)), 3U);
}

class IpcServerFull : public IpcServer, public testing::WithParamInterface<size_t> {};

TEST_P(IpcServerFull, SendsAClientAwayWhose512BytesAreNoCommand) {
    int server = -1;
    const int client = connected(&server);
    script.av_cmd_parse = [](int32_t, const std::string &, av_cmd_handler_t) { return 0; };
    script.journal.clear();
    send(client, std::string(GetParam(), 'x'));
    turn();
    EXPECT_EQ(
        steps(),
        (Entries{script::format("recv(%d, 512, MSG_DONTWAIT)", server),
                 script::format("av_cmd_parse(%d, 512)", server),
                 script::format("recv(%d, 0, MSG_DONTWAIT)", server), script::format("close(%d)", server),
                 script::format("warning: peer %d might closing,now 0 client connected\n", server)}));
}

INSTANTIATE_TEST_SUITE_P(Bytes, IpcServerFull, testing::Values(512U, 600U, 2000U), // with more behind or not
                         testing::PrintToStringParamName());

TEST_F(IpcServer, ClearsItsBufferForEachWakeUp) {
    const int client = connected();
    send(client, std::string(300, 'x'));
    turn();
    send(client, "y");
    turn();
    EXPECT_EQ(seen_, (Entries{std::string(300, 'x'), "y"}));
}

TEST_F(IpcServer, RunsCommandsForTheClientThatSentThem) {
    int server = -1;
    const int client = connected(&server);
    script.av_cmd_parse = [](int32_t fd, const std::string &bytes, av_cmd_handler_t handler) {
        alignas(4) const uint8_t payload[AV_CMD_PAYLOAD_READABLE] = {};
        handler(fd, payload, 0x1005);
        return static_cast<int32_t>(bytes.size());
    };
    send(client, "x");
    turn();
    EXPECT_TRUE(script.has(script::format("send_av_cmd_ack(%d, 0x1006, 0, null, 0)", server)));
}

} // namespace
