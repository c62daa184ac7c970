/*
 * The members "codec", "width" and "height", as every command with --json has them. Any thread.
 */
#ifndef STRELLCTL_FORMAT_JSON_H
#define STRELLCTL_FORMAT_JSON_H

#include "strellctl/frame.h"
#include "strellctl/json.h"

namespace ctl {

/* All three are null while the format is not known. */
inline void add_format(JsonObject *object, const std::optional<StreamFormat> &format) {
    if (format) {
        object->add("codec", codec_name(format->codec));
        object->add("width", format->width).add("height", format->height);
    } else {
        object->add_null("codec").add_null("width").add_null("height");
    }
}

} // namespace ctl

#endif
