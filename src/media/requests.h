/*
 * What receivers of the media channels may ask for, by sending a message on the channel.
 *
 * Threads: loop thread. All have the signature shbfev_message_callback; `user` is null. The bytes are
 * whatever another process chose to send.
 */
#ifndef MEDIA_REQUESTS_H
#define MEDIA_REQUESTS_H

#include <stdint.h>

/*
 * "REQ_IDR" asks the encoders for a key frame; so does any beginning of it, the empty message included, and
 * the text with its NUL. Everything else is ignored. Result: 0.
 */
int32_t evt_rcvr_message_idr(void *user, int32_t receiver, const void *bytes, int32_t length);

#endif
