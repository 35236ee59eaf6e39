#define TONELINK_LOG_FILE "tonelink_tx.cpp"
#include "common/transmit_volume.h"

#include <algorithm>
#include <array>

#include "common/log.h"
#include "tonelink/service.h"
#include "tonelink_platform/sound_manager.h"

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

int32_t product_volume(int64_t master, int32_t maximum)
{
    return IsAVProduct() == 1 ? av_product_volume(master)
                              : ordinary_product_volume(master, maximum);
}

// What a failing read stores is not to be trusted.

int read_volume(int otherwise)
{
    int volume = otherwise;
    return sound_manager_get_volume(kUsedSoundType, &volume) == 0 ? volume : otherwise;
}

int read_max_volume(int otherwise)
{
    int maximum = otherwise;
    return sound_manager_get_max_volume(kUsedSoundType, &maximum) == 0 ? maximum : otherwise;
}

transmit_volumes read_transmit_volumes(int32_t unknown_prior, const char *caller)
{
    int master = 0;
    if (sound_manager_get_tv_master_volume(&master) != 0) master = 0;
    const int32_t prior = read_volume(unknown_prior);
    const int maximum = read_max_volume(0);
    TONELINK_LOG_AS(caller,
                    "TONE_LINK USED_SOUND_TYPE get_volume[%d] get_max_volume[%d] "
                    "get_master_volume [%d]\n\n",
                    prior, maximum, master);
    return {master, prior, maximum};
}

void set_transmit_volume(int32_t (*column)(int64_t, int32_t), transmit_volumes &volumes,
                         const char *caller)
{
    volumes.set = column(volumes.master, volumes.maximum);
    sound_manager_set_volume(kUsedSoundType, volumes.set);
    TONELINK_LOG_AS(caller, "BLEAPP USED_SOUND_TYPE set vol[%d] \n\n", volumes.set);
    volumes.maximum = read_max_volume(volumes.maximum);
}

} // namespace tonelink
