#include "strellctl/status_report.h"

#include "board/boardctl.h"
#include "strellctl/failure.h"
#include "strellctl/json.h"
#include "strellctl/receiver.h"
#include "strellctl/store.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <cerrno>

namespace ctl {

namespace {

void ask_board(StatusReport *report) {
    try {
        report->board = read_board_status();
    } catch (const board::BoardCtlError &error) {
        report->board_trouble = error.what();
    }
}

void ask_store(StatusReport *report) {
    try {
        Store store;
        report->bind_status = store.get({"nvram", "default", "bind_status"});
        report->store_there = true;
    } catch (const Failure &failure) {
        report->store_trouble = failure.what();
    }
}

std::string channel_line(const ChannelReport &channel) {
    if (!channel.info) {
        return channel.refused ? "closed to this user" : "not served";
    }
    const shbf_channel_info_t &info = *channel.info;
    std::string text = format("served by process %d, %s, %u published, %u skipped", info.pid,
                              count_text(info.receivers, "receiver").c_str(), info.published, info.skipped);
    if (info.arena_bytes > 0) {
        text += format(", arena %s of %s", bytes_text(info.arena_used).c_str(),
                       bytes_text(info.arena_bytes).c_str());
    }
    return text;
}

std::string board_text(const BoardStatus &board) {
    std::string text = "board  software board, " + printable(board.phase) + ", source " +
                       printable(board.source) + ", " +
                       count_text(static_cast<uint64_t>(board.captured), "frame") + " captured\n";
    if (!board.source_error.empty()) {
        text += "       the source fails: " + printable(board.source_error) + "\n";
    }
    for (size_t i = 0; i < streams.size(); ++i) {
        const BoardChannel &channel = board.channels[i];
        if (channel.encoding.empty()) {
            continue;
        }
        text += format("       %-4s  %s %lldx%lld, %lld fps, %s", streams[i].name,
                       printable(channel.encoding).c_str(), static_cast<long long>(channel.width),
                       static_cast<long long>(channel.height), static_cast<long long>(channel.fps),
                       bitrate_text(static_cast<double>(channel.bitrate)).c_str());
        text += channel.fault.empty() ? "\n" : ", told to fail: " + printable(channel.fault) + "\n";
    }
    return text;
}

std::string store_text(const StatusReport &report) {
    if (!report.store_there) {
        return "store  not there\n";
    }
    return std::string("store  there, the camera is ") +
           (report.bind_status == "ok" ? "bound\n"
                                       : "not bound: no video before strellctl set bind_status ok\n");
}

JsonObject channel_object(const ChannelReport &channel) {
    JsonObject object;
    object.add("served", channel.info.has_value());
    if (channel.info) {
        const shbf_channel_info_t &info = *channel.info;
        object.add("pid", info.pid).add("receivers", info.receivers).add("published", info.published);
        object.add("skipped", info.skipped).add("arena_bytes", info.arena_bytes);
        object.add("arena_used", info.arena_used).add("buffers", info.buffers);
    } else {
        object.add("error", channel.trouble);
    }
    return object;
}

JsonObject board_object(const StatusReport &report) {
    JsonObject object;
    object.add("there", report.board.has_value());
    if (report.board) {
        object.add_json("status", report.board->json);
    } else {
        object.add("error", report.board_trouble);
    }
    return object;
}

JsonObject store_object(const StatusReport &report) {
    JsonObject object;
    object.add("there", report.store_there);
    if (!report.store_there) {
        object.add("error", report.store_trouble);
    } else if (report.bind_status) {
        object.add("bind_status", *report.bind_status);
    } else {
        object.add_null("bind_status");
    }
    return object;
}

} // namespace

ChannelReport query_channel(const Stream &stream) {
    constexpr int32_t answer_ms = 1000;
    shbf_channel_info_t info{};
    const int32_t result = shbf_channel_query(stream.path, &info, answer_ms);
    if (result < 0) {
        return {std::nullopt, attach_failure(stream, -result), result == -EACCES || result == -EPERM};
    }
    return {info, ""};
}

bool StatusReport::good() const {
    return store_there && std::ranges::all_of(channels, [](const ChannelReport &channel) {
               return channel.info.has_value();
           });
}

StatusReport read_status() {
    StatusReport report;
    std::ranges::transform(streams, report.channels.begin(), query_channel);
    ask_board(&report);
    ask_store(&report);
    return report;
}

std::string status_text(const StatusReport &report) {
    std::string text;
    for (size_t i = 0; i < streams.size(); ++i) {
        text += format("%-5s  %s\n", streams[i].name, channel_line(report.channels[i]).c_str());
    }
    text += report.board ? board_text(*report.board) : "board  no software board here\n";
    return text + store_text(report);
}

std::string status_json(const StatusReport &report) {
    JsonObject channels;
    for (size_t i = 0; i < streams.size(); ++i) {
        channels.add(streams[i].name, channel_object(report.channels[i]));
    }
    JsonObject object;
    object.add("good", report.good()).add("channels", std::move(channels));
    object.add("board", board_object(report)).add("store", store_object(report));
    return object.text();
}

std::string status_trouble(const StatusReport &report) {
    for (const ChannelReport &channel : report.channels) {
        if (!channel.info) {
            return channel.trouble;
        }
    }
    return report.store_trouble;
}

} // namespace ctl
