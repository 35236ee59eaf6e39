// The two facts of a pairing message: a PIN drawn from the clock, and this machine's Bluetooth
// address.
#include "common/common.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "common/log.h"
#include "tonelink_platform/bluetooth.h"

int32_t pin_num = 5821;
int32_t application_mode = 0;

namespace {

struct bluetooth_error {
    int32_t code;
    const char *name;
};

constexpr bluetooth_error kBluetoothErrors[] = {
    {-1073741823, "TIMED_OUT"},
    {-29359871, "NOT_INITIALIZED"},
    {-29359870, "NOT_ENABLED"},
    {-29359869, "ALREADY_DONE"},
    {-29359868, "OPERATION_FAILED"},
    {-29359867, "NOT_IN_PROGRESS"},
    {-29359866, "REMOTE_DEVICE_NOT_BONDED"},
    {-29359865, "AUTH_REJECTED"},
    {-29359864, "AUTH_FAILED"},
    {-29359863, "REMOTE_DEVICE_NOT_FOUND"},
    {-29359862, "SERVICE_SEARCH_FAILED"},
    {-29359861, "REMOTE_DEVICE_NOT_CONNECTED"},
    {-125, "CANCELLED"},
    {-115, "NOW_IN_PROGRESS"},
    {-22, "INVALID_PARAMETER"},
    {-16, "RESOURCE_BUSY"},
    {-12, "OUT_OF_MEMORY"},
};

} // namespace

int32_t tonelink::draw_random_pin()
{
    constexpr auto kCaller = "Generate_Random_PIN";
    auto seed = static_cast<unsigned int>(std::time(nullptr));
    const auto draw = static_cast<unsigned int>(rand_r(&seed));
    const auto pin = static_cast<int32_t>(draw % 9000 + 1000);
    std::atomic_ref{pin_num} = pin;

    std::array<char, 5> random_pin; // four digits and the terminator
    std::snprintf(random_pin.data(), random_pin.size(), "%d", pin);
    TONELINK_LOG_AS(kCaller, "int pin_num = %d", pin);
    TONELINK_LOG_AS(kCaller, "char random_pin = %s", random_pin.data());
    return pin;
}

void Generate_Random_PIN(void) { tonelink::draw_random_pin(); }

int32_t Get_Random_PIN(void) { return std::atomic_ref{pin_num}; }

int32_t get_audio_pin(void) { return Get_Random_PIN(); }

char *Get_TV_BD_Addr(void)
{
    char *address = nullptr;
    const int result = bt_adapter_get_address(&address);
    if (result != 0 || address == nullptr) {
        TONELINK_LOG("Error:: bt_adapter_get_address failed %s \n\n",
                     convert_bt_error_to_string(result));
        return nullptr;
    }
    TONELINK_LOG("\n bt_adapter_get_address_=%s \n\n", address);
    return address;
}

const char *convert_bt_error_to_string(int32_t code)
{
    const auto *const error = std::ranges::find(kBluetoothErrors, code, &bluetooth_error::code);
    return error == std::end(kBluetoothErrors) ? "NONE" : error->name;
}

void set_app_mode(int32_t mode)
{
    std::atomic_ref{application_mode} = mode;
    TONELINK_LOG("\n application_mode = %d \n\n", mode);
}

int32_t get_app_mode(void) { return std::atomic_ref{application_mode}; }
