#include "common/volume_map.h"

#include <algorithm>
#include <array>

namespace tonelink {

namespace {

struct volume_band {
    int32_t lowest; // master volume of the band
    int32_t volume; // of sound type 1
};

// The highest band first.
constexpr std::array<volume_band, 6> kOrdinaryBands = {
    {{91, 0}, {61, 1}, {51, 3}, {41, 5}, {21, 7}, {10, 11}}};
constexpr std::array<volume_band, 12> kAvBands = {{{91, 0},
                                                   {75, 3},
                                                   {40, 4},
                                                   {30, 5},
                                                   {20, 6},
                                                   {15, 8},
                                                   {10, 9},
                                                   {8, 10},
                                                   {6, 11},
                                                   {4, 12},
                                                   {2, 13},
                                                   {1, 14}}};

/// The volume of the band that `master` lies in, `below` when it lies under the lowest.
template <class Bands> int32_t volume_in(const Bands &bands, int64_t master, int32_t below)
{
    const auto band =
        std::ranges::find_if(bands, [master](volume_band b) { return master >= b.lowest; });
    return band == bands.end() ? below : band->volume;
}

} // namespace

int32_t ordinary_product_volume(int64_t master, int32_t maximum)
{
    return volume_in(kOrdinaryBands, master, maximum);
}

int32_t av_product_volume(int64_t master) { return volume_in(kAvBands, master, 0); }

} // namespace tonelink
