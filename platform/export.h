/*
 * Marks the definition of a function that a platform library exports; every other symbol of a library is
 * hidden.
 */
#ifndef PLATFORM_EXPORT_H
#define PLATFORM_EXPORT_H

#define PLATFORM_API extern "C" __attribute__((visibility("default")))

#endif
