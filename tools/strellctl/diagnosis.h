/*
 * Why no video may come although the daemon is there.
 */
#ifndef STRELLCTL_DIAGNOSIS_H
#define STRELLCTL_DIAGNOSIS_H

#include "strellctl/stream.h"

#include <string>

namespace ctl {

/*
 * Looks at the store and the board, and says what is most likely wrong with a stream that brings no frames,
 * with what to do. One sentence, without a capital and a full stop. Takes up to some seconds when one of them
 * hangs; never throws.
 */
std::string why_no_frames(const Stream &stream);

/* The same of a request that the daemon does not answer, or of sound that does not come: the camera is off,
 * or its profile is being changed. Empty when the store does not say so. */
std::string why_camera_rests();

} // namespace ctl

#endif
