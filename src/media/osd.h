/*
 * The thread that keeps the time stamp in the picture current. Whether it shows is the board's matter
 * (enable_osd, disable_osd); the thread only refreshes its text.
 */
#ifndef MEDIA_OSD_H
#define MEDIA_OSD_H

#include <pthread.h>
#include <stdint.h>

/* Starts the thread; its handle goes to `thread`. Main thread. Result: 0, or -1 when it was not created. */
int32_t start_osd_thread(pthread_t *thread);

/*
 * The body of the thread; the argument is ignored. Twice a second, while the camera is switched on, has the
 * board redraw the time stamp in the layout of the region that is set by then. Runs until
 * device_status.running is clear.
 */
void *osd_thread(void *argument);

#endif
