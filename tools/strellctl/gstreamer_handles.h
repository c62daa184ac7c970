/*
 * References to objects of GStreamer's that are given back at the end of their scope. For sources that call
 * GStreamer themselves; everybody else includes gstreamer.h.
 */
#ifndef STRELLCTL_GSTREAMER_HANDLES_H
#define STRELLCTL_GSTREAMER_HANDLES_H

#include <gst/gst.h>
#include <memory>

namespace ctl {

struct Unref {
    void operator()(GstElement *element) const { gst_object_unref(element); }
    void operator()(GstBus *bus) const { gst_object_unref(bus); }
    void operator()(GstPad *pad) const { gst_object_unref(pad); }
    void operator()(GstMessage *message) const { gst_message_unref(message); }
    void operator()(GstCaps *caps) const { gst_caps_unref(caps); }
    void operator()(GstSample *sample) const { gst_sample_unref(sample); }
};
template <typename T>
using Held = std::unique_ptr<T, Unref>;

} // namespace ctl

#endif
