// The shared-buffer channels: buffers, what becomes of them, and text events.

#include "channels_fixture.h"

#include <cerrno>

namespace {

// ---- allocation ----

TEST_F(Channels, ThatWereNotCreatedHaveNoBuffers) {
    for (int32_t index = 0; index < media_channel_count; ++index) {
        EXPECT_EQ(shbf_brd_alloc(index, 64), nullptr);
    }
    EXPECT_EQ(script.journal, Entries{});
}

TEST_F(Channels, HandOutBuffersOfTheirOwn) {
    create_all();
    for (int32_t index = 0; index < media_channel_count; ++index) {
        const uint32_t size = 100 + static_cast<uint32_t>(index);
        uint8_t *buffer = shbf_brd_alloc(index, size);
        EXPECT_EQ(script.journal.back(), script::format("shbfev_brd_alloc(%s, %u)", media_path(index), size));
        EXPECT_EQ(buffer, script.buffers.back()->address);
        shbf_brd_broadcast(index, buffer);
    }
}

TEST_F(Channels, WithoutRoomHaveNoBuffers) {
    create_all();
    script.alloc_fails = true;
    EXPECT_EQ(shbf_brd_alloc(0, 64), nullptr);
    EXPECT_EQ(script.journal, (Entries{"shbfev_brd_alloc(/run/video_mainstream, 64)"}));
}

TEST_F(Channels, HandOutBuffersWhetherOrNotAnybodyListens) {
    create_all();
    media_channels[0].receivers = 0;
    uint8_t *buffer = shbf_brd_alloc(0, 64);
    EXPECT_NE(buffer, nullptr);
    shbf_brd_broadcast(0, buffer);
}

// ---- publishing ----

class Publishing : public Channels {
  protected:
    Publishing() {
        create_all();
        for (MediaChannel &channel : media_channels) {
            channel.receivers = 1;
        }
    }

    void publish(int32_t index) {
        uint8_t *buffer = shbf_brd_alloc(index, 64);
        script.journal.clear();
        shbf_brd_broadcast(index, buffer);
    }

    void fail(int count) {
        script.broadcast = [] { return -1; };
        for (int i = 0; i < count; ++i) {
            publish(i % media_channel_count);
        }
        script.broadcast = [] { return 1; };
    }

