// The device address: set by the program, given by the environment, or the first adapter's.

#include "tonelink_platform/bluetooth.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "bluez.h"
#include "result.h"
#include "setting.h"
#include "tonelink_platform/host.h"

namespace tonelink::host {

namespace {

// Never destroyed: a thread may use it while the process ends.
setting &chosen_address()
{
    static auto &chosen = *new setting{"TONELINK_BT_ADDRESS"};
    return chosen;
}

std::string device_address()
{
    auto address = chosen_address().get();
    if (!address) return first_adapter_address();
    if (!is_device_address(*address))
        throw failure{kInvalidParameter, "TONELINK_BT_ADDRESS is \"" + *address +
                                             "\"; it can be an address like AA:BB:CC:DD:EE:FF"};
    std::transform(address->begin(), address->end(), address->begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return *address;
}

} // namespace

} // namespace tonelink::host

using namespace tonelink::host;

int bt_adapter_get_address(char **address)
{
    return at_boundary([&] {
        if (address == nullptr) return kInvalidParameter;
        char *const text = strdup(device_address().c_str());
        if (text == nullptr) return kOutOfMemory;
        *address = text;
        return kOk;
    });
}

int tonelink_host_set_bluetooth_address(const char *address)
{
    return at_boundary([&] {
        if (address != nullptr && !is_device_address(address)) return kInvalidParameter;
        chosen_address().set(address);
        return kOk;
    });
}
