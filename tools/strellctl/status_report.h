/*
 * What is known about a camera at one moment, without attaching to anything.
 */
#ifndef STRELLCTL_STATUS_REPORT_H
#define STRELLCTL_STATUS_REPORT_H

#include "libshbf_receiver.h"
#include "strellctl/board_status.h"
#include "strellctl/stream.h"

#include <array>
#include <optional>
#include <string>

namespace ctl {

/* What a channel says; without it, why not. */
struct ChannelReport {
    std::optional<shbf_channel_info_t> info;
    std::string trouble;
    bool refused = false; // it is served, but not to this user
};

struct StatusReport {
    std::array<ChannelReport, streams.size()> channels;
    std::optional<BoardStatus> board;
    std::string board_trouble;
    bool store_there = false;
    std::string store_trouble;
    std::optional<std::string> bind_status; // as it is stored

    /* strell_v2 serves its channels and the store is there. The board does not count: a real camera has
     * another one. */
    bool good() const;
};

/* Asks channel `stream`; waits at most a second. */
ChannelReport query_channel(const Stream &stream);

/* Asks everybody; takes some seconds when somebody hangs. Never throws. */
StatusReport read_status();

/* For people, several lines; for programs, one line. */
std::string status_text(const StatusReport &report);
std::string status_json(const StatusReport &report);

/* What is missing and how to get it, in one sentence; empty when all is good. */
std::string status_trouble(const StatusReport &report);

} // namespace ctl

#endif
