/*
 * The scene of the software board, for people. Pure functions.
 */
#ifndef STRELLCTL_SCENE_TEXT_H
#define STRELLCTL_SCENE_TEXT_H

#include "board/scene_protocol.h"

#include <string>
#include <vector>

namespace ctl {

/* A line for each of light, sensor, view and object. */
std::string scene_text(const board::SceneStateRecord &state);

/* What strellctl scene can be asked to do, for completion. */
std::vector<std::string> scene_subjects();

} // namespace ctl

#endif
