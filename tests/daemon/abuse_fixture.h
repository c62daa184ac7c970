/*
 * A whole camera of which nothing may get lost while a test does its worst to the daemon.
 */
#ifndef TESTS_DAEMON_ABUSE_FIXTURE_H
#define TESTS_DAEMON_ABUSE_FIXTURE_H

#include "board/boardctl.h"
#include "daemon/witness.h"
#include "support/system.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>

namespace daemon_test {

class Abuse : public testing::Test {
  protected:
    Abuse() { system_.start({"--speaker", "wav"}); }

    /* Begins to count what the streams lose. */
    void watch() {
        main_ = std::make_unique<Witness>("/run/video_mainstream");
        sub_ = std::make_unique<Witness>("/run/video_substream");
        ASSERT_TRUE(main_->sees(2));
        ASSERT_TRUE(sub_->sees(2));
    }

    /* Both streams go on, and nothing has been lost since watch(). */
    void expect_no_loss() {
        for (const auto &[name, witness] : {std::pair{"main", main_.get()}, {"sub", sub_.get()}}) {
            EXPECT_TRUE(witness->sees(15)) << name << "\n" << system_.daemon->output().substr(0, 5000);
            EXPECT_EQ(witness->lost(), 0U) << name;
            EXPECT_EQ(witness->skipped(), 0U) << name;
            EXPECT_EQ(witness->restarts(), 0U) << name;
            RecordProperty(std::string(name) + "_frames", static_cast<int>(witness->frames()));
            RecordProperty(std::string(name) + "_lost", static_cast<int>(witness->lost()));
        }
    }

    /* The loop still does what it is asked. */
    static void expect_obedience() {
        for (const std::string value : {"on", "off"}) {
            ASSERT_TRUE(support::System::set("wdr", value));
            const std::string effect = value == "on" ? R"("wdr":true)" : R"("wdr":false)";
            EXPECT_TRUE(support::eventually(
                [&] { return board::BoardCtl().status().find(effect) != std::string::npos; }));
        }
    }

    support::System system_;
    std::unique_ptr<Witness> main_;
    std::unique_ptr<Witness> sub_;
};

} // namespace daemon_test

#endif
