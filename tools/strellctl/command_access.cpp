// strellctl access: who may listen, and who does.

#include "strellctl/access_report.h"
#include "strellctl/all_commands.h"
#include "strellctl/failure.h"
#include "strellctl/output.h"

namespace ctl {

int run_access(const Arguments &arguments) {
    const std::vector<ChannelAccess> channels = read_access();
    if (arguments.has("--json")) {
        print_line(access_json(channels));
    } else {
        print(access_text(channels));
    }
    const std::string trouble = access_trouble(channels);
    if (!trouble.empty()) {
        throw Failure(trouble);
    }
    return exit_good;
}

} // namespace ctl
