#include "audioapi/volume_policy.h"

#include <atomic>
#include <latch>
#include <thread>

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

TEST_F(VolumePolicy, SavesTheVolumeAndForgetsWhatWasBefore)
{
    reset_volume = 5;
    noti_reset_volume = 6;
    save_volume("test");
    EXPECT_EQ(reset_volume, 0);
    EXPECT_EQ(noti_reset_volume, 9);
    platform.fail("sound_manager_get_volume", -1);
    save_volume("test");
    EXPECT_EQ(noti_reset_volume, 0);
    forget_volumes();
}

TEST_F(VolumePolicy, LeavesTheFloorToWhoeverMovesIt)
{
    // A wish that comes while another call is at it is met by that one: the same, or another.
    platform.master_volume = 5;
    platform.on("sound_manager_set_ultrasound_volume_min", get_set_tv_volume);
    get_set_tv_volume();
    EXPECT_EQ(platform.count("sound_manager_set_ultrasound_volume_min(10)"), 1);
    EXPECT_EQ(is_ultra_volume_changed, 1);
    remove_floor("test");
    platform.on("sound_manager_set_ultrasound_volume_min", [] { remove_floor("test"); });
    get_set_tv_volume();
    EXPECT_EQ(platform.count("sound_manager_unset_ultrasound_volume_min()"), 2);
    EXPECT_EQ(is_ultra_volume_changed, 0);
    EXPECT_EQ(platform.floor, 0);
}

TEST_F(VolumePolicy, MutesTheListenerOnceItsLastCallHasEnded)
{
    constexpr std::size_t kCalls = 2;
    std::latch under_way{kCalls};
    std::latch ends[kCalls] = {std::latch{1}, std::latch{1}};
    std::atomic<std::size_t> begun = 0, ended = 0;
    platform.on("sound_manager_get_max_volume", [&] {
        const std::size_t own = begun++;
        if (own >= kCalls) return;
        under_way.count_down();
        ends[own].wait();
        ++ended;
    });
    const auto listen = [] { _sound_manager_master_volume_changed_cb(60, nullptr); };
    std::thread first{listen}, second{listen};
    under_way.wait();
    std::thread muting{[&] {
        mute_listener();
        EXPECT_EQ(ended, kCalls);
    }};
    ends[0].count_down();
    while (ended != 1) std::this_thread::yield();
    ends[1].count_down();
    for (std::thread *thread : {&first, &second, &muting}) thread->join();
    listen(); // is not let in
    EXPECT_EQ(begun, kCalls);
    EXPECT_TRUE(listen_to_master_volume());
    listen();
    EXPECT_EQ(begun, kCalls + 1);
    stop_listening();
}

} // namespace tonelink::test
