#include "strellctl/store.h"

#include "strellctl/failure.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace ctl {

namespace {

constexpr int32_t default_timeout = -1;

} // namespace

std::string store_failure(int error) {
    switch (error) {
    case ENOENT:
    case ECONNREFUSED:
        return "the settings store is not there: start mortoxd (./dev run), or set STRELL_RUN_DIR to the "
               "directory where it runs";
    case ETIMEDOUT:
        return "the settings store does not answer: mortoxd hangs, or is stopped";
    case EACCES:
        return "this user may not use the settings store: become the user that mortoxd runs as";
    default:
        return std::string("cannot connect to the settings store: ") + std::strerror(error);
    }
}

std::optional<std::string> text_of(const xdata_t *data) {
    char *text = xdata_value_as_char(data);
    if (text == nullptr) {
        return std::nullopt;
    }
    std::string result = text;
    std::free(text);
    return result;
}

Store::Store() : handle_(libmortox_config_open(0)) {
    if (handle_ == nullptr) {
        throw Failure(store_failure(errno));
    }
}

Store::~Store() {
    libmortox_close(handle_);
}

void Store::must(bool result, const std::string &what) {
    if (!result) {
        throw Failure(what + ": " + libmortox_last_error(handle_));
    }
}

std::optional<std::string> Store::get(const SettingName &name) {
    struct Answer {
        bool good = false;
        std::optional<std::string> value;
    } answer;
    const auto take = [](xresponse_t *response, void *user) {
        xdata_t *data = nullptr;
        auto *result = static_cast<Answer *>(user);
        result->good = xcontrol_get_response(response, &data) >= 0;
        result->value = text_of(data);
        xdata_free(data);
    };
    const bool answered = libmortox_get_value(handle_, name.name_space.c_str(), name.section.c_str(),
                                              name.key.c_str(), take, &answer, default_timeout, 0);
    must(answered && answer.good, "cannot read " + full_text(name));
    return answer.value;
}

void Store::set(const SettingName &name, const std::string &value) {
    must(libmortox_set_value(handle_, name.name_space.c_str(), name.section.c_str(), name.key.c_str(),
                             XDATA_TEXT, value.c_str(), nullptr, nullptr, default_timeout, 0),
         "cannot store " + full_text(name));
}

void Store::remove(const SettingName &name) {
    must(libmortox_remove_value(handle_, name.name_space.c_str(), name.section.c_str(), name.key.c_str(),
                                default_timeout),
         "cannot remove " + full_text(name));
}

std::vector<Store::NameSpace> Store::name_spaces() {
    std::vector<NameSpace> result;
    const auto take = [](const char *name, bool persistent, void *user) {
        static_cast<std::vector<NameSpace> *>(user)->push_back({name, persistent});
    };
    must(libmortox_namespaces(handle_, take, &result, default_timeout), "cannot read the namespaces");
    return result;
}

std::vector<Store::Entry> Store::list() {
    std::vector<Entry> result;
    const auto take = [](const NotifyPair *pair, void *user) {
        const SettingName name = {pair->key->name_space, pair->key->section, pair->key->key};
        static_cast<std::vector<Entry> *>(user)->push_back({name, text_of(pair->value).value_or("")});
    };
    for (const NameSpace &name_space : name_spaces()) {
        must(libmortox_list(handle_, name_space.name.c_str(), nullptr, take, &result, default_timeout),
             "cannot list " + name_space.name);
    }
    return result;
}

} // namespace ctl
