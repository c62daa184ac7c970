/*
 * What receivers of the media channels may ask for, by sending a message on the channel.
 *
 * Threads: loop thread; a snapshot keeps the loop for as long as the board takes. All have the signature
 * shbfev_message_callback; `user` is null. The bytes are whatever another process chose to send.
 *
 * A picture goes in one shared buffer to the receiver that asked and to nobody else: a header and then the
 * payload, which the board library writes straight into the buffer. When the board cannot take it the answer
 * is a header whose length is 0; when the camera is switched off, or no buffer is free, there is none.
 */
#ifndef MEDIA_REQUESTS_H
#define MEDIA_REQUESTS_H

#include <stdint.h>

/*
 * Channel 2; every message is a request. The answer: 64 bytes, of which the first 40 are a RawFrameInfo
 * (libboardav.h), then the picture. Result: 0, or -1 without an answer.
 */
int32_t evt_rcvr_message_rawframe(void *user, int32_t receiver, const void *bytes, int32_t length);

/*
 * Channel 3; every message is a request. The answer: a VideoFrameInfo, then the JPEG. Its word 24 names the
 * kind that was asked for: 1 for "REQ_SNAPSHOT_A" and any beginning of it, the empty message included, 0 for
 * "REQ_SNAPSHOT_R"; either word may bring its NUL along. For other messages the board's own word stays.
 * Result: 0, or -1 without an answer, as also while a new encoder profile is being applied.
 */
int32_t evt_rcvr_message_jpeg(void *user, int32_t receiver, const void *bytes, int32_t length);

/*
 * "REQ_IDR" asks the encoders for a key frame; so does any beginning of it, the empty message included, and
 * the text with its NUL. Everything else is ignored. Result: 0.
 */
int32_t evt_rcvr_message_idr(void *user, int32_t receiver, const void *bytes, int32_t length);

#endif
