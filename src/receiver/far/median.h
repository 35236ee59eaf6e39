// The median of a few numbers.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

namespace tonelink {

/// Of an even number, the upper one of the two in the middle.
template <class Real, std::size_t Count> Real median_of(std::array<Real, Count> values)
{
    const auto middle = values.begin() + Count / 2;
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace tonelink
