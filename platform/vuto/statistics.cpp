// Each report is one datagram on a socket of its own: reports are so rare that keeping one open is not worth
// it.

#include "libvuto_statistics.h"

#include "export.h"
#include "run_dir/run_dir.h"

#include <errno.h>
#include <json-c/json.h>
#include <string.h>
#include <unistd.h>

namespace {

constexpr char service_path[] = "/run/vuto_statistics";

int send_text(const char *text) {
    sockaddr_un address;
    const int length = run_dir_address(service_path, &address);
    if (length < 0) {
        return length;
    }
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        return -errno;
    }
    const ssize_t sent = sendto(fd, text, strlen(text), MSG_NOSIGNAL, reinterpret_cast<sockaddr *>(&address),
                                static_cast<socklen_t>(length));
    const int result = sent < 0 ? -errno : 0;
    close(fd);
    return result;
}

} // namespace

PLATFORM_API int report_stat_object(const char *name, json_object *object) {
    json_object *report = json_object_new_object();
    if (name == nullptr || object == nullptr || report == nullptr) {
        json_object_put(object);
        json_object_put(report);
        return -EINVAL;
    }
    json_object_object_add(report, "name", json_object_new_string(name));
    json_object_object_add(report, "object", object);
    const int result = send_text(json_object_to_json_string_ext(report, JSON_C_TO_STRING_PLAIN));
    json_object_put(report);
    return result;
}
