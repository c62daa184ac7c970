/*
 * What stands behind the opaque records of libmortox.h: responses, values and pairs.
 *
 * Threads: any, each record used by one at a time. Everything here is a copy: no record points into another
 * or into a packet, but for ItemPair.
 */
#ifndef MORTOX_RESPONSE_H
#define MORTOX_RESPONSE_H

#include "libmortox.h"
#include "mortox/wire.h"

#include <stddef.h>

/* An xdata_t and its text, in one block. `text` is null for XDATA_NONE. */
struct MortoxData {
    xdata_t head;
    const char *text;
};
static_assert(offsetof(MortoxData, head) == 0, "an xdata_t * is a MortoxData *");

/* An xresponse_t and all it says, in one block. */
struct MortoxResponse {
    xresponse_t head;
    const char *name_space;
    const char *section;
    const char *key;
    const char *text; // the value; null when there is none
};
static_assert(offsetof(MortoxResponse, head) == 0, "an xresponse_t * is a MortoxResponse *");

/* A pair for the time of a visit: it points into the message that it was made from. */
struct MortoxItemPair {
    NotifyPair head;
    xkey_t key;
    MortoxData value;
};
void mortox_item_pair(const wire::Message &item, MortoxItemPair *pair);

extern "C" {

/*
 * A response of type XRESPONSE_... with the names and the value of `message`. To be freed with free(); null
 * when memory is short.
 */
MortoxResponse *mortox_internal_response(int32_t type, const wire::Message *message);

} // extern "C"

#endif
