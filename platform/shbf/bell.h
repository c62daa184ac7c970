/*
 * The bell of a channel (wire.h): made with the first arena, silent once the channel is closed. Internal to
 * libshbf.
 */
#ifndef SHBF_BELL_H
#define SHBF_BELL_H

#include "shbf/channel.h"

namespace shbf {

/* Under the lock. Makes it, unless there is one or memory is short: then receivers sleep on their own words.
 */
void bell_open(Channel *channel);

/* Under the lock, when there are no receivers: waits for those who ring it. */
void bell_close(Channel *channel);

/* Hands it to a receiver that has not got it. */
void bell_send(const Channel *channel, Receiver *receiver);

} // namespace shbf

#endif
