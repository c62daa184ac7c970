/*
 * Bytes in a file without a name, to be handed to another process. Any thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_PICTURE_MEMORY_FILE_H
#define PLATFORM_BOARD_BOARDD_PICTURE_MEMORY_FILE_H

#include <cstdint>
#include <span>

namespace board {

class MemoryFile {
  public:
    explicit MemoryFile(std::span<const uint8_t> bytes);
    ~MemoryFile();
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    /* The descriptor, this object's; or a negative errno value. */
    int fd() const { return fd_; }

  private:
    int fd_;
};

} // namespace board

#endif
