// strellctl and the settings store.

#include "support/scratch.h"
#include "support/settings_store.h"
#include "support/system.h"
#include "tools/ctl.h"

#include <csignal>
#include <gtest/gtest.h>

using ctl_test::run_ctl;
using support::System;

namespace {

class Settings : public testing::Test {
  protected:
    void SetUp() override { store_.start(); }

    support::ScratchRunDir dir_;
    support::SettingsStore store_{dir_};
};

TEST_F(Settings, AreSetReadAndTakenAway) {
    EXPECT_EQ(run_ctl({"set", "flip", "on"}).exit_code, 0);
    EXPECT_EQ(System::get("flip"), "on");
    const auto read = run_ctl({"get", "flip"});
    EXPECT_EQ(read.exit_code, 0);
    EXPECT_EQ(read.output, "on\n");
    EXPECT_EQ(run_ctl({"unset", "flip"}).exit_code, 0);
    EXPECT_EQ(System::get("flip"), std::nullopt);
    const auto gone = run_ctl({"get", "flip"});
    EXPECT_EQ(gone.exit_code, 1);
    EXPECT_EQ(gone.output, "strellctl: flip has no value; strell_v2 then takes: off\n");
    EXPECT_EQ(run_ctl({"unset", "flip"}).exit_code, 1);
}

TEST_F(Settings, NightIsStoredAsItsNumber) {
    for (const auto &[mode, value] : {std::pair("night", "2"), {"day", "1"}, {"auto", "0"}}) {
        const auto outcome = run_ctl({"night", mode});
        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_EQ(outcome.output.rfind(std::string("night_mode = ") + value, 0), 0U) << outcome.output;
        EXPECT_EQ(System::get("night_mode"), value);
    }
}

TEST_F(Settings, GoToTheNamespaceTheyBelongTo) {
    EXPECT_EQ(run_ctl({"set", "hot_status", "changed"}).exit_code, 0);
    EXPECT_EQ(System::get("hot_status", "mem"), "changed");
    EXPECT_EQ(System::get("hot_status", "nvram"), std::nullopt);
    EXPECT_EQ(run_ctl({"set", "--force", "mem:mine", "a value"}).exit_code, 0);
    EXPECT_EQ(System::get("mine", "mem"), "a value");
    EXPECT_EQ(run_ctl({"get", "mem:default:mine"}).output, "a value\n");
    const auto nowhere = run_ctl({"set", "--force", "moon:flip", "on"});
    EXPECT_EQ(nowhere.exit_code, 1);
    EXPECT_NE(nowhere.output.find("cannot store moon:default:flip: "), std::string::npos) << nowhere.output;
}

TEST_F(Settings, BadValuesAreRefusedUnlessForced) {
    ASSERT_TRUE(System::set("flip", "on"));
    const auto refused = run_ctl({"set", "flip", "up"});
    EXPECT_EQ(refused.exit_code, 2);
    EXPECT_NE(refused.output.find("\"up\" is none of: on, off"), std::string::npos) << refused.output;
    EXPECT_EQ(System::get("flip"), "on");
    EXPECT_EQ(run_ctl({"set", "hot_config", "{}"}).exit_code, 2);
    EXPECT_EQ(System::get("hot_config"), std::nullopt);
    EXPECT_EQ(run_ctl({"set", "flip", "up", "--force"}).exit_code, 0);
    EXPECT_EQ(System::get("flip"), "up");
    EXPECT_EQ(run_ctl({"set", "--force", "mine", std::string(8192, 'x')}).exit_code, 2);
}

TEST_F(Settings, UnknownKeysNeedForceAndAreGuessed) {
    const auto misspelt = run_ctl({"set", "filp", "on"});
    EXPECT_EQ(misspelt.exit_code, 2);
    EXPECT_NE(misspelt.output.find("is it flip?"), std::string::npos) << misspelt.output;
    EXPECT_EQ(System::get("filp"), std::nullopt);
    EXPECT_NE(run_ctl({"set", "temperature", "20"}).output.find("list --known"), std::string::npos);
    EXPECT_EQ(run_ctl({"set", "temperature", "20", "--force"}).exit_code, 0);
    EXPECT_EQ(System::get("temperature"), "20");
}

TEST_F(Settings, AreListed) {
    EXPECT_EQ(run_ctl({"list"}).output,
              "strellctl: nothing is stored; strellctl list --known shows what could be\n");
    ASSERT_TRUE(System::set("wdr", "on"));
    ASSERT_TRUE(System::set("hot_status", "changed", "mem"));
    ASSERT_TRUE(System::set("odd", "a\x1b[31mb", "mem"));
    const auto list = run_ctl({"list"});
    EXPECT_EQ(list.exit_code, 0);
    EXPECT_NE(list.output.find("wdr = on\n"), std::string::npos) << list.output;
    EXPECT_NE(list.output.find("hot_status = changed\n"), std::string::npos);
    EXPECT_NE(list.output.find("mem:odd = a\\x1b[31mb\n"), std::string::npos);
    const auto known = run_ctl({"list", "--known"});
    EXPECT_EQ(known.exit_code, 0);
    EXPECT_NE(known.output.find("wdr                      on\n"), std::string::npos) << known.output;
    EXPECT_NE(known.output.find("flip                     (off)\n"), std::string::npos);
}

TEST_F(Settings, ChangesAreMonitored) {
    const auto all = ctl_test::start_ctl({"monitor"});
    const auto one = ctl_test::start_ctl({"monitor", "wdr"});
    ASSERT_TRUE(all->saw("watching 12 settings")) << all->output();
    ASSERT_TRUE(one->saw("watching wdr"));
    ASSERT_TRUE(System::set("flip", "on"));
    ASSERT_TRUE(System::set("wdr", "o\nff"));
    EXPECT_TRUE(all->saw("flip = on"));
    EXPECT_TRUE(all->saw("wdr = o\\x0aff"));
    EXPECT_TRUE(one->saw("wdr = o\\x0aff"));
    EXPECT_EQ(run_ctl({"unset", "wdr"}).exit_code, 0);
    EXPECT_TRUE(all->saw("wdr has no value any more"));
    EXPECT_TRUE(one->saw("wdr has no value any more"));
    EXPECT_EQ(one->count("flip"), 0U);
    one->signal(SIGINT);
    EXPECT_EQ(one->exit_code(), 0);
    all->signal(SIGTERM);
    EXPECT_EQ(all->exit_code(), 0);
}

TEST_F(Settings, MonitoringSurvivesARestartOfTheStore) {
    ASSERT_TRUE(System::set("hot_status", "changed", "mem"));
    const auto monitor = ctl_test::start_ctl({"monitor", "hot_status", "flip"});
    ASSERT_TRUE(monitor->saw("watching 2 settings"));
    store_.kill();
    store_.start();
    EXPECT_TRUE(monitor->saw("hot_status has no value any more")) << "memory does not survive";
    ASSERT_TRUE(System::set("flip", "off"));
    EXPECT_TRUE(monitor->saw("flip = off"));
}

TEST_F(Settings, AMonitorWithoutReaderEndsQuietly) {
    // The reader ends with the first change, so a later one finds the pipe closed.
    const char *script = R"SH(
        touch said ended
        { timeout 15 "$CTL" monitor flip 2>said; echo "status $?" >ended; } | head -1 >first &
        until grep -q watching said; do sleep 0.02; done
        until [ -s ended ]; do "$CTL" set flip on >/dev/null; done
        wait
        cat first said ended)SH";
    EXPECT_EQ(ctl_test::run_shell(script, dir_.path()).output,
              "flip = on\nstrellctl: watching flip, until Ctrl-C\nstatus 0\n");
}

TEST_F(Settings, ReloadWantsAProfileAndADaemon) {
    EXPECT_NE(run_ctl({"reload"}).output.find("hot_config has no value"), std::string::npos);
    ASSERT_TRUE(System::set("hot_config", "{}"));
    EXPECT_NE(run_ctl({"reload"}).output.find("is no encoder profile"), std::string::npos);
    ASSERT_TRUE(System::set("hot_config", support::small_profile));
    const auto outcome = run_ctl({"reload"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("strell_v2 does not run"), std::string::npos) << outcome.output;
    EXPECT_EQ(System::get("hot_status", "mem"), std::nullopt) << "nothing was started";
}

} // namespace
