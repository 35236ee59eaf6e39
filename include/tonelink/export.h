/**
 * @file
 * The two markers on what the library exports: functions, and data.
 *
 * Both are ordinary visible symbols. The library's own calls are bound to its own functions when it
 * is linked, so a program may have functions of the same names. Data is the other way round: there
 * is one variable of each name in a process, which program and library share however the program is
 * linked, so a program may declare it but not define one of its own (transmit.h).
 */
#ifndef TONELINK_EXPORT_H
#define TONELINK_EXPORT_H

#define TONELINK_API __attribute__((visibility("default")))
#define TONELINK_DATA extern __attribute__((visibility("default")))

#endif
