#include "media/requests.h"

#include "libboardav.h"

#include <string.h>

namespace {

/* True when the message is the word, or a beginning of it; the word's NUL may come along. */
bool begins(const char *word, const void *bytes, int32_t length) {
    const size_t count = static_cast<size_t>(length);
    return count <= strlen(word) + 1 && memcmp(bytes, word, count) == 0;
}

} // namespace

int32_t evt_rcvr_message_idr(void * /*user*/, int32_t /*receiver*/, const void *bytes, int32_t length) {
    if (begins("REQ_IDR", bytes, length)) {
        req_IDR();
    }
    return 0;
}
