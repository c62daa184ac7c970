#include "shbf/admission.h"

#include "libvuto_util.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>

#ifndef SO_PEERGROUPS
#define SO_PEERGROUPS 59 // Linux 4.13; headers may be older than the kernel
#endif

namespace shbf {

namespace {

constexpr uint32_t lines_per_minute = 10;
constexpr uint32_t minute_ms = 60000;
constexpr uint32_t second_ms = 1000;
constexpr size_t supplementary_max = 65536; // NGROUPS_MAX of Linux

int64_t now_ms() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

bool is_listed(const uint32_t *ids, uint32_t count, uint32_t id) {
    for (uint32_t i = 0; i < count; ++i) {
        if (ids[i] == id) {
            return true;
        }
    }
    return false;
}

bool any_listed(const Policy &policy, const gid_t *groups, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        if (is_listed(policy.groups, policy.group_count, groups[i])) {
            return true;
        }
    }
    return false;
}

/* One of the supplementary groups that the peer had when it connected. Kernels before 4.13 do not tell them:
 * there, only its first group counts. */
bool has_listed_group(const Policy &policy, int fd) {
    gid_t few[64];
    socklen_t bytes = sizeof few;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, few, &bytes) == 0) {
        return any_listed(policy, few, bytes / sizeof(gid_t));
    }
    if (errno != ERANGE || bytes > supplementary_max * sizeof(gid_t)) {
        return false;
    }
    gid_t *many = static_cast<gid_t *>(malloc(bytes));
    const bool known = many != nullptr && getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, many, &bytes) == 0;
    const bool listed = known && any_listed(policy, many, bytes / sizeof(gid_t));
    free(many);
    return listed;
}

bool is_admitted(const Policy &policy, int fd, const Credentials &peer) {
    if (policy.user_count == 0 && policy.group_count == 0) {
        return true;
    }
    return is_listed(policy.users, policy.user_count, peer.uid) ||
           is_listed(policy.groups, policy.group_count, peer.gid) ||
           (policy.group_count > 0 && has_listed_group(policy, fd));
}

/* What stands in the log, and what to change if that was not meant. */
void describe(const Policy &policy, int error, char *text, size_t size) {
    switch (error) {
    case EPERM:
        snprintf(text, size, "refused, for the channel is closed until its access file is repaired");
        break;
    case EACCES:
        snprintf(text, size, "refused, for it is not among the channel's users and groups");
        break;
    case ENOSPC:
        snprintf(text, size, "refused, for the channel has all it takes (receivers = %u)", policy.receivers);
        break;
    case EUSERS:
        snprintf(text, size, "refused, for this user has all that one may have (receivers_per_user = %u)",
                 policy.receivers_per_user);
        break;
    case ETIMEDOUT:
        snprintf(text, size, "refused, for it said nothing in time (handshake_ms = %u)", policy.handshake_ms);
        break;
    case EMSGSIZE:
        snprintf(text, size, "sent a message that is too long (message_bytes = %u)", policy.message_bytes);
        break;
    case EAGAIN:
        snprintf(text, size, "sends too many messages (messages_per_second = %u)",
                 policy.messages_per_second);
        break;
    case EPROTO:
        snprintf(text, size, "sent what is none of this protocol");
        break;
    case EPROTONOSUPPORT:
        snprintf(text, size, "refused, for it speaks another version of the protocol");
        break;
    default:
        snprintf(text, size, "refused: %s", strerror(error));
        break;
    }
}

} // namespace

bool rate_allows(Rate *rate, uint32_t count, uint32_t period_ms, int64_t now_ms) {
    const uint64_t elapsed = now_ms > rate->seen_ms ? static_cast<uint64_t>(now_ms - rate->seen_ms) : 0;
    // Longer than a period frees everything; so the product stays small, too.
    const uint64_t freed = elapsed >= period_ms ? static_cast<uint64_t>(count) * period_ms : elapsed * count;
    rate->used = rate->used > freed ? rate->used - freed : 0;
    rate->seen_ms = now_ms;
    if (rate->used + period_ms > static_cast<uint64_t>(count) * period_ms) {
        return false;
    }
    rate->used += period_ms;
    return true;
}

void admission_open(Admission *admission, const char *channel) {
    *admission = {};
    admission->channel = channel;
    char problem[512];
    if (policy_load(channel, &admission->policy, problem, sizeof problem) < 0) {
        log_err("shbf: %s is closed to everybody until this is corrected and the channel started again: %s\n",
                channel, problem);
    }
}

void admission_close(Admission *admission) {
    const Policy &policy = admission->policy;
    char group[32] = "";
    if (policy.group != group_of_process) {
        snprintf(group, sizeof group, ", group %u", policy.group);
    }
    log_err("shbf: %s is closed to everybody: its socket cannot be given mode %04o%s by this user: run the "
            "process as root or as a member of that group\n",
            admission->channel, static_cast<unsigned>(policy.mode == mode_by_umask ? 0 : policy.mode), group);
    policy_close(&admission->policy);
}

int admission_of_peer(const Admission *admission, int fd, Credentials *peer) {
    ucred known{};
    socklen_t bytes = sizeof known;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &known, &bytes) != 0) {
        *peer = {0, static_cast<uid_t>(-1), static_cast<gid_t>(-1)};
        return admission->policy.closed ? EPERM : EACCES;
    }
    *peer = {known.pid, known.uid, known.gid};
    return admission->policy.closed ? EPERM : is_admitted(admission->policy, fd, *peer) ? 0 : EACCES;
}

int admission_of_receiver(const Admission *admission, uint32_t attached, uint32_t of_user) {
    if (attached >= admission->policy.receivers) {
        return ENOSPC;
    }
    return of_user >= admission->policy.receivers_per_user ? EUSERS : 0;
}

Verdict admission_of_message(const Admission *admission, Sending *sending, uint32_t length) {
    const Policy &policy = admission->policy;
    if (policy.messages_per_second != 0) {
        const int64_t now = now_ms();
        if (!rate_allows(&sending->messages, policy.messages_per_second, second_ms, now)) {
            return rate_allows(&sending->errors, 1, second_ms, now) ? Verdict::too_many
                                                                    : Verdict::too_many_yet;
        }
    }
    return length > policy.message_bytes ? Verdict::too_long : Verdict::deliver;
}

void admission_describe(const Admission *admission, shbf_access_t *access) {
    const Policy &policy = admission->policy;
    static_assert(sizeof access->users == sizeof policy.users &&
                  sizeof access->groups == sizeof policy.groups);
    memcpy(access->users, policy.users, sizeof policy.users);
    memcpy(access->groups, policy.groups, sizeof policy.groups);
    access->user_count = policy.user_count;
    access->group_count = policy.group_count;
    access->receivers = policy.receivers;
    access->receivers_per_user = policy.receivers_per_user;
    access->message_bytes = policy.message_bytes;
    access->messages_per_second = policy.messages_per_second;
    access->handshake_ms = policy.handshake_ms;
}

void admission_log(Admission *admission, const Credentials &peer, int error) {
    if (!rate_allows(&admission->lines, lines_per_minute, minute_ms, now_ms())) {
        ++admission->unlogged;
        return;
    }
    char text[128];
    describe(admission->policy, error, text, sizeof text);
    char before[48] = "";
    if (admission->unlogged != 0) {
        snprintf(before, sizeof before, " (and %u like it before)", admission->unlogged);
    }
    log_warning("shbf: %s: process %d of user %u %s%s\n", admission->channel, peer.pid, peer.uid, text,
                before);
    admission->unlogged = 0;
}

} // namespace shbf
