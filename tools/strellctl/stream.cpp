#include "strellctl/stream.h"

#include "strellctl/failure.h"
#include "strellctl/wording.h"

namespace ctl {

const Stream &stream_named(const std::string &name) {
    for (const Stream &stream : streams) {
        if (name == stream.name) {
            return stream;
        }
    }
    throw Usage("there is no stream \"" + printable(name) + "\": it is main or sub");
}

} // namespace ctl
