/*
 * How frames and messages reach one receiver, and how it sleeps and is woken (platform/shbf/turn.cpp, channel.cpp, link.cpp):
 * the ring, the socket beside it, the order of what comes through both, and `asleep`.
 * README.md says what is proved and what is assumed; BUG_... are mistakes that must be found.
 *
 * Two threads of the broadcaster publish and send messages, in any order. One step is at most one access to shared memory,
 * and a store of either side goes through a buffer (`stores_...`) that reaches memory at any later time, in order; a full
 * fence waits until the buffer is empty. The receiver sleeps in FUTEX_WAIT on the bell, on its own word, or in poll, as it likes each time. What ends either
 * by time is left out: the proof is that the wake-ups suffice.
 */

#ifndef FRAMES
#define FRAMES 3
#endif
#ifndef MESSAGES
#define MESSAGES 2
#endif
#ifndef WINDOW
#define WINDOW 2
#endif
#ifdef BUG_RING_SHORT
#define RING (WINDOW - 1)
#else
#define RING WINDOW
#endif
/* Does the broadcaster drop the receiver some time? Otherwise both threads come to their end, and it then sleeps. */
#ifndef DROPPED
#define DROPPED 0
#endif
/* Packets that a socket takes before it says EAGAIN. */
#ifndef SOCKET
#define SOCKET 2
#endif

#define AWAKE 0
#define ON_WORD 1
#define ON_SOCKET 2
#define ON_BELL 3
#define BY_FUTEX(how) (how == ON_WORD || how == ON_BELL)

/* ---- shared memory: the link page ---- */
byte ring[WINDOW]; /* number of the frame * 16 + packets before it */
byte pushed;
byte packets;
byte asleep = ON_SOCKET;
byte rung;     /* of the bell, which all receivers read */
byte released; /* a count stands for the table, of which blocks.pml is the model */

/* Stores on their way to memory: {word, value}; words below WINDOW are those of the ring. */
#define PUSHED 32
#define PACKETS 33
#define ASLEEP 34
#define RELEASED 35
chan stores[3] = [WINDOW + 2] of { byte, byte }; /* of the broadcaster's threads, and of the receiver */
#define RECEIVER 2

/* ---- the kernel ---- */
mtype = { Wake, Message };
chan socket = [SOCKET] of { mtype, byte, byte, byte }; /* kind, frames before it, thread, operation of that thread */
byte sleeps; /* the receiver, in FUTEX_WAIT: ON_WORD or ON_BELL */
bit ended;  /* the socket: its end is behind the packets in it */

/* ---- the broadcaster's own, under its lock ---- */
bit locked;
byte count_pushed;
byte count_packets;   /* sent */
byte count_announced; /* sent or about to be */
byte frames_left = FRAMES;
byte messages_left = MESSAGES;
byte threads = 2;
bit detached;
byte pins; /* threads that use the receiver without the lock */

/* ---- what is true, for the properties ---- */
byte thread_of[FRAMES + 1];    /* of each frame */
byte operation_of[FRAMES + 1]; /* the number of the publication in its thread */
byte last[2];                  /* the operation of each thread that the receiver has seen last */

inline lock() {
    atomic { !locked -> locked = 1 }
}
/* What was stored under the lock is in memory before anybody else can take it. */
inline unlock(t) {
    atomic { empty(stores[t]) -> locked = 0 }
}

inline fence(t) {
    empty(stores[t])
}

/* A packet itself wakes who sleeps on the socket. */
#ifdef BUG_PACKET_CLEARS /* still, the word is cleared */
#define WAKES_POLL(by_entry) true
#else
#define WAKES_POLL(by_entry) by_entry
#endif

/* Under the lock, after the news is stored: is the receiver to be woken, and how? */
inline find_sleeper(t, by_entry) {
#ifndef BUG_NO_BROADCASTER_FENCE
    fence(t);
#endif
    how = asleep;
    if
    :: BY_FUTEX(how) || (how == ON_SOCKET && WAKES_POLL(by_entry)) ->
#ifdef BUG_LOAD_AND_STORE /* meanwhile it may have begun to sleep in the other way */
        stores[t]!ASLEEP,AWAKE
#else
        atomic {
            if
            :: by_entry -> how = asleep; asleep = AWAKE /* exchange */
            :: !by_entry && asleep == how -> asleep = AWAKE /* compare and exchange */
            :: else -> how = AWAKE
            fi
        }
#endif
    :: else -> how = AWAKE
    fi
#ifdef BUG_PACKET_CLEARS
    ; if :: how == ON_SOCKET && !by_entry -> how = AWAKE :: else fi
#endif
    ; atomic {
        if :: how != AWAKE -> pins++ :: else fi;
#ifndef BUG_RUNG_LATE
        if :: how == ON_BELL -> rung++ :: else fi
#endif
    }
}

