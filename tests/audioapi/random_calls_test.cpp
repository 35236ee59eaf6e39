// Random calls of one thread, with faults and with callbacks at any moment, against a small model
// of what the service and the standalone transmitter are documented to do.
#include <atomic>
#include <climits>
#include <functional>
#include <random>
#include <thread>

#include "support/library_fixture.h"
#include "support/scaled.h"

namespace tonelink::test {

namespace {

using RandomCalls = library_test;

enum class playing { nothing, writer, armed_stream, stream };

/// Calls that fail at times, and whether a start, a stop of the writer thread and one of the stream
/// fails with them.
struct possible_fault {
    std::string call;
    bool stops_writer_start = false;
    bool stops_stream_start = false;
    bool spoils_writer_stop = false;
    bool spoils_stream_stop = false;
};
const possible_fault kFaults[] = {
    {"audio_out_create_new", true, true},
    {"audio_out_destroy", false, false, true, true},
    {"audio_out_prepare", true, true},
    {"audio_out_set_sound_stream_info", true, true},
    {"audio_out_set_stream_cb", false, true},
    {"audio_out_unprepare", false, false, true, true},
    {"audio_out_unset_stream_cb", false, false, false, true},
    {"audio_out_write"},
    {"bt_adapter_get_address"},
    {"pthread_create", true, false},
    {"sound_manager_create_stream_information", true, true},
    {"sound_manager_destroy_stream_information"},
    {"sound_manager_get_master_volume"},
    {"sound_manager_get_max_volume"},
    {"sound_manager_get_volume"},
    {"sound_manager_set_master_volume_changed_cb"},
    {"sound_manager_set_ultrasound_volume_min"},
    {"sound_manager_set_volume"},
    {"sound_manager_unset_master_volume_changed_cb"},
    {"sound_manager_unset_ultrasound_volume_min"},
};

/// A sequence of calls, and what it should have come to.
class sequence {
public:
    explicit sequence(unsigned seed) : random_{seed} {}

    /// One more call, as a rule without faults.
    void step()
    {
        static constexpr int kHowMany[] = {0, 0, 0, 0, 1, 1, 4, 8};
        for (int left = kHowMany[pick(std::size(kHowMany))]; left > 0; --left)
            faults_.push_back(&kFaults[pick(std::size(kFaults))]);
        for (const auto *fault : faults_) platform.fail(fault->call, -1, INT_MAX);
        any_call();
        for (const auto *fault : faults_) platform.fail(fault->call, 0, 0);
        faults_.clear();
        EXPECT_EQ(tx_handler != nullptr, now_ != playing::nothing);
        EXPECT_EQ(is_ultra_volume_changed, platform.floor != 0);
        EXPECT_EQ(transmitting_stopped, standalone_plays_ ? 0 : 1);
    }

    /// Ends what runs, and one more transmission takes down what the platform would not give up.
    void end()
    {
        stop(stop_audio_transmitting);
        stop_standalone();
        platform.turn_master_volume(50);
        for (int round = 0; round < 2; ++round) {
            start(start_audio_transmitting, false, 1, true);
            stop(stop_audio_transmitting);
            start_standalone(0);
            stop_standalone();
        }
        EXPECT_EQ(platform.floor, 0);
    }

private:
    int32_t pick(std::size_t count) { return static_cast<int32_t>(random_() % count); }

    void any_call()
    {
        static constexpr int32_t kBytesOfType[] = {0, 4, 6, 0};
        const int32_t type = pick(8) == 0 ? 3 : 1 + pick(2);
        switch (pick(20)) {
        case 0: is_random_ = true; return start(start_audio_transmitting, false, 1, true);
        case 1: is_random_ = true; return start(start_audio_transmitting_async, true, 1, true);
        case 2:
            return start([=] { return start_audio_transmitting_type(type); }, false, type,
                         is_random_);
        case 3:
            return start([=] { return start_audio_transmitting_async_type(type); }, true, type,
                         is_random_);
        case 4:
            is_random_ = false;
            return start(
                [=] {
                    static constexpr uint8_t kData[6] = {1, 2, 3, 4, 5, 6};
                    return start_audiodata_transmission(kData, kBytesOfType[type], type);
                },
                true, type, false);
        case 5:
        case 6: return stop(stop_audio_transmitting);
        case 7:
        case 8: return stop(stop_audio_transmitting_async);
        case 9: EXPECT_EQ(set_tx_sample_rate(44100), now_ == playing::nothing); return;
        case 10: set_pin_in_ultrasound(1234, "1:2:3:4:5:6"); return void(is_random_ = false);
        case 11:
            EXPECT_EQ(set_pin_Custom_in_ultrasound("4711", 1, 1 + type % 2, 4, 0), 0);
            return void(is_random_ = type % 2 == 0);
        case 12: return generate(pick(4) - 1);
        case 13: return start_standalone(pick(2));
        case 14: return stop_standalone();
        case 15: return platform.turn_master_volume(static_cast<unsigned>(pick(4) * 5));
        case 16: return get_set_tv_volume();
        default: return run_callback();
        }
    }

