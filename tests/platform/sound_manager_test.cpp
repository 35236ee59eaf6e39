// Volumes, their limits, and the listener on its own thread.

#include <atomic>

#include "test_output.h"

namespace tonelink::test {

namespace {

using volume_row = std::vector<int>;

/// What a listener was told; to be read once no more comes.
struct recorded_volumes {
    volume_row all;
    std::atomic<int> last{-1};
};

void note(unsigned int volume, void *user_data)
{
    auto &told = *static_cast<recorded_volumes *>(user_data);
    told.all.push_back(static_cast<int>(volume));
    told.last = told.all.back();
}

/// Sets a volume that is the last, and waits until it is told.
volume_row told_up_to(int last, const recorded_volumes &told)
{
    EXPECT_EQ(sound_manager_set_master_volume(last), 0);
    wait_until([&] { return told.last == last; });
    return told.all;
}

/// The master volume, that of type 1, the highest, the floor, and the level that is heard.
volume_row volumes()
{
    int master = -1, one = -1, highest = -1;
    EXPECT_EQ(sound_manager_get_tv_master_volume(&master), 0);
    EXPECT_EQ(sound_manager_get_volume(1, &one), 0);
    EXPECT_EQ(sound_manager_get_max_volume(7, &highest), 0);
    const int floor = tonelink_host_get_ultrasound_floor();
    return {master, one, highest, floor, tonelink_host_get_heard_level()};
}

} // namespace

TEST(SoundManager, KeepsVolumesWithinTheirLimits)
{
    for (const auto &[floor, heard] : {std::pair{10, 10}, {8, 8}, {7, 8}}) {
        ASSERT_EQ(sound_manager_set_ultrasound_volume_min(floor), 0);
        EXPECT_EQ(volumes(), (volume_row{20, 8, 15, floor, heard}));
    }
    EXPECT_EQ(sound_manager_unset_ultrasound_volume_min(), 0);
    EXPECT_EQ(volumes(), (volume_row{20, 8, 15, -1, 8}));
    EXPECT_EQ(sound_manager_unset_ultrasound_volume_min(), kInvalidOperation);
    for (const int result :
         {sound_manager_set_master_volume(0), sound_manager_set_master_volume(100),
          sound_manager_set_volume(1, 0), sound_manager_set_volume(7, 15),
          sound_manager_set_ultrasound_volume_min(15), sound_manager_set_ultrasound_volume_min(0)})
        EXPECT_EQ(result, 0);
    int volume = -1;
    for (const int result :
         {sound_manager_set_master_volume(-1), sound_manager_set_master_volume(101),
          sound_manager_set_volume(1, -1), sound_manager_set_volume(1, 16),
          sound_manager_set_volume(-1, 1), sound_manager_set_volume(8, 1),
          sound_manager_get_volume(8, &volume), sound_manager_get_max_volume(8, &volume),
          sound_manager_set_ultrasound_volume_min(-1), sound_manager_set_ultrasound_volume_min(16),
          sound_manager_get_master_volume(nullptr), sound_manager_get_tv_master_volume(nullptr),
          sound_manager_get_volume(1, nullptr), sound_manager_get_max_volume(1, nullptr)})
        EXPECT_EQ(result, kInvalidParameter);
    EXPECT_EQ(volumes(), (volume_row{100, 0, 15, 0, 0}));
}

TEST(VolumeListener, IsToldOfEveryChangeInOrder)
{
    recorded_volumes told;
    EXPECT_EQ(sound_manager_set_master_volume_changed_cb(nullptr, nullptr), kInvalidParameter);
    ASSERT_EQ(sound_manager_set_master_volume_changed_cb(note, &told), 0);
    volume_row changes;
    for (int volume = 0; volume <= 100; ++volume) {
        changes.push_back(volume);
        for (int repeated = 0; repeated < 2; ++repeated) // no change, no news
            ASSERT_EQ(sound_manager_set_master_volume(volume), 0);
    }
    EXPECT_EQ(told_up_to(100, told), changes);

    std::vector<std::jthread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([number] {
            for (int i = 0; i < 200; ++i) sound_manager_set_master_volume(10 * number + i % 7);
        });
    threads.clear();
    const int last = volumes()[0];
    const auto all = told_up_to(99, told);
    EXPECT_EQ(all[all.size() - 2], last);
    EXPECT_EQ(std::ranges::adjacent_find(all), all.end());
    ASSERT_EQ(sound_manager_unset_master_volume_changed_cb(), 0);
    EXPECT_EQ(host_threads(), 0);
    EXPECT_EQ(sound_manager_unset_master_volume_changed_cb(), kInvalidOperation);
}

TEST(VolumeListener, CanUseTheSoundManagerRemoveItselfAndBeReplaced)
{
    static recorded_volumes told;
    static std::vector<int> results;
    const auto remove_itself = [](unsigned int volume, void *) {
        results = {sound_manager_set_volume(1, 3),
                   sound_manager_set_master_volume_changed_cb(note, &told),
                   sound_manager_unset_master_volume_changed_cb(),
                   sound_manager_set_master_volume(77)}; // nobody is told any more
        note(volume, &told);
    };
    ASSERT_EQ(sound_manager_set_master_volume_changed_cb(remove_itself, nullptr), 0);
    told_up_to(50, told);
    EXPECT_EQ(sound_manager_unset_master_volume_changed_cb(), kInvalidOperation); // it waits though
    EXPECT_EQ(results, (std::vector{0, kInvalidOperation, 0, 0}));

    recorded_volumes first, second;
    ASSERT_EQ(sound_manager_set_master_volume_changed_cb(note, &first), 0);
    told_up_to(51, first);
    ASSERT_EQ(sound_manager_set_master_volume_changed_cb(note, &second), 0);
    told_up_to(52, second);
    EXPECT_EQ(sound_manager_unset_master_volume_changed_cb(), 0);
    EXPECT_EQ(std::tuple(told.all, first.all, second.all),
              std::tuple(volume_row{50}, volume_row{51}, volume_row{52}));
}

} // namespace tonelink::test
