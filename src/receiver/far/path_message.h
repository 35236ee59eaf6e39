// From a path through the code's trellis to the message that it is, if its CRC agrees.
#pragma once

#include <cstddef>
#include <cstdint>

#include "receiver/far/path_list.h"

namespace tonelink {

/// Whether a path's CRC is that of its message of 32 or 48 bits.
bool passes_crc_check(const path_bits &path, std::size_t message_bits);

/// The message's bits, the first one the most significant of `message_bits`.
uint64_t message_of(const path_bits &path, std::size_t message_bits);

} // namespace tonelink
