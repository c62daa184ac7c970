/*
 * The GStreamer elements that boardd cannot do without, and where they come from.
 */
#ifndef PLATFORM_BOARD_BOARDD_ELEMENTS_H
#define PLATFORM_BOARD_BOARDD_ELEMENTS_H

#include <string>

namespace board {

/* Empty when every element that boardd always needs is installed; else one line that names what is missing
 * and the Debian packages that bring it. After gst_init. */
std::string missing_elements();

/* The package for an element that a source needs, as advice behind an error: empty when not known. */
std::string package_advice(const std::string &element);

} // namespace board

#endif
