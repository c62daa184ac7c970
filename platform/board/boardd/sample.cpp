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

std::vector<int16_t> sample_into_pcm(GstSample *sample) {
    GstBuffer *buffer = gst_sample_get_buffer(sample);
    std::vector<int16_t> samples(gst_buffer_get_size(buffer) / sizeof(int16_t));
    gst_buffer_extract(buffer, 0, samples.data(), samples.size() * sizeof(int16_t));
    gst_sample_unref(sample);
    return samples;
}

GstBuffer *buffer_of_pcm(std::span<const int16_t> samples) {
    GstBuffer *buffer = gst_buffer_new_allocate(nullptr, samples.size_bytes(), nullptr);
    gst_buffer_fill(buffer, 0, samples.data(), samples.size_bytes());
    return buffer;
}

} // namespace board
