/**
 * @file
 * The two markers on what the library exports.
 *
 * Inside the library a marked symbol is visible and protected: the library's own calls and data stay
 * its own, whatever a program defines under the same names. Callers declare exported data weak, so
 * that a position-independent program reads the real variable through its address table; a program
 * linked with -no-pie that touches exported data is refused by the linker.
 */
#ifndef TONELINK_EXPORT_H
#define TONELINK_EXPORT_H

#ifdef TONELINK_BUILDING
#define TONELINK_API __attribute__((visibility("protected")))
#define TONELINK_DATA extern __attribute__((visibility("protected")))
#else
#define TONELINK_API
#define TONELINK_DATA extern __attribute__((weak))
#endif

#endif
