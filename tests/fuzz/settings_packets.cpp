// Packets of the settings store (mortox/wire.h): what is accepted is well-formed, and says the same when it
// is written again.

#include "fuzz.h"
#include "mortox/wire.h"

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t length) {
    const std::vector<uint8_t> packet(bytes, bytes + length);
    wire::Message message;
    const char *wrong = wire::decode(packet.data(), packet.size(), &message);
    if (wrong != nullptr) {
        fuzz::must(wrong[0] != '\0', "a refusal says why");
        return 0;
    }
    fuzz::must(packet.size() <= wire::packet_max_bytes, "no packet is longer than the longest");
    uint8_t again[wire::packet_max_bytes];
    const size_t size = wire::encode(message, again);
    fuzz::must(size == packet.size(), "it has its length when it is written again");
    fuzz::must(std::memcmp(again + 16, packet.data() + 16, size - 16) == 0, "and its texts");
    wire::Message second;
    fuzz::must(wire::decode(again, size, &second) == nullptr, "and is accepted again");
    fuzz::must(second.type == message.type && second.request == message.request &&
                   second.status == message.status && second.value_type == message.value_type &&
                   second.flags == message.flags,
               "and its numbers");
    char error[200];
    if (wire::check_name("the key", message.key, error, sizeof error)) {
        fuzz::must(message.key[0] != '\0' && std::strlen(message.key) <= wire::name_max_bytes,
                   "a name keeps its limits");
    } else {
        fuzz::must(std::strlen(error) > 0 && std::strlen(error) < sizeof error, "a refusal says why");
    }
    fuzz::must(wire::check_value(message.value, error, sizeof error), "a value that came keeps its limits");
    return 0;
}
