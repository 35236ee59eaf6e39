// Lays out PIN, address and data as message bits. Composers only ever write the bits of their
// fields, into a row that the caller has cleared.
#include "common/format_msg.h"

#include <algorithm>
#include <cstdlib>

#include "common/log.h"

uint8_t pin_array[255];
int32_t m_pin_Type = tonelink::kRandomPin;

namespace {

/// The low 8 bits of six numbers as they stand in a Bluetooth address.
using octets = std::array<uint8_t, 6>;

/// Reads up to six hexadecimal numbers of 64 bits with `separator` between them, or, when that is
/// 0, white space. Numbers that the text does not supply are 0.
octets read_octets(const char *text, char separator)
{
    octets numbers{};
    for (uint8_t &number : numbers) {
        char *end = nullptr;
        const unsigned long long value = std::strtoull(text, &end, 16);
        if (end == text) break;
        number = static_cast<uint8_t>(value);
        if (separator != 0 && *end++ != separator) break;
        text = end;
    }
    return numbers;
}

void log_bits(const char *caller, const uint8_t *bits, int32_t first, int32_t count)
{
    for (int32_t i = first; i < first + count; ++i)
        TONELINK_LOG_AS(caller, "bin_arr[%d]-->%d", i, bits[i]);
}

} // namespace

void put(uint8_t *bits, uint32_t value, int32_t offset, int32_t width)
{
    if (bits == nullptr) return;
    for (int32_t i = width - 1; i >= 0 && value != 0; --i, value >>= 1)
        bits[offset + i] = value & 1u;
}

void format_msg(uint8_t *bits, int32_t pin, const char *address, int32_t nbits)
{
    if (bits == nullptr) {
        TONELINK_LOG("bin_arr is NULL");
        return;
    }
    if (address == nullptr) {
        TONELINK_LOG("mac_address is NULL");
        return;
    }
    const octets numbers = read_octets(address, ':');
    TONELINK_LOG("%d", pin);

    const int32_t pin_width = nbits == 32 ? 16 : nbits == 48 ? 32 : 0;
    put(bits, static_cast<uint32_t>(pin), 0, pin_width);
    put(bits, numbers[4], pin_width, 8);
    put(bits, numbers[5], pin_width + 8, 8);
    const auto row = static_cast<int32_t>(sizeof pin_array);
    log_bits(__func__, bits, 0, std::min(nbits, row));
}

void format_msg_pin(uint8_t *bits, const char *pin_text)
{
    if (bits == nullptr) {
        TONELINK_LOG("bin_arr is NULL");
        return;
    }
    if (pin_text == nullptr) {
        TONELINK_LOG("pin is NULL");
        return;
    }
    const octets numbers = read_octets(pin_text, 0);
    int32_t value = 0;
    const char *next = pin_text;
    for (int digit = 0; digit < 4; ++digit) {
        // A signed number on every machine, whatever its plain char is.
        value = value * 100 + static_cast<int8_t>(*next);
        if (*next != 0) ++next;
    }
    TONELINK_LOG("%d", value);

    put(bits, static_cast<uint32_t>(value), 0, 32);
    put(bits, numbers[4], 32, 8);
    put(bits, numbers[5], 40, 8);
    log_bits(__func__, bits, 0, 48);
}

void format_msgm(uint8_t *bits, const uint8_t *data, int32_t length, int32_t packet_type)
{
    const int32_t capacity = packet_type == 1 ? 4 : packet_type == 2 ? 6 : 0; // bytes
    if (length < capacity) TONELINK_LOG("Error in length so truncating buffer");
    const int32_t written = std::min(length, capacity);
    if (written <= 0) return;
    if (bits == nullptr) {
        TONELINK_LOG("bin_arr is NULL");
        return;
    }
    if (data == nullptr) {
        TONELINK_LOG("data is NULL");
        return;
    }
    for (int32_t i = 0; i < written; ++i) {
        put(bits, data[i], 8 * i, 8);
        log_bits(__func__, bits, 8 * i, 8);
    }
}
