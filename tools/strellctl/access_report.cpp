#include "strellctl/access_report.h"

#include "strellctl/channel.h"
#include "strellctl/json.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <grp.h>
#include <pwd.h>
#include <span>

namespace ctl {

namespace {

constexpr const char *paths[] = {"/run/video_mainstream", "/run/video_substream", "/run/video_rawstream",
                                 "/run/jpeg_snap",        "/run/audio_in",        "/run/audio_play",
                                 "/run/md_event",         "/run/lsd_event"};

std::string user_name(uint32_t id) {
    const passwd *found = getpwuid(id);
    return found != nullptr ? printable(found->pw_name) : std::to_string(id);
}

std::string group_name(uint32_t id) {
    const group *found = getgrgid(id);
    return found != nullptr ? printable(found->gr_name) : std::to_string(id);
}

std::string names(std::span<const uint32_t> ids, std::string (*name)(uint32_t)) {
    std::vector<std::string> words;
    std::ranges::transform(ids, std::back_inserter(words), name);
    return joined(words);
}

std::string who_may(const shbf_access_t &access) {
    if (access.user_count == 0 && access.group_count == 0) {
        return "everybody who can open the socket";
    }
    std::vector<std::string> parts;
    if (access.user_count > 0) {
        parts.push_back(format("users %s", names({access.users, access.user_count}, user_name).c_str()));
    }
    if (access.group_count > 0) {
        parts.push_back(format("groups %s", names({access.groups, access.group_count}, group_name).c_str()));
    }
    return joined(parts, "; ");
}

std::string limits(const shbf_access_t &access) {
    std::string text = count_text(access.receivers, "receiver");
    if (access.receivers_per_user < access.receivers) {
        text += format(", %u for one user", access.receivers_per_user);
    }
    text += format("; messages of %u bytes", access.message_bytes);
    if (access.messages_per_second > 0) {
        text += format(", %u a second", access.messages_per_second);
    }
    return text + format("; %u ms to say Hello", access.handshake_ms);
}

std::string channel_text(const ChannelAccess &channel) {
    std::string text = channel.path + "\n";
    if (!channel.access) {
        return text + "    " + channel.trouble + "\n";
    }
    const shbf_access_t &access = *channel.access;
    text += format("    socket    %04o, group %s\n", access.mode, group_name(access.group).c_str());
    text += "    may       " + who_may(access) + "\n";
    text += "    limits    " + limits(access) + "\n";
    for (uint32_t i = 0; i < access.attached_count; ++i) {
        const shbf_attached_t &one = access.attached[i];
        text += format("    %s  process %d of user %s\n", i == 0 ? "attached" : "        ", one.pid,
                       user_name(one.uid).c_str());
    }
    return text;
}

std::string id_list(std::span<const uint32_t> ids) {
    return format("[%s]", names(ids, [](uint32_t id) { return std::to_string(id); }).c_str());
}

std::string attached_list(std::span<const shbf_attached_t> attached) {
    std::vector<std::string> objects;
    for (const shbf_attached_t &one : attached) {
        JsonObject object;
        object.add("receiver", one.receiver).add("pid", one.pid).add("uid", one.uid);
        objects.push_back(object.text());
    }
    return format("[%s]", joined(objects).c_str());
}

JsonObject channel_object(const ChannelAccess &channel) {
    JsonObject object;
    object.add("served", channel.access.has_value());
    if (!channel.access) {
        object.add("error", channel.trouble);
        return object;
    }
    const shbf_access_t &access = *channel.access;
    object.add("mode", format("%04o", access.mode)).add("group", access.group);
    object.add_json("users", id_list({access.users, access.user_count}));
    object.add_json("groups", id_list({access.groups, access.group_count}));
    object.add("receivers", access.receivers).add("receivers_per_user", access.receivers_per_user);
    object.add("message_bytes", access.message_bytes);
    object.add("messages_per_second", access.messages_per_second).add("handshake_ms", access.handshake_ms);
    object.add_json("attached", attached_list({access.attached, access.attached_count}));
    return object;
}

} // namespace

std::vector<ChannelAccess> read_access() {
    constexpr int32_t answer_ms = 1000;
    std::vector<ChannelAccess> channels;
    for (const char *path : paths) {
        shbf_access_t access{};
        const int32_t result = shbf_channel_access(path, &access, answer_ms);
        if (result < 0) {
            channels.push_back({path, std::nullopt, attach_failure(path, -result)});
        } else {
            channels.push_back({path, access, ""});
        }
    }
    return channels;
}

std::string access_text(const std::vector<ChannelAccess> &channels) {
    std::string text;
    for (const ChannelAccess &channel : channels) {
        text += channel_text(channel);
    }
    return text;
}

std::string access_json(const std::vector<ChannelAccess> &channels) {
    JsonObject object;
    for (const ChannelAccess &channel : channels) {
        object.add(channel.path.c_str(), channel_object(channel));
    }
    return object.text();
}

std::string access_trouble(const std::vector<ChannelAccess> &channels) {
    const auto found = std::ranges::find_if(channels, [](const ChannelAccess &one) { return !one.access; });
    return found == channels.end() ? "" : found->trouble;
}

} // namespace ctl
