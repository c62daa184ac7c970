// What the errors of a receiver mean, for people.

#include "libshbf_receiver.h"

#include "export.h"

#include <errno.h>
#include <string.h>

PLATFORM_API const char *shbf_rcv_problem(int32_t error) {
    switch (error < 0 ? -error : error) {
    case ENOENT:
    case ECONNREFUSED:
        return "nobody serves it: start the broadcaster, or set STRELL_RUN_DIR to the directory where it "
               "runs";
    case EACCES:
        return "this user may not attach: become one of the users or groups that the broadcaster's access "
               "file "
               "(/etc/strell/channels.conf) lets in, or the user that the broadcaster runs as";
    case EPERM:
        return "it is closed to everybody, for the broadcaster's access file (/etc/strell/channels.conf) "
               "cannot "
               "be followed: its log says what to correct there, and then it must be started again";
    case ENOSPC:
        return "it has all the receivers it takes: end one of them, or raise \"receivers\" in the "
               "broadcaster's "
               "access file";
    case EUSERS:
        return "this user has all the receivers that one user may have: end one of them, or raise "
               "\"receivers_per_user\" in the broadcaster's access file";
    case ETIMEDOUT:
        return "the broadcaster does not answer, or gave up waiting for this process: one of them hangs, or "
               "is "
               "stopped";
    case EPIPE:
        return "the broadcaster has ended, or has dropped this receiver, which was too slow or sent what it "
               "does "
               "not take: its log says which";
    case EPROTO:
    case EPROTONOSUPPORT:
        return "what serves it speaks another version of the protocol: install libshbf and the broadcaster "
               "from "
               "one release";
    case EMSGSIZE:
        return "the message is too long: send at most 65536 bytes, and no more than \"message_bytes\" in the "
               "broadcaster's access file";
    case EAGAIN:
        return "the broadcaster does not fetch its messages: it hangs, is stopped, or gets too many; try "
               "again "
               "later";
    default:
        return strerror(error < 0 ? -error : error);
    }
}
