#include "audioapi/volume_policy.h"

#include "support/library_fixture.h"

namespace tonelink::test {

namespace {

using VolumePolicy = library_test;
} // namespace

TEST_F(VolumePolicy, ReadsAndSetsTheMasterVolume)
{
    platform.master_volume = 33;
    EXPECT_EQ(get_tv_volume(), 33);
    platform.fail("sound_manager_get_master_volume", -1);
    EXPECT_EQ(get_tv_volume(), -1);
    set_tv_volume(44);
    EXPECT_EQ(platform.master_volume, 44);
    platform.fail("sound_manager_set_master_volume", -5);
    set_tv_volume(45);
    EXPECT_EQ(platform.trace(), documented_trace("master_volume"));
}

TEST_F(VolumePolicy, KeepsAFloorUnderLowVolumes)
{
    const struct {
        int master;
        const char *failing;
        uint8_t is_set; // after
    } steps[] = {
        {10, "", 0},
        {0, "", 0},
        {-1, "", 0},
        {9, "sound_manager_set_ultrasound_volume_min", 0},
        {9, "", 1},
        {1, "", 1},
        {-1, "", 1},
        {50, "sound_manager_get_master_volume", 1},
        {10, "sound_manager_unset_ultrasound_volume_min", 1},
        {0, "", 0},
        {1, "", 1},
        {10, "", 0},
    };
    for (const auto &step : steps) {
        platform.master_volume = step.master;
        platform.fail(step.failing, -7);
        get_set_tv_volume();
        EXPECT_EQ(is_ultra_volume_changed, step.is_set);
    }
    EXPECT_EQ(platform.trace(), documented_trace("floor"));
}

TEST_F(VolumePolicy, FollowsTheMasterVolume)
{
    const struct {
        unsigned master;
        bool av;
        int volume; // of sound type 1
    } steps[] = {{35, false, 7}, {36, false, 7},          {5, false, 15},
                 {6, false, 15}, {1, true, 14},           {0, true, 0},
                 {95, false, 0}, {4000000000u, false, 0}, {60, false, 3}};
    for (const auto &step : steps) {
        platform.av_product = step.av;
        platform.master_volume = static_cast<int>(step.master);
        _sound_manager_master_volume_changed_cb(step.master, nullptr);
        EXPECT_EQ(platform.volume, step.volume);
        EXPECT_EQ(is_ultra_volume_changed, step.master >= 1 && step.master <= 9);
    }
    EXPECT_EQ(platform.said("_sound_manager_master_volume_changed_cb"),
              documented_trace("listener"));
    EXPECT_EQ(platform.count("AV product"), 2);
    // What cannot be read counts as 0.
    platform.forget();
    platform.fail("sound_manager_get_volume", -1);
    platform.fail("sound_manager_get_max_volume", -1);
    platform.av_product.reset();
    _sound_manager_master_volume_changed_cb(60, nullptr);
    EXPECT_EQ(platform.trace(), documented_trace("unread_volumes_of_the_listener"));
}

} // namespace tonelink::test