/* Not under the lock. */
inline wake() {
    atomic {
        if
        :: BY_FUTEX(how) -> if :: sleeps == how -> sleeps = 0 :: else fi
        :: how == ON_SOCKET && nfull(socket) -> socket!Wake,0,0,0
        :: how == ON_SOCKET && full(socket)
        :: how == AWAKE
        fi;
        if :: how != AWAKE -> pins-- :: else fi
    };
#ifdef BUG_RUNG_LATE /* the bell counts up when its sleepers have been woken */
    if :: how == ON_BELL -> rung++ :: else fi;
#endif
    how = AWAKE
}

inline publish(t) {
    lock();
    atomic {
        if
        :: !detached && count_pushed - released < WINDOW ->
            count_pushed++;
            thread_of[count_pushed] = t; operation_of[count_pushed] = operation;
#ifdef BUG_FRAME_PASSES /* an entry does not say what was sent before it */
            entry = count_pushed * 16;
#elif defined(BUG_BOOKED_LATE) /* what has been sent by another thread may be booked after what was sent later */
            entry = count_pushed * 16 + count_packets;
#else
            entry = count_pushed * 16 + count_announced;
#endif
        :: else -> entry = 0
        fi
    };
    if
    :: entry != 0 ->
#ifdef BUG_ENTRY_LATE /* the count is stored without release order */
        stores[t]!PUSHED,count_pushed;
        stores[t]!((count_pushed - 1) % RING),entry;
#else
        stores[t]!((count_pushed - 1) % RING),entry;
        stores[t]!PUSHED,count_pushed;
#endif
        entry = 0;
        find_sleeper(t, true)
    :: else
    fi;
    unlock(t);
    wake()
}

inline message(t) {
    lock();
    if :: detached -> unlock(t); goto again :: else fi;
    atomic {
        pins++;
#ifdef BUG_MESSAGE_PASSES /* a message does not say what was pushed before it */
        entry = 0;
#else
        entry = count_pushed;
#endif
        count_announced++
    };
    unlock(t);
    atomic {
        if
        :: nfull(socket) -> socket!Message,entry,t,operation; sent = 1
        :: full(socket) -> sent = 0
        fi;
        entry = 0
    };
    lock();
    if
    :: sent && !detached ->
        count_packets++;
        stores[t]!PACKETS,count_packets;
        find_sleeper(t, false)
    :: !sent -> count_announced--
    :: else
    fi;
    sent = 0;
    unlock(t);
    wake();
    pins--
}

proctype Thread(byte t) {
    byte operation, entry, how;
    bit sent;
again:
    do
    :: atomic { frames_left > 0 -> frames_left--; operation++ }; publish(t)
    :: atomic { messages_left > 0 -> messages_left--; operation++ }; message(t)
    :: atomic { frames_left == 0 && messages_left == 0 -> threads--; break }
    od
}

/* The loop's thread drops the receiver at any time, as shbf_channel_detach. */
proctype Detach() {
    byte how;
    lock();
    detached = 1;
    locked = 0;
    atomic { pins == 0 && !locked -> locked = 1 };
    ended = 1;
#ifdef BUG_END_UNCOUNTED /* packets that were on their way when it was detached are not booked */
    packets = count_packets + 1;
#else
    packets = count_announced + 1;
#endif
    atomic {
        how = asleep;
#ifndef BUG_END_KEEPS_WORD
        asleep = AWAKE;
#endif
        if :: how == ON_BELL -> rung++ :: else -> how = ON_WORD fi
    };
    locked = 0;
    if :: sleeps == how -> sleeps = 0 :: else fi
}

proctype Memory() {
    byte t, word, value;
end:
    do
    :: atomic {
        if
        :: nempty(stores[0]) -> stores[0]?word,value
        :: nempty(stores[1]) -> stores[1]?word,value
        :: nempty(stores[2]) -> stores[2]?word,value
        fi;
        if
        :: word < WINDOW -> ring[word] = value
        :: word == PUSHED -> pushed = value
        :: word == PACKETS -> packets = value
        :: word == ASLEEP -> asleep = value
        :: word == RELEASED -> released = value
        fi;
        word = 0; value = 0 }
    od
}

