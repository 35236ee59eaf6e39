// Volumes, their limits, and the listener on its own thread.

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "test_output.h"

namespace tonelink::test {

namespace {

constexpr int kInvalidParameter = -22;
constexpr int kInvalidOperation = -38;

/// What the listener was told, for another thread to wait for.
class told_volumes {
public:
    void add(unsigned int volume)
    {
        const std::lock_guard lock{mutex_};
        volumes_.push_back(volume);
        changed_.notify_all();
    }

    /// The first `count`, once so many are there.
    std::vector<unsigned int> first(std::size_t count)
    {
        std::unique_lock lock{mutex_};
        changed_.wait(lock, [&] { return volumes_.size() >= count; });
        return volumes_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<unsigned int> volumes_;
};

void note(unsigned int volume, void *user_data)
{
    static_cast<told_volumes *>(user_data)->add(volume);
}

int master_volume()
{
    int volume = -1;
    EXPECT_EQ(sound_manager_get_master_volume(&volume), 0);
    return volume;
}

} // namespace

TEST(SoundManager, KeepsVolumesWithinTheirLimits)
{
    int volume = -1;
    EXPECT_EQ(sound_manager_get_master_volume(&volume), 0);
    EXPECT_EQ(volume, 20);
    EXPECT_EQ(sound_manager_get_volume(1, &volume), 0);
    EXPECT_EQ(volume, 8);
    EXPECT_EQ(sound_manager_get_max_volume(1, &volume), 0);
    EXPECT_EQ(volume, 15);

    for (const int unusable : {-1, 101}) {
        EXPECT_EQ(sound_manager_set_master_volume(unusable), kInvalidParameter);
        EXPECT_EQ(master_volume(), 20);
    }
    for (const int usable : {0, 100, 35}) {
        EXPECT_EQ(sound_manager_set_master_volume(usable), 0);
        EXPECT_EQ(sound_manager_get_tv_master_volume(&volume), 0);
        EXPECT_EQ(volume, usable);
    }
    EXPECT_EQ(sound_manager_set_volume(1, -1), kInvalidParameter);
    EXPECT_EQ(sound_manager_set_volume(1, 16), kInvalidParameter);
    EXPECT_EQ(sound_manager_set_volume(0, 3), 0);
    EXPECT_EQ(sound_manager_get_volume(1, &volume), 0);
    EXPECT_EQ(volume, 8); // the types do not touch one another
    for (const int no_type : {-1, 8}) {
        EXPECT_EQ(sound_manager_set_volume(no_type, 1), kInvalidParameter);
        EXPECT_EQ(sound_manager_get_volume(no_type, &volume), kInvalidParameter);
        EXPECT_EQ(sound_manager_get_max_volume(no_type, &volume), kInvalidParameter);
    }
    EXPECT_EQ(sound_manager_get_master_volume(nullptr), kInvalidParameter);
    EXPECT_EQ(sound_manager_get_tv_master_volume(nullptr), kInvalidParameter);
    EXPECT_EQ(sound_manager_get_volume(1, nullptr), kInvalidParameter);
    EXPECT_EQ(sound_manager_get_max_volume(1, nullptr), kInvalidParameter);
}

TEST(SoundManager, FloorLiftsWhatIsHeardAndNotTheVolume)
{
    EXPECT_EQ(tonelink_host_get_ultrasound_floor(), -1);
    EXPECT_EQ(sound_manager_unset_ultrasound_volume_min(), kInvalidOperation);
    EXPECT_EQ(sound_manager_set_ultrasound_volume_min(-1), kInvalidParameter);
    EXPECT_EQ(sound_manager_set_ultrasound_volume_min(16), kInvalidParameter);
    EXPECT_EQ(tonelink_host_get_ultrasound_floor(), -1);

    ASSERT_EQ(sound_manager_set_volume(1, 4), 0);
    ASSERT_EQ(sound_manager_set_ultrasound_volume_min(10), 0);
    EXPECT_EQ(tonelink_host_get_ultrasound_floor(), 10);
    EXPECT_EQ(tonelink_host_get_heard_level(), 10);
    int volume = -1;
    EXPECT_EQ(sound_manager_get_volume(1, &volume), 0);
    EXPECT_EQ(volume, 4);
    ASSERT_EQ(sound_manager_unset_ultrasound_volume_min(), 0);
    EXPECT_EQ(tonelink_host_get_heard_level(), 4);
}

TEST(VolumeListener, IsToldOfEveryChangeInOrder)
{
    told_volumes told;
    ASSERT_EQ(sound_manager_set_master_volume_changed_cb(note, &told), 0);
    std::vector<unsigned int> changes;
    for (int round = 0; round < 3; ++round)
        for (int volume = 0; volume <= 100; ++volume) {
            ASSERT_EQ(sound_manager_set_master_volume(volume), 0);
            ASSERT_EQ(sound_manager_set_master_volume(volume), 0); // no change, no news
            changes.push_back(static_cast<unsigned int>(volume));
        }
    EXPECT_EQ(told.first(changes.size()), changes);
    ASSERT_EQ(sound_manager_unset_master_volume_changed_cb(), 0);
    EXPECT_EQ(host_threads(), 0);
    EXPECT_EQ(sound_manager_unset_master_volume_changed_cb(), kInvalidOperation);
    EXPECT_EQ(sound_manager_set_master_volume_changed_cb(nullptr, nullptr), kInvalidParameter);
}

TEST(VolumeListener, TurnedFromSeveralThreadsEndsOnTheLastVolume)
{
    told_volumes told;
    ASSERT_EQ(sound_manager_set_master_volume_changed_cb(note, &told), 0);
    std::vector<std::thread> hands;
    for (int hand = 0; hand < 4; ++hand)
        hands.emplace_back([hand] {
            for (int i = 0; i < 200; ++i) sound_manager_set_master_volume(10 * hand + i % 7);
        });
    for (auto &hand : hands) hand.join();
    const auto last = static_cast<unsigned int>(master_volume());
    ASSERT_EQ(sound_manager_set_master_volume(100), 0); // marks the end of the news
    std::size_t count = 1;
    while (told.first(count).back() != 100) ++count;
    const auto all = told.first(count);
    ASSERT_GE(all.size(), 2u);
    EXPECT_EQ(all[all.size() - 2], last);
    for (std::size_t i = 1; i < all.size(); ++i) EXPECT_NE(all[i], all[i - 1]);
    EXPECT_EQ(sound_manager_unset_master_volume_changed_cb(), 0);
}

TEST(VolumeListener, RemovalWaitsForIt)
{
    struct {
        std::atomic<bool> entered{false}, left{false};
    } state;
    ASSERT_EQ(sound_manager_set_master_volume_changed_cb(
                  [](unsigned int, void *user_data) {
                      auto &s = *static_cast<decltype(state) *>(user_data);
                      s.entered = true;
                      std::this_thread::sleep_for(std::chrono::milliseconds{100});
                      s.left = true;
                  },
                  &state),
              0);
    ASSERT_EQ(sound_manager_set_master_volume(41), 0);
    while (!state.entered) std::this_thread::yield();
    ASSERT_EQ(sound_manager_unset_master_volume_changed_cb(), 0);
    EXPECT_TRUE(state.left);
    state.entered = false;
    ASSERT_EQ(sound_manager_set_master_volume(42), 0);
    EXPECT_FALSE(state.entered);
}

TEST(VolumeListener, CanUseTheSoundManagerAndRemoveItself)
{
    struct {
        told_volumes told;
        std::vector<int> results;
    } state;
    ASSERT_EQ(sound_manager_set_master_volume_changed_cb(
                  [](unsigned int volume, void *user_data) {
                      auto &s = *static_cast<decltype(state) *>(user_data);
                      s.results = {sound_manager_set_volume(1, 3),
                                   sound_manager_set_master_volume_changed_cb(note, &s.told),
                                   sound_manager_unset_master_volume_changed_cb(),
                                   sound_manager_set_master_volume(77)}; // nobody is told any more
                      s.told.add(volume);
                  },
                  &state),
              0);
    ASSERT_EQ(sound_manager_set_master_volume(50), 0);
    state.told.first(1);
    EXPECT_EQ(sound_manager_unset_master_volume_changed_cb(), kInvalidOperation); // it waits though
    EXPECT_EQ(state.results, (std::vector<int>{0, kInvalidOperation, 0, 0}));
    EXPECT_EQ(state.told.first(1), std::vector<unsigned int>{50});

    // Another can take its place, and be replaced.
    told_volumes first, second;
    ASSERT_EQ(sound_manager_set_master_volume_changed_cb(note, &first), 0);
    ASSERT_EQ(sound_manager_set_master_volume(51), 0);
    EXPECT_EQ(first.first(1), std::vector<unsigned int>{51});
    ASSERT_EQ(sound_manager_set_master_volume_changed_cb(note, &second), 0);
    ASSERT_EQ(sound_manager_set_master_volume(52), 0);
    EXPECT_EQ(second.first(1), std::vector<unsigned int>{52});
    EXPECT_EQ(first.first(1).size(), 1u);
    EXPECT_EQ(sound_manager_unset_master_volume_changed_cb(), 0);
}

} // namespace tonelink::test
