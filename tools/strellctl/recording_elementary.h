/*
 * A recording as the encoder's bytes, one access unit behind the other, to a file or standard output.
 */
#ifndef STRELLCTL_RECORDING_ELEMENTARY_H
#define STRELLCTL_RECORDING_ELEMENTARY_H

#include "strellctl/recording.h"

namespace ctl {

class ElementaryRecording : public Recording {
  public:
    /* "-" is standard output. */
    explicit ElementaryRecording(const std::string &path);
    ~ElementaryRecording() override;
    ElementaryRecording(const ElementaryRecording &) = delete;
    ElementaryRecording &operator=(const ElementaryRecording &) = delete;

    /* After a failure the file ends with the last whole access unit. */
    void write(std::string_view payload, uint64_t time_us) override;
    void finish() override;

    /* Writes over what is at the beginning; nothing happens where that cannot be done (a pipe). */
    void rewrite(std::string_view beginning);

  private:
    std::string path_;
    int fd_;
    int64_t written_bytes_ = 0;
};

/* Creates or empties a file for writing; the descriptor. Throws Failure. */
int create_file(const std::string &path);

} // namespace ctl

#endif
