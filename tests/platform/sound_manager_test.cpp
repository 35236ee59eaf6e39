// Volumes, their limits, and the listener on its own thread.

#include <mutex>

#include "test_output.h"

namespace tonelink::test {

namespace {

constexpr int kInvalidParameter = -22;
constexpr int kInvalidOperation = -38;

using volume_row = std::vector<unsigned int>;

/// What a listener was told.
class recorded_volumes {
public:
    void add(unsigned int volume)
    {
        const std::lock_guard lock{mutex_};
        volumes_.push_back(volume);
    }

    /// All, once `last` is the last of them.
    volume_row up_to(unsigned int last)
    {
        wait_until([&] {
            const std::lock_guard lock{mutex_};
            return !volumes_.empty() && volumes_.back() == last;
        });
        const std::lock_guard lock{mutex_};
        return volumes_;
    }

private:
    std::mutex mutex_;
    volume_row volumes_;
};

void note(unsigned int volume, void *user_data)
{
    static_cast<recorded_volumes *>(user_data)->add(volume);
}

int master_volume()
{
    int volume = -1;
    EXPECT_EQ(sound_manager_get_master_volume(&volume), 0);
    return volume;
}

int volume_of(int type)
{
    int volume = -1;
    EXPECT_EQ(sound_manager_get_volume(type, &volume), 0);
    return volume;
}

} // namespace

TEST(SoundManager, KeepsVolumesWithinTheirLimits)
{
    EXPECT_EQ(master_volume(), 20);
    EXPECT_EQ(volume_of(1), 8);
    int volume = -1;
    EXPECT_EQ(sound_manager_get_max_volume(1, &volume), 0);
    EXPECT_EQ(volume, 15);
    for (const int usable : {0, 100, 35}) {
        EXPECT_EQ(sound_manager_set_master_volume(usable), 0);
        EXPECT_EQ(sound_manager_get_tv_master_volume(&volume), 0);
        EXPECT_EQ(volume, usable);
    }
    EXPECT_EQ(sound_manager_set_volume(0, 3), 0);
    for (const int result :
         {sound_manager_set_master_volume(-1), sound_manager_set_master_volume(101),
          sound_manager_set_volume(1, -1), sound_manager_set_volume(1, 16),
          sound_manager_get_master_volume(nullptr), sound_manager_get_tv_master_volume(nullptr),
          sound_manager_get_volume(1, nullptr), sound_manager_get_max_volume(1, nullptr)})
        EXPECT_EQ(result, kInvalidParameter);
    for (const int no_type : {-1, 8})
        for (const int result :
             {sound_manager_set_volume(no_type, 1), sound_manager_get_volume(no_type, &volume),
              sound_manager_get_max_volume(no_type, &volume)})
            EXPECT_EQ(result, kInvalidParameter) << no_type;
    EXPECT_EQ(master_volume(), 35);
    EXPECT_EQ(volume_of(0), 3);
    EXPECT_EQ(volume_of(1), 8); // the types do not touch one another
}

TEST(SoundManager, FloorLiftsWhatIsHeardAndNotTheVolume)
{
    EXPECT_EQ(sound_manager_unset_ultrasound_volume_min(), kInvalidOperation);
    for (const int no_level : {-1, 16})
        EXPECT_EQ(sound_manager_set_ultrasound_volume_min(no_level), kInvalidParameter);
    const auto expect = [](int floor, int heard) {
        EXPECT_EQ(tonelink_host_get_ultrasound_floor(), floor);
        EXPECT_EQ(tonelink_host_get_heard_level(), heard);
        EXPECT_EQ(volume_of(1), 4);
    };
    ASSERT_EQ(sound_manager_set_volume(1, 4), 0);
    expect(-1, 4);
    ASSERT_EQ(sound_manager_set_ultrasound_volume_min(10), 0);
    expect(10, 10);
    ASSERT_EQ(sound_manager_unset_ultrasound_volume_min(), 0);
    expect(-1, 4);
}

TEST(VolumeListener, IsToldOfEveryChangeInOrder)
{
    recorded_volumes told;
    ASSERT_EQ(sound_manager_set_master_volume_changed_cb(note, &told), 0);
    volume_row changes;
    for (unsigned int volume = 0; volume <= 100; ++volume) {
        const int set = static_cast<int>(volume);
        ASSERT_EQ(sound_manager_set_master_volume(set), 0);
        ASSERT_EQ(sound_manager_set_master_volume(set), 0); // no change, no news
        changes.push_back(volume);
    }
    EXPECT_EQ(told.up_to(100), changes);
    ASSERT_EQ(sound_manager_unset_master_volume_changed_cb(), 0);
    EXPECT_EQ(host_threads(), 0);
    ASSERT_EQ(sound_manager_set_master_volume(42), 0);
    EXPECT_EQ(sound_manager_unset_master_volume_changed_cb(), kInvalidOperation);
    EXPECT_EQ(sound_manager_set_master_volume_changed_cb(nullptr, nullptr), kInvalidParameter);
}

TEST(VolumeListener, TurnedFromSeveralThreadsEndsOnTheLastVolume)
{
    recorded_volumes told;
    ASSERT_EQ(sound_manager_set_master_volume_changed_cb(note, &told), 0);
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([number] {
            for (int i = 0; i < 200; ++i) sound_manager_set_master_volume(10 * number + i % 7);
        });
    for (auto &thread : threads) thread.join();
    const auto last = static_cast<unsigned int>(master_volume());
    ASSERT_EQ(sound_manager_set_master_volume(100), 0); // marks the end of the news
    const auto all = told.up_to(100);
    ASSERT_GE(all.size(), 2u);
    EXPECT_EQ(all[all.size() - 2], last);
    EXPECT_EQ(std::ranges::adjacent_find(all), all.end());
    EXPECT_EQ(sound_manager_unset_master_volume_changed_cb(), 0);
}

TEST(VolumeListener, CanUseTheSoundManagerAndRemoveItself)
{
    struct {
        recorded_volumes told;
        std::vector<int> results;
    } state;
    const auto remove_itself = [](unsigned int volume, void *user_data) {
        auto &s = *static_cast<decltype(state) *>(user_data);
        s.results = {sound_manager_set_volume(1, 3),
                     sound_manager_set_master_volume_changed_cb(note, &s.told),
                     sound_manager_unset_master_volume_changed_cb(),
                     sound_manager_set_master_volume(77)}; // nobody is told any more
        s.told.add(volume);
    };
    ASSERT_EQ(sound_manager_set_master_volume_changed_cb(remove_itself, &state), 0);
    ASSERT_EQ(sound_manager_set_master_volume(50), 0);
    state.told.up_to(50);
    EXPECT_EQ(sound_manager_unset_master_volume_changed_cb(), kInvalidOperation); // it waits though
    EXPECT_EQ(state.results, (std::vector<int>{0, kInvalidOperation, 0, 0}));
    EXPECT_EQ(state.told.up_to(50), volume_row{50});

    // Others can take its place, and be replaced.
    recorded_volumes first, second;
    for (const auto &[volumes, volume] : {std::pair{&first, 51u}, {&second, 52u}}) {
        ASSERT_EQ(sound_manager_set_master_volume_changed_cb(note, volumes), 0);
        ASSERT_EQ(sound_manager_set_master_volume(static_cast<int>(volume)), 0);
        EXPECT_EQ(volumes->up_to(volume), volume_row{volume});
    }
    EXPECT_EQ(first.up_to(51), volume_row{51});
    EXPECT_EQ(sound_manager_unset_master_volume_changed_cb(), 0);
}

} // namespace tonelink::test
