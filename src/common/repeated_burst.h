// A row of samples that repeats a burst: what players write.
#pragma once

#include <cstdint>
#include <span>

#include "common/guards.h"
#include "tonelink/toolkit.h"

namespace tonelink {

using samples_ptr = unique_handle<int16_t, ac_free_memory>;

/// `count` samples, at least 1, of the burst again and again from its start; null without memory.
samples_ptr repeat_burst(std::span<const int16_t> burst, int64_t count);

} // namespace tonelink
