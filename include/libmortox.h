/*
 * libmortox: client of the camera's settings store.
 *
 * The store keeps text values under (namespace, section, key). The namespace "nvram" survives a power cut,
 * "mem" lives as long as the store runs; which namespaces exist is the store's own choice at its start. Every
 * write, also of an unchanged value, is announced to everyone who registered for the key, in the order of the
 * writes.
 *
 * There are two kinds of handle, and the calls below take both:
 *   - ordinary, from libmortox_config_open: for reading and writing. It delivers no notifications;
 *   - on a libev loop, from libmortoxev_config_open (libmortoxev.h): notifications come on the loop thread.
 *
 * Threads: a handle belongs to one thread at a time. Different handles are independent. Nothing here is for
 * signal handlers.
 *
 * Blocking: a request waits for the store's answer, at most its timeout: `timeout_ms` -1 means the default of
 * 5000 ms. A write to a persistent namespace is on the disk when the call returns true.
 *
 * Limits: namespace, section and key 1 to 63 bytes each of printable ASCII without blanks; a value up to 8191
 * bytes without NUL.
 */
#ifndef LIBMORTOX_H
#define LIBMORTOX_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct mortox mortox_t;

/*
 * What the store delivers to a callback. Only the type code is public; the rest is read with the accessors. A
 * response belongs to the library and is valid during the callback.
 */
typedef struct xresponse {
    int32_t type;
} xresponse_t;

#define XRESPONSE_DATA 4    /* the answer to libmortox_get_value: parses to an xdata_t */
#define XRESPONSE_RESYNC 6  /* a change that was missed while the store was away: parses to a NotifyPair */
#define XRESPONSE_NOTIFY 11 /* a change: parses to a NotifyPair */
#define XRESPONSE_ERROR 0   /* the store could not do it: does not parse */

#define XDATA_NONE 0 /* no value: the key was removed, or was never set */
#define XDATA_TEXT 1

/* A value. The text is read with xdata_value_as_char. */
typedef struct xdata {
    int32_t type;
} xdata_t;

/* The full name of a setting. */
typedef struct xkey {
    const char *name_space;
    const char *section;
    const char *key;
} xkey_t;

/* A setting and its value. `value` is never null, but may be of type XDATA_NONE. */
typedef struct NotifyPair {
    xkey_t *key;
    xdata_t *value;
} NotifyPair;

typedef void (*mortox_callback_t)(xresponse_t *response, void *user);

/*
 * Connects to the store. `flags` is 0.
 * Result: a handle, or null with errno set when no store answers (ENOENT, ECONNREFUSED, ETIMEDOUT), or when
 * it is not this user's (EACCES). When the store goes away the handle is of no use any more: calls on it fail
 * at once, and a new one has to be opened.
 */
mortox_t *libmortox_config_open(int32_t flags);

/* Disconnects, and frees the handle. Not from inside a callback on this handle. Null is allowed. */
void libmortox_close(mortox_t *handle);

/*
 * Reads one value. The callback has run, once, on this thread, when the call returns true: with
 * XRESPONSE_DATA, or with XRESPONSE_ERROR (no such namespace, a name that breaks the limits, a store that
 * cannot read). A key that was never set is XRESPONSE_DATA without a value, for which xcontrol_get_response
 * answers 0.
 *
 * Result: true when the request was sent and answered; false when the store is gone or does not answer in
 * time: the callback has not run and will not run for this request.
 */
bool libmortox_get_value(mortox_t *handle, const char *name_space, const char *section, const char *key,
                         mortox_callback_t callback, void *user, int32_t timeout_ms, int32_t flags);

/*
 * Writes one value. `type` is XDATA_TEXT. `callback` may be null; otherwise it runs once before the call
 * returns, with XRESPONSE_DATA (parses to no value) or XRESPONSE_ERROR.
 *
 * Result: true when the value is stored (on disk, in a persistent namespace) and will be announced; false
 * when it is not, and then the old value stays as it was. When the store dies or does not answer in time,
 * false is all that is known: the value may have been stored.
 */
bool libmortox_set_value(mortox_t *handle, const char *name_space, const char *section, const char *key,
                         int32_t type, const char *value, mortox_callback_t callback, void *user,
                         int32_t timeout_ms, int32_t flags);

/*
 * Asks to be told of every change of one key, from now on until the handle is closed. Only on a handle of
 * libmortoxev_config_open. The callback runs on the loop thread with XRESPONSE_NOTIFY or XRESPONSE_RESYNC.
 * `registration` takes the watch's number; its address is used only during the call (so the same variable may
 * serve for many watches), and it may be null.
 *
 * Result: true when the store has accepted the watch; false when it has not (no such namespace, store gone):
 * nothing is registered.
 */
bool libmortox_register_notification(mortox_t *handle, const char *name_space, const char *section,
                                     const char *key, int32_t *registration, mortox_callback_t callback,
                                     void *user, int32_t timeout_ms, int32_t flags);

/*
 * In the callback of libmortox_get_value: takes the value out of the response.
 * Result: 1 when there is one, and *data is then the caller's, to be freed with xdata_free; 0 when the key
 * has no value, -1 for an error response; *data is null then.
 */
int32_t xcontrol_get_response(const xresponse_t *response, xdata_t **data);

/*
 * In a notification callback: parses the response. *status becomes 0 and the result is the caller's: for
 * XRESPONSE_DATA an xdata_t to be freed with xdata_free, for XRESPONSE_RESYNC and XRESPONSE_NOTIFY a
 * NotifyPair to be freed with xpair_free(pair, 0). For anything else *status becomes negative and the result
 * is null.
 */
void *xresponse_parse(const xresponse_t *response, int32_t *status);

/* A copy of the text, to be freed with free(); null when there is no value (or `data` is null). */
char *xdata_value_as_char(const xdata_t *data);

/* Null is allowed. `flags` is 0. */
void xdata_free(xdata_t *data);
void xpair_free(NotifyPair *pair, int32_t flags);

/* ---- for tools; the daemon does without, and so may a port ---- */

/*
 * Removes one value. It is announced with a value of type XDATA_NONE. Removing what does not exist succeeds.
 * Result as for libmortox_set_value.
 */
bool libmortox_remove_value(mortox_t *handle, const char *name_space, const char *section, const char *key,
                            int32_t timeout_ms);

/*
 * Lists what is stored, sorted by section and key: `visit` runs once per value before the call returns. A
 * null `section` means all sections. The pair is the library's and valid during the visit, which must not
 * make requests on the handle (they fail). The time that visits take does not count. Result: true when the
 * list is complete; also when it is not, what was visited is stored.
 */
bool libmortox_list(mortox_t *handle, const char *name_space, const char *section,
                    void (*visit)(const NotifyPair *pair, void *user), void *user, int32_t timeout_ms);

/* The namespaces that exist: `visit` runs once for each, and must not make requests on the handle. */
bool libmortox_namespaces(mortox_t *handle,
                          void (*visit)(const char *name_space, bool persistent, void *user), void *user,
                          int32_t timeout_ms);

/*
 * Why the last call on this handle failed: a sentence for a person, valid until the next call. Never null.
 */
const char *libmortox_last_error(const mortox_t *handle);

#ifdef __cplusplus
}
#endif

#endif
