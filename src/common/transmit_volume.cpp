#define TONELINK_LOG_FILE "tonelink_tx.cpp"
#include "common/transmit_volume.h"

#include "common/log.h"
#include "common/volume_map.h"
#include "tonelink/service.h"
#include "tonelink_platform/sound_manager.h"

namespace tonelink {

int32_t product_volume(int64_t master, int32_t maximum)
{
    return IsAVProduct() == 1 ? av_product_volume(master)
                              : ordinary_product_volume(master, maximum);
}

void set_transmit_volume(int32_t (*column)(int64_t, int32_t), int &prior, const char *caller,
                         const char *manner)
{
    int master = 0;
    int maximum = 0;
    sound_manager_get_tv_master_volume(&master);
    sound_manager_get_volume(kUsedSoundType, &prior);
    sound_manager_get_max_volume(kUsedSoundType, &maximum);
    TONELINK_LOG_AS(caller,
                    "TONE_LINK USED_SOUND_TYPE get_volume[%d] get_max_volume[%d] "
                    "get_master_volume [%d]\n\n",
                    prior, maximum, master);

    const int32_t volume = column(master, maximum);
    sound_manager_set_volume(kUsedSoundType, volume);
    TONELINK_LOG_AS(caller, "BLEAPP USED_SOUND_TYPE set vol[%d] \n\n", volume);
    sound_manager_get_max_volume(kUsedSoundType, &maximum);
    TONELINK_LOG_AS(caller,
                    "BLEAPP USED_SOUND_TYPE get_volume[%d] get_max_volume[%d] %s Writing\n\n",
                    volume, maximum, manner);
}

} // namespace tonelink
