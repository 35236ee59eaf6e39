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
    const std::string set = "sound_manager_set_ultrasound_volume_min";
    const std::string unset = "sound_manager_unset_ultrasound_volume_min";
    const struct {
        int master;
        std::string failing;
        std::string call;
        std::string text;
        uint8_t is_set;
    } steps[] = {
        {10, "", "", "", 0},
        {0, "", "", "", 0},
        {-1, "", "", "", 0},
        {9, set, set + "(10)", " ###### " + set + " error -7", 0},
        {9, "", set + "(10)", " ###### " + set + R"( success 10 \n\n)", 1},
        {1, "", "", "", 1},
        {-1, "", "", "", 1},
        {50, "sound_manager_get_master_volume", "", R"( ###### get master volume error \n\n)", 1},
        {10, unset, unset + "()", unset + " unsuccessuful", 1},
        {0, "", unset + "()", unset + " successuful", 0},
        {1, "", set + "(10)", " ###### " + set + R"( success 10 \n\n)", 1},
        {10, "", unset + "()", unset + " successuful", 0},
    };
    for (const auto &step : steps) {
        platform.forget();
        platform.master_volume = step.master;
        platform.fail(step.failing, -7);
        get_set_tv_volume();
        std::string trace = "sound_manager_get_master_volume()\n";
        if (!step.call.empty()) trace += step.call + "\n";
        if (!step.text.empty()) trace += "[SoundMgr.cpp]\nget_set_tv_volume: " + step.text + "\n";
        EXPECT_EQ(platform.trace(), trace);
        EXPECT_EQ(is_ultra_volume_changed, step.is_set);
    }
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
        platform.forget();
        platform.av_product = step.av;
        platform.master_volume = static_cast<int>(step.master);
        const bool sets = platform.volume != step.volume;
        const std::string line = "_sound_manager_master_volume_changed_cb: BLEAPP USED_SOUND_TYPE ";
        auto said = "[SoundMgr.cpp]\n" + line + "get_volume[" + std::to_string(platform.volume) +
                    "] get_max_volume[15] Master Volume [" +
                    std::to_string(platform.master_volume) + R"(]\n\n)" + "\n";
        _sound_manager_master_volume_changed_cb(step.master, nullptr);
        EXPECT_EQ(platform.volume, step.volume);
        if (sets) said += line + "set vol[" + std::to_string(step.volume) + R"(] \n\n)" + "\n";
        EXPECT_EQ(platform.said("_sound_manager_master_volume_changed_cb"), said);
        EXPECT_EQ(platform.count("AV product"), step.av);
        EXPECT_EQ(is_ultra_volume_changed, step.master >= 1 && step.master <= 9);
    }
    // What cannot be read counts as 0.
    platform.forget();
    platform.fail("sound_manager_get_volume", -1);
    platform.fail("sound_manager_get_max_volume", -1);
    platform.av_product.reset();
    _sound_manager_master_volume_changed_cb(60, nullptr);
    EXPECT_EQ(platform.trace(), documented_trace("unread_volumes_of_the_listener"));
}

} // namespace tonelink::test
