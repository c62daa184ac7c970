// The shared-buffer channels: creation, and the bookkeeping of receivers.

#include "channels_fixture.h"
#include "control/play_audio.h"
#include "media/requests.h"
#include "settings/device_status.h"

#include <cerrno>
#include <cstring>

namespace {

// ---- the tables ----

TEST_F(Channels, AreSixForMediaAndThreeForEvents) {
    EXPECT_EQ(sizeof media_channels / sizeof media_channels[0], 6U);
    EXPECT_EQ(sizeof shbf_mde / sizeof shbf_mde[0], 3U);
    EXPECT_EQ(sizeof(MediaChannel::receivers), 4U);
    EXPECT_EQ(sizeof(MediaChannel::index), 4U);
}

// ---- creation of media channels ----

class MediaChannelOf : public Channels, public testing::WithParamInterface<int32_t> {
  protected:
    int32_t index_ = GetParam();
    std::string path_ = media_path(GetParam());
};

TEST_P(MediaChannelOf, IndexIsCreatedAndStartedInOrder) {
    EXPECT_EQ(shbf_init(index_), 0);
    EXPECT_EQ(script.journal,
              (Entries{"shbfev_brd_create(" + path_ + ")", "shbfev_brd_event(" + path_ + ", 1)",
                       "shbfev_brd_event(" + path_ + ", 2)", "shbfev_brd_event(" + path_ + ", 3)",
                       "shbfev_brd_event(" + path_ + ", 4)", "shbfev_brd_event(" + path_ + ", 5)",
                       "shbfev_brd_start(default loop, " + path_ + ")"}));
}

TEST_P(MediaChannelOf, IndexHasItsEntryAndNoReceivers) {
    MediaChannel &entry = media_channels[index_];
    entry.receivers = 9;
    entry.index = 9;
    shbf_init(index_);
    EXPECT_NE(entry.broadcaster.load(), nullptr);
    EXPECT_EQ(entry.receivers, 0);
    EXPECT_EQ(entry.index, index_);
    for (int32_t code = 1; code <= 4; ++code) {
        EXPECT_EQ(script::channel(path_)->events.at(code).second, &entry) << code;
    }
    int32_t created = 0;
    for (const MediaChannel &channel : media_channels) {
        created += channel.broadcaster.load() == nullptr ? 0 : 1;
    }
    EXPECT_EQ(created, 1);
}

TEST_P(MediaChannelOf, IndexIsInTheTableBeforeItsCallbacksAreRegistered) {
    bool in_table = false;
    script.when("shbfev_brd_event", [&] { in_table = media_channels[index_].broadcaster.load() != nullptr; });
    shbf_init(index_);
    EXPECT_TRUE(in_table);
}

TEST_P(MediaChannelOf, IndexThatDoesNotStartIsLogged) {
    script.start_results = {{path_, -98}};
    EXPECT_EQ(shbf_init(index_), -1);
    EXPECT_EQ(script.journal.back(), script::format("err: shbf %d start error -98\n", index_));
    EXPECT_NE(media_channels[index_].broadcaster.load(), nullptr);
}

TEST_P(MediaChannelOf, IndexWithoutAHandleFailsWhereItStarts) {
    script.create_fails = {path_};
    EXPECT_EQ(shbf_init(index_), -1);
    EXPECT_EQ(script.journal,
              (Entries{"shbfev_brd_create(" + path_ + ")", "shbfev_brd_event(null, 1)",
                       "shbfev_brd_event(null, 2)", "shbfev_brd_event(null, 3)", "shbfev_brd_event(null, 4)",
                       "shbfev_brd_event(null, 5)", "shbfev_brd_start(default loop, null)",
                       script::format("err: shbf %d start error %d\n", index_, -EINVAL)}));
}

TEST_P(MediaChannelOf, IndexGivesZeroForAnyStartResultThatIsNotNegative) {
    script.start_results = {{path_, 5}};
    EXPECT_EQ(shbf_init(index_), 0);
    EXPECT_FALSE(script.has("err: "));
}

INSTANTIATE_TEST_SUITE_P(Index, MediaChannelOf, testing::Range(0, 6), testing::PrintToStringParamName());

TEST_F(Channels, OfMediaWithAnyOtherIndexAreNotCreatedAndNotLogged) {
    for (const int32_t index : {6, 7, 100, -1, -6, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(shbf_init(index), -1) << index;
    }
    EXPECT_EQ(script.journal, Entries{});
    expect_untouched();
}

class ChannelsThatTakeKeyFrameRequests : public Channels, public testing::WithParamInterface<int32_t> {};

TEST_P(ChannelsThatTakeKeyFrameRequests, RegisterThemLastAndWithoutUserData) {
    const std::string path = media_path(GetParam());
    shbf_init(GetParam());
    const auto [callback, user] = script::channel(path)->events.at(5);
    EXPECT_EQ(callback, SHBFEV_CALLBACK(evt_rcvr_message_idr));
    EXPECT_EQ(user, nullptr);
    EXPECT_EQ(script.position("shbfev_brd_event(" + path + ", 5)"), script.position("shbfev_brd_start(") - 1);
}

TEST_P(ChannelsThatTakeKeyFrameRequests, AskTheEncodersForOne) {
    create_all();
    const void *bytes = "REQ_IDR";
    EXPECT_EQ(call(media_path(GetParam()), 5, int32_t{3}, bytes, int32_t{7}), 0);
    EXPECT_EQ(script.journal, (Entries{"req_IDR()"}));
}

INSTANTIATE_TEST_SUITE_P(Index, ChannelsThatTakeKeyFrameRequests, testing::Values(0, 1, 4), // audio too
                         testing::PrintToStringParamName());

struct OwnRequests {
    int32_t index;
    shbfev_message_callback handler;
};

class ChannelsWithRequestsOfTheirOwn : public Channels, public testing::WithParamInterface<OwnRequests> {};

TEST_P(ChannelsWithRequestsOfTheirOwn, RegisterThemLastAndWithoutUserData) {
    const std::string path = media_path(GetParam().index);
    shbf_init(GetParam().index);
    const auto [callback, user] = script::channel(path)->events.at(5);
    EXPECT_EQ(callback, SHBFEV_CALLBACK(GetParam().handler));
    EXPECT_EQ(user, nullptr);
    EXPECT_EQ(script.position("shbfev_brd_event(" + path + ", 5)"), script.position("shbfev_brd_start(") - 1);
}

TEST_P(ChannelsWithRequestsOfTheirOwn, TakeNoneForAKeyFrameRequest) {
    create_all();
    device_status.power = 0; // refuse everything
    const void *bytes = "REQ_IDR";
    EXPECT_EQ(call(media_path(GetParam().index), 5, int32_t{3}, bytes, int32_t{7}), -1);
    EXPECT_EQ(script.journal, Entries{});
}

INSTANTIATE_TEST_SUITE_P(Index, ChannelsWithRequestsOfTheirOwn,
                         testing::Values(OwnRequests{2, evt_rcvr_message_rawframe},
                                         OwnRequests{3, evt_rcvr_message_jpeg},
                                         OwnRequests{5, evt_rcvr_message_play}),
                         [](const auto &row) { return std::to_string(row.param.index); });

// ---- creation of event channels ----

class EventChannelOf : public Channels, public testing::WithParamInterface<int32_t> {
  protected:
    int32_t index_ = GetParam();
    std::string path_ = event_paths[GetParam()];
};

TEST_P(EventChannelOf, IndexIsCreatedWithItsErrorCallbackOnly) {
    MediaChannel &entry = shbf_mde[index_];
    entry.receivers = 9;
    EXPECT_EQ(shbf_server_int(index_), 0);
    EXPECT_EQ(script.journal,
              (Entries{"shbfev_brd_create(" + path_ + ")", "shbfev_brd_event(" + path_ + ", 4)",
                       "shbfev_brd_start(default loop, " + path_ + ")"}));
    EXPECT_NE(entry.broadcaster.load(), nullptr);
    EXPECT_EQ(entry.receivers, 0);
    EXPECT_EQ(entry.index, index_);
    EXPECT_EQ(script::channel(path_)->events.at(4).second, &entry);
}

TEST_P(EventChannelOf, IndexGivesTheStartResultItself) {
    for (const int32_t result : {0, 1, 77}) {
        script.start_results = {{path_, result}};
        EXPECT_EQ(shbf_server_int(index_), result);
    }
    EXPECT_FALSE(script.has("err: "));
}

TEST_P(EventChannelOf, IndexThatDoesNotStartIsLogged) {
    script.start_results = {{path_, -13}};
    EXPECT_EQ(shbf_server_int(index_), -1);
    EXPECT_EQ(script.journal.back(), script::format("err: shbf %d start error -13\n", index_));
}

TEST_P(EventChannelOf, IndexWithoutAHandleFailsWhereItStarts) {
    script.create_fails = {path_};
    EXPECT_EQ(shbf_server_int(index_), -1);
    EXPECT_EQ(script.journal, (Entries{"shbfev_brd_create(" + path_ + ")", "shbfev_brd_event(null, 4)",
                                       "shbfev_brd_start(default loop, null)",
                                       script::format("err: shbf %d start error %d\n", index_, -EINVAL)}));
}

INSTANTIATE_TEST_SUITE_P(Index, EventChannelOf, testing::Range(0, 3), testing::PrintToStringParamName());

TEST_F(Channels, OfEventsWithAnyOtherIndexAreNotCreated) {
    for (const int32_t index : {3, 4, 100, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(shbf_server_int(index), -1) << index;
    }
    EXPECT_EQ(script.journal, Entries{});
    expect_untouched();
}

// ---- receivers ----

class ReceiversOf : public Channels, public testing::WithParamInterface<int32_t> {
  protected:
    ReceiversOf() { create_all(); }
    int32_t index_ = GetParam();
};

TEST_P(ReceiversOf, ChannelAreCountedAsTheyComeAndGo) {
    EXPECT_EQ(attach(index_, 11), 0);
    EXPECT_EQ(attach(index_, 12), 0);
    EXPECT_EQ(media_channels[index_].receivers, 2);
    EXPECT_EQ(detach(index_, 11), 0);
    EXPECT_EQ(media_channels[index_].receivers, 1);
    EXPECT_EQ(detach(index_, 12), 0);
    EXPECT_EQ(
        script.journal,
        (Entries{script::format("info: broadcaster %d get new receiver: 11, total count 1\n", index_),
                 script::format("info: broadcaster %d get new receiver: 12, total count 2\n", index_),
                 script::format("warning: broadcaster %d receiver 11 closed, total count 1\n", index_),
                 script::format("warning: broadcaster %d receiver 12 closed, total count 0\n", index_)}));
    for (const MediaChannel &channel : media_channels) {
        EXPECT_EQ(channel.receivers, 0);
    }
}

TEST_P(ReceiversOf, ChannelAreForgottenWhenItsServerCloses) {
    attach(index_, 11);
    attach(index_, 12);
    media_channels[(index_ + 1) % media_channel_count].receivers = 5;
    script.journal.clear();
    int32_t at_break = -1;
    script.when("ev_break", [&] { at_break = media_channels[index_].receivers; });
    EXPECT_EQ(close_server(index_), 0);
    EXPECT_EQ(script.journal, (Entries{"ev_break(default loop, EVBREAK_ALL)",
                                       script::format("info: Server %d Closed\n", index_)}));
    EXPECT_EQ(at_break, 0);
    EXPECT_EQ(media_channels[(index_ + 1) % media_channel_count].receivers, 5);
}

TEST_P(ReceiversOf, ChannelInTroubleAreLoggedAndStayCounted) {
    attach(index_, 11);
    script.journal.clear();
    EXPECT_EQ(call(media_path(index_), 4, int32_t{11}, int32_t{EPROTO}), 0);
    EXPECT_EQ(script.journal, (Entries{"err: receiver error: 11: Protocol error\n"}));
    EXPECT_EQ(media_channels[index_].receivers, 1);
}

INSTANTIATE_TEST_SUITE_P(Index, ReceiversOf, testing::Range(0, 6), testing::PrintToStringParamName());

TEST_F(Channels, KeepAReceiverThatIsBehindAndNoOtherThatFails) {
    create_all();
    shbf_server_int(0);
    for (const std::string path : {"/run/video_mainstream", "/run/md_event"}) {
        for (int32_t error = 0; error < 140; ++error) {
            script.journal.clear();
            EXPECT_EQ(call(path, 4, int32_t{3}, error), error == 11 ? -1 : 0) << error;
            EXPECT_EQ(script.journal,
                      (Entries{script::format("err: receiver error: 3: %s\n", strerror(error))}));
        }
    }
}

} // namespace
