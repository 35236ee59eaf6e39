#include "common/transmit_volume.h"

#include <gtest/gtest.h>

#include <climits>

namespace tonelink::test {

TEST(VolumeMap, HasTheDocumentedBands)
{
    constexpr int32_t kMax = 15;
    const struct {
        int64_t from;
        int64_t to;
        int32_t ordinary;
        int32_t av;
    } bands[] = {{INT_MIN, 0, kMax, 0}, {1, 1, kMax, 14}, {2, 3, kMax, 13}, {4, 5, kMax, 12},
                 {6, 7, kMax, 11},      {8, 9, kMax, 10}, {10, 14, 11, 9},  {15, 19, 11, 8},
                 {20, 20, 11, 6},       {21, 29, 7, 6},   {30, 39, 7, 5},   {40, 40, 7, 4},
                 {41, 50, 5, 4},        {51, 60, 3, 4},   {61, 74, 1, 4},   {75, 90, 1, 3},
                 {91, UINT_MAX, 0, 0}};
    for (const auto &band : bands)
        for (const int64_t master : {band.from, band.to, (band.from + band.to) / 2}) {
            EXPECT_EQ(ordinary_product_volume(master, kMax), band.ordinary) << master;
            EXPECT_EQ(av_product_volume(master), band.av) << master;
        }
}

} // namespace tonelink::test
