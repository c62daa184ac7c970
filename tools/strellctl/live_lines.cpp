#include "strellctl/live_lines.h"

#include "strellctl/failure.h"
#include "strellctl/output.h"
#include "strellctl/wording.h"

#include <unistd.h>

namespace ctl {

void LiveLines::show(const std::vector<std::string> &lines) {
    constexpr const char *clear_to_end_of_screen = "\x1b[J";
    std::string text = shown_ > 0 ? format("\x1b[%zuA\r", shown_) : "\r";
    text += clear_to_end_of_screen;
    const size_t columns = terminal_columns(fd_);
    for (const std::string &line : lines) {
        text += line.substr(0, columns - 1) + "\n";
    }
    if (write(fd_, text.data(), text.size()) < 0) {
        throw OutputClosed();
    }
    shown_ = lines.size();
}

} // namespace ctl
