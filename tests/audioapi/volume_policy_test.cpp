#include "audioapi/volume_policy.h"

#include "support/library_fixture.h"

namespace tonelink::test {

namespace {

using VolumePolicy = library_test;

const std::string kFile = "SoundMgr.cpp";

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
    expect_log(kFile, {{"get_tv_volume", " TV volume is [33]"
                                         "|[call sound_manager_get_master_volume() failed"
                                         "| TV volume is [-1]"},
                       {"set_tv_volume",
                        "Set TV volume to [44]|sound_manager_set_master_volume failed(-5)"}});
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
        {9, set, set + "(10)", " ###### " + set + " error -1", 0},
        {9, "", set + "(10)", " ###### " + set + " success 10 \n\n", 1},
        {1, "", "", "", 1},
        {-1, "", "", "", 1},
        {50, "sound_manager_get_master_volume", "", " ###### get master volume error \n\n", 1},
        {10, unset, unset + "()", unset + " unsuccessuful", 1},
        {0, "", unset + "()", unset + " successuful", 0},
        {1, "", set + "(10)", " ###### " + set + " success 10 \n\n", 1},
        {10, "", unset + "()", unset + " successuful", 0},
    };
    for (const auto &step : steps) {
        platform.forget();
        platform.master_volume = step.master;
        platform.fail(step.failing, -1);
        get_set_tv_volume();
        EXPECT_EQ(platform.calls(),
                  "sound_manager_get_master_volume()" + (step.call.empty() ? "" : " " + step.call));
        EXPECT_EQ(platform.said("get_set_tv_volume"),
                  step.text.empty() ? "" : kFile + "|" + step.text);
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
        auto said = "BLEAPP USED_SOUND_TYPE get_volume[" + std::to_string(platform.volume) +
                    "] get_max_volume[15] Master Volume [" +
                    std::to_string(platform.master_volume) + "]\n\n";
        _sound_manager_master_volume_changed_cb(step.master, nullptr);
        EXPECT_EQ(platform.volume, step.volume);
        if (sets)
            said += "|BLEAPP USED_SOUND_TYPE set vol[" + std::to_string(step.volume) + "] \n\n";
        expect_log(kFile,
                   {{"_sound_manager_master_volume_changed_cb", said},
                    {"IsAVProduct", step.av ? "ENTER\n|AV product|EXIT\n" : "ENTER\n|EXIT\n"}});
        EXPECT_EQ(is_ultra_volume_changed, step.master >= 1 && step.master <= 9);
    }
    platform.fail("sound_manager_get_volume", -1);
    _sound_manager_master_volume_changed_cb(60, nullptr);
    EXPECT_EQ(platform.count("BLEAPP USED_SOUND_TYPE set vol[3] \n\n"), 2);
}

} // namespace tonelink::test
