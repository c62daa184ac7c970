/*
 * Who may listen to a channel, and how much: what an integrator writes into a small text file, by default
 * /etc/strell/channels.conf (docs/channel_access.md has its keys, defaults and examples).
 *
 * What goes wrong here must not open a channel: a file that is not understood as a whole closes every channel
 * that would have gone by it (policy_close), and says why.
 *
 * Threads: any. No state of its own; the environment is read, never changed.
 */
#ifndef SHBF_POLICY_H
#define SHBF_POLICY_H

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

namespace shbf {

/* Most users, and most groups, that one section can name. */
constexpr uint32_t policy_names_max = 16;
/* Bounds of the file. */
constexpr uint32_t policy_file_max = 16384;
constexpr uint32_t policy_line_max = 255;
constexpr uint32_t policy_sections_max = 32;

constexpr int32_t mode_by_umask = -1;
constexpr gid_t group_of_process = static_cast<gid_t>(-1);

struct Policy {
    int32_t mode; // of the socket, or mode_by_umask
    gid_t group;  // of the socket, or group_of_process
    bool closed;  // nobody may attach, because the file could not be followed
    uint32_t user_count;
    uint32_t group_count;
    uid_t
        users[policy_names_max]; // who may attach: these, and members of the groups; all when both are empty
    gid_t groups[policy_names_max];
    uint32_t receivers;
    uint32_t receivers_per_user;
    uint32_t message_bytes;
    uint32_t messages_per_second; // of each receiver; 0: no limit
    uint32_t handshake_ms;
};

/* Names to ids: 0, -ENOENT when there is no such name, or another negative errno value. */
struct PolicyNames {
    int (*user)(const char *name, uid_t *id);
    int (*group)(const char *name, gid_t *id);
};

/* Where a text is wrong, and what to do about it; `line` counts from 1, 0 means the file as a whole. */
struct PolicyError {
    uint32_t line;
    char text[200];
};

/* What holds without a file. */
void policy_default(Policy *policy);

/* Nobody may attach. */
void policy_close(Policy *policy);

/*
 * The policy of `channel` (its path under /run, as given to shbfev_brd_create) out of `length` bytes of text,
 * whatever they are. All of the text is checked, also what concerns other channels.
 * Result: 0 with *policy filled; -EINVAL with *error filled, and *policy closed.
 */
int policy_parse(const char *text, size_t length, const char *channel, const PolicyNames &names,
                 Policy *policy, PolicyError *error);

/* Names as getpwnam_r and getgrnam_r know them. */
PolicyNames policy_system_names();

/*
 * Finds, reads and parses the file: the one that STRELL_CHANNELS_CONF names; none when that is empty; when it
 * is not set, /etc/strell/channels.conf, but none where STRELL_RUN_DIR is set: what one writes for the camera
 * says nothing about private systems of other users on the same machine. A file that is named must be there.
 *
 * Result: 0 with *policy filled; negative with *policy closed and the reason in `problem`, a sentence that
 * names file and line. It may block on the disk.
 */
int policy_load(const char *channel, Policy *policy, char *problem, size_t problem_size);

} // namespace shbf

#endif
