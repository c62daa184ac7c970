/*
 * A channel's policy at work: who is let in, what a receiver may send, and the log lines about those who are
 * turned away. Used by the loop side of a channel (broadcaster.cpp) on its loop thread alone.
 *
 * A line names the channel, the other process and the reason. Of each channel there are ten at once and ten a
 * minute in the long run, whatever others try; how many were left out stands in the next one.
 */
#ifndef SHBF_ADMISSION_H
#define SHBF_ADMISSION_H

#include "libshbf_receiver.h"
#include "shbf/policy.h"

namespace shbf {

/* The other process, as the kernel knows it from the moment of its connect. */
struct Credentials {
    pid_t pid; // 0 when it is in a pid namespace that this process does not see
    uid_t uid;
    gid_t gid;
};

/* `count` things at once, and in the long run `count` in each `period_ms`. Zeroed, it has all its burst. */
struct Rate {
    uint64_t used; // in units of 1 / period_ms thing
    int64_t seen_ms;
};
bool rate_allows(Rate *rate, uint32_t count, uint32_t period_ms, int64_t now_ms);

struct Admission {
    Policy policy;
    const char *channel; // its path, borrowed
    Rate lines;
    uint32_t unlogged;
};

/* Of one receiver. */
struct Sending {
    Rate messages;
    Rate errors; // reports of messages that were too many
};

/* Reads the policy of `channel`. A file that cannot be followed is logged, and closes the channel. */
void admission_open(Admission *admission, const char *channel);

/* The socket could not be given its mode or group: logged, and closes the channel. */
void admission_close(Admission *admission);

/*
 * Who has connected, and whether he may attach or ask. Result: 0; EPERM when the channel is closed; EACCES
 * when he is not among its users and groups.
 */
int admission_of_peer(const Admission *admission, int fd, Credentials *peer);

/*
 * May one more receiver attach, where `attached` are, `of_user` of them of the same user?
 * Result: 0, ENOSPC, or EUSERS.
 */
int admission_of_receiver(const Admission *admission, uint32_t attached, uint32_t of_user);

enum class Verdict {
    deliver,
    too_long,     // report EMSGSIZE
    too_many,     // drop it and report EAGAIN
    too_many_yet, // drop it; the last report is less than a second old
};
Verdict admission_of_message(const Admission *admission, Sending *sending, uint32_t length);

/* The policy, for those who ask; mode, group and who is attached are not filled. */
void admission_describe(const Admission *admission, shbf_access_t *access);

/* Logs that `peer` was turned away, or what it sent was, with an errno value of the ones above, or EMSGSIZE,
 * EAGAIN, EPROTO, EPROTONOSUPPORT, ETIMEDOUT. */
void admission_log(Admission *admission, const Credentials &peer, int error);

} // namespace shbf

#endif
