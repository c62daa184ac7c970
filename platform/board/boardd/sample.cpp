#include "board/boardd/sample.h"

namespace board {

GstClockTime sample_time(GstSample *sample) {
    const GstBuffer *buffer = gst_sample_get_buffer(sample);
    return gst_segment_to_running_time(gst_sample_get_segment(sample), GST_FORMAT_TIME,
                                       GST_BUFFER_PTS(buffer));
}

bool sample_is_key(GstSample *sample) {
    return !GST_BUFFER_FLAG_IS_SET(gst_sample_get_buffer(sample), GST_BUFFER_FLAG_DELTA_UNIT);
}

GstBuffer *sample_into_buffer(GstSample *sample) {
    GstBuffer *buffer = gst_buffer_ref(gst_sample_get_buffer(sample));
    gst_sample_unref(sample);
    return buffer;
}

GstClockTime buffer_time(GstBuffer *buffer) {
    return GST_BUFFER_PTS(buffer);
}

GstBuffer *buffer_set_time(GstBuffer *buffer, GstClockTime time) {
    GstBuffer *writable = gst_buffer_make_writable(buffer); // a copy only if others still look at it
    GST_BUFFER_PTS(writable) = time;
    GST_BUFFER_DTS(writable) = GST_CLOCK_TIME_NONE;
    return writable;
}

} // namespace board
