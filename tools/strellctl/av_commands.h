/*
 * The AV commands by names that people can remember: what they carry, as words on the command line, and what
 * comes back (docs/formats/av-commands.md). Pure functions, any thread.
 */
#ifndef STRELLCTL_AV_COMMANDS_H
#define STRELLCTL_AV_COMMANDS_H

#include "libav_cmd_client.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace ctl {

/* How the words of the command line become the payload. */
enum class AvPayload {
    words, // a 32-bit word each
    bytes, // a byte each; a single one stands for all
};

/* What the daemon answers with. */
enum class AvReply {
    none,    // it does not
    result,  // a result and no data
    choice,  // a result and a word, one of `choices`
    numbers, // a result and words that the board defines
};

struct AvCommand {
    const char *name;
    uint32_t code;
    const char *synopsis; // what follows the name
    const char *summary;
    AvReply reply = AvReply::result;
    AvPayload payload = AvPayload::words;
    size_t least_values = 0;
    size_t most_values = 0;
    /* What the payload begins with, to be overwritten by the values that are given. */
    std::span<const uint32_t> defaults = {};
    /* Names of the values 0, 1 and so on. */
    std::span<const char *const> choices = {};
};

/* Every command that does something, by code. */
std::span<const AvCommand> av_commands();

/* The command of that name, or of that code; null when there is none. */
const AvCommand *find_av_command(const std::string &name);
const AvCommand *find_av_command(uint32_t code);

/* What is sent: the code, the payload, and the row that tells about the answer (null: there is none). */
struct AvRequest {
    uint32_t code;
    std::string payload;
    const AvCommand *command;

    bool is_acknowledged() const { return command != nullptr && command->reply != AvReply::none; }
};

/* A request from the command line: a name and its values, or "0x1016" and the payload in hex digits. Throws
 * Usage. */
AvRequest av_request(std::span<const std::string> words);

/* What came back, in one line: "0x1017  result 0  night (1)". Data that does not fit the command's row is
 * shown as bytes. */
std::string av_reply_text(const AvRequest &request, const av_cmd_ack_t &ack);

/* The list of commands, for the help. */
std::string av_commands_help();

} // namespace ctl

#endif
