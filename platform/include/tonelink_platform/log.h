/** @file What the library expects of the platform's log. */
#ifndef TONELINK_PLATFORM_LOG_H
#define TONELINK_PLATFORM_LOG_H

#include "export.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Writes one line to the log.
 *
 * The host platform's log goes where tonelink_host_set_log() has sent it, else where the variable
 * TONELINK_LOG says: "stderr", "syslog" or "none", which is also the default. Line ends at the
 * start and at the end of the text are dropped, those within become blanks: one call makes one
 * line, in one write.
 * @param log_id    0: the main log
 * @param priority  4: information; 2 verbose, 3 debug, 5 warning, 6 error, 7 fatal
 * @param tag       who speaks
 * @param format    as for printf()
 * @return 0, or -22 for a null tag or format and a format that cannot be printed
 */
/* NOLINTNEXTLINE(bugprone-reserved-identifier): the name is the platform's. */
TONELINK_PLATFORM_API int __dlog_print(int log_id, int priority, const char *tag,
                                       const char *format, ...)
    __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif

#endif
