/** @file What the library expects of the platform's Bluetooth: the adapter's address. */
#ifndef TONELINK_PLATFORM_BLUETOOTH_H
#define TONELINK_PLATFORM_BLUETOOTH_H

#include "export.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Reads the adapter's device address as text, "AA:BB:CC:DD:EE:FF".
 *
 * On the host platform it is the address set by tonelink_host_set_bluetooth_address(), else that of
 * the variable TONELINK_BT_ADDRESS, else that of the machine's first adapter (hci0 before hci1),
 * asked of BlueZ on the system bus; this waits for at most ten seconds.
 * @param address  receives the text, which the caller releases with free()
 * @return 0, or a negative code with nothing stored:
 *         -22 for a null pointer, or a TONELINK_BT_ADDRESS that is no address;
 *         -12 without memory;
 *         -29359870 (not enabled) when there is no adapter, no BlueZ or no system bus;
 *         -29359868 (operation failed) when BlueZ does not answer as it should
 */
TONELINK_PLATFORM_API int bt_adapter_get_address(char **address);

#ifdef __cplusplus
}
#endif

#endif
