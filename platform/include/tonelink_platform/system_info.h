/** @file What the library expects of the platform's system information. */
#ifndef TONELINK_PLATFORM_SYSTEM_INFO_H
#define TONELINK_PLATFORM_SYSTEM_INFO_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Reads a switch of the product.
 * @param key    its name
 * @param value  receives the switch
 * @return 0, or a negative code with nothing stored
 */
int system_info_get_custom_bool(const char *key, bool *value);

#ifdef __cplusplus
}
#endif

#endif
