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
    uint32_t stays_one_in; // of those that have attached, so many live for seconds
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
void steal_sleep(Hostile *hostile);  // moves all who sleep on the bell, and wakes them when it is late
void punch_holes(Hostile *hostile);  // into the link page's memory file
void break_arena(Hostile *hostile);  // tries to write to it, to cut it, to open it again

// On the socket (hostile_socket.cpp).
void talk_nonsense(Hostile *hostile); // packets of all lengths and kinds, with descriptors
void flood(Hostile *hostile);         // messages as fast as they go
void never_read(Hostile *hostile);    // and ask for a Wake with each frame
void crowd_in(Hostile *hostile);      // opens connections that say nothing
void linger(Hostile *hostile);        // hands over descriptors that are slow to close

constexpr Attack attacks[] = {
    {"follow", follow, 20},
    {"hold everything", hold_everything, 3},
    {"release wrongly", release_wrongly, 20},
    {"fork", fork_off, 3},
    {"come and go", come_and_go, 20},
    {"query", ask, 20},
    {"run dry", run_dry, 20},
    {"scribble", scribble, 20},
    {"futex", call_futexes, 20},
    {"steal sleep", steal_sleep, 3},
    {"punch holes", punch_holes, 20},
    {"break the arena", break_arena, 20},
    {"nonsense", talk_nonsense, 20},
    {"flood", flood, 20},
    {"never read", never_read, 3},
    {"crowd in", crowd_in, 20},
    {"linger", linger, 20},
};
constexpr uint32_t attack_count = sizeof attacks / sizeof attacks[0];

} // namespace stress

#endif
