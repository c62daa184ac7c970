// strellctl status: whether the camera is up.

#include "strellctl/all_commands.h"
#include "strellctl/failure.h"
#include "strellctl/output.h"
#include "strellctl/status_follow.h"
#include "strellctl/status_report.h"

namespace ctl {

int run_status(const Arguments &arguments) {
    if (arguments.has("--follow")) {
        return follow_status(arguments.has("--json"));
    }
    const StatusReport report = read_status();
    if (arguments.has("--json")) {
        print_line(status_json(report));
    } else {
        print(status_text(report));
    }
    if (!report.good()) {
        throw Failure(status_trouble(report));
    }
    return exit_good;
}

} // namespace ctl
