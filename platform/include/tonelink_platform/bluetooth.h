/** @file What the library expects of the platform's Bluetooth: the adapter's address. */
#ifndef TONELINK_PLATFORM_BLUETOOTH_H
#define TONELINK_PLATFORM_BLUETOOTH_H

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Reads the adapter's device address as text, "AA:BB:CC:DD:EE:FF".
 * @param address  receives the text, which the caller releases with free()
 * @return 0, or a negative code with nothing stored
 */
int bt_adapter_get_address(char **address);

#ifdef __cplusplus
}
#endif

#endif