    void start(const std::function<int32_t()> &call, bool is_stream, int32_t type, bool is_random)
    {
        int32_t expected = 1;
        const bool has_no_volume =
            platform.master_volume == 0 && !fails("sound_manager_get_master_volume");
        if ((type != 1 && type != 2) || has_no_volume)
            expected = -1;
        else if (now_ != playing::nothing)
            expected = 0;
        else if (is_random && fails("bt_adapter_get_address"))
            expected = -1;
        else if (any_fault(is_stream ? &possible_fault::stops_stream_start
                                     : &possible_fault::stops_writer_start))
            expected = 0;
        // What plays sets it as well.
        const int before = now_ == playing::nothing ? platform.volume : 0;
        EXPECT_EQ(call(), expected);
        if (expected != 1) return;
        now_ = is_stream ? playing::armed_stream : playing::writer;
        saved_volume_ = fails("sound_manager_get_volume") ? 0 : before;
    }

    void stop(int32_t (*call)())
    {
        const bool succeeds =
            (now_ == playing::writer && !any_fault(&possible_fault::spoils_writer_stop)) ||
            (now_ == playing::stream && !any_fault(&possible_fault::spoils_stream_stop));
        EXPECT_EQ(call(), succeeds);
        if (now_ != playing::nothing && !fails("sound_manager_set_volume")) {
            EXPECT_EQ(platform.volume, saved_volume_);
        }
        now_ = playing::nothing;
    }

    /// Also of records that the platform has kept: they do nothing.
    void run_callback()
    {
        const int writes = platform.writes_made();
        platform.run_callback();
        if (now_ == playing::armed_stream) now_ = playing::stream;
        if (now_ == playing::nothing && !standalone_plays_) {
            EXPECT_EQ(platform.writes_made(), writes);
        }
    }

    void generate(int32_t repeat)
    {
        EXPECT_EQ(GenerateMessage(77, repeat), !standalone_plays_ && repeat > 0);
    }

    void start_standalone(int32_t count)
    {
        const bool starts = !standalone_plays_;
        EXPECT_EQ(StartTransmitting(count, 44100), starts);
        if (!starts) return;
        standalone_plays_ = true;
        if (count == 0 || fails("pthread_create")) return;
        while (std::atomic_ref{transmitting_stopped} == 0) std::this_thread::yield();
        standalone_plays_ = false;
    }

    void stop_standalone()
    {
        EXPECT_EQ(StopTransmitting(), standalone_plays_);
        standalone_plays_ = false;
    }

    bool fails(const char *call) const
    {
        return std::ranges::any_of(faults_, [call](const auto *f) { return f->call == call; });
    }

    bool any_fault(bool possible_fault::*does) const
    {
        return std::ranges::any_of(faults_, [does](const auto *fault) { return fault->*does; });
    }

    std::mt19937 random_;
    std::vector<const possible_fault *> faults_{}; // of this call
    playing now_ = playing::nothing;
    int saved_volume_ = 0;
    bool is_random_ = true; // what the type-taking starts send
    bool standalone_plays_ = false;
};

} // namespace

TEST_F(RandomCalls, DoWhatIsDocumented)
{
    for (int seed = 1; seed <= scaled(20); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        SetUp();
        sequence calls{static_cast<unsigned>(seed)};
        for (int n = 0; n < 500 && !HasFailure(); ++n) calls.step();
        calls.end();
        // Stream information that the platform has refused to bind or to release stays.
        const std::string left = platform.left_over();
        ASSERT_TRUE(left.empty() || left.ends_with(" stream infos; ")) << left;
        ASSERT_EQ(left.find(';'), left.rfind(';')) << left;
        ASSERT_FALSE(HasFailure());
    }
    SetUp();
}

} // namespace tonelink::test
