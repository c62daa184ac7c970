// What mortoxd does with its files: nothing confirmed is lost, nothing unreadable is replaced.

#include "mortox_client.h"
#include "support/settings_store.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sstream>
#include <sys/resource.h>
#include <tuple>
#include <unistd.h>
#include <vector>

using namespace mortox_test;
using support::Outcome;
using support::ScratchRunDir;
using support::SettingsStore;

namespace {

std::string contents(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

void overwrite(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

/* Large, and other bytes than those of the write before it under the same key. */
std::string value_of_write(int number) {
    return std::string(8000, static_cast<char>('a' + number / 30)) + std::to_string(number);
}

class MortoxdStorage : public testing::Test {
  protected:
    /* A store with some settings, ended in order. */
    void fill(int values = 200) {
        store_.start();
        const Handle handle = open_store();
        for (int i = 0; i < values; ++i) {
            ASSERT_TRUE(set(handle, "key" + std::to_string(i), std::string(100, 'v')));
        }
        ASSERT_EQ(store_.end(), 0);
    }

    /* mortoxd must refuse the file as it is now with exit code 4 and this text, and leave it so. */
    void expect_refused(const std::string &text) {
        const bool readable = std::filesystem::is_regular_file(store_.database());
        const std::string before = readable ? contents(store_.database()) : "";
        const Outcome outcome = support::run(
            {std::string(STRELL_BIN_DIR) + "/mortoxd", "--persistent", "nvram=" + store_.database()});
        EXPECT_EQ(outcome.exit_code, 4) << outcome.output;
        EXPECT_NE(outcome.output.find("mortoxd: nvram: cannot use " + store_.database() + ": "),
                  std::string::npos)
            << outcome.output;
        EXPECT_NE(outcome.output.find(text), std::string::npos) << outcome.output;
        EXPECT_EQ(outcome.output.find("serving"), std::string::npos);
        if (readable) {
            EXPECT_EQ(contents(store_.database()), before) << "the file was changed";
        }
    }

    /* The part of the log that is in use; the rest is zeros. */
    size_t log_bytes() const { return contents(store_.database() + "-wal").find_last_not_of('\0') + 1; }

    void limit_file_size(rlim_t bytes) {
        rlimit limit{};
        ASSERT_EQ(prlimit(store_.process().pid(), RLIMIT_FSIZE, nullptr, &limit), 0);
        limit.rlim_cur = bytes;
        ASSERT_EQ(prlimit(store_.process().pid(), RLIMIT_FSIZE, &limit, nullptr), 0);
    }

    ScratchRunDir run_dir_;
    SettingsStore store_{run_dir_};
};

/* ---- nothing confirmed is lost ---- */

TEST_F(MortoxdStorage, AConfirmedWriteSurvivesAKill) {
    for (int round = 0; round < 5; ++round) {
        store_.start();
        const Handle handle = open_store();
        if (round > 0) {
            EXPECT_EQ(get(handle, "round"), std::to_string(round - 1));
        }
        EXPECT_EQ(get(handle, "removed"), std::nullopt);
        EXPECT_TRUE(set(handle, "removed", "x"));
        EXPECT_TRUE(set(handle, "round", std::to_string(round)));
        EXPECT_TRUE(libmortox_remove_value(handle.get(), "nvram", "default", "removed", -1));
        store_.kill();
    }
}

TEST_F(MortoxdStorage, AnOrderlyEndKeepsAllToo) {
    fill();
    store_.start();
    EXPECT_TRUE(store_.process().saw("nvram: 200 values in "));
    EXPECT_EQ(get(open_store(), "key199"), std::string(100, 'v'));
}

TEST_F(MortoxdStorage, MemoryEndsWithTheServer) {
    store_.start();
    EXPECT_TRUE(set(open_store(), "hot_status", "changed", "mem"));
    EXPECT_EQ(store_.end(), 0);
    store_.start();
    EXPECT_EQ(get(open_store(), "hot_status", "mem"), std::nullopt);
}

/* The server runs with a library that keeps apart what was synced; the store that is left of that alone must
 * have each value from the moment on at which its write is confirmed. */
class MortoxdPowerCut : public MortoxdStorage {
  protected:
    MortoxdPowerCut() {
        std::filesystem::create_directories(run_dir_.file("kept"));
        std::filesystem::create_directories(run_dir_.file("disk"));
        const char *options = getenv("ASAN_OPTIONS");
        store_.set_arguments({"--persistent", "nvram=" + run_dir_.file("disk") + "/nvram.db"});
        store_.set_environment(
            {{"LD_PRELOAD", std::string(STRELL_LIB_DIR) + "/libpower_cut.so"},
             {"POWER_CUT_DIR", run_dir_.file("kept")},
             {"ASAN_OPTIONS", std::string(options == nullptr ? "" : options) + ":verify_asan_link_order=0"}});
    }

    /* The disk as a power cut at this moment leaves it, in a directory of its own. */
    std::string disk_after_power_cut() {
        std::string disk = run_dir_.file("after" + std::to_string(++cuts_));
        std::filesystem::create_directories(disk);
        std::ifstream names(run_dir_.file("kept") + "/names");
        std::string inode;
        std::string name;
        while (names >> inode >> name) {
            overwrite(disk + "/" + name, contents(run_dir_.file("kept") + "/inode-" + inode));
        }
        return disk;
    }

    std::optional<std::string> value_after_power_cut(const std::string &key) {
        const std::string disk = disk_after_power_cut();
        EXPECT_TRUE(std::filesystem::exists(disk + "/nvram.db"));
        const support::Process survivor(
            {std::string(STRELL_BIN_DIR) + "/mortoxd", "--persistent", "nvram=" + disk + "/nvram.db"},
            {{"STRELL_RUN_DIR", disk}});
        EXPECT_TRUE(support::eventually([&] { return survivor.count("serving") == 1; })) << survivor.output();
        setenv("STRELL_RUN_DIR", disk.c_str(), 1);
        const Handle handle = open_store();
        setenv("STRELL_RUN_DIR", run_dir_.path().c_str(), 1);
        return get(handle, key);
    }

  private:
    int cuts_ = 0;
};

TEST_F(MortoxdPowerCut, AConfirmedWriteIsOnTheDisk) {
    store_.start();
    const Handle handle = open_store();
    for (const char *value : {"1", "2", "3"}) {
        ASSERT_TRUE(set(handle, "flip", value));
        EXPECT_EQ(value_after_power_cut("flip"), value);
    }
    ASSERT_TRUE(libmortox_remove_value(handle.get(), "nvram", "default", "flip", -1));
    EXPECT_EQ(value_after_power_cut("flip"), std::nullopt);
}

TEST_F(MortoxdPowerCut, AlsoWhenTheLogIsWrittenBack) {
    store_.start();
    const Handle handle = open_store();
    for (int i = 0; i < 400; ++i) { // twice the length of the log, which is 512 pages
        const std::string value = value_of_write(i);
        ASSERT_TRUE(set(handle, "key" + std::to_string(i % 30), value));
        if (i % 40 == 0) {
            EXPECT_EQ(value_after_power_cut("key" + std::to_string(i % 30)), value);
        }
    }
}

TEST_F(MortoxdPowerCut, AndWhenThatIsDoneInAQuietMoment) {
    store_.start();
    const Handle handle = open_store();
    const std::string database = run_dir_.file("disk") + "/nvram.db";
    for (int round = 0; round < 2; ++round) {
        const std::string value(8000, round == 0 ? 'v' : 'w'); // pages that do not change are not written
        for (int i = 0; i < 40; ++i) {
            ASSERT_TRUE(set(handle, "key" + std::to_string(i), value));
        }
        const std::string last = "the last of round " + std::to_string(round);
        ASSERT_TRUE(set(handle, "last", last));
        // Not the last value: when the machine is slow, the quiet moment may come before it.
        const std::string page = value.substr(0, 4000);
        EXPECT_TRUE(support::eventually([&] { return contents(database).find(page) != std::string::npos; }));
        EXPECT_EQ(value_after_power_cut("last"), last);
    }
}

/* ---- the log ---- */

TEST_F(MortoxdStorage, AShortLogIsLeftAlone) {
    store_.start();
    const Handle handle = open_store();
    ASSERT_TRUE(set(handle, "flip", "a value of its own"));
    EXPECT_FALSE(support::eventually(
        [&] { return contents(store_.database()).find("a value of its own") != std::string::npos; },
        std::chrono::milliseconds(300)));
    EXPECT_EQ(store_.end(), 0);
    EXPECT_NE(contents(store_.database()).find("a value of its own"), std::string::npos);
}

TEST_F(MortoxdStorage, TheLogIsUsedAgainWhoeverWritesWithoutEnd) {
    constexpr uintmax_t full_bytes = uintmax_t{512} * (4096 + 24);
    store_.start();
    const Handle handle = open_store();
    const uintmax_t laid_out_bytes = std::filesystem::file_size(store_.database() + "-wal");
    EXPECT_GT(laid_out_bytes, full_bytes);
    for (int i = 0; i < 500; ++i) { // 1500 pages and more: all of each value changes
        ASSERT_TRUE(set(handle, "key" + std::to_string(i % 30), value_of_write(i)));
    }
    EXPECT_GT(log_bytes(), full_bytes) << "not all of it was used";
    EXPECT_EQ(std::filesystem::file_size(store_.database() + "-wal"), laid_out_bytes);
    store_.kill();
    store_.start();
    EXPECT_EQ(get(open_store(), "key19"), value_of_write(499));
}

/* ---- no room ---- */

TEST_F(MortoxdStorage, AFullDiskIsAnErrorAndTheOldValueStays) {
    store_.start();
    const Handle handle = open_store();
    const std::string big(8000, 'v');
    ASSERT_TRUE(set(handle, "flip", "old"));
    limit_file_size(log_bytes() + 100);
    Answer answer;
    EXPECT_FALSE(libmortox_set_value(handle.get(), "nvram", "default", "flip", XDATA_TEXT, big.c_str(),
                                     Answer::store, &answer, -1, 0));
    EXPECT_EQ(answer.type, XRESPONSE_ERROR);
    const std::string error = libmortox_last_error(handle.get());
    EXPECT_NE(error.find("cannot write nvram, the old value stays: "), std::string::npos) << error;
    EXPECT_NE(error.find("File too large"), std::string::npos) << error;
    EXPECT_TRUE(store_.process().saw("mortoxd: " + error));
    EXPECT_EQ(get(handle, "flip"), "old");
    EXPECT_FALSE(libmortox_remove_value(handle.get(), "nvram", "default", "flip", -1));
    EXPECT_EQ(get(handle, "flip"), "old");
    EXPECT_TRUE(set(handle, "flip", "new", "mem")) << "memory needs no disk";
    limit_file_size(RLIM_INFINITY);
    EXPECT_TRUE(set(handle, "flip", big)) << "there is room again";
    store_.kill();
    store_.start();
    EXPECT_EQ(get(open_store(), "flip"), big);
}

TEST_F(MortoxdStorage, WhatWasRefusedOnAFullDiskDoesNotAppearLater) {
    store_.start();
    {
        const Handle handle = open_store();
        ASSERT_TRUE(set(handle, "flip", "old"));
        limit_file_size(log_bytes() + 4200);
        EXPECT_FALSE(set(handle, "flip", std::string(8000, 'v')));
    }
    store_.kill();
    store_.start();
    EXPECT_EQ(get(open_store(), "flip"), "old");
}

TEST_F(MortoxdStorage, ANamespaceHasAnEnd) {
    store_.start();
    const Handle handle = open_store();
    const std::string value(8000, 'v');
    int stored = 0;
    while (stored < 5000 && set(handle, "key" + std::to_string(stored), value, "mem")) {
        ++stored;
    }
    EXPECT_GT(stored, 1000);
    ASSERT_LT(stored, 5000);
    EXPECT_NE(std::string(libmortox_last_error(handle.get())).find("database or disk is full"),
              std::string::npos);
    EXPECT_EQ(get(handle, "key0", "mem"), value);
    EXPECT_TRUE(libmortox_remove_value(handle.get(), "mem", "default", "key0", -1));
    EXPECT_TRUE(set(handle, "small", "fits", "mem"));
}

/* ---- settings that another program has written ---- */

class MortoxdForeign : public MortoxdStorage {
  protected:
    /* Writes into the file of a store that has ended, past all of its checks. */
    void write_foreign(const std::string &section, const std::string &key, const std::string &value) {
        sqlite3 *connection = nullptr;
        ASSERT_EQ(sqlite3_open(store_.database().c_str(), &connection), SQLITE_OK);
        sqlite3_stmt *statement = nullptr;
        ASSERT_EQ(sqlite3_prepare_v2(connection, "INSERT OR REPLACE INTO setting VALUES (?1, ?2, ?3)", -1,
                                     &statement, nullptr),
                  SQLITE_OK);
        int index = 0;
        for (const std::string &text : {section, key, value}) {
            sqlite3_bind_text(statement, ++index, text.data(), static_cast<int>(text.size()),
                              SQLITE_TRANSIENT);
        }
        EXPECT_EQ(sqlite3_step(statement), SQLITE_DONE) << sqlite3_errmsg(connection);
        sqlite3_finalize(statement);
        sqlite3_close(connection);
    }

    static void note_key(const NotifyPair *pair, void *user) {
        static_cast<std::vector<std::string> *>(user)->emplace_back(pair->key->key);
    }

    static std::string error_of_get(const Handle &handle, const std::string &key) {
        Answer answer;
        libmortox_get_value(handle.get(), "nvram", "default", key.c_str(), Answer::store, &answer, -1, 0);
        EXPECT_EQ(answer.type, XRESPONSE_ERROR);
        return libmortox_last_error(handle.get());
    }
};

TEST_F(MortoxdForeign, AValueThatIsTooLongIsAnErrorThatNamesItsKeyAndAllElseIsServed) {
    fill(2);
    write_foreign("default", "huge", std::string(8192, 'v'));
    write_foreign("default", "largest", std::string(8191, 'v'));
    write_foreign("default", "zero", std::string("on\0off", 6));
    store_.start();
    const Handle handle = open_store();
    EXPECT_EQ(error_of_get(handle, "huge"),
              "nvram default huge cannot be served: the value is 8192 bytes long: at most 8191 are allowed. "
              "Another program wrote it; set it anew or remove it");
    EXPECT_NE(
        error_of_get(handle, "zero").find("nvram default zero cannot be served: the value has a zero byte"),
        std::string::npos);
    EXPECT_EQ(get(handle, "largest"), std::string(8191, 'v')) << "on the same connection";
    EXPECT_EQ(get(handle, "key1"), std::string(100, 'v'));
}

TEST_F(MortoxdForeign, SuchAValueCanBeSetAnewOrRemoved) {
    fill(1);
    write_foreign("default", "one", std::string(9000, 'v'));
    write_foreign("default", "other", std::string(9000, 'v'));
    store_.start();
    const Handle handle = open_store();
    EXPECT_TRUE(set(handle, "one", "good"));
    EXPECT_TRUE(libmortox_remove_value(handle.get(), "nvram", "default", "other", -1));
    EXPECT_EQ(get(handle, "one"), "good");
    EXPECT_EQ(get(handle, "other"), std::nullopt);
}

TEST_F(MortoxdForeign, NothingOfItIsLost) {
    fill(1);
    write_foreign("default", "huge", std::string(20'000, 'v') + "end");
    store_.start();
    EXPECT_TRUE(set(open_store(), "key0", "other"));
    EXPECT_EQ(store_.end(), 0);
    EXPECT_NE(contents(store_.database()).find("vend"), std::string::npos);
}

TEST_F(MortoxdForeign, AListHasAllElseAndEndsWithAnError) {
    fill(40);
    write_foreign("default", "huge", std::string(9000, 'v'));
    write_foreign("default", std::string(64, 'k'), "v");
    write_foreign("with blank", "key", "v");
    write_foreign("", "", "v");
    store_.start();
    const Handle handle = open_store();
    std::vector<std::string> keys;
    EXPECT_FALSE(libmortox_list(handle.get(), "nvram", nullptr, note_key, &keys, -1));
    EXPECT_NE(std::string(libmortox_last_error(handle.get())).find("nvram default huge cannot be served"),
              std::string::npos)
        << libmortox_last_error(handle.get());
    EXPECT_EQ(keys.size(), 40U);
    EXPECT_EQ(get(handle, "key39"), std::string(100, 'v')) << "on the same connection";
}

TEST_F(MortoxdForeign, TheStartSaysWhatCannotBeServed) {
    fill(1);
    write_foreign("default", std::string(100'000, 'k'), "v");
    write_foreign("default", "line\nfeed", "v");
    for (int i = 0; i < 20; ++i) {
        write_foreign("default", "huge" + std::to_string(i), std::string(9000, 'v'));
    }
    store_.start();
    const std::string output = store_.process().output();
    EXPECT_NE(output.find("mortoxd: nvram default huge0 cannot be served: "), std::string::npos) << output;
    EXPECT_NE(output.find("mortoxd: nvram: 22 values cannot be served"), std::string::npos) << output;
    EXPECT_LE(store_.process().count("cannot be served: "), 10U);
    for (const std::string &line : store_.process().lines()) {
        EXPECT_TRUE(line.starts_with("mortoxd: ") && line.size() < 500) << line;
    }
}

TEST_F(MortoxdForeign, AWatchOfSuchAValueFailsAndTheConnectionStays) {
    fill(1);
    write_foreign("default", "huge", std::string(9000, 'v'));
    store_.start();
    RawClient client(store_.socket());
    ASSERT_TRUE(client.send_message(request(wire::Type::watch, "nvram", "default", "huge", 3)));
    const wire::Message *answer = client.receive();
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer->status, wire::Status::storage);
    EXPECT_NE(std::string(answer->value).find("nvram default huge"), std::string::npos) << answer->value;
    EXPECT_TRUE(set(open_store(), "huge", "good"));
    const wire::Message *change = client.receive();
    ASSERT_NE(change, nullptr);
    EXPECT_EQ(change->type, wire::Type::change) << "who watched it before learns of its end";
    EXPECT_STREQ(change->value, "good");
}

/* ---- files that cannot be used ---- */

const char *const advice = "Nothing was changed. Restore the file from a copy, or move it";

TEST_F(MortoxdStorage, AFileOfSomethingElseIsRefused) {
    overwrite(store_.database(), "{ \"flip\": \"on\" }\n");
    expect_refused("it is damaged (file is not a database)");
}

TEST_F(MortoxdStorage, ARandomFileIsRefused) {
    overwrite(store_.database(), std::string(20000, 'x'));
    expect_refused(advice);
}

TEST_F(MortoxdStorage, AnEmptyFileIsRefused) {
    fill();
    overwrite(store_.database(), "");
    expect_refused("it is damaged (empty)");
}

TEST_F(MortoxdStorage, ATruncatedFileIsRefused) {
    fill();
    const std::string whole = contents(store_.database());
    for (const size_t bytes :
         {whole.size() - 1, whole.size() - 4096, whole.size() / 2, size_t{4096}, size_t{100}, size_t{1}}) {
        overwrite(store_.database(), whole.substr(0, bytes));
        expect_refused(advice);
    }
    overwrite(store_.database(), whole);
    store_.start();
    EXPECT_EQ(get(open_store(), "key0"), std::string(100, 'v')) << "the copy is as good as it was";
}

TEST_F(MortoxdStorage, AnEmptyFileBesideItsLogIsRefused) {
    store_.start();
    EXPECT_TRUE(set(open_store(), "flip", "on"));
    store_.kill();
    const std::string whole = contents(store_.database());
    const std::string log = contents(store_.database() + "-wal");
    overwrite(store_.database(), "");
    expect_refused("it is damaged (empty)");
    EXPECT_EQ(contents(store_.database() + "-wal"), log) << "the log is needed to restore it";
    overwrite(store_.database(), whole);
    store_.start();
    EXPECT_EQ(get(open_store(), "flip"), "on");
}

TEST_F(MortoxdStorage, ALogWithoutItsFileIsRefused) {
    store_.start();
    EXPECT_TRUE(set(open_store(), "flip", "on"));
    store_.kill();
    std::filesystem::rename(store_.database(), store_.database() + ".moved");
    expect_refused("it is gone, but its write-ahead log " + store_.database() + "-wal is there");
    std::filesystem::rename(store_.database() + ".moved", store_.database());
    store_.start();
    EXPECT_EQ(get(open_store(), "flip"), "on");
}

TEST_F(MortoxdStorage, DamagedPagesAreRefused) {
    fill();
    const std::string whole = contents(store_.database());
    ASSERT_GT(whole.size(), 3U * 4096);
    for (size_t page = 1; page < whole.size() / 4096; ++page) {
        std::string damaged = whole;
        for (size_t at = 0; at < 200; ++at) {
            damaged[page * 4096 + at] = static_cast<char>(at * 37);
        }
        overwrite(store_.database(), damaged);
        expect_refused(advice);
    }
}

TEST_F(MortoxdStorage, DamageLeavesTheLogAloneToo) {
    fill();
    store_.start();
    EXPECT_TRUE(set(open_store(), "flip", "on"));
    store_.kill();
    const std::string log = contents(store_.database() + "-wal");
    ASSERT_FALSE(log.empty());
    std::string damaged = contents(store_.database());
    const size_t last_page = damaged.size() - 4096;
    for (size_t at = 0; at < 200; ++at) {
        damaged[last_page + at] = static_cast<char>(at * 37);
    }
    overwrite(store_.database(), damaged);
    expect_refused(advice);
    EXPECT_EQ(contents(store_.database() + "-wal"), log);
}

TEST_F(MortoxdStorage, ADatabaseOfAnotherProgramIsRefused) {
    fill(1);
    std::string other = contents(store_.database());
    other[68] = 'X'; // application id
    overwrite(store_.database(), other);
    expect_refused("it is a database of something else: give another FILE");
}

TEST_F(MortoxdStorage, ALaterLayoutIsRefused) {
    fill(1);
    std::string later = contents(store_.database());
    later[63] = 2; // user version
    overwrite(store_.database(), later);
    expect_refused("it has layout 2, and this mortoxd knows only 1");
}

TEST_F(MortoxdStorage, ADirectoryIsRefused) {
    std::filesystem::create_directory(store_.database());
    expect_refused("it is no file");
}

TEST_F(MortoxdStorage, ALinkToNothingIsRefused) {
    std::filesystem::create_symlink(run_dir_.file("not_mounted/nvram.db"), store_.database());
    expect_refused("No such file or directory");
    EXPECT_TRUE(std::filesystem::is_symlink(store_.database()));
}

TEST_F(MortoxdStorage, AMissingDirectoryIsRefused) {
    const Outcome outcome = support::run({std::string(STRELL_BIN_DIR) + "/mortoxd", "--persistent",
                                          "nvram=" + run_dir_.file("not_mounted/nvram.db")});
    EXPECT_EQ(outcome.exit_code, 4);
    EXPECT_NE(outcome.output.find("its directory cannot be opened: No such file or directory"),
              std::string::npos)
        << outcome.output;
}

TEST_F(MortoxdStorage, AFileWithoutPermissionIsRefused) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "permissions do not bind root";
    }
    std::filesystem::create_directory(run_dir_.file("own"));
    const std::string database = run_dir_.file("own") + "/nvram.db";
    store_.set_arguments({"--persistent", "nvram=" + database});
    fill(1);
    using std::filesystem::perms;
    for (const auto &[path, allowed, text] :
         {std::tuple(database, perms::none, "this user may not read and write it"),
          std::tuple(database, perms::owner_read, "this user may not read and write it"),
          std::tuple(run_dir_.file("own"), perms::owner_read | perms::owner_exec,
                     "its directory cannot be written by this user")}) {
        std::filesystem::permissions(path, allowed);
        const Outcome outcome =
            support::run({std::string(STRELL_BIN_DIR) + "/mortoxd", "--persistent", "nvram=" + database});
        std::filesystem::permissions(path, perms::owner_all);
        EXPECT_EQ(outcome.exit_code, 4);
        EXPECT_NE(outcome.output.find(text), std::string::npos) << outcome.output;
    }
}

TEST_F(MortoxdStorage, AFileThatAnotherServerUsesIsRefused) {
    store_.start();
    const std::string elsewhere = run_dir_.file("elsewhere");
    std::filesystem::create_directory(elsewhere);
    const Outcome outcome =
        support::run({std::string(STRELL_BIN_DIR) + "/mortoxd", "--persistent", "nvram=" + store_.database()},
                     {{"STRELL_RUN_DIR", elsewhere}});
    EXPECT_EQ(outcome.exit_code, 4);
    EXPECT_NE(outcome.output.find("another process uses it: end that one first"), std::string::npos)
        << outcome.output;
}

TEST_F(MortoxdStorage, TwoNamespacesCannotShareAFile) {
    store_.set_arguments(
        {"--persistent", "a=" + store_.database(), "--persistent", "b=" + run_dir_.path() + "/./nvram.db"});
    store_.launch();
    EXPECT_EQ(store_.process().exit_code(), 4);
    EXPECT_TRUE(store_.process().saw("b: cannot use "));
}

TEST_F(MortoxdStorage, AFirstStartThatWasCutShortIsBegunAgain) {
    overwrite(store_.database() + ".new", "half a database");
    overwrite(store_.database() + ".new-journal", "and its journal");
    store_.start();
    EXPECT_TRUE(set(open_store(), "flip", "on"));
    EXPECT_FALSE(std::filesystem::exists(store_.database() + ".new"));
}

TEST_F(MortoxdStorage, AStoreThatGetsDamagedWhileItServesSaysSo) {
    store_.start();
    const Handle handle = open_store();
    const std::string value(8000, 'v');
    for (int i = 0; i < 400; ++i) { // more than the server keeps in memory
        ASSERT_TRUE(set(handle, "key" + std::to_string(i), value));
    }
    const std::string whole = contents(store_.database());
    {
        std::fstream file(store_.database(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(4096);
        file << std::string(whole.size() - 4096, '\xff');
    }
    int failed = 0;
    for (int i = 0; i < 400; ++i) {
        Answer answer;
        EXPECT_TRUE(libmortox_get_value(handle.get(), "nvram", "default", ("key" + std::to_string(i)).c_str(),
                                        Answer::store, &answer, -1, 0));
        if (answer.type == XRESPONSE_ERROR) {
            ++failed;
            EXPECT_EQ(answer.taken, -1);
        } else {
            EXPECT_EQ(answer.value, value) << "neither the value nor an error";
        }
    }
    EXPECT_GT(failed, 0);
    EXPECT_TRUE(store_.process().saw("mortoxd: cannot read nvram: "));
    int listed = 0;
    EXPECT_FALSE(libmortox_list(
        handle.get(), "nvram", nullptr, [](const NotifyPair *, void *user) { ++*static_cast<int *>(user); },
        &listed, -1));
    EXPECT_LT(listed, 400);
}

} // namespace