/* ---- the receiver ---- */

/* Nothing will come any more, and all that came has been taken: then it may sleep for ever, unless it has been dropped. */
#define ALL_IS_DONE                                                                                                            \
    (!DROPPED && threads == 0 && empty(stores[0]) && empty(stores[1]) && pushed == entries && packets == count)

inline deliver(t, operation) {
    assert(operation > last[t]);
    last[t] = operation
}

inline deliver_frame() {
    d_step {
        entries++;
        assert(copy / 16 == entries); /* neither overwritten nor missing */
        deliver(thread_of[entries], operation_of[entries]);
        copy = 0
    }
}

/* Takes a packet off the socket, if there is one. */
inline read_packet() {
    atomic {
        if
        :: nempty(socket) ->
            socket?kind,after,from,number;
            if
            :: kind == Message -> waits = 1; count++
            :: else -> after = 0; from = 0; number = 0
            fi;
            kind = 0; got = 1
        :: empty(socket) && !ended -> got = 0
        :: empty(socket) && ended -> goto closed
        fi
    }
}

/* As shbf_link_take. Leaves `nothing` set when there is none. */
inline take() {
    has_entry = (pushed != entries);
    if
    :: waits && (!has_entry || entries >= after) ->
        d_step { deliver(from, number); waits = 0; after = 0; from = 0; number = 0 }
    :: else ->
        if
        :: has_entry ->
            copy = ring[entries % RING];
            if
            :: waits || copy % 16 <= count -> deliver_frame()
            :: else ->
                read_packet();
                if
                :: !got -> deliver_frame()
                :: else -> copy = 0
                fi
            fi
        :: else ->
            if
            :: packets > count ->
                read_packet();
                assert(got) /* or the receiver takes the broadcaster for a liar */
            :: else -> nothing = 1
            fi
        fi
    fi;
    d_step { has_entry = 0; got = 0 }
}

/* As sleep_once in link.cpp. */
inline sleep(where) {
#ifndef BUG_BELL_READ_LATE
    bell = rung;
#endif
    stores[RECEIVER]!ASLEEP,where;
#ifndef BUG_NO_RECEIVER_FENCE
    fence(RECEIVER);
#endif
    if
#ifdef BUG_NO_SECOND_LOOK
    :: false
#else
    :: pushed != entries
#endif
    :: else ->
        if
#if defined(BUG_NO_SECOND_LOOK) || defined(BUG_NO_LOOK_FOR_PACKETS)
        :: false
#else
        :: packets > count
#endif
        :: else ->
#ifdef BUG_BELL_READ_LATE /* only when it has found nothing */
            bell = rung;
#endif
            /* The kernel compares and begins to sleep in one step, after what was stored before. */
            atomic {
                empty(stores[RECEIVER]) ->
                if
                :: where == ON_WORD && asleep == ON_WORD -> sleeps = ON_WORD
                :: where == ON_BELL && rung == bell -> sleeps = ON_BELL
                :: else
                fi
            };
            (!sleeps || ALL_IS_DONE)
        fi
    fi;
    bell = 0;
    if
    :: sleeps -> break
    :: else
    fi;
    stores[RECEIVER]!ASLEEP,AWAKE
}

/* As shbf_link_look, and poll. */
inline look() {
    stores[RECEIVER]!ASLEEP,ON_SOCKET;
#ifndef BUG_NO_RECEIVER_FENCE
    fence(RECEIVER);
#endif
    if
#ifdef BUG_NO_SECOND_LOOK
    :: false
#else
    :: pushed != entries
#endif
    :: else ->
        read_packet();
        if
        :: got -> got = 0
        :: else ->
            if
            :: nempty(socket) || ended
            :: ALL_IS_DONE && empty(socket) -> break
            fi
        fi
    fi
}

proctype Receiver() {
    byte entries, count; /* taken from the ring and from the socket */
    byte after, from, number, copy, given, bell;
    mtype kind;
    bit waits, has_entry, got, nothing;
    do
    :: !nothing -> take()
    :: nothing -> nothing = 0; sleep(ON_WORD)
    :: nothing -> nothing = 0; sleep(ON_BELL)
    :: nothing -> nothing = 0; look()
    :: given < entries -> given++; stores[RECEIVER]!RELEASED,given
    od;
closed:
    skip
}

init {
    atomic { run Thread(0); run Thread(1); run Memory(); run Receiver();
        if :: DROPPED -> run Detach() :: else fi }
}
