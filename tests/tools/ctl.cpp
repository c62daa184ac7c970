#include "tools/ctl.h"

#include "support/board_process.h"
#include "support/system.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <sstream>

using support::Process;

namespace ctl_test {

namespace {

Words command_of(const Words &words) {
    Words command = {support::program("strellctl")};
    command.insert(command.end(), words.begin(), words.end());
    return command;
}

/* What takes some seconds by itself, at the end of them on a machine that is busy with much else. */
constexpr auto end_patience = 3 * support::patience;

/* GStreamer is in its process too. */
Process::Environment environment(support::Leaks leaks = support::Leaks::sought) {
    return support::board_environment(leaks);
}

} // namespace

support::Outcome run_ctl(const Words &words, support::Leaks leaks) {
    return support::run(command_of(words), environment(leaks), end_patience);
}

std::unique_ptr<Process> start_ctl(const Words &words) {
    return std::make_unique<Process>(command_of(words), environment());
}

support::Outcome run_shell(const std::string &line, const std::string &dir) {
    Process::Environment with_ctl = environment();
    with_ctl["CTL"] = support::program("strellctl");
    return support::run({"bash", "-c", "cd '" + dir + "'; " + line}, with_ctl, end_patience);
}

Json::Json(const std::string &line) : root_(json_tokener_parse(line.c_str()), json_object_put) {
    EXPECT_TRUE(json_object_is_type(root_.get(), json_type_object)) << line;
}

bool Json::find(const std::string &path, json_object **value) const {
    *value = root_.get();
    std::istringstream names(path);
    std::string name;
    while (std::getline(names, name, '.')) {
        if (!json_object_is_type(*value, json_type_object) ||
            json_object_object_get_ex(*value, name.c_str(), value) == 0) {
            return false;
        }
    }
    return true;
}

bool Json::has(const std::string &path) const {
    json_object *value = nullptr;
    return find(path, &value);
}

bool Json::is_null(const std::string &path) const {
    json_object *value = nullptr;
    return find(path, &value) && value == nullptr;
}

int64_t Json::number(const std::string &path) const {
    json_object *value = nullptr;
    EXPECT_TRUE(find(path, &value) && json_object_is_type(value, json_type_int)) << path;
    return json_object_get_int64(value);
}

double Json::real(const std::string &path) const {
    json_object *value = nullptr;
    EXPECT_TRUE(find(path, &value) && json_object_is_type(value, json_type_double)) << path;
    return json_object_get_double(value);
}

bool Json::truth(const std::string &path) const {
    json_object *value = nullptr;
    EXPECT_TRUE(find(path, &value) && json_object_is_type(value, json_type_boolean)) << path;
    return json_object_get_boolean(value) != 0;
}

std::string Json::text(const std::string &path) const {
    json_object *value = nullptr;
    const bool found = find(path, &value) && json_object_is_type(value, json_type_string);
    EXPECT_TRUE(found) << path;
    return found ? json_object_get_string(value) : "";
}

std::vector<Json> objects(const std::vector<std::string> &lines) {
    std::vector<Json> result;
    for (const std::string &line : lines) {
        if (line.starts_with("{")) {
            result.emplace_back(line);
        }
    }
    return result;
}

std::vector<Json> objects(const std::string &output) {
    std::istringstream stream(output);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return objects(lines);
}

bool has_no_control_characters(const std::string &output) {
    return std::ranges::all_of(output, [](char letter) {
        return letter == '\n' || (static_cast<unsigned char>(letter) >= 0x20 && letter != 0x7f);
    });
}

} // namespace ctl_test
