// The access file of the channels (shbf/policy.h): whatever stands in it, a file that is not understood as a
// whole closes every channel alike and says where it is wrong, and one that is understood keeps the bounds.

#include "fuzz.h"
#include "shbf/policy.h"
#include "shbf/wire.h"

#include <algorithm>
#include <cerrno>
#include <vector>

using fuzz::must;

namespace {

int user_by_name(const char *name, uid_t *id) {
    *id = 10;
    return std::strcmp(name, "recorder") == 0 ? 0 : -ENOENT;
}

int group_by_name(const char *name, gid_t *id) {
    *id = 44;
    return std::strcmp(name, "video") == 0 ? 0 : -ENOENT;
}

constexpr shbf::PolicyNames names = {user_by_name, group_by_name};

struct Parsed {
    int result = 0;
    shbf::Policy policy{};
    shbf::PolicyError error{};
};

Parsed parse(const std::vector<char> &text, const char *channel) {
    Parsed parsed;
    parsed.result =
        shbf::policy_parse(text.data(), text.size(), channel, names, &parsed.policy, &parsed.error);
    return parsed;
}

void check(const Parsed &parsed, const std::vector<char> &text) {
    const shbf::Policy &policy = parsed.policy;
    if (parsed.result != 0) {
        const auto lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
        const size_t length = strnlen(parsed.error.text, sizeof parsed.error.text);
        must(parsed.result == -EINVAL && policy.closed && policy.receivers == 0,
             "a file that is wrong closes the channel");
        must(length > 0 && length < sizeof parsed.error.text && parsed.error.line <= lines,
             "and it is said where it is wrong");
        return;
    }
    must(!policy.closed, "a file that is understood closes nothing");
    must(policy.user_count <= shbf::policy_names_max && policy.group_count <= shbf::policy_names_max,
         "lists keep their length");
    must(policy.receivers <= shbf::receivers_max && policy.receivers_per_user >= 1 &&
             policy.receivers_per_user <= shbf::receivers_max && policy.message_bytes <= shbf::message_max,
         "limits keep their bounds");
    must(policy.handshake_ms >= 10 && policy.handshake_ms <= 60000 && policy.messages_per_second <= 100000,
         "all of them");
    must(policy.mode == shbf::mode_by_umask || (policy.mode & ~0777) == 0, "a mode is permission bits");
}

bool same(const shbf::Policy &one, const shbf::Policy &other) {
    return one.mode == other.mode && one.group == other.group && one.closed == other.closed &&
           one.user_count == other.user_count && one.group_count == other.group_count &&
           std::equal(one.users, one.users + one.user_count, other.users) &&
           std::equal(one.groups, one.groups + one.group_count, other.groups) &&
           one.receivers == other.receivers && one.receivers_per_user == other.receivers_per_user &&
           one.message_bytes == other.message_bytes && one.messages_per_second == other.messages_per_second &&
           one.handshake_ms == other.handshake_ms;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t length) {
    std::vector<char> text(bytes, bytes + length);
    const Parsed parsed = parse(text, "/run/video_mainstream");
    check(parsed, text);
    const Parsed other = parse(text, "/run/jpeg_snap");
    check(other, text);
    must(parsed.result == other.result && parsed.error.line == other.error.line,
         "a file is right or wrong for all channels");
    // A comment behind it changes nothing.
    text.insert(text.end(), {'\n', '#', 'x', '\n'});
    if (text.size() <= shbf::policy_file_max) {
        const Parsed commented = parse(text, "/run/video_mainstream");
        must(commented.result == parsed.result && same(commented.policy, parsed.policy),
             "a comment changes nothing");
    }
    return 0;
}
