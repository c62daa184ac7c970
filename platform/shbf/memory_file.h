/*
 * Anonymous memory files that may be shared with processes that are not trusted.
 *
 * All calls: any thread; negative errno values for failure.
 */
#ifndef SHBF_MEMORY_FILE_H
#define SHBF_MEMORY_FILE_H

#include <stdint.h>

namespace shbf {

/*
 * A new memory file of `size` bytes of zeros, all of it allocated, so that no later access can fail for want
 * of memory; sealed against shrinking and growing, so that no other process can make an access fail. (Who may
 * write it can give its pages back; the next access takes new ones, and fails if the system has none left.)
 */
int memory_file_create(const char *name, uint32_t size);

/*
 * Takes over `fd`, whose writable mappings this process has made by now, and returns a descriptor to hand to
 * readers: it cannot be written through, and on kernels that know the seal (Linux 5.1) nobody can make a new
 * writable mapping at all. The given descriptor is closed, also on failure.
 */
int memory_file_seal_for_readers(int fd);

/*
 * True when `fd`, which came from another process, has at least `size` bytes and is sealed so that it keeps
 * them: then mapping and reading it is safe whatever the other side does.
 */
bool memory_file_is_safe(int fd, uint32_t size);

} // namespace shbf

#endif
