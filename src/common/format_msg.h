// The row of bits that a message is composed into, and the message prepared for the next
// transmission.
#pragma once

#include "tonelink/payload.h"

#include <array>
#include <cstdint>

namespace tonelink {

/// Room for a message; composers rely on it being cleared beforehand.
using message_row = std::array<uint8_t, 255>;

/// What `m_pin_Type` says about the message sent next.
inline constexpr int32_t kRandomPin = 1;   // a fresh PIN with the Bluetooth address
inline constexpr int32_t kPreparedPin = 2; // `pin_array`; so do all other values

} // namespace tonelink

extern uint8_t pin_array[255];
extern int32_t m_pin_Type;
