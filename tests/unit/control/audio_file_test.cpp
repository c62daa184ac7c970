// Sound files in place of microphone and loudspeaker, with real files.

#include "control/audio_file.h"

#include "script/daemon_test.h"
#include "support/scratch.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

namespace {

constexpr const char *tx_begins = "debug: [audio_file] oru_tx_file_init(), 31\n";
constexpr const char *tx_ends = "debug: [audio_file] oru_tx_file_deinit(), 70\n";
constexpr const char *rx_begins = "debug: [audio_file] oru_rx_file_init(), 130\n";
constexpr const char *rx_ends = "debug: [audio_file] oru_rx_file_deinit(), 145\n";

class AudioFile : public DaemonTest {
  protected:
    AudioFile() {
        audio_file = {};
        audio_file.enabled = 1;
    }
    ~AudioFile() override {
        end_transmitting();
        audio_file = {};
        audio_file_chunk_bytes = 640;
    }

    /* A file to transmit: byte n is n / 640 * 16 + n % 7, so that chunks differ, and parts of one. */
    void transmit(const std::string &name, size_t size) {
        const std::string path = directory_.file(name);
        std::ofstream(path) << content(0, size);
        init(path);
    }
    void init(const std::string &path) {
        ASSERT_EQ(audio_file_set_tx_path(path.c_str()), 0);
        ASSERT_EQ(oru_tx_file_init(), 0);
        transmits_ = true;
        first_frame_ = audio_file.frame;
        script.journal.clear();
    }
    void end_transmitting() {
        if (transmits_) {
            oru_tx_file_deinit();
        }
        transmits_ = false;
        free(first_frame_); // nobody else does
        first_frame_ = nullptr;
    }
    static std::string content(size_t from, size_t to) {
        std::string bytes;
        for (size_t n = from; n < to; ++n) {
            bytes += static_cast<char>(n / 640 * 16 + n % 7);
        }
        return bytes;
    }
    /* What the scripted encoder makes of it. */
    static std::string encoded(const std::string &bytes) {
        std::string result;
        for (size_t n = 0; n + 1 < bytes.size(); n += 2) {
            result += bytes[n];
        }
        return result;
    }

    /* The next block. */
    std::string block() {
        std::string out(640, '\x77');
        std::memset(&header_, 0xdd, sizeof header_);
        EXPECT_EQ(tx_file_get_frame(out.data(), 99, &header_), 0);
        out.resize(header_.len);
        return out;
    }

    std::string recorded() const {
        std::ostringstream text;
        text << std::ifstream(directory_.file("rx")).rdbuf();
        return text.str();
    }
    void record() {
        ASSERT_EQ(audio_file_set_rx_path(directory_.file("rx").c_str()), 0);
        ASSERT_EQ(oru_rx_file_init(), 0);
    }
    static int32_t receive(const std::string &bytes) {
        return rx_file_write(bytes.data(), static_cast<int32_t>(bytes.size()));
    }

