/*
 * Some lines on a terminal that are drawn anew in place.
 *
 *     LiveLines live(STDOUT_FILENO);
 *     live.show({"main ...", "sub ..."});    // again and again
 *
 * The last state stays on the screen; whatever is printed next begins below it. Only for terminals
 * (is_terminal): a pipe would get control characters, so commands print plain lines there, and fewer.
 *
 * Threads: one at a time.
 */
#ifndef STRELLCTL_LIVE_LINES_H
#define STRELLCTL_LIVE_LINES_H

#include <string>
#include <vector>

namespace ctl {

class LiveLines {
  public:
    explicit LiveLines(int fd) : fd_(fd) {}

    /* Replaces what the last call has shown. Lines are cut to the terminal's width: a wrapped line could not
     * be redrawn in place. A terminal that has gone throws OutputClosed. */
    void show(const std::vector<std::string> &lines);

  private:
    int fd_;
    size_t shown_ = 0;
};

} // namespace ctl

#endif
