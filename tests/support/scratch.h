/*
 * A private run directory for one test.
 *
 * Every library and server of the development platform puts its sockets under STRELL_RUN_DIR instead of /run
 * when that is set, so tests with a directory each do not meet, whoever else runs on the machine.
 */
#ifndef TESTS_SUPPORT_SCRATCH_H
#define TESTS_SUPPORT_SCRATCH_H

#include <string>

namespace support {

/*
 * Makes an empty directory under $TMPDIR (or /tmp) and points STRELL_RUN_DIR of this process, and so of its
 * children, to it. The destructor removes the directory with all it holds and unsets the variable.
 */
class ScratchRunDir {
  public:
    ScratchRunDir();
    ~ScratchRunDir();
    ScratchRunDir(const ScratchRunDir &) = delete;
    ScratchRunDir &operator=(const ScratchRunDir &) = delete;

    const std::string &path() const { return path_; }
    std::string file(const std::string &name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

} // namespace support

#endif
