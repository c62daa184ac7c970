/*
 * The answer to "who may listen, and who does": a packet for a peer whose Hello has the role `access`.
 * It goes to whoever may attach.
 */
#ifndef SHBF_ACCESS_H
#define SHBF_ACCESS_H

#include "libshbf_receiver.h"
#include "shbf/policy.h"
#include "shbf/wire.h"

namespace shbf {

struct AccessPacket {
    Kind kind;
    shbf_access_t access; // as the public header has it: words without gaps
};
static_assert(sizeof(AccessPacket) == 556 && sizeof(shbf_access_t) == 552 && sizeof(shbf_attached_t) == 12);
static_assert(SHBF_ACCESS_NAMES_MAX == policy_names_max && SHBF_RECEIVERS_MAX == receivers_max);

} // namespace shbf

#endif
