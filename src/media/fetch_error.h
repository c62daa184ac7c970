/*
 * Reports of persistent failure to the statistics service, under the name "strell_v2.err".
 */
#ifndef MEDIA_FETCH_ERROR_H
#define MEDIA_FETCH_ERROR_H

#include <stdint.h>

/*
 * Reports {"type": type}: 0 and 1 a video channel that cannot be fetched, 2 audio, 3 broadcasting. Fire and
 * forget. Any thread; not for signal handlers.
 */
void report_fetch_error(int32_t type);

#endif
