// The words of the command line as the bytes of an AV command.

#include "strellctl/av_commands.h"
#include "strellctl/failure.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <optional>
#include <vector>

namespace ctl {

namespace {

constexpr size_t code_digits_max = 8;

/* Decimal, or hexadecimal behind 0x. */
std::optional<int64_t> number_in(const std::string &text) {
    const bool is_hex = text.starts_with("0x") && text.size() > 2 && text[2] != '-';
    const char *begin = text.data() + (is_hex ? 2 : 0);
    const char *end = text.data() + text.size();
    int64_t value = 0;
    const auto [rest, error] = std::from_chars(begin, end, value, is_hex ? 16 : 10);
    return error == std::errc() && rest == end ? std::optional(value) : std::nullopt;
}

int64_t number_between(const std::string &text, int64_t least, int64_t most) {
    const std::optional<int64_t> value = number_in(text);
    if (!value || *value < least || *value > most) {
        throw Usage("\"" + printable(text) + "\" is no number from " + std::to_string(least) + " to " +
                    std::to_string(most));
    }
    return *value;
}

/* One word of a payload: a name of the command's, or what a signed or an unsigned word can be. */
uint32_t word_of(const AvCommand &command, const std::string &text) {
    const auto choice = std::ranges::find(command.choices, text);
    if (choice != command.choices.end()) {
        return static_cast<uint32_t>(choice - command.choices.begin());
    }
    if (!command.choices.empty() && !number_in(text)) {
        throw Usage("\"" + printable(text) + "\" is none of: " + joined(command.choices));
    }
    return static_cast<uint32_t>(
        number_between(text, std::numeric_limits<int32_t>::min(), std::numeric_limits<uint32_t>::max()));
}

std::string payload_of_words(const AvCommand &command, std::span<const std::string> values) {
    std::vector<uint32_t> words(command.defaults.begin(), command.defaults.end());
    words.resize(std::max(words.size(), values.size()));
    std::ranges::transform(values, words.begin(),
                           [&](const std::string &text) { return word_of(command, text); });
    std::string payload;
    for (const uint32_t word : words) {
        payload.append(reinterpret_cast<const char *>(&word), sizeof word);
    }
    return payload;
}

std::string payload_of_bytes(const AvCommand &command, std::span<const std::string> values) {
    constexpr int64_t most = std::numeric_limits<uint8_t>::max();
    std::string payload;
    for (const std::string &text : values) {
        payload.push_back(static_cast<char>(number_between(text, 0, most)));
    }
    if (payload.size() == 1) {
        payload.resize(command.most_values, payload[0]);
    }
    if (payload.size() != command.most_values) {
        throw Usage(std::string(command.name) + " takes 1 value or " + std::to_string(command.most_values));
    }
    return payload;
}

std::string usage_of(const AvCommand &command) {
    return std::string(command.name) + (*command.synopsis == '\0' ? " takes no values" : " takes ") +
           command.synopsis;
}

AvRequest named_request(const AvCommand &command, std::span<const std::string> values) {
    if (values.size() < command.least_values || values.size() > command.most_values) {
        throw Usage(usage_of(command));
    }
    return {command.code,
            command.payload == AvPayload::bytes ? payload_of_bytes(command, values)
                                                : payload_of_words(command, values),
            &command};
}

std::string bytes_of_hex(const std::string &digits) {
    std::string bytes;
    for (size_t at = 0; at < digits.size(); at += 2) {
        uint8_t byte = 0;
        const char *begin = digits.data() + at;
        const char *end = begin + std::min<size_t>(2, digits.size() - at);
        const auto [rest, error] = std::from_chars(begin, end, byte, 16);
        if (error != std::errc() || rest != begin + 2) {
            throw Usage("\"" + printable(digits) + "\" is no payload: two hex digits for each byte");
        }
        bytes.push_back(static_cast<char>(byte));
    }
    if (bytes.size() > AV_CMD_PAYLOAD_MAX) {
        throw Usage("the payload is too long: strell_v2 takes " + std::to_string(AV_CMD_PAYLOAD_MAX) +
                    " bytes at most");
    }
    return bytes;
}

AvRequest raw_request(std::span<const std::string> words) {
    const std::optional<int64_t> code = number_in(words[0]);
    if (!code || words[0].size() > 2 + code_digits_max) {
        throw Usage("\"" + printable(words[0]) + "\" is no code of up to 8 hex digits");
    }
    if (words.size() > 2) {
        throw Usage("a code takes one payload, in hex digits without blanks");
    }
    const auto number = static_cast<uint32_t>(*code);
    return {number, words.size() == 2 ? bytes_of_hex(words[1]) : "", find_av_command(number)};
}

/* The bytes of an answer as words, when they are whole ones. */
std::vector<uint32_t> words_in(const av_cmd_ack_t &ack) {
    std::vector<uint32_t> words(ack.length % sizeof(uint32_t) == 0 ? ack.length / sizeof(uint32_t) : 0);
    if (!words.empty()) {
        std::memcpy(words.data(), ack.data, words.size() * sizeof(uint32_t));
    }
    return words;
}

std::string hex_text(const av_cmd_ack_t &ack) {
    std::string text;
    for (const uint8_t byte : std::span(ack.data, ack.length)) {
        text += format("%02x", byte);
    }
    return text;
}

std::string data_text(const AvRequest &request, const av_cmd_ack_t &ack) {
    const std::vector<uint32_t> words = words_in(ack);
    const AvReply reply = request.command != nullptr ? request.command->reply : AvReply::none;
    if (reply == AvReply::choice && words.size() == 1 && words[0] < request.command->choices.size()) {
        return format("%s (%u)", request.command->choices[words[0]], words[0]);
    }
    if (reply == AvReply::numbers && !words.empty()) {
        std::string text;
        for (const uint32_t word : words) {
            text += format("%s%u", text.empty() ? "" : " ", word);
        }
        return text;
    }
    return hex_text(ack);
}

} // namespace

AvRequest av_request(std::span<const std::string> words) {
    const AvCommand *command = find_av_command(words[0]);
    if (command != nullptr) {
        return named_request(*command, words.subspan(1));
    }
    if (words[0].starts_with("0x")) {
        return raw_request(words);
    }
    throw Usage("there is no AV command " + printable(words[0]) + "; strellctl cmd --help lists them");
}

std::string av_reply_text(const AvRequest &request, const av_cmd_ack_t &ack) {
    const std::string data = data_text(request, ack);
    return format("0x%04x  result %d", ack.code, ack.result) + (data.empty() ? "" : "  ") + data;
}

} // namespace ctl
