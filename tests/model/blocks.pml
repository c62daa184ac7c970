/*
 * Who owns a buffer (platform/shbf/channel.cpp): the life of the blocks of an arena, release through a page that a receiver
 * writes, receivers that die, are given up and are followed by others of the same index, and what `intact` tells.
 * README.md says what is proved and what is assumed; BUG_... are mistakes that must be found.
 *
 * One step here is at most one access to memory that two processes share. What the broadcaster does under its lock to memory
 * of its own belongs to the access beside it: its other threads wait for the lock, and receivers cannot see it. So all
 * threads of the broadcaster are one process here, which does any step of any of them at any time.
 *
 * The hostile receiver needs no process. Only the broadcaster reads what it writes, so "it writes any word at any time" is
 * "any word is read there each time".
 */

#ifndef BLOCKS
#define BLOCKS 2
#endif
/* How often a block is allocated in all. Stamps and sequences count up to it. */
#ifndef ALLOCATIONS
#define ALLOCATIONS 3
#endif

/* How many frames a receiver fetches before it releases one. */
#ifndef FETCHED
#define FETCHED 2
#endif

/* Does another receiver come when the first has gone? */
#ifndef FOLLOWER
#define FOLLOWER 1
#endif

#define RECEIVERS 3 /* 0 and 2: well-behaved, at index 0, one after the other; 1: hostile, at index 1 */
#define INDEXES 2
#define HOSTILE 1
#define NOBODY 255
#define INDEX_OF(receiver) ((receiver) == HOSTILE -> 1 : 0)
#define HOLDS(block, index) holders[(block) * INDEXES + (index)]
#define SENT(block, index) sent[(block) * INDEXES + (index)]
#define RELEASED(receiver, block) released[(receiver) * BLOCKS + (block)]
#define HOLDING(receiver, block) holding[(receiver) * BLOCKS + (block)]
#define HALF(block, half) memory[(block) * 2 + (half)]

/* ---- shared memory ---- */
byte memory[BLOCKS * 2];           /* the arena: each block has two halves, which hold a stamp */
byte released[RECEIVERS * BLOCKS]; /* of each receiver's page */
bit given_up[RECEIVERS];           /* the same */
/* Rings, of which wake.pml is the model. Here they are first in, first out: {slot, sequence, stamp}. */
chan ring[RECEIVERS] = [BLOCKS + 1] of { byte, byte, byte };
/* Whose given_up is being set: a store that is on its way to memory. */
byte pending = NOBODY;

/* ---- the broadcaster's own ---- */
bit used[BLOCKS];
bit owned[BLOCKS];
byte written[BLOCKS]; /* halves, since it was allocated */
byte stamp[BLOCKS];
byte sequence[BLOCKS];
bit holders[BLOCKS * INDEXES];
bit sent[BLOCKS * INDEXES];
byte attached[INDEXES]; /* which receiver */
bit flagged[INDEXES];   /* Receiver::given_up */
byte allocations;
byte publications;
bit followed; /* receiver 2 has come */
bit over;     /* the application wants nothing more */

/* ---- what is true, for the properties ---- */
byte holding[RECEIVERS * BLOCKS]; /* the stamp of the frame that it has been sent and has not released */
bit gone[RECEIVERS];              /* died, or closed its socket */
bit rests[RECEIVERS];             /* lives, has released all, and wants no more */

/* ---- mistakes ---- */

#ifdef BUG_PUSH_EARLY /* the ring's count is stored without release order */
#define READY(b) (written[b] >= 1)
#else
#define READY(b) (written[b] == 2)
#endif

#ifdef BUG_SENT_TWICE /* a broadcast after a send goes to the same receiver again */
#define HAS_GOT(b, i) (SENT(b, i) && (attached[i] == HOSTILE || len(ring[attached[i]]) > 1))
#else
#define HAS_GOT(b, i) SENT(b, i)
#endif

