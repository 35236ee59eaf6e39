// Prepares the message that the type-taking starts send: a PIN with an address, as numbers or as a
// text.
#define TONELINK_LOG_FILE "SoundMgr.cpp"
#include "audioapi/prepared_message.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <pthread.h>

#include "common/guards.h"
#include "common/log.h"

namespace tonelink {

namespace {

pthread_mutex_t prepared_mutex = PTHREAD_MUTEX_INITIALIZER; // never held while calling out

constexpr uint32_t kLongestCustomPin = 19; // bytes, address included

/// The low 32 bits of the number of 64 that a text begins with.
int32_t decimal_number(const char *text)
{
    return static_cast<int32_t>(static_cast<uint32_t>(std::strtoll(text, nullptr, 10)));
}

/// Writes the number and the address bytes, most significant first, and logs the row.
void compose_with_address(int32_t pin, const char *address, int32_t pin_width, message_row &row,
                          const char *caller)
{
    put(row.data(), static_cast<uint32_t>(pin), 0, pin_width);
    put(row.data(), static_cast<uint8_t>(address[0]), pin_width, 8);
    put(row.data(), static_cast<uint8_t>(address[1]), pin_width + 8, 8);
    TONELINK_LOG_AS(caller, "Pin_Array Start");
    const auto bits = static_cast<std::size_t>(pin_width) + 16;
    for (std::size_t i = 0; i < bits; ++i) TONELINK_LOG_AS(caller, "%d", row[i]);
    TONELINK_LOG_AS(caller, "Pin_Array End");
}

/// set_pin_Custom_in_ultrasound() but for its lines of entry and exit.
int32_t prepare_custom_pin(const char *buffer, int32_t packet_type, int32_t pin_type,
                           int32_t length, bool with_address, const char *caller)
{
    if (buffer == nullptr || length == 0) {
        TONELINK_LOG_AS(caller, "set_pin_in_ultrasound buffer_set NULL");
        return -1;
    }
    if (static_cast<uint32_t>(length) > kLongestCustomPin) {
        prepare_type(pin_type);
        TONELINK_LOG_AS(caller, "buffer length greater then size");
        return -1;
    }
    const int32_t pin_width = packet_type == 1 ? 16 : packet_type == 2 ? 32 : 0;
    const int32_t text_length = with_address ? std::max(length - 2, 0) : length;
    std::array<char, kLongestCustomPin + 1> text{};
    std::copy_n(buffer, text_length, text.begin());
    prepared_message message{pin_type};

    const int32_t pin = decimal_number(text.data());
    TONELINK_LOG_AS(caller, "***PIN =%d", pin);
    if (static_cast<uint32_t>(pin) <= 999) {
        TONELINK_LOG_AS(caller, "Pin Out of Range");
        prepare(message); // all zero
        return -1;
    }
    if (with_address)
        compose_with_address(pin, buffer + text_length, pin_width, message.bits, caller);
    else
        put(message.bits.data(), static_cast<uint32_t>(pin), 0, pin_width + 16);
    prepare(message);
    return 0;
}

} // namespace

prepared_message prepared()
{
    const pthread_lock lock{prepared_mutex};
    return {m_pin_Type, std::to_array(pin_array)};
}

void prepare(const prepared_message &message)
{
    const pthread_lock lock{prepared_mutex};
    m_pin_Type = message.pin_type;
    std::ranges::copy(message.bits, pin_array);
}

void prepare_type(int32_t pin_type)
{
    const pthread_lock lock{prepared_mutex};
    m_pin_Type = pin_type;
}

} // namespace tonelink

using namespace tonelink;

void set_pin_in_ultrasound(int32_t pin, const char *address)
{
    TONELINK_LOG("ENTER\n");
    if (address == nullptr) {
        TONELINK_LOG("set_pin_in_ultrasound mac_address NULL");
    } else {
        prepared_message message{kPreparedPin};
        format_msg(message.bits.data(), pin, address, 48);
        prepare(message);
    }
    TONELINK_LOG("EXIT\n");
}

int32_t set_pin_Custom_in_ultrasound(const char *buffer, int32_t packet_type, int32_t pin_type,
                                     int32_t length, int32_t with_address)
{
    TONELINK_LOG("ENTER\n");
    const int32_t result =
        prepare_custom_pin(buffer, packet_type, pin_type, length, with_address != 0, __func__);
    if (result != 0) TONELINK_LOG("EXIT\n");
    return result;
}
