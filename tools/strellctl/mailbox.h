/*
 * The tracking mailbox as the process of the motor sees it: one slot in System V shared memory, into which
 * strell_v2 puts a direction when it is free. docs/formats/events.md has its bytes.
 *
 * Whoever may attach may write anything into it, at any time: what is there is read once and judged.
 * Threads: one.
 */
#ifndef STRELLCTL_MAILBOX_H
#define STRELLCTL_MAILBOX_H

#include <cstdint>
#include <optional>
#include <string>

namespace ctl {

/* Where the camera is to turn, in steps of half a degree: positive to the right, and downwards. */
struct Turn {
    int32_t horizontal;
    int32_t vertical;
};

/* The text of a message, "[5,0,0]"; nothing when it is no such text, or asks for more than a turn round. */
std::optional<Turn> parse_turn(const std::string &text);

class Mailbox {
  public:
    Mailbox() = default;
    ~Mailbox() { detach(); }
    Mailbox(const Mailbox &) = delete;
    Mailbox &operator=(const Mailbox &) = delete;

    /* Attaches to the one that is there now, unless it has. False when there is none. Throws Failure when
     * that is of another size, or not for this user. */
    bool attach();

    /* The text that waits in the slot, which is free again then; nothing when it is free. Attached. A text
     * without an end is as long as the slot. */
    std::optional<std::string> take();

  private:
    void detach();

    int id_ = -1;
    uint8_t *bytes_ = nullptr;
};

} // namespace ctl

#endif
