/** @file What the library expects of the platform's log. */
#ifndef TONELINK_PLATFORM_LOG_H
#define TONELINK_PLATFORM_LOG_H

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Writes one line to the log.
 * @param log_id    0: the main log
 * @param priority  4: information
 * @param tag       who speaks
 * @param format    as for printf()
 */
int __dlog_print(int log_id, int priority, const char *tag, const char *format, ...)
    __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif

#endif
