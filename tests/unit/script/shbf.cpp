// Stand-ins for libshbf and libshbfev. A buffer is real memory of exactly the size asked for, for as long as
// the daemon owns it, so the address sanitizer notices a write behind it or too late.

#include "libshbf.h"
#include "libshbfev.h"
#include "script/script.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

using script::current;
using script::format;

struct shbfev_brd {
    script::Channel channel;
};

namespace {

/* As much of a new buffer is filled with a pattern, so that a test sees whether it was written. */
constexpr uint32_t header_space_bytes = 128;

/* Channels outlive their test, as the daemon's tables do. */
std::vector<std::unique_ptr<shbfev_brd>> channels;
std::vector<std::unique_ptr<script::Buffer>> buffers;

const char *path_of(const shbfev_brd_t *brd) {
    return brd == nullptr ? "null" : brd->channel.path.c_str();
}

/* Addresses come again: the last buffer with this one. */
script::Buffer *find(const void *address) {
    const auto &all = current().buffers;
    const auto found = std::find_if(all.rbegin(), all.rend(),
                                    [&](const auto *buffer) { return buffer->address == address; });
    return found == all.rend() ? nullptr : *found;
}

/* "buffer 3", as the journal names it. */
std::string name_of(const script::Buffer *buffer) {
    const auto &all = current().buffers;
    const auto found = std::find(all.begin(), all.end(), buffer);
    return found == all.end() ? "no buffer" : format("buffer %td", found - all.begin() + 1);
}

/* Why the daemon may not do this to the buffer; empty when it may. */
std::string wrong_with(const script::Buffer *buffer) {
    if (buffer == nullptr) {
        return " of no buffer";
    }
    if (buffer->freed) {
        return " of a buffer that was freed";
    }
    return buffer->taken ? " of a buffer that the library has" : "";
}

/* Journals a call that needs a buffer of the caller's. True when it is one. */
bool journal_use(const std::string &call, const script::Buffer *buffer) {
    const std::string wrong = wrong_with(buffer);
    if (!wrong.empty()) {
        current().misuse.push_back(call + wrong);
    }
    current().write(call + wrong);
    return wrong.empty();
}

} // namespace

namespace script {

Channel *channel(const std::string &path) {
    for (Channel *candidate : current().channels) {
        if (candidate->path == path) {
            return candidate;
        }
    }
    return nullptr;
}

std::vector<std::string> lost_buffers() {
    std::vector<std::string> result;
    for (const Buffer *buffer : current().buffers) {
        if (!buffer->freed && !buffer->taken) {
            result.push_back(::name_of(buffer));
        }
    }
    return result;
}

} // namespace script

extern "C" {

shbfev_brd_t *shbfev_brd_create(const char *path) {
    script::Script &script = current();
    script.write(format("shbfev_brd_create(%s)", path));
    if (std::count(script.create_fails.begin(), script.create_fails.end(), path) != 0) {
        return nullptr;
    }
    channels.push_back(std::make_unique<shbfev_brd>());
    channels.back()->channel.path = path;
    script.channels.push_back(&channels.back()->channel);
    return channels.back().get();
}

int32_t shbfev_brd_event(shbfev_brd_t *brd, int32_t code, shbfev_callback callback, void *user) {
    current().write(format("shbfev_brd_event(%s, %d)", path_of(brd), code));
    if (brd == nullptr) {
        return -EINVAL;
    }
    brd->channel.events[code] = {callback, user};
    return 0;
}

int32_t shbfev_brd_start(struct ev_loop *loop, shbfev_brd_t *brd) {
    script::Script &script = current();
    script.write(format("shbfev_brd_start(%s, %s)", script::name_of(loop), path_of(brd)));
    if (brd == nullptr) {
        return -EINVAL;
    }
    const auto planned = script.start_results.find(brd->channel.path);
    const int32_t result = planned == script.start_results.end() ? 0 : planned->second;
    brd->channel.started = result >= 0;
    return result;
}

void *shbfev_brd_alloc(shbfev_brd_t *brd, uint32_t size) {
    script::Script &script = current();
    script.write(format("shbfev_brd_alloc(%s, %u)", path_of(brd), size));
    if (script.alloc_fails) {
        return nullptr;
    }
    auto buffer = std::make_unique<script::Buffer>();
    buffer->memory = std::make_unique_for_overwrite<uint8_t[]>(size);
    std::memset(buffer->memory.get(), 0xcd, std::min(size, header_space_bytes));
    buffer->address = buffer->memory.get();
    buffer->capacity = size;
    buffer->size = size;
    script.buffers.push_back(buffer.get());
    buffers.push_back(std::move(buffer));
    return script.buffers.back()->memory.get();
}

int32_t shbfev_brd_broadcast(shbfev_brd_t *brd, void *buffer) {
    script::Buffer *known = find(buffer);
    const int32_t result = current().broadcast();
    if (journal_use(format("shbfev_brd_broadcast(%s, %s)", path_of(brd), name_of(known).c_str()), known) &&
        result >= 0) {
        known->bytes.assign(known->memory.get(), known->memory.get() + known->size);
        known->memory.reset();
        known->taken = true;
    }
    return result;
}

int32_t shbfev_brd_send(shbfev_brd_t *brd, int32_t receiver, void *buffer) {
    script::Buffer *known = find(buffer);
    const std::string call =
        format("shbfev_brd_send(%s, %d, %s)", path_of(brd), receiver, name_of(known).c_str());
    if (journal_use(call, known)) {
        known->bytes.assign(known->memory.get(), known->memory.get() + known->size);
    }
    const auto result = current().results.find("shbfev_brd_send");
    return result == current().results.end() ? 0 : result->second;
}

int32_t shbfev_brd_broadcast_message(shbfev_brd_t *brd, const void *bytes, int32_t length) {
    current().write(format("shbfev_brd_broadcast_message(%s, %d, ", path_of(brd), length) +
                    std::string(static_cast<const char *>(bytes), static_cast<size_t>(length)) + ")");
    return current().broadcast_message();
}

void shbfev_brd_destroy(shbfev_brd_t *brd) {
    current().write(format("shbfev_brd_destroy(%s)", path_of(brd)));
    if (brd != nullptr) {
        brd->channel.destroyed = true;
    }
}

int32_t shbf_set_size(void *buffer, uint32_t size) {
    script::Buffer *known = find(buffer);
    if (!journal_use(format("shbf_set_size(%s, %u)", name_of(known).c_str(), size), known)) {
        return -EINVAL;
    }
    if (size > known->capacity) {
        current().misuse.push_back(format("a size of %u in %u bytes", size, known->capacity));
        return -EMSGSIZE;
    }
    known->size = size;
    return 0;
}

void shbf_free(void *buffer) {
    script::Buffer *known = find(buffer);
    if (journal_use(format("shbf_free(%s)", name_of(known).c_str()), known)) {
        known->memory.reset();
        known->freed = true;
    }
}

} // extern "C"