    static constexpr const char *report = R"(report_stat_object(strell_v2.err {"type":3}))";
};

TEST_F(Publishing, GivesTheBufferToTheLibraryOfItsChannel) {
    for (int32_t index = 0; index < media_channel_count; ++index) {
        publish(index);
        EXPECT_EQ(script.journal, (Entries{script::format("shbfev_brd_broadcast(%s, buffer %d)",
                                                          media_path(index), index + 1)}));
    }
}

TEST_F(Publishing, TakesAResultOfNobodyForSuccess) {
    broadcast_fail_count = 5;
    script.broadcast = [] { return 0; };
    publish(0);
    EXPECT_EQ(script.journal, (Entries{"shbfev_brd_broadcast(/run/video_mainstream, buffer 1)"}));
    EXPECT_EQ(broadcast_fail_count, 0);
}

TEST_F(Publishing, WithoutReceiversDropsTheBufferSilently) {
    for (const int32_t receivers : {0, -1, INT32_MIN}) {
        broadcast_fail_count = 11;
        media_channels[1].receivers = receivers;
        publish(1);
        ASSERT_EQ(script.journal.size(), 1U);
        EXPECT_EQ(script.journal[0], script::format("shbf_free(buffer %zu)", script.buffers.size()));
        EXPECT_EQ(broadcast_fail_count, 11);
    }
}

TEST_F(Publishing, LooksAtTheReceiversOfItsOwnChannel) {
    for (MediaChannel &channel : media_channels) {
        channel.receivers = 0;
    }
    media_channels[4].receivers = 1;
    publish(4);
    EXPECT_TRUE(script.has("shbfev_brd_broadcast(/run/audio_in"));
    publish(3);
    EXPECT_FALSE(script.has("shbfev_brd_broadcast"));
}

TEST_F(Publishing, ThatFailsIsLoggedAndTheBufferFreed) {
    for (const int32_t result : {-1, -22}) {
        broadcast_fail_count = 0;
        script.broadcast = [=] { return result; };
        publish(0);
        const size_t number = script.buffers.size();
        EXPECT_EQ(
            script.journal,
            (Entries{script::format("shbfev_brd_broadcast(/run/video_mainstream, buffer %zu)", number),
                     "err: shbf_brd_broadcast error\n", script::format("shbf_free(buffer %zu)", number)}));
        EXPECT_EQ(broadcast_fail_count, 1);
    }
}

TEST_F(Publishing, ThatFailsElevenTimesIsNotReported) {
    for (int i = 1; i <= 11; ++i) {
        fail(1);
        EXPECT_EQ(script.count("err: shbf_brd_broadcast error\n"), 1U);
        EXPECT_FALSE(script.has(report));
        EXPECT_EQ(broadcast_fail_count, i);
    }
}

TEST_F(Publishing, ThatFailsTheTwelfthTimeIsReportedOnceTheBufferIsFreed) {
    fail(12);
    EXPECT_EQ(script.journal, (Entries{"shbfev_brd_broadcast(/run/audio_play, buffer 12)",
                                       "err: shbf_brd_broadcast error\n", "shbf_free(buffer 12)", report}));
    EXPECT_EQ(broadcast_fail_count, 0);
}

TEST_F(Publishing, ForgetsTheFailuresBeforeItReportsThem) {
    int32_t at_report = -1;
    script.when(report, [&] { at_report = broadcast_fail_count; });
    fail(12);
    EXPECT_EQ(at_report, 0);
}

TEST_F(Publishing, ThatKeepsFailingIsReportedEveryTwelfthTime) {
    std::vector<int> reported;
    for (int i = 1; i <= 40; ++i) {
        fail(1);
        if (script.has(report)) {
            reported.push_back(i);
        }
    }
    EXPECT_EQ(reported, (std::vector<int>{12, 24, 36}));
    EXPECT_EQ(broadcast_fail_count, 4);
}

TEST_F(Publishing, CountsTheFailuresOfAllChannelsTogether) {
    script.broadcast = [] { return -1; };
    for (int i = 0; i < 11; ++i) {
        publish(0);
    }
    publish(4);
    EXPECT_TRUE(script.has(report));
}

TEST_F(Publishing, ForgetsTheFailuresAtASuccessOnAnyChannel) {
    fail(11);
    publish(5);
    EXPECT_EQ(broadcast_fail_count, 0);
    fail(11);
    EXPECT_FALSE(script.has(report));
    fail(1);
    EXPECT_TRUE(script.has(report));
}

TEST_F(Publishing, RemembersTheFailuresOverASilentDrop) {
    fail(11);
    media_channels[2].receivers = 0;
    publish(2);
    media_channels[2].receivers = 1;
    fail(1);
    EXPECT_TRUE(script.has(report));
}

TEST_F(Publishing, FollowsTheReceiversThatComeAndGo) {
    media_channels[0].receivers = 0;
    publish(0);
    EXPECT_FALSE(script.has("shbfev_brd_broadcast"));
    attach(0, 1);
    publish(0);
    EXPECT_TRUE(script.has("shbfev_brd_broadcast"));
    call(media_path(0), 4, int32_t{1}, int32_t{EAGAIN}); // trouble changes nothing
    publish(0);
    EXPECT_TRUE(script.has("shbfev_brd_broadcast"));
    detach(0, 1);
    publish(0);
    EXPECT_FALSE(script.has("shbfev_brd_broadcast"));
}

TEST_F(Publishing, AfterItsServerClosedDropsTheBuffer) {
    close_server(0);
    publish(0);
    EXPECT_EQ(script.journal, (Entries{"shbf_free(buffer 1)"}));
}

// ---- events ----

class Events : public Channels {
  protected:
    Events() {
        shbf_server_int(0);
        shbf_server_int(2);
        script.journal.clear();
    }
};

TEST_F(Events, GoOutWithTheirNul) {
    const std::string text = "MotionDetected{1}";
    const std::string sound = "AbnormalSound";
    EXPECT_EQ(shbf_event_broadcast(0, text.c_str(), 17), 1);
    EXPECT_EQ(shbf_event_broadcast(2, sound.c_str(), 13), 1);
    EXPECT_EQ(script.journal,
              (Entries{"shbfev_brd_broadcast_message(/run/md_event, 18, " + text + '\0' + ")",
                       "shbfev_brd_broadcast_message(/run/lsd_event, 14, " + sound + '\0' + ")"}));
}

TEST_F(Events, MayBeEmpty) {
    shbf_event_broadcast(0, "", 0);
    EXPECT_EQ(script.journal,
              (Entries{"shbfev_brd_broadcast_message(/run/md_event, 1, " + std::string(1, '\0') + ")"}));
}

TEST_F(Events, GiveTheResultOfTheLibrary) {
    for (const int32_t result : {3, 0, -1, -90}) {
        script.broadcast_message = [=] { return result; };
        EXPECT_EQ(shbf_event_broadcast(2, "x", 1), result);
    }
    EXPECT_FALSE(script.has("err: "));
}

TEST_F(Events, DoNotNeedReceiversThatWereCounted) {
    shbf_event_broadcast(0, "x", 1);
    EXPECT_EQ(shbf_mde[0].receivers, 0);
    EXPECT_TRUE(script.has("shbfev_brd_broadcast_message"));
}

TEST_F(Events, ForAChannelThatDoesNotExistAreLoggedAndCountAsSent) {
    EXPECT_EQ(shbf_event_broadcast(1, "x", 1), 0);
    ASSERT_EQ(script.journal.size(), 1U);
    const std::string &line = script.journal[0];
    const std::string before = "err: [shbf_event_broadcast]shbf_mde ";
    const std::string behind = " is NULL\r\n";
    ASSERT_GT(line.size(), before.size() + behind.size());
    EXPECT_EQ(line.substr(0, before.size()), before);
    EXPECT_EQ(line.substr(line.size() - behind.size()), behind);
    // Between them stands a number without a meaning.
    const std::string number = line.substr(before.size(), line.size() - before.size() - behind.size());
    EXPECT_EQ(number.find_first_not_of("-0123456789"), std::string::npos) << number;
}

TEST_F(Events, DoNotTouchTheCountOfFailedBroadcasts) {
    broadcast_fail_count = 5;
    script.broadcast_message = [] { return -1; };
    shbf_event_broadcast(0, "x", 1);
    script.broadcast_message = [] { return 1; };
    shbf_event_broadcast(0, "x", 1);
    EXPECT_EQ(broadcast_fail_count, 5);
}

} // namespace
