#include "common/repeated_burst.h"

#include <algorithm>
#include <cassert>
#include <limits>

namespace tonelink {

samples_ptr repeat_burst(std::span<const int16_t> burst, int64_t count)
{
    assert(!burst.empty() && count > 0);
    const auto bytes = static_cast<uint64_t>(count) * sizeof(int16_t);
    if (bytes > std::numeric_limits<uint32_t>::max()) return nullptr;
    samples_ptr samples{static_cast<int16_t *>(ac_allocate_memory(static_cast<uint32_t>(bytes)))};
    if (!samples) return nullptr;

    const std::span<int16_t> row{samples.get(), static_cast<std::size_t>(count)};
    for (std::size_t at = 0; at < row.size(); at += burst.size()) {
        const std::size_t length = std::min(burst.size(), row.size() - at);
        std::ranges::copy(burst.first(length), row.begin() + static_cast<std::ptrdiff_t>(at));
    }
    return samples;
}

} // namespace tonelink
