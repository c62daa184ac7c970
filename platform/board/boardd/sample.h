/*
 * The fields of GStreamer's samples and buffers that boardd reads and writes, in one place.
 *
 * They are handed from thread to thread under GStreamer's own locks, which ThreadSanitizer does not see;
 * tests/tsan.supp names this file for that reason. Nothing else belongs here.
 */
#ifndef PLATFORM_BOARD_BOARDD_SAMPLE_H
#define PLATFORM_BOARD_BOARDD_SAMPLE_H

#include <cstdint>
#include <gst/gst.h>
#include <span>
#include <vector>

namespace board {

/* When the sample's buffer is to be shown, in nanoseconds since its pipeline began; GST_CLOCK_TIME_NONE when
 * it does not say. */
GstClockTime sample_time(GstSample *sample);

/* False for a frame that needs its predecessors. */
bool sample_is_key(GstSample *sample);

/* The buffer, with a reference of its own, after which the sample is given up. */
GstBuffer *sample_into_buffer(GstSample *sample);

/* A buffer's time. `set` takes the only reference to the buffer and returns it. */
GstClockTime buffer_time(GstBuffer *buffer);
GstBuffer *buffer_set_time(GstBuffer *buffer, GstClockTime time);

/* The sound in a sample, 16-bit little-endian, after which the sample is given up; and a new buffer with
 * sound, the caller's. */
std::vector<int16_t> sample_into_pcm(GstSample *sample);
GstBuffer *buffer_of_pcm(std::span<const int16_t> samples);

} // namespace board

#endif
