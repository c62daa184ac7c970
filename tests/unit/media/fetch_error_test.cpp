// Reports of persistent failure.

#include "media/fetch_error.h"

#include "script/daemon_test.h"

namespace {

class FetchError : public DaemonTest {};

TEST_F(FetchError, IsOneReportWithItsType) {
    for (const int32_t type : {0, 1, 2, 3, -1}) {
        script.journal.clear();
        report_fetch_error(type);
        EXPECT_EQ(script.journal,
                  (Entries{script::format(R"(report_stat_object(strell_v2.err {"type":%d}))", type)}));
    }
}

TEST_F(FetchError, IsNotReportedWithoutMemory) {
    script.json_objects = false;
    report_fetch_error(2);
    EXPECT_EQ(script.journal, Entries{});
}

} // namespace
