// How the library writes to the platform's log: one macro, whose lines carry file, function and
// line.
#pragma once

#include "tonelink_platform/log.h"

/// The file that lines are said to come from. One that was cut out of another names that other
/// before it includes this header: who reads logs knows functions by the file that they are
/// documented under.
#ifndef TONELINK_LOG_FILE
#define TONELINK_LOG_FILE __FILE_NAME__
#endif

/// Logs a line in the name of `function`: for a body that several documented functions share.
#define TONELINK_LOG_AS(function, format, ...)                                                     \
    __dlog_print(0, 4, "TONE_LINK_LOG", "%s: %s(%d) > [%s:%d] " format, TONELINK_LOG_FILE,         \
                 function, __LINE__, function, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

/// Logs a line in the name of the function that it stands in.
#define TONELINK_LOG(format, ...) TONELINK_LOG_AS(__func__, format __VA_OPT__(, ) __VA_ARGS__)
