/*
 * A recording in a container, MP4 or Matroska, by GStreamer's muxers. Each frame keeps its capture time.
 */
#ifndef STRELLCTL_RECORDING_MUXED_H
#define STRELLCTL_RECORDING_MUXED_H

#include "strellctl/gstreamer.h"
#include "strellctl/recording.h"

namespace ctl {

class MuxedRecording : public Recording {
  public:
    MuxedRecording(const std::string &path, Container container, Codec codec);

    void write(std::string_view payload, uint64_t time_us) override;

    /* An MP4 has its index at the end: without this it cannot be played. */
    void finish() override;

  private:
    std::string path_;
    const char *remains_; // what a failure leaves behind, for its sentence
    Pipeline pipeline_;
    uint64_t last_us_ = 0;
};

} // namespace ctl

#endif
