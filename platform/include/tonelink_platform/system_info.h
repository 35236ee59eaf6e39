/** @file What the library expects of the platform's system information. */
#ifndef TONELINK_PLATFORM_SYSTEM_INFO_H
#define TONELINK_PLATFORM_SYSTEM_INFO_H

#include <stdbool.h>

#include "export.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Reads a switch of the product.
 *
 * The host platform knows one key, "com.orvane/featureconf/tonelink.set_volume_av_type": whether
 * the product is an AV product. It says what tonelink_host_set_av_product() has set, else what the
 * variable TONELINK_AV_PRODUCT says (0 or 1), else false.
 * @param key    its name
 * @param value  receives the switch
 * @return 0, or -22 with nothing stored: null pointer, another key, another text in the variable
 */
TONELINK_PLATFORM_API int system_info_get_custom_bool(const char *key, bool *value);

#ifdef __cplusplus
}
#endif

#endif
