/*
 * libvuto_statistics.so.0: reports to the camera's statistics service.
 *
 * Reports are rare (the daemon makes one when fetching keeps failing) and nobody waits for them.
 *
 * Threads: any thread. Not for signal handlers (json-c allocates).
 */
#ifndef LIBVUTO_STATISTICS_H
#define LIBVUTO_STATISTICS_H

#ifdef __cplusplus
extern "C" {
#endif

struct json_object; /* json-c */

/*
 * Hands one report to the service: a name such as "strell_v2.err" and a JSON object such as {"type": 0}.
 *
 * Ownership: the call takes over the caller's reference to `object`, also when it fails.
 * Blocking: never. A service that is absent, busy or restarting loses the report.
 * Result: 0 when the report was handed over, negative otherwise. The daemon ignores it.
 *
 * The development platform sends one datagram a report to the Unix datagram socket
 * /run/vuto_statistics, when somebody is bound to it, in this form (no line end):
 *
 *     {"name":"strell_v2.err","object":{"type":0}}
 */
int report_stat_object(const char *name, struct json_object *object);

#ifdef __cplusplus
}
#endif

#endif
