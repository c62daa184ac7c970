// What keeps tests apart that use abstract socket names.

#include "support/socket_names.h"

#include "support/process.h"

#include <gtest/gtest.h>
#include <unistd.h>

using support::OwnSocketNames;

namespace {

std::string network_namespace() {
    char name[64] = {};
    return readlink("/proc/self/ns/net", name, sizeof name - 1) > 0 ? name : "?";
}

TEST(SocketNames, AreOwnOrUsedInTurns) {
    const std::string before = network_namespace();
    const uid_t user = getuid();
    const OwnSocketNames names;
    EXPECT_EQ(names.in_namespace(), network_namespace() != before);
    EXPECT_EQ(getuid(), user);
    const int turn = support::take_turn();
    EXPECT_EQ(turn >= 0, names.in_namespace()) << "nobody else can have it at the same time";
    close(turn);
}

TEST(SocketNames, ChildrenAreInTheNamespaceToo) {
    const OwnSocketNames names;
    const auto outcome = support::run({"readlink", "/proc/self/ns/net"});
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.output, network_namespace() + "\n");
}

TEST(SocketNames, FilesCanStillBeMade) {
    const OwnSocketNames names;
    char path[] = "/tmp/strell-test-XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(unlink(path), 0);
    close(fd);
}

TEST(SocketNames, ASecondObjectFindsItDone) {
    const OwnSocketNames first;
    if (!first.in_namespace()) {
        GTEST_SKIP() << "this machine gives no namespaces";
    }
    const std::string before = network_namespace();
    const OwnSocketNames second;
    EXPECT_TRUE(second.in_namespace());
    EXPECT_EQ(network_namespace(), before);
}

TEST(SocketNames, OneAtATimeHasItsTurn) {
    const OwnSocketNames names;
    if (!names.in_namespace()) {
        GTEST_SKIP() << "others on this machine may have it";
    }
    const int first = support::take_turn();
    EXPECT_GE(first, 0);
    EXPECT_EQ(support::take_turn(), -1);
    close(first);
    const int second = support::take_turn();
    EXPECT_GE(second, 0);
    close(second);
}

} // namespace
