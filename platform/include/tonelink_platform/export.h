/**
 * @file
 * The marker on what the host platform exports.
 *
 * Inside it, a marked function is visible and protected: a program may put its own in its place for
 * the library, and the host platform's own calls stay its own.
 */
#ifndef TONELINK_PLATFORM_EXPORT_H
#define TONELINK_PLATFORM_EXPORT_H

#ifdef TONELINK_PLATFORM_BUILDING
#define TONELINK_PLATFORM_API __attribute__((visibility("protected")))
#else
#define TONELINK_PLATFORM_API
#endif

#endif
