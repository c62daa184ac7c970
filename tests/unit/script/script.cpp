#include "script/script.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <memory>

namespace script {

namespace {

constexpr size_t runaway_entries = 200000;

std::unique_ptr<Script> the_script;

bool begins(const std::string &entry, const std::string &text) {
    return entry.compare(0, text.size(), text) == 0;
}

} // namespace

Script &current() {
    return *the_script;
}

bool running() {
    return the_script != nullptr;
}

void start() {
    the_script = std::make_unique<Script>();
}

std::string format(const char *text, ...) {
    char line[2048];
    va_list arguments;
    va_start(arguments, text);
    vsnprintf(line, sizeof line, text, arguments);
    va_end(arguments);
    return line;
}

int32_t answer(const char *name, const std::string &arguments) {
    current().write(std::string(name) + "(" + arguments + ")");
    const auto planned = current().results.find(name);
    return planned == current().results.end() ? 0 : planned->second;
}

size_t Script::count(const std::string &text) const {
    return entries(text).size();
}

std::vector<std::string> Script::entries(const std::string &text) const {
    std::vector<std::string> result;
    std::copy_if(journal.begin(), journal.end(), std::back_inserter(result),
                 [&](const std::string &entry) { return begins(entry, text); });
    return result;
}

size_t Script::position(const std::string &text) const {
    const auto found = std::find_if(journal.begin(), journal.end(),
                                    [&](const std::string &entry) { return begins(entry, text); });
    return static_cast<size_t>(found - journal.begin());
}

std::vector<std::string> Script::without(const std::vector<std::string> &prefixes) const {
    std::vector<std::string> result;
    for (const std::string &entry : journal) {
        const bool left_out = std::any_of(prefixes.begin(), prefixes.end(),
                                          [&](const std::string &prefix) { return begins(entry, prefix); });
        if (!left_out) {
            result.push_back(entry);
        }
    }
    return result;
}

void Script::when(const std::string &text, std::function<void()> action, size_t nth) {
    const std::lock_guard<std::mutex> hold(journal_lock_);
    reactions_.push_back({text, nth, std::move(action)});
}

void Script::write(const std::string &entry) {
    std::vector<std::function<void()>> due;
    {
        const std::lock_guard<std::mutex> hold(journal_lock_);
        journal.push_back(entry);
        if (journal.size() > runaway_entries) {
            throw Runaway("the daemon does not come to an end: " + entry);
        }
        for (Reaction &reaction : reactions_) {
            if (begins(entry, reaction.text) && reaction.nth > 0 && --reaction.nth == 0) {
                due.push_back(reaction.action);
            }
        }
    }
    for (const auto &action : due) {
        action();
    }
}

} // namespace script