#if defined(BUG_ANY_SEQUENCE) /* the word of an earlier frame in the slot gives back */
#define WORD_MATCHES(r, b) (RELEASED(r, b) != 0)
#else
#define WORD_MATCHES(r, b) (RELEASED(r, b) == sequence[b])
#endif

#ifdef BUG_NOT_HELD /* any receiver's word gives back for all */
#define GIVEN_BACK(b, i) (used[b] && sequence[b] != 0 && (attached[i] == HOSTILE || WORD_MATCHES(attached[i], b)))
#else
#define GIVEN_BACK(b, i) (HOLDS(b, i) && (attached[i] == HOSTILE || WORD_MATCHES(attached[i], b)))
#endif

#ifdef BUG_PAGE_HANDED_ON /* the next receiver of the index gets the page of the one before */
#define PAGE_OF(receiver) (INDEX_OF(receiver))
#define CLEAN_PAGE(receiver) given_up[PAGE_OF(receiver)] = 0
#else
#define PAGE_OF(receiver) (receiver)
#define CLEAN_PAGE(receiver) skip
#endif

#ifdef BUG_WORD_BACK /* a second release of an old frame undoes that of the slot's next one */
#define IS_TAKEN(block, value) true
#else
#define IS_TAKEN(block, value) (taken[block] == (value))
#endif

/* ---- the broadcaster ---- */

inline free_if_unused(b) {
    if
    :: used[b] && !owned[b] && !HOLDS(b, 0) && !HOLDS(b, 1) ->
        used[b] = 0; sequence[b] = 0; stamp[b] = 0; written[b] = 0; SENT(b, 0) = 0; SENT(b, 1) = 0
    :: else
    fi
}

inline tell_given_up(i) {
    pending = PAGE_OF(attached[i])
}

inline release_fence() {
#ifndef BUG_NO_RELEASE_FENCE
    pending == NOBODY
#else
    skip
#endif
}

/* Lets go of all that it holds. */
inline let_go_all(i) {
    b = 0;
    do
    :: b < BLOCKS ->
        HOLDING(attached[i], b) = 0;
        HOLDS(b, i) = 0;
        free_if_unused(b);
        b++
    :: else -> break
    od;
    b = 0
}

/* The next receiver of this index has been sent nothing yet. */
inline forget(i) {
    b = 0;
    do
    :: b < BLOCKS -> SENT(b, i) = 0; b++
    :: else -> break
    od;
    b = 0
}

/* Numbers the block and sends it to the receiver at an index. */
inline send(b, i) {
    if :: sequence[b] == 0 -> publications++; sequence[b] = publications :: else fi;
    r = attached[i];
    SENT(b, i) = 1;
#ifndef BUG_HOLDER_LATE
    HOLDS(b, i) = 1;
#endif
    if
    :: r != HOSTILE && !gone[r] -> HOLDING(r, b) = stamp[b]; ring[r]!b,sequence[b],stamp[b]
    :: else
    fi;
    r = 0
}

/* May it be written without harm to a receiver that behaves well? */
#define UNTOUCHED(r, b) (gone[r] || attached[INDEX_OF(r)] != r || flagged[INDEX_OF(r)] || HOLDING(r, b) == 0)

