#include "audioapi/volume_policy.h"

#include "support/library_fixture.h"

namespace tonelink {

using test::platform;

namespace {

class VolumePolicy : public test::library_test {};

} // namespace

TEST_F(VolumePolicy, ReadsAndSetsTheMasterVolume)
{
    platform.master_volume = 33;
    EXPECT_EQ(get_tv_volume(), 33);
    platform.fail("sound_manager_get_master_volume", -1);
    EXPECT_EQ(get_tv_volume(), -1);
    EXPECT_EQ(platform.said("get_tv_volume"),
              "SoundMgr.cpp| TV volume is [33]|[call sound_manager_get_master_volume() failed"
              "| TV volume is [-1]");
    set_tv_volume(44);
    EXPECT_EQ(platform.master_volume, 44);
    platform.fail("sound_manager_set_master_volume", -5);
    set_tv_volume(45);
    EXPECT_EQ(platform.said("set_tv_volume"),
              "SoundMgr.cpp|Set TV volume to [44]|sound_manager_set_master_volume failed(-5)");
}

TEST_F(VolumePolicy, KnowsTheProduct)
{
    for (const auto key : {std::optional<bool>{}, {false}, {true}}) {
        platform.forget();
        platform.av_product = key;
        EXPECT_EQ(IsAVProduct(), key == true);
        EXPECT_EQ(platform.said("IsAVProduct"), key == true
                                                    ? "SoundMgr.cpp|ENTER\n|AV product|EXIT\n"
                                                    : "SoundMgr.cpp|ENTER\n|EXIT\n");
    }
    EXPECT_EQ(platform.calls(),
              "system_info_get_custom_bool(com.orvane/featureconf/tonelink.set_volume_av_type)");
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
        {5, "", set + "(10)", " ###### " + set + " success 10 \n\n", 1},
        {100, "", unset + "()", unset + " successuful", 0},
    };
    for (const auto &step : steps) {
        platform.forget();
        platform.master_volume = step.master;
        platform.fail(step.failing, -1);
        get_set_tv_volume();
        EXPECT_EQ(platform.calls(),
                  "sound_manager_get_master_volume()" + (step.call.empty() ? "" : " " + step.call));
        EXPECT_EQ(platform.said("get_set_tv_volume"),
                  step.text.empty() ? "" : "SoundMgr.cpp|" + step.text);
        EXPECT_EQ(is_ultra_volume_changed, step.is_set);
    }
}

TEST_F(VolumePolicy, FollowsTheMasterVolume)
{
    const struct {
        unsigned master;
        bool av;
        int volume;
        bool sets; // sound type 1
    } steps[] = {{35, false, 7, true},  {36, false, 7, false},
                 {5, false, 15, true},  {6, false, 15, false},
                 {1, true, 14, true},   {0, true, 0, true},
                 {95, false, 0, false}, {4000000000u, false, 0, false},
                 {60, false, 3, true}};
    for (const auto &step : steps) {
        platform.forget();
        platform.av_product = step.av;
        platform.master_volume = static_cast<int>(step.master);
        auto said = "SoundMgr.cpp|BLEAPP USED_SOUND_TYPE get_volume[" +
                    std::to_string(platform.volume) + "] get_max_volume[15] Master Volume [" +
                    std::to_string(platform.master_volume) + "]\n\n";
        _sound_manager_master_volume_changed_cb(step.master, nullptr);
        EXPECT_EQ(platform.volume, step.volume);
        if (step.sets)
            said += "|BLEAPP USED_SOUND_TYPE set vol[" + std::to_string(step.volume) + "] \n\n";
        EXPECT_EQ(platform.said("_sound_manager_master_volume_changed_cb"), said);
        EXPECT_EQ(is_ultra_volume_changed, step.master >= 1 && step.master <= 9);
    }
    platform.fail("sound_manager_get_volume", -1);
    _sound_manager_master_volume_changed_cb(60, nullptr);
    EXPECT_EQ(platform.count("BLEAPP USED_SOUND_TYPE set vol[3] \n\n"), 2);
}

} // namespace tonelink