    support::ScratchRunDir directory_;
    AudioFrameInfo header_{};
    bool transmits_ = false;
    AudioFrameInfo *first_frame_ = nullptr;
};

// ---- settings ----

TEST(AudioFileAtItsStart, IsOffWithChunksOf640) {
    EXPECT_EQ(audio_file_chunk_bytes, 640);
    EXPECT_EQ(audio_file.enabled, 0);
    EXPECT_EQ(audio_file.tx_path[0], '\0');
    EXPECT_EQ(audio_file.rx_path[0], '\0');
    EXPECT_EQ(audio_file.format, 0);
}

TEST_F(AudioFile, SettersSetFlagAndPaths) {
    audio_file_enable(5);
    EXPECT_EQ(audio_file.enabled, 5);
    EXPECT_EQ(audio_file_set_tx_path("to/send"), 0);
    EXPECT_EQ(audio_file_set_rx_path("to/record"), 0);
    EXPECT_STREQ(audio_file.tx_path, "to/send");
    EXPECT_STREQ(audio_file.rx_path, "to/record");
}

TEST_F(AudioFile, APathOf1023CharactersFitsAndALongerOneChangesNothing) {
    const std::string longest(1023, 'p');
    EXPECT_EQ(audio_file_set_tx_path(longest.c_str()), 0);
    EXPECT_EQ(audio_file_set_rx_path("short"), 0);
    EXPECT_EQ(audio_file_set_tx_path((longest + "p").c_str()), -1);
    EXPECT_EQ(audio_file_set_rx_path((longest + "p").c_str()), -1);
    EXPECT_EQ(audio_file.tx_path, longest);
    EXPECT_STREQ(audio_file.rx_path, "short");
}

// ---- beginning to transmit ----

TEST_F(AudioFile, IsNotOpenedUnlessEnabledIsOne) {
    ASSERT_EQ(audio_file_set_tx_path(directory_.file("x.pcm").c_str()), 0);
    ASSERT_EQ(audio_file_set_rx_path(directory_.file("rx").c_str()), 0);
    for (const int32_t enabled : {0, 2, -1}) {
        audio_file_enable(enabled);
        script.journal.clear();
        EXPECT_EQ(oru_tx_file_init(), -1);
        EXPECT_EQ(oru_rx_file_init(), -1);
        EXPECT_EQ(script.journal, (Entries{tx_begins, rx_begins})) << "no error is logged";
    }
}

TEST_F(AudioFile, IsNotOpenedWithoutAPath) {
    EXPECT_EQ(oru_tx_file_init(), -1);
    EXPECT_EQ(oru_rx_file_init(), -1);
    EXPECT_EQ(script.journal, (Entries{tx_begins, rx_begins})) << "no error is logged";
}

TEST_F(AudioFile, EachSideHasAPathOfItsOwn) {
    ASSERT_EQ(audio_file_set_rx_path(directory_.file("rx").c_str()), 0);
    EXPECT_EQ(oru_tx_file_init(), -1);
    EXPECT_EQ(script.count("fopen"), 0U);
    EXPECT_EQ(oru_rx_file_init(), 0);
    EXPECT_EQ(oru_rx_file_deinit(), 0);
}

TEST_F(AudioFile, ATransmittedFileThatIsNotThereIsLogged) {
    const std::string path = directory_.file("none.pcm");
    ASSERT_EQ(audio_file_set_tx_path(path.c_str()), 0);
    EXPECT_EQ(oru_tx_file_init(), -1);
    EXPECT_EQ(script.journal,
              (Entries{tx_begins, "fopen(" + path + ", rb)", "err: open " + path + " failed\n"}));
    EXPECT_EQ(script.mallocs, 0U);
}

TEST_F(AudioFile, InitOpensTheFileAndForgetsTheCount) {
    const std::string path = directory_.file("x.pcm");
    std::ofstream(path) << "x";
    ASSERT_EQ(audio_file_set_tx_path(path.c_str()), 0);
    audio_file.frame_count = 8;
    EXPECT_EQ(oru_tx_file_init(), 0);
    transmits_ = true;
    first_frame_ = audio_file.frame;
    EXPECT_EQ(script.journal, (Entries{tx_begins, "fopen(" + path + ", rb)"}));
    EXPECT_EQ(audio_file.frame_count, 0);
    EXPECT_EQ(script.mallocs, 2U);
    std::memset(audio_file.file_data, 1, 640);
    std::memset(static_cast<void *>(audio_file.frame), 1, 32);
}

TEST_F(AudioFile, ForgetsTheCountAlsoWhenItFails) {
    audio_file_enable(0);
    audio_file.frame_count = 8;
    EXPECT_EQ(oru_tx_file_init(), -1);
    EXPECT_EQ(audio_file.frame_count, 0);
}

TEST_F(AudioFile, WithoutMemoryForTheChunkKeepsTheFileOpen) {
    ASSERT_EQ(audio_file_set_tx_path("/dev/null"), 0);
    script.malloc_fails = {script.mallocs + 1};
    EXPECT_EQ(oru_tx_file_init(), -1);
    EXPECT_EQ(script.journal, (Entries{tx_begins, "fopen(/dev/null, rb)", "err: malloc file_data failed\n"}));
    EXPECT_EQ(script.open_files.size(), 1U);
}

TEST_F(AudioFile, WithoutMemoryForTheFrameKeepsChunkAndFile) {
    ASSERT_EQ(audio_file_set_tx_path("/dev/null"), 0);
    script.malloc_fails = {script.mallocs + 2};
    EXPECT_EQ(oru_tx_file_init(), -1);
    EXPECT_EQ(script.journal, (Entries{tx_begins, "fopen(/dev/null, rb)", "err: malloc frame failed\n"}));
    EXPECT_EQ(script.open_files.size(), 1U);
    EXPECT_NE(audio_file.file_data, nullptr);
    oru_tx_file_deinit();
    EXPECT_EQ(script.open_files.size(), 0U);
}

// ---- formats ----

TEST_F(AudioFile, FormatGoesByTheName) {
    const std::vector<std::pair<std::string, int32_t>> names = {{"a.pcm", 0},       {"a.g711a", 1},
                                                                {"a.opus", 2},      {"a.opus.g711a", 1},
                                                                {"a.g711a.pcm", 0}, {"a.pcm.opus", 0}};
    for (const auto &[name, format] : names) {
        audio_file.format = 9;
        transmit(name, 1);
        EXPECT_EQ(audio_file.format, format) << name;
        end_transmitting();
    }
}

TEST_F(AudioFile, ANameWithoutAFormatLeavesTheOneOfBefore) {
    for (const char *name : {"a.wav", "apcm", "a.g711", "a.opu"}) {
        for (const int32_t before : {0, 1, 2}) {
            audio_file.format = before;
            transmit(name, 1);
            EXPECT_EQ(audio_file.format, before) << name;
            end_transmitting();
        }
    }
}

TEST_F(AudioFile, ADirectoryThatIsNamedLikePcmMakesItPcm) {
    const std::string directory = directory_.file("old.pcm.d");
    ASSERT_EQ(std::system(("mkdir " + directory).c_str()), 0);
    audio_file.format = 1;
    transmit("old.pcm.d/a.opus", 640);
    EXPECT_EQ(audio_file.format, 0);
}

// ---- blocks ----

TEST_F(AudioFile, PcmIsEncodedChunkByChunk) {
    transmit("a.pcm", 1920);
    for (size_t n = 0; n < 3; ++n) {
        EXPECT_EQ(block(), encoded(content(640 * n, 640 * (n + 1))));
        EXPECT_EQ(header_.len, 320U);
    }
    EXPECT_EQ(script.journal,
              (Entries{"fread(1, 640) = 640", "oru_g711a_encode(0, 640)", "fread(1, 640) = 640",
                       "oru_g711a_encode(0, 640)", "fread(1, 640) = 640", "oru_g711a_encode(0, 640)"}));
}

TEST_F(AudioFile, AFileOf1000BytesGivesItsFirst640OverAndOver) {
    transmit("a.pcm", 1000);
    for (int n = 0; n < 4; ++n) {
        EXPECT_EQ(block(), encoded(content(0, 640)));
    }
    EXPECT_EQ(
        script.entries("fread"),
        (Entries{"fread(1, 640) = 640", "fread(1, 640) = 360", "fread(1, 640) = 640", "fread(1, 640) = 360",
                 "fread(1, 640) = 640", "fread(1, 640) = 360", "fread(1, 640) = 640"}));
    EXPECT_EQ(script.count("oru_g711a_encode(0, 640)"), 4U);
    EXPECT_EQ(audio_file.bytes_read, 640);
    EXPECT_EQ(audio_file.frame_count, 4) << "one for each request, rewound or not";
}

TEST_F(AudioFile, AFileOfWholeChunksBeginsAnewBehindTheLast) {
    transmit("a.pcm", 1280);
    EXPECT_EQ(block(), encoded(content(0, 640)));
    EXPECT_EQ(block(), encoded(content(640, 1280)));
    EXPECT_EQ(block(), encoded(content(0, 640)));
    EXPECT_EQ(script.entries("fread"), (Entries{"fread(1, 640) = 640", "fread(1, 640) = 640",
                                                "fread(1, 640) = 0", "fread(1, 640) = 640"}));
}

TEST_F(AudioFile, AFileThatIsShorterThanAChunkGivesTheSameBlockForEverAndIsReadNoMore) {
    transmit("a.pcm", 100);
    for (int n = 0; n < 3; ++n) {
        EXPECT_EQ(block(), encoded(content(0, 100)));
        EXPECT_EQ(header_.len, 50U);
    }
    EXPECT_EQ(script.journal,
              (Entries{"fread(1, 640) = 100", "fread(1, 640) = 100", "oru_g711a_encode(0, 100)",
                       "oru_g711a_encode(0, 100)", "oru_g711a_encode(0, 100)"}));
    EXPECT_EQ(audio_file.frame_count, 1);
    EXPECT_EQ(header_.seq, 1U) << "the chunks before, of which there is one only";
}

TEST_F(AudioFile, AnEmptyFileGivesEmptyBlocks) {
    transmit("a.pcm", 0);
    EXPECT_EQ(block(), "");
    EXPECT_EQ(header_.len, 0U);
    EXPECT_EQ(script.journal, (Entries{"fread(1, 640) = 0", "fread(1, 640) = 0", "oru_g711a_encode(0, 0)"}));
}

TEST_F(AudioFile, AReadErrorThatIsNotTheEndIsTriedAgainWithEachBlock) {
    init(directory_.path()); // a directory opens, but cannot be read
    for (uint32_t n = 0; n < 3; ++n) {
        script.journal.clear();
        EXPECT_EQ(block(), "");
        EXPECT_EQ(header_.seq, n);
        EXPECT_EQ(script.journal,
                  (Entries{"fread(1, 640) = 0", "fread(1, 640) = 0", "oru_g711a_encode(0, 0)"}));
    }
    EXPECT_EQ(audio_file.frame_count, 3);
}

TEST_F(AudioFile, AReadErrorIsSilenceInALaw) {
    const std::string path = directory_.file("x.g711a");
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    init(path);
    std::memset(audio_file.file_data, 0x66, 640);
    EXPECT_EQ(block(), std::string(640, '\0')) << "of what was read before nothing is left";
    EXPECT_EQ(header_.len, 640U);
    EXPECT_EQ(script.entries("fread"), (Entries{"fread(1, 640) = 0", "fread(1, 640) = 0"}));
}

TEST_F(AudioFile, ALawIsPassedThroughInChunks) {
    transmit("a.g711a", 1280);
    EXPECT_EQ(block(), content(0, 640));
    EXPECT_EQ(header_.len, 640U);
    EXPECT_EQ(block(), content(640, 1280));
    EXPECT_EQ(script.count("oru_g711a_encode"), 0U);
}

TEST_F(AudioFile, AShortFileOfALawIsFilledUpWithZerosToAWholeChunk) {
    transmit("a.g711a", 100);
    std::memset(audio_file.file_data, 0x66, 640);
    EXPECT_EQ(block(), content(0, 100) + std::string(540, '\0'));
    EXPECT_EQ(header_.len, 640U);
    EXPECT_EQ(block(), content(0, 100) + std::string(540, '\0'));
}

TEST_F(AudioFile, IsNotClearedBetweenTheShortReadAndTheOneAfterIt) {
    transmit("a.g711a", 100);
    script.when("fread", [this] { script.read_most_bytes = 50; });
    EXPECT_EQ(block(), content(0, 100) + std::string(540, '\0'));
    EXPECT_EQ(audio_file.bytes_read, 50);
}

TEST_F(AudioFile, OpusIsEncodedAsIfItWerePcm) {
    transmit("a.opus", 640);
    EXPECT_EQ(block(), encoded(content(0, 640)));
    EXPECT_EQ(script.count("oru_g711a_encode(0, 640)"), 1U);
}

TEST_F(AudioFile, ChunksAreAsLargeAsTheSettingSays) {
    audio_file_chunk_bytes = 64;
    transmit("a.g711a", 640);
    EXPECT_EQ(block(), content(0, 64));
    EXPECT_EQ(block(), content(64, 128));
    EXPECT_EQ(script.entries("fread"), (Entries{"fread(1, 64) = 64", "fread(1, 64) = 64"}));
}

// ---- headers ----

TEST_F(AudioFile, HeaderSaysNumberSecondsAndLengthAndKeepsItsOtherWords) {
    transmit("a.pcm", 6400);
    script.now_us = 1700000000999999;
    block();
    block();
    EXPECT_EQ(header_.seq, 1U) << "the chunks read before this one";
    EXPECT_EQ(header_.board4, 16U);
    EXPECT_EQ(header_.board8, 1U);
    EXPECT_EQ(header_.board12, 0xddddddddU);
    EXPECT_EQ(header_.timestamp_us, 1700000000U) << "seconds";
    EXPECT_EQ(header_.len, 320U);
    EXPECT_EQ(header_.board28, 0xddddddddU);
}

TEST_F(AudioFile, TakesTheTimeBeforeItReads) {
    transmit("a.pcm", 640);
    script.now_us = 7000000;
    script.when("fread", [this] { script.now_us = 9000000; });
    block();
    EXPECT_EQ(header_.timestamp_us, 7U);
}

TEST_F(AudioFile, KeepsTheCallersHeaderByAddressInPlaceOfItsOwn) {
    transmit("a.pcm", 640);
    ASSERT_NE(audio_file.frame, nullptr);
    EXPECT_NE(audio_file.frame, &header_);
    block();
    EXPECT_EQ(audio_file.frame, &header_);
}

TEST_F(AudioFile, ItsOwnBufferWillDoForAHeader) {
    transmit("a.pcm", 640);
    std::string out(640, '\0');
    EXPECT_EQ(tx_file_get_frame(out.data(), 0, audio_file.frame), 0);
    EXPECT_EQ(first_frame_->len, 320U);
}

// ---- end of transmitting ----

TEST_F(AudioFile, DeinitClosesTheFileAndClearsNothing) {
    transmit("a.pcm", 640);
    block();
    const AudioFileTransfer before = audio_file;
    script.journal.clear();
    oru_tx_file_deinit();
    transmits_ = false;
    EXPECT_EQ(script.journal, (Entries{tx_ends, "fclose()"}));
    EXPECT_EQ(audio_file.tx_file, before.tx_file);
    EXPECT_EQ(audio_file.file_data, before.file_data);
    EXPECT_EQ(audio_file.frame, before.frame);
    EXPECT_EQ(audio_file.frame_count, before.frame_count);
    EXPECT_EQ(audio_file.enabled, 1);
    EXPECT_STREQ(audio_file.tx_path, before.tx_path);
}

TEST_F(AudioFile, DeinitOfWhatWasNeverOpenedOnlySaysSo) {
    oru_tx_file_deinit();
    EXPECT_EQ(script.journal, (Entries{tx_ends}));
}

TEST_F(AudioFile, DeinitDoesNotFreeTheFrame) {
    transmit("a.pcm", 640);
    oru_tx_file_deinit();
    transmits_ = false;
    std::memset(static_cast<void *>(first_frame_), 1, 32); // the address sanitizer would know
    EXPECT_EQ(audio_file.frame, first_frame_);
}

// ---- recording ----

TEST_F(AudioFile, RecordsBehindWhatIsThere) {
    std::ofstream(directory_.file("rx")) << "before ";
    record();
    EXPECT_EQ(receive("received "), 0);
    EXPECT_EQ(receive(std::string("by\0tes", 6)), 0);
    EXPECT_EQ(receive(""), 0);
    EXPECT_EQ(oru_rx_file_deinit(), 0);
    EXPECT_EQ(recorded(), std::string("before received by\0tes", 22));
    EXPECT_EQ(script.journal,
              (Entries{rx_begins, "fopen(" + directory_.file("rx") + ", a+)", rx_ends, "fclose()"}));
}

TEST_F(AudioFile, MakesTheFileThatItRecordsInto) {
    record();
    EXPECT_EQ(receive("new"), 0);
    EXPECT_EQ(oru_rx_file_deinit(), 0);
    EXPECT_EQ(recorded(), "new");
}

TEST_F(AudioFile, ARecordedFileThatCannotBeOpenedIsLogged) {
    const std::string path = directory_.file("none/rx");
    ASSERT_EQ(audio_file_set_rx_path(path.c_str()), 0);
    EXPECT_EQ(oru_rx_file_init(), -1);
    EXPECT_EQ(script.journal, (Entries{rx_begins, "fopen(" + path + ", a+)", "err: fopen rx file failed\n"}));
    EXPECT_EQ(oru_rx_file_deinit(), 1);
}

TEST_F(AudioFile, AWriteThatFailsIsNotReported) {
    ASSERT_EQ(audio_file_set_rx_path("/dev/full"), 0);
    ASSERT_EQ(oru_rx_file_init(), 0);
    EXPECT_EQ(receive(std::string(100000, 'x')), 0);
    EXPECT_EQ(receive("x"), 0);
    oru_rx_file_deinit();
}

TEST_F(AudioFile, ClosingGivesItsResult) {
    ASSERT_EQ(audio_file_set_rx_path("/dev/full"), 0);
    ASSERT_EQ(oru_rx_file_init(), 0);
    EXPECT_EQ(receive("x"), 0); // goes out with the closing
    EXPECT_EQ(oru_rx_file_deinit(), EOF);
}

TEST_F(AudioFile, DeinitOfNoRecordingGivesTheResultOfTheLog) {
    EXPECT_EQ(oru_rx_file_deinit(), 1);
    EXPECT_EQ(script.journal, (Entries{rx_ends}));
}

TEST_F(AudioFile, DeinitKeepsTheHandleOfTheRecording) {
    record();
    FILE *file = audio_file.rx_file;
    EXPECT_EQ(oru_rx_file_deinit(), 0);
    EXPECT_EQ(audio_file.rx_file, file);
}

} // namespace
