/*
 * A connection to the settings store, on libmortox.h, that fails with a sentence.
 *
 *     Store store;
 *     std::optional<std::string> value = store.get({"nvram", "default", "flip"});
 *
 * Every call may throw Failure: the store is not there, has gone, or refuses. Threads: one.
 */
#ifndef STRELLCTL_STORE_H
#define STRELLCTL_STORE_H

#include "libmortox.h"
#include "strellctl/setting_name.h"

#include <optional>
#include <string>
#include <vector>

namespace ctl {

class Store {
  public:
    /* Connects. */
    Store();
    ~Store();
    Store(const Store &) = delete;
    Store &operator=(const Store &) = delete;

    /* Nothing when there is no value. */
    std::optional<std::string> get(const SettingName &name);

    /* Returns when the value is stored: on disk, in a namespace that is kept there. */
    void set(const SettingName &name, const std::string &value);

    /* No value any more; fine also when there was none. */
    void remove(const SettingName &name);

    struct Entry {
        SettingName name;
        std::string value;
    };
    /* Everything that is stored, by namespace, section and key. */
    std::vector<Entry> list();

    struct NameSpace {
        std::string name;
        bool persistent;
    };
    std::vector<NameSpace> name_spaces();

  private:
    void must(bool result, const std::string &what);

    mortox_t *handle_;
};

/* Why connecting failed, and what to do. `error` is a positive errno value. */
std::string store_failure(int error);

/* A value that the library hands out, taken over; nothing when it is none. */
std::optional<std::string> text_of(const xdata_t *data);

} // namespace ctl

#endif