proctype Broadcaster() {
    byte b, i, r;
end:
    do
    /* the application */
    :: atomic { /* alloc, and write the first half */
        allocations < ALLOCATIONS -> select(b : 0 .. BLOCKS - 1);
        if
        :: !used[b] ->
            assert(UNTOUCHED(0, b) && UNTOUCHED(2, b));
            allocations++; used[b] = 1; owned[b] = 1; stamp[b] = allocations; written[b] = 1; HALF(b, 0) = stamp[b]
        :: else
        fi; b = 0 }
    :: atomic { /* write the other half */
        select(b : 0 .. BLOCKS - 1);
        if
        :: owned[b] && sequence[b] == 0 && written[b] == 1 ->
            assert(UNTOUCHED(0, b) && UNTOUCHED(2, b));
            HALF(b, 1) = stamp[b]; written[b] = 2
#ifdef BUG_PUSH_EARLY
        :: used[b] && sequence[b] != 0 && written[b] == 1 -> HALF(b, 1) = stamp[b]; written[b] = 2
#endif
        :: else
        fi; b = 0 }
    :: atomic { /* send to one, or one step of a broadcast */
        select(b : 0 .. BLOCKS - 1); select(i : 0 .. INDEXES - 1);
        if
        :: owned[b] && READY(b) && attached[i] != NOBODY && !flagged[i] && !HAS_GOT(b, i) -> send(b, i)
        :: else
        fi; b = 0; i = 0 }
    :: atomic { /* the last step of a broadcast, or shbf_free */
        select(b : 0 .. BLOCKS - 1);
        if
        :: owned[b] && READY(b) -> owned[b] = 0; free_if_unused(b)
        :: else
        fi; b = 0 }
#ifdef BUG_HOLDER_LATE /* the bit is set after the lock was let go: meanwhile the broadcast may end, for want of holders */
    :: atomic {
        select(b : 0 .. BLOCKS - 1);
        if
        :: used[b] && SENT(b, 0) && !HOLDS(b, 0) && attached[0] != NOBODY && HOLDING(attached[0], b) != 0 -> HOLDS(b, 0) = 1
        :: else
        fi; b = 0 }
#endif
    /* the library, whenever it allocates or publishes */
    :: atomic { /* reap */
        select(b : 0 .. BLOCKS - 1); select(i : 0 .. INDEXES - 1);
        if
        :: attached[i] != NOBODY && GIVEN_BACK(b, i) ->
#ifdef BUG_NOT_HELD
            HOLDS(b, 0) = 0; HOLDS(b, 1) = 0;
#endif
            HOLDS(b, i) = 0;
            free_if_unused(b)
        :: else
        fi; b = 0; i = 0 }
    :: atomic { /* give up a receiver: here at any time, in truth when memory is short */
        allocations < ALLOCATIONS && pending == NOBODY -> select(i : 0 .. INDEXES - 1);
        if
        :: attached[i] != NOBODY && !flagged[i] && (HOLDS(0, i) || HOLDS(1, i)) ->
            flagged[i] = 1;
#ifndef BUG_GIVEN_UP_LATE /* only when its connection is closed */
            tell_given_up(i);
#endif
            release_fence();
            let_go_all(i)
        :: else
        fi; i = 0 }
    /* the loop */
    :: atomic { /* detach one that has been given up or whose socket has come to its end */
        pending == NOBODY -> select(i : 0 .. INDEXES - 1);
        if
        :: attached[i] != NOBODY && (flagged[i] || attached[i] == HOSTILE || gone[attached[i]]) ->
            tell_given_up(i);
            release_fence();
#ifndef BUG_DETACH_KEEPS
            let_go_all(i);
#endif
            forget(i);
            attached[i] = NOBODY; flagged[i] = 0
        :: else
        fi; i = 0 }
    :: atomic { FOLLOWER && attached[0] == NOBODY && !followed -> CLEAN_PAGE(2); attached[0] = 2; followed = 1 }
    /* the end: when all have released or are gone, nothing is lost */
    :: atomic { allocations == ALLOCATIONS && !over && !owned[0] && !owned[1] -> over = 1 }
    :: atomic {
        over && attached[1] == NOBODY && (attached[0] == NOBODY || rests[attached[0]]) &&
        (attached[0] == NOBODY || !(GIVEN_BACK(0, 0) || GIVEN_BACK(1, 0))) ->
        assert(!used[0] && !used[1]);
        break }
    od
}

proctype StoreBuffer() {
end:
    do
    :: d_step { pending != NOBODY -> given_up[pending] = 1; pending = NOBODY }
    od
}

