// The machine's Bluetooth adapters, as BlueZ knows them.
#pragma once

#include <string>

namespace tonelink::host {

/// Whether the text is six hexadecimal octets with colons between.
bool is_device_address(const std::string &text);

/// Device address of the machine's first adapter. Throws a failure.
std::string first_adapter_address();

} // namespace tonelink::host
