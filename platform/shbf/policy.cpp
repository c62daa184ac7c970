// The text is gone through twice: what [default] says is taken first, wherever it stands, and then what the
// channel's own section says. In both passes every line is checked, whomever it is for.

#include "shbf/policy.h"

#include "shbf/wire.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

namespace shbf {

namespace {

constexpr char default_section[] = "default";
constexpr char run_prefix[] = "/run/";
constexpr size_t section_name_max = 107; // as a socket address has it
constexpr size_t name_max = 64;          // of a user or group
constexpr uint32_t mode_max = 0777;
constexpr uint32_t mode_owner_write = 0200;

struct NumberKey {
    const char *name;
    uint32_t Policy::*field;
    uint32_t least;
    uint32_t most;
    uint32_t fallback;
};

constexpr NumberKey number_keys[] = {
    {"receivers", &Policy::receivers, 0, receivers_max, receivers_max},
    {"receivers_per_user", &Policy::receivers_per_user, 1, receivers_max, receivers_max},
    {"message_bytes", &Policy::message_bytes, 0, message_max, message_max},
    {"messages_per_second", &Policy::messages_per_second, 0, 100000, 0},
    {"handshake_ms", &Policy::handshake_ms, 10, 60000, 2000},
};
constexpr uint32_t number_key_count = sizeof number_keys / sizeof number_keys[0];

/* Bits of Parser::keys_seen: the number keys, and behind them: */
constexpr uint32_t mode_key = number_key_count;
constexpr uint32_t group_key = number_key_count + 1;
constexpr uint32_t users_key = number_key_count + 2;
constexpr uint32_t groups_key = number_key_count + 3;

struct Parser {
    const char *wanted; // the section whose values count in this pass
    const PolicyNames *names;
    Policy *policy;
    Policy others; // takes the values of all other sections
    Policy *target;
    uint32_t keys_seen; // in this section
    uint32_t section_count;
    char sections[policy_sections_max][section_name_max + 1];
    PolicyError *error;
};

__attribute__((format(printf, 2, 3))) int fail(Parser *parser, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    // The analyzer loses sight of va_start where it looks at this as a part of its callers.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    vsnprintf(parser->error->text, sizeof parser->error->text, format, arguments);
    va_end(arguments);
    return -EINVAL;
}

/* Cuts blanks off both ends, in place. */
char *trim(char *text) {
    while (*text == ' ') {
        ++text;
    }
    size_t length = strlen(text);
    while (length > 0 && text[length - 1] == ' ') {
        text[--length] = '\0';
    }
    return text;
}

/* Digits and nothing else. */
bool parse_number(const char *text, uint32_t base, uint32_t *number) {
    uint64_t value = 0;
    const char *at = text;
    for (; *at >= '0' && *at < static_cast<char>('0' + base); ++at) {
        value = value * base + static_cast<uint32_t>(*at - '0');
        if (value > UINT32_MAX) {
            return false;
        }
    }
    *number = static_cast<uint32_t>(value);
    return at != text && *at == '\0';
}

// ---- values ----

int take_mode(Parser *parser, const char *value) {
    uint32_t mode;
    if (!parse_number(value, 8, &mode) || mode > mode_max) {
        return fail(parser, "mode \"%.20s\" is no file mode: give three or four octal digits, such as 0660",
                    value);
    }
    if ((mode & mode_owner_write) == 0) {
        return fail(parser,
                    "mode %04o shuts out the channel's own user, who must be able to see whether the "
                    "socket is still served: add 0600",
                    mode);
    }
    parser->target->mode = static_cast<int32_t>(mode);
    return 0;
}

int take_number(Parser *parser, const NumberKey &key, const char *value) {
    uint32_t number;
    if (!parse_number(value, 10, &number) || number < key.least || number > key.most) {
        return fail(parser, "%s = %.20s is no number from %u to %u: correct it", key.name,
                    *value == '\0' ? "(nothing)" : value, key.least, key.most);
    }
    parser->target->*key.field = number;
    return 0;
}

enum class NameKind { user, group };

/* uid_t and gid_t are one type where this runs. */
int look_up(Parser *parser, NameKind kind, const char *name, uint32_t *id) {
    static_assert(sizeof(uid_t) == sizeof(uint32_t) && sizeof(gid_t) == sizeof(uint32_t));
    const char *noun = kind == NameKind::user ? "user" : "group";
    if (*name == '\0' || strlen(name) > name_max) {
        return fail(parser, "the name of a %s is %s: correct it", noun,
                    *name == '\0' ? "missing" : "too long");
    }
    if (name[strspn(name, "0123456789")] == '\0') {
        if (!parse_number(name, 10, id) || *id == UINT32_MAX) {
            return fail(parser, "%.20s is no number of a %s: correct it", name, noun);
        }
        return 0;
    }
    const int result =
        kind == NameKind::user ? parser->names->user(name, id) : parser->names->group(name, id);
    if (result == -ENOENT) {
        return fail(parser, "there is no %s \"%.64s\": create it, correct the name, or write a number", noun,
                    name);
    }
    return result < 0 ? fail(parser, "cannot look up %s \"%.64s\" (error %d): write its number instead", noun,
                             name, -result)
                      : 0;
}

/* A section that says anything about who may attach says all about it: what [default] names on top would make
 * a channel more open than its own section reads. */
void forget_inherited_names(Parser *parser) {
    if ((parser->keys_seen & (1u << users_key | 1u << groups_key)) == 0) {
        parser->target->user_count = parser->target->group_count = 0;
    }
}

int take_names(Parser *parser, NameKind kind, char *value) {
    uint32_t *ids = kind == NameKind::user ? parser->target->users : parser->target->groups;
    uint32_t count = 0;
    for (char *name = *value == '\0' ? nullptr : value; name != nullptr; ++count) {
        char *comma = strchr(name, ',');
        if (comma != nullptr) {
            *comma = '\0';
        }
        if (count == policy_names_max) {
            return fail(parser, "more than %u names: make a group of them", policy_names_max);
        }
        const int result = look_up(parser, kind, trim(name), &ids[count]);
        if (result < 0) {
            return result;
        }
        name = comma == nullptr ? nullptr : comma + 1;
    }
    (kind == NameKind::user ? parser->target->user_count : parser->target->group_count) = count;
    return 0;
}

// ---- lines ----

/* The bit of a key, or -1. */
int key_of(const char *name) {
    for (uint32_t i = 0; i < number_key_count; ++i) {
        if (strcmp(name, number_keys[i].name) == 0) {
            return static_cast<int>(i);
        }
    }
    static constexpr const char *others[] = {"mode", "group", "users", "groups"};
    for (uint32_t i = 0; i < sizeof others / sizeof others[0]; ++i) {
        if (strcmp(name, others[i]) == 0) {
            return static_cast<int>(mode_key + i);
        }
    }
    return -1;
}

int take_value(Parser *parser, uint32_t key, char *value) {
    switch (key) {
    case mode_key:
        return take_mode(parser, value);
    case group_key:
        return look_up(parser, NameKind::group, value, &parser->target->group);
    case users_key:
    case groups_key:
        forget_inherited_names(parser);
        return take_names(parser, key == users_key ? NameKind::user : NameKind::group, value);
    default:
        return take_number(parser, number_keys[key], value);
    }
}

int take_setting(Parser *parser, char *line) {
    char *equals = strchr(line, '=');
    if (equals == nullptr) {
        return fail(parser, "\"%.40s\" is neither [section] nor key = value: correct it", line);
    }
    *equals = '\0';
    const char *name = trim(line);
    const int key = key_of(name);
    if (key < 0) {
        return fail(parser,
                    "there is no key \"%.40s\": the keys are mode, group, users, groups, receivers, "
                    "receivers_per_user, message_bytes, messages_per_second, handshake_ms",
                    name);
    }
    if (parser->target == nullptr) {
        return fail(parser, "\"%s\" stands before any section: put [default] above it", name);
    }
    if ((parser->keys_seen >> key & 1) != 0) {
        return fail(parser, "\"%s\" stands in this section twice: remove one", name);
    }
    const int result = take_value(parser, static_cast<uint32_t>(key), trim(equals + 1));
    parser->keys_seen |= 1u << key;
    return result;
}

bool is_channel_path(const char *name) {
    constexpr size_t prefix_length = sizeof run_prefix - 1;
    return strncmp(name, run_prefix, prefix_length) == 0 && name[prefix_length] != '\0' &&
           strlen(name) <= section_name_max;
}

int take_section(Parser *parser, char *line) {
    const size_t length = strlen(line);
    if (line[length - 1] != ']') {
        return fail(parser, "\"%.40s\" does not end with ]: correct it", line);
    }
    line[length - 1] = '\0';
    const char *name = trim(line + 1);
    if (strcmp(name, default_section) != 0 && !is_channel_path(name)) {
        return fail(parser,
                    "[%.40s] is no section: it is [default], or the path of a channel as [%saudio_in]", name,
                    run_prefix);
    }
    for (uint32_t i = 0; i < parser->section_count; ++i) {
        if (strcmp(name, parser->sections[i]) == 0) {
            return fail(parser, "[%.40s] stands here twice: put its lines into one section", name);
        }
    }
    if (parser->section_count == policy_sections_max) {
        return fail(parser, "more than %u sections: let [default] say what many have in common",
                    policy_sections_max);
    }
    memcpy(parser->sections[parser->section_count++], name, strlen(name) + 1);
    parser->keys_seen = 0;
    parser->target = strcmp(name, parser->wanted) == 0 ? parser->policy : &parser->others;
    return 0;
}

/* Control characters are nowhere; what is no ASCII only in comments. */
int check_characters(Parser *parser, const char *line, size_t length) {
    bool comment = false;
    for (size_t i = 0; i < length; ++i) {
        const unsigned char c = static_cast<unsigned char>(line[i]);
        comment = comment || c == '#';
        if ((c < ' ' && c != '\t') || c == 0x7f || (c > 0x7f && !comment)) {
            return fail(parser, "byte 0x%02x does not belong here: write plain text", c);
        }
    }
    return 0;
}

int take_line(Parser *parser, const char *text, size_t length) {
    if (length > 0 && text[length - 1] == '\r') {
        --length;
    }
    if (length > policy_line_max) {
        return fail(parser, "the line is longer than %u bytes: shorten it", policy_line_max);
    }
    const int result = check_characters(parser, text, length);
    if (result < 0) {
        return result;
    }
    char copy[policy_line_max + 1];
    memcpy(copy, text, length);
    copy[length] = '\0';
    copy[strcspn(copy, "#")] = '\0';
    for (char *tab = copy; (tab = strchr(tab, '\t')) != nullptr;) {
        *tab = ' '; // so that what messages quote is printable
    }
    char *line = trim(copy);
    if (*line == '\0') {
        return 0;
    }
    return *line == '[' ? take_section(parser, line) : take_setting(parser, line);
}

/* One pass: what the section `wanted` says goes into `policy`. */
int take_text(const char *text, size_t length, const char *wanted, const PolicyNames &names, Policy *policy,
              PolicyError *error) {
    Parser parser{};
    parser.wanted = wanted;
    parser.names = &names;
    parser.policy = policy;
    parser.error = error;
    error->line = 0;
    if (length > policy_file_max) {
        return fail(&parser, "it is larger than %u bytes: shorten it", policy_file_max);
    }
    const char *const end = text + length;
    while (text < end) {
        const void *newline = memchr(text, '\n', static_cast<size_t>(end - text));
        const char *line_end = newline == nullptr ? end : static_cast<const char *>(newline);
        ++error->line;
        const int result = take_line(&parser, text, static_cast<size_t>(line_end - text));
        if (result < 0) {
            return result;
        }
        text = line_end == end ? end : line_end + 1;
    }
    return 0;
}

} // namespace

void policy_default(Policy *policy) {
    *policy = {};
    policy->mode = mode_by_umask;
    policy->group = group_of_process;
    for (const NumberKey &key : number_keys) {
        policy->*key.field = key.fallback;
    }
}

void policy_close(Policy *policy) {
    policy_default(policy);
    policy->mode = 0600;
    policy->closed = true;
    policy->receivers = 0;
}

int policy_parse(const char *text, size_t length, const char *channel, const PolicyNames &names,
                 Policy *policy, PolicyError *error) {
    policy_default(policy);
    int result = take_text(text, length, default_section, names, policy, error);
    if (result == 0) {
        result = take_text(text, length, channel, names, policy, error);
    }
    if (result < 0) {
        policy_close(policy);
    }
    return result;
}

} // namespace shbf
