/*
 * JSON objects for --json, on json-c.
 *
 *     JsonObject object;
 *     object.add("stream", "main").add("fps", 15.0, 2);
 *     print_line(object.text());
 *
 * Threads: one at a time.
 */
#ifndef STRELLCTL_JSON_H
#define STRELLCTL_JSON_H

#include <concepts>
#include <cstdint>
#include <string>

struct json_object;

namespace ctl {

class JsonObject {
  public:
    JsonObject();
    ~JsonObject();
    JsonObject(JsonObject &&other) noexcept;
    JsonObject(const JsonObject &) = delete;
    JsonObject &operator=(const JsonObject &) = delete;
    JsonObject &operator=(JsonObject &&) = delete;

    JsonObject &add(const char *name, const std::string &value);
    JsonObject &add(const char *name, const char *value);
    JsonObject &add(const char *name, bool value);
    JsonObject &add(const char *name, std::integral auto value) {
        return add_integer(name, static_cast<int64_t>(value));
    }
    /* With so many digits behind the point. */
    JsonObject &add(const char *name, double value, int digits);
    JsonObject &add(const char *name, JsonObject value);
    JsonObject &add_null(const char *name);

    /* A JSON text from elsewhere as a member; null when it is none. */
    JsonObject &add_json(const char *name, const std::string &text);

    /* In one line. */
    std::string text() const;

  private:
    JsonObject &add_integer(const char *name, int64_t value);
    JsonObject &add_object(const char *name, json_object *value);

    json_object *object_;
};

} // namespace ctl

#endif