/* ---- a receiver that behaves well ---- */

/* Copies a frame and asks afterwards whether the copy is whole. */
inline read_frame(f) {
#ifdef BUG_NO_ACQUIRE_FENCE
    whole = !given_up[PAGE_OF(me)];
    first = HALF(slot[f], 0);
    second = HALF(slot[f], 1);
#else
    first = HALF(slot[f], 0);
    second = HALF(slot[f], 1);
    whole = !given_up[PAGE_OF(me)];
#endif
    d_step {
        assert(!whole || (first == expected[f] && second == expected[f]));
        first = 0; second = 0
    }
}

/* The receiver knows which frame of a slot it has; that one is released and no other. */
inline release_frame(f) {
    if :: IS_TAKEN(slot[f], number[f]) -> taken[slot[f]] = 0; RELEASED(me, slot[f]) = number[f] :: else fi;
    if :: HOLDING(me, slot[f]) == expected[f] -> HOLDING(me, slot[f]) = 0 :: else fi
}

/* For a second release, at any time after. */
inline remember(f) {
    if
    :: old_number == 0 -> old_slot = slot[f]; old_number = number[f]
    :: true
    fi
}

/* Fetches up to two frames, reads and releases them in any order, releases some twice, and dies or stops at any step. */
proctype Receiver(byte me) {
    byte slot[2], number[2], expected[2], taken[BLOCKS];
    byte first, second, f, old_slot, old_number;
    bit whole;
    attached[INDEX_OF(me)] == me || over;
    do
    :: atomic { expected[0] == 0 && nempty(ring[me]) -> ring[me]?slot[0],number[0],expected[0]; taken[slot[0]] = number[0] }
    :: atomic { FETCHED > 1 && expected[0] != 0 && expected[1] == 0 && nempty(ring[me]) -> ring[me]?slot[1],number[1],expected[1]; taken[slot[1]] = number[1] }
    :: atomic { expected[0] != 0 ->
        if
        :: f = 0
        :: expected[1] != 0 -> f = 1
        fi };
#ifdef BUG_RELEASE_EARLY /* the word is stored without release order */
        if
        :: true
        :: d_step { release_frame(f) }
        fi;
#endif
        read_frame(f);
        if
        :: whole -> whole = 0; f = 0
        :: else -> break
        fi
    :: atomic { expected[1] != 0 ->
        release_frame(1);
        remember(1);
        slot[1] = 0; number[1] = 0; expected[1] = 0 }
    :: atomic { expected[0] != 0 ->
        release_frame(0);
        remember(0);
        slot[0] = slot[1]; number[0] = number[1]; expected[0] = expected[1];
        slot[1] = 0; number[1] = 0; expected[1] = 0 }
    :: d_step { old_number != 0 -> /* a second release */
        if :: IS_TAKEN(old_slot, old_number) -> RELEASED(me, old_slot) = old_number :: else fi;
        old_slot = 0; old_number = 0 }
    :: d_step { over && expected[0] == 0 && empty(ring[me]) -> rests[me] = 1; old_slot = 0; old_number = 0 }; goto end
    :: break
    od;
    atomic {
        gone[me] = 1;
        slot[0] = 0; slot[1] = 0; number[0] = 0; number[1] = 0; expected[0] = 0; expected[1] = 0;
        first = 0; second = 0; f = 0; whole = 0; old_slot = 0; old_number = 0;
        HOLDING(me, 0) = 0; HOLDING(me, 1) = 0; taken[0] = 0; taken[1] = 0;
        do
        :: nempty(ring[me]) -> ring[me]?_,_,_
        :: empty(ring[me]) -> break
        od
    }
end:
    skip
}

init {
    atomic {
        attached[0] = 0; attached[1] = HOSTILE;
        run Broadcaster(); run StoreBuffer(); run Receiver(0);
#if FOLLOWER
        run Receiver(2)
#endif
    }
}
