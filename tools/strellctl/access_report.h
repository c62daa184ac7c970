/*
 * Who may listen to the daemon's channels, and who does.
 */
#ifndef STRELLCTL_ACCESS_REPORT_H
#define STRELLCTL_ACCESS_REPORT_H

#include "libshbf_receiver.h"

#include <optional>
#include <string>
#include <vector>

namespace ctl {

/* What a channel says; without it, why not. */
struct ChannelAccess {
    std::string path;
    std::optional<shbf_access_t> access;
    std::string trouble;
};

/* Asks every channel of the daemon; waits for each at most a second. Never throws. */
std::vector<ChannelAccess> read_access();

/* For people, some lines for each channel; names of users and groups are those of this system. */
std::string access_text(const std::vector<ChannelAccess> &channels);

/* For programs, one line. */
std::string access_json(const std::vector<ChannelAccess> &channels);

/* The first channel's trouble; empty when all have answered. */
std::string access_trouble(const std::vector<ChannelAccess> &channels);

} // namespace ctl

#endif
