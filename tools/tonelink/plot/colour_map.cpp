#include "plot/colour_map.h"

#include <algorithm>
#include <array>

namespace tonelink::tool {
namespace {

/// Nine even stops of the map known as "magma"; between them the colour runs in straight lines.
constexpr std::array<unsigned, 9> kStops{0x000004, 0x1c1044, 0x4f127b, 0x812581, 0xb5367a,
                                         0xe55064, 0xfb8761, 0xfec287, 0xfcfdbf};

} // namespace

colour map_colour(double value)
{
    const double share_of_map = value > 0 ? std::min(value, 1.0) : 0.0; // 0 also if no number
    const double at = share_of_map * (kStops.size() - 1);
    const std::size_t stop = std::min(static_cast<std::size_t>(at), kStops.size() - 2);
    const double share = at - static_cast<double>(stop);
    const colour a = rgb(kStops[stop]), b = rgb(kStops[stop + 1]);
    const auto between = [share](double x, double y) { return x + share * (y - x); };
    return {between(a.red, b.red), between(a.green, b.green), between(a.blue, b.blue)};
}

} // namespace tonelink::tool
