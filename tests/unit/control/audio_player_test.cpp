// Prompts: real files in /tmp, into a queue that exists.

#include "control/audio_player.h"

#include "play_queue_fixture.h"

#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class AudioPlayer : public PlayQueueTest {
  protected:
    AudioPlayer() : name_("strell-prompt-" + std::to_string(getpid()) + ".pcm"), path_("/tmp/" + name_) {}
    ~AudioPlayer() override {
        unlink(path_.c_str());
        rmdir(path_.c_str());
    }

    void make_file(const std::string &content) const { std::ofstream(path_) << content; }

    Entries opened() const { return {"fopen(" + path_ + ", rb)"}; }
    Entries playing() const { return {"log: playing audio file: [" + path_ + "]\n"}; }

    std::string name_;
    std::string path_;
};

TEST_F(AudioPlayer, QueuesTheWholeFileAsOneItem) {
    const std::string sound("so\0und\xff", 7);
    make_file(sound);
    EXPECT_EQ(audio_player(name_.c_str()), 0);
    EXPECT_EQ(journal(), joined({opened(), playing(), {"fread(1, 7) = 7"}}));
    EXPECT_EQ(play_queue.count, 1);
    EXPECT_EQ(pop(), sound);
}

TEST_F(AudioPlayer, TakesOnlyTheLastPartOfAName) {
    make_file("welcome");
    for (const std::string directory : {"sounds/", "/etc/../sounds/", "../", "/"}) {
        EXPECT_EQ(audio_player((directory + name_).c_str()), 0) << directory;
        EXPECT_EQ(pop(), "welcome");
    }
    EXPECT_EQ(script.count("fopen(" + path_ + ", rb)"), 4U);
}

TEST_F(AudioPlayer, LeavesTheNameAsItIs) {
    make_file("x");
    std::string name = "sounds/" + name_;
    EXPECT_EQ(audio_player(name.data()), 0);
    EXPECT_EQ(name, "sounds/" + name_);
    pop();
}

TEST_F(AudioPlayer, WithoutANameSaysSo) {
    EXPECT_EQ(audio_player(nullptr), 1) << "the result of the log call";
    EXPECT_EQ(script.journal, (Entries{"err: [audio_player] filename is NULL"}));
    EXPECT_EQ(pop(), "none");
}

TEST_F(AudioPlayer, ANameWithoutALastPartIsTheDirectoryItselfWhichHasNothingToPlay) {
    for (const char *name : {"", "sounds/", "/"}) {
        script.journal.clear();
        EXPECT_EQ(audio_player(name), 0) << name;
        EXPECT_EQ(script.count("fopen(/tmp/, rb)"), 1U) << "opening a directory for reading succeeds";
        EXPECT_TRUE(script.has("info: playing audio file: [/tmp/]\n"));
        EXPECT_FALSE(script.has("err: "));
        ASSERT_EQ(play_queue.count, 1) << name;
        EXPECT_EQ(pop(), "") << "reading it does not";
    }
}

TEST_F(AudioPlayer, AFileThatIsNotThereIsNamedWithTheReason) {
    EXPECT_EQ(audio_player(name_.c_str()), 1) << "the result of the log call";
    EXPECT_EQ(
        script.journal,
        joined({opened(), {"err: [audio_player] Open " + path_ + " failed: No such file or directory\n"}}));
    EXPECT_EQ(pop(), "none");
}

TEST_F(AudioPlayer, AnEmptyFileIsAnItemOfLengthZero) {
    make_file("");
    EXPECT_EQ(audio_player(name_.c_str()), 0);
    EXPECT_EQ(journal(), joined({opened(), playing()}));
    EXPECT_EQ(play_queue.count, 1);
    EXPECT_EQ(pop(), "");
}

TEST_F(AudioPlayer, AnEmptyFileNeedsNoMemory) {
    make_file("");
    script.malloc_fails = {script.mallocs + 1};
    EXPECT_EQ(audio_player(name_.c_str()), 0);
    ASSERT_EQ(play_queue.count, 1);
    EXPECT_EQ(play_queue.items[play_queue.head]->length, 0);
}

TEST_F(AudioPlayer, ReadsOnUntilItHasAll) {
    make_file("abcdefg");
    script.read_most_bytes = 3;
    EXPECT_EQ(audio_player(name_.c_str()), 0);
    EXPECT_EQ(journal(),
              joined({opened(), playing(), {"fread(1, 7) = 3", "fread(1, 4) = 3", "fread(1, 1) = 1"}}));
    EXPECT_EQ(pop(), "abcdefg");
}

TEST_F(AudioPlayer, PlaysWhatItGotOfAFileThatGrewShorter) {
    make_file("abcdefg");
    script.read_most_bytes = 3;
    script.when("fread", [this] { script.read_most_bytes = 0; });
    EXPECT_EQ(audio_player(name_.c_str()), 0);
    EXPECT_EQ(journal(), joined({opened(), playing(), {"fread(1, 7) = 3", "fread(1, 4) = 0"}}));
    EXPECT_EQ(pop(), "abc");
}

TEST_F(AudioPlayer, ADirectoryHasNothingToPlay) {
    mkdir(path_.c_str(), 0700);
    EXPECT_EQ(audio_player(name_.c_str()), 0);
    EXPECT_EQ(play_queue.count, 1);
    EXPECT_EQ(pop(), "");
}

TEST_F(AudioPlayer, MeasuresTheFileAfterItHasSaidThatItPlays) {
    make_file("short");
    script.when("info: playing audio file", [this] { make_file("longer now"); });
    EXPECT_EQ(audio_player(name_.c_str()), 0);
    EXPECT_EQ(pop(), "longer now");
}

TEST_F(AudioPlayer, AFileThatIsGoneMeanwhileIsNotPlayed) {
    make_file("sound");
    script.when("info: playing audio file", [this] { unlink(path_.c_str()); });
    EXPECT_EQ(audio_player(name_.c_str()), 1);
    EXPECT_EQ(journal(), joined({opened(), playing(), {"log: [audio_player] malloc error"}}));
    EXPECT_EQ(pop(), "none");
}

TEST_F(AudioPlayer, WithoutMemoryForTheSoundOrTheItemSaysSo) {
    make_file("sound");
    for (const size_t nth : {1U, 2U}) {
        script.malloc_fails = {script.mallocs + nth};
        EXPECT_EQ(audio_player(name_.c_str()), 1) << "the result of the log call";
        EXPECT_EQ(script.journal.back(), "err: [audio_player] malloc error");
        EXPECT_EQ(pop(), "none");
    }
}

TEST_F(AudioPlayer, NeverClosesTheFile) {
    make_file("sound");
    EXPECT_EQ(audio_player(name_.c_str()), 0);
    EXPECT_EQ(audio_player(name_.c_str()), 0);
    EXPECT_EQ(script.open_files.size(), 2U);
    EXPECT_EQ(script.count("fclose"), 0U);
}

TEST_F(AudioPlayer, GivesTheResultOfTheQueue) {
    make_file("sound");
    fill(play_queue_size);
    EXPECT_EQ(audio_player(name_.c_str()), -1);
    EXPECT_EQ(play_queue.count, 0) << "a full queue is emptied";
}

TEST_F(AudioPlayer, CutsANameThatIsTooLong) {
    const std::string longest(300, 'n');
    EXPECT_EQ(audio_player(longest.c_str()), 1);
    EXPECT_EQ(script.count("fopen(/tmp/" + longest.substr(0, 250) + ", rb)"), 1U);
}

} // namespace
