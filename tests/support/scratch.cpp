#include "support/scratch.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace support {

ScratchRunDir::ScratchRunDir() {
    const char *base = std::getenv("TMPDIR");
    path_ = std::string(base != nullptr ? base : "/tmp") + "/strell-test-XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) {
        throw std::runtime_error("cannot make a run directory under " + path_);
    }
    setenv("STRELL_RUN_DIR", path_.c_str(), 1);
}

ScratchRunDir::~ScratchRunDir() {
    unsetenv("STRELL_RUN_DIR");
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace support
