/*
 * Day/night mode of the image signal processor, as clients ask for it.
 *
 * Setting it may block inside the board, so each request gets a short-lived thread; asking is answered at
 * once. The numbers are the board's (set_isp_dnmode); nothing here looks into them.
 */
#ifndef IMAGE_ISP_DNMODE_H
#define IMAGE_ISP_DNMODE_H

#include "core/relaxed.h"

#include <stdint.h>

/* The mode that was last asked for. Written on the loop thread, read by any thread. */
extern Relaxed<int32_t> dn_mode;

/*
 * Stores `mode` in dn_mode and starts a detached thread that sets it. Loop thread. Result: 0, or -1 when the
 * thread could not be created; the mode is stored all the same.
 */
int32_t set_isp_dnmode_thread(int32_t mode);

/*
 * The body of the thread; the argument is ignored. Sets dn_mode on the board; when that fails, once more
 * after 10 s, with what dn_mode is by then, and then no more.
 */
void *isp_dnmode_thread(void *argument);

/* Answers a client that asks for the mode, with acknowledgement 0x1017: the board's result and 4 bytes.
 * Loop thread. */
void get_dnmode_ack(int32_t fd);

#endif
