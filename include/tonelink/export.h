/**
 * @file
 * The two markers on what the library exports.
 *
 * Inside the library a marked symbol is visible and protected: the library's own calls and data
 * stay its own, whatever a program defines under the same names. Callers declare exported data
 * weak, so that a position-independent program, the compilers' default, reads the real variable
 * through its address table. One linked with -no-pie would read a copy made when it starts: on x86
 * the linker refuses that. On 32-bit ARM GNU ld only warns ("copy reloc against protected"): take
 * the warning for an error (-Wl,--fatal-warnings).
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
