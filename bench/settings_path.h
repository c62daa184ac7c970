/*
 * One way on which a change of a setting gets from its writer to a call of the board in another process, as
 * the benchmark of settings compares them. All that it takes is started with the object and ends with it.
 *
 * Whoever calls the board reports to `reports`, the writing end of a pipe (board_call.h).
 */
#ifndef BENCH_SETTINGS_PATH_H
#define BENCH_SETTINGS_PATH_H

#include "camera.h"

#include <memory>
#include <string>

namespace bench {

class SettingsPath {
  public:
    virtual ~SettingsPath() = default;
    virtual std::string name() const = 0;
    /* Writes the setting "flip"; returns when the writer has been told that it is stored. */
    virtual void change(bool flipped) = 0;
};

/* Nothing can be faster, beside a camera that streams: with Keeps::on_disk a page is written and synced; then
 * a packet wakes a process. */
std::unique_ptr<SettingsPath> make_floor(Keeps keeps, int reports);
/* libmortox, mortoxd, strell_v2, libboardav. */
std::unique_ptr<SettingsPath> make_strell(Keeps keeps, int reports);
/*
 * hiredis SETs and PUBLISHes in one go; redis-server, on disk with a log that is synced before it answers
 * anybody; a subscriber on a libev loop parses the pair; libboardav.
 */
std::unique_ptr<SettingsPath> make_redis(Keeps keeps, int reports);

/* What the process that calls the board is started with. */
support::Process::Environment probed(int reports);

} // namespace bench

#endif
