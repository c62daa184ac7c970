/*
 * The receivers of channel_stress that do what they should not. Each is a process that goes on until it is
 * killed, and attaches again whenever it is dropped.
 */
#ifndef STRESS_HOSTILE_H
#define STRESS_HOSTILE_H

#include "raw_receiver.h"
#include "scoreboard.h"

namespace stress {

struct Hostile {
    Scoreboard *board;
    const char *path; // of the channel that it attacks
    Random random;

    /* Attaches by hand, and goes on trying for as long as that takes. */
    RawReceiver attach();
};

struct Attack {
    const char *name;
    void (*run)(Hostile *hostile);
};

// Through the receivers' library (hostile_library.cpp).
void follow(Hostile *hostile);          // releases in order, and checks what it copies
void hold_everything(Hostile *hostile); // releases nothing, attaches again when given up
void release_wrongly(Hostile *hostile); // twice, and what it never had
void fork_off(Hostile *hostile);        // a child inherits everything, and one of the two ends
void come_and_go(Hostile *hostile);     // attaches and detaches without end
void ask(Hostile *hostile);             // queries without end
void run_dry(Hostile *hostile);         // has no descriptors left for what it is handed

// On memory (hostile_memory.cpp).
void scribble(Hostile *hostile);     // over every word of its link page
void call_futexes(Hostile *hostile); // wakes, moves and locks on every word that it maps
void punch_holes(Hostile *hostile);  // into the link page's memory file
void break_arena(Hostile *hostile);  // tries to write to it, to cut it, to open it again

// On the socket (hostile_socket.cpp).
void talk_nonsense(Hostile *hostile); // packets of all lengths and kinds, with descriptors
void flood(Hostile *hostile);         // messages as fast as they go
void never_read(Hostile *hostile);    // and ask for a Wake with each frame
void crowd_in(Hostile *hostile);      // opens connections that say nothing
void linger(Hostile *hostile);        // hands over descriptors that are slow to close

constexpr Attack attacks[] = {
    {"follow", follow},
    {"hold everything", hold_everything},
    {"release wrongly", release_wrongly},
    {"fork", fork_off},
    {"come and go", come_and_go},
    {"query", ask},
    {"run dry", run_dry},
    {"scribble", scribble},
    {"futex", call_futexes},
    {"punch holes", punch_holes},
    {"break the arena", break_arena},
    {"nonsense", talk_nonsense},
    {"flood", flood},
    {"never read", never_read},
    {"crowd in", crowd_in},
    {"linger", linger},
};
constexpr uint32_t attack_count = sizeof attacks / sizeof attacks[0];

} // namespace stress

#endif
