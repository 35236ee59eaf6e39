// Whole transmissions of every family with one fault after the other, and a thousand of each
// without.
#include <filesystem>
#include <malloc.h>

#include "support/failing_memory.h"
#include "support/library_fixture.h"
#include "tonelink/transmit.h"

namespace tonelink {

using test::platform;

namespace {

class Transmissions : public test::library_test {};

struct family {
    const char *name;
    int32_t (*start)();
    void (*play)();
    int32_t (*stop)();
};

void wait_for_two_writes() { platform.wait_for_writes(2); }
void run_two_callbacks() { platform.run_callback(), platform.run_callback(); }
int32_t start_standalone() { return StartTransmitting(0, 44100); }

const family kFamilies[] = {
    {"writer thread", start_audio_transmitting, wait_for_two_writes, stop_audio_transmitting},
    {"stream callback", start_audio_transmitting_async, run_two_callbacks,
     stop_audio_transmitting_async},
    {"standalone", start_standalone, wait_for_two_writes, StopTransmitting},
};

/// What a start and a stop of the service say when one call fails, the line of log that tells of
/// it, and what may stay behind until the next start.
struct expectation {
    std::string call;
    int32_t start = 1;
    int32_t stop = 1;
    const char *text = nullptr;
    std::string left_over{};
};

const char *const kStartFails = "\n StartTransmitting Fail \n\n";
const char *const kStopFails = "\n StopTransmitting Fail \n\n";
const expectation kExpectations[] = {
    {"bt_adapter_get_address", -1, 0, "Failed to get BD Address"},
    {"sound_manager_create_stream_information", 0, 0, kStartFails},
    {"audio_out_create_new", 0, 0, kStartFails},
    {"audio_out_set_sound_stream_info", 0, 0, kStartFails, "1 stream infos; "},
    {"audio_out_set_stream_cb", 0, 0, kStartFails},
    {"audio_out_prepare", 0, 0, kStartFails},
    {"pthread_create", 0, 0, kStartFails},
    {"sound_manager_set_ultrasound_volume_min", 1, 1,
     " ###### sound_manager_set_ultrasound_volume_min error -99"},
    {"sound_manager_set_master_volume_changed_cb", 1, 1,
     "sound_manager_set_master_volume_changed_cb failed"},
    {"audio_out_unset_stream_cb", 1, 0, kStopFails, "listener; "},
    {"audio_out_unprepare", 1, 0, kStopFails, "listener; "},
    {"audio_out_destroy", 1, 0, kStopFails, "listener; "},
    {"sound_manager_destroy_stream_information", 1, 1, nullptr, "1 stream infos; "},
    {"sound_manager_unset_master_volume_changed_cb", 1, 1, nullptr, "listener; "},
    {"sound_manager_unset_ultrasound_volume_min", 1, 1,
     "sound_manager_unset_ultrasound_volume_min unsuccessuful"},
};

expectation expected_of(const family &f, const std::string &call)
{
    expectation expected{call};
    for (const auto &e : kExpectations)
        if (e.call == call) expected = e;
    if (f.start == start_standalone) { // which goes on whatever fails
        const bool output_stays = call == "audio_out_destroy";
        const bool info_stays = expected.left_over == "1 stream infos; ";
        return {call, 1, 1, nullptr,
                output_stays ? "1 outputs; 1 stream infos; "
                : info_stays ? expected.left_over
                             : ""};
    }
    return expected;
}

/// One transmission, played if it has started and the fault was not its thread's.
std::pair<int32_t, int32_t> transmit(const family &f)
{
    const int32_t started = f.start();
    if (started == 1 && platform.failed() != "pthread_create") f.play();
    return {started, f.stop()};
}

std::ptrdiff_t open_files()
{
    const std::filesystem::directory_iterator files{"/proc/self/fd"};
    return std::distance(begin(files), end(files));
}

} // namespace

TEST_F(Transmissions, SurviveEachPlatformCallFailing)
{
    GenerateMessage(1, 1);
    for (const auto &f : kFamilies)
        for (int index = 0;; ++index) {
            SetUp();
            platform.master_volume = platform.tv_master_volume = 5;
            platform.fail_any(index);
            const auto result = transmit(f);
            const std::string call = platform.failed();
            if (call.empty()) {
                EXPECT_GT(index, 10);
                EXPECT_EQ(result, std::pair(1, 1));
                break;
            }
            SCOPED_TRACE(std::string{f.name} + ": " + call);
            const auto expected = expected_of(f, call);
            EXPECT_EQ(result, std::pair(expected.start, expected.stop));
            if (expected.text) {
                EXPECT_EQ(platform.count(expected.text), 1);
            }
            EXPECT_EQ(platform.left_over(), expected.left_over);
            const bool is_of_volume = call.ends_with("et_volume");
            if (!is_of_volume) {
                EXPECT_EQ(platform.volume, 9);
            }
            platform.forget();
            platform.turn_master_volume(5);
            EXPECT_EQ(platform.calls(), ""); // a listener left behind does nothing

            platform.volume = 9;
            EXPECT_EQ(transmit(f), std::pair(1, 1));
            EXPECT_EQ(platform.volume, 9);
            EXPECT_EQ(is_ultra_volume_changed, 0);
            const bool info_stays = expected.left_over == "1 stream infos; ";
            EXPECT_EQ(platform.left_over(), info_stays ? expected.left_over : "");
        }
    SetUp();
}

TEST_F(Transmissions, SurviveEachAllocationFailing)
{
    for (const auto &f : kFamilies) {
        std::size_t index = 0;
        for (;; ++index) {
            SetUp();
            const test::failing_allocation failing{index};
            GenerateMessage(2, 1);
            const int32_t started = f.start();
            if (f.play == run_two_callbacks) f.play();
            const int32_t stopped = f.stop();
            if (!failing.happened()) break;
            EXPECT_LE(started, stopped); // what has started has stopped
            EXPECT_EQ(platform.left_over(), "");
            EXPECT_EQ(platform.volume, 9);
        }
        EXPECT_GT(index, 10u);
        EXPECT_EQ(transmit(f), std::pair(1, 1));
    }
}

TEST_F(Transmissions, LeaveNothingBehindInAThousandCycles)
{
    for (const auto &f : kFamilies) {
        GenerateMessage(1, 1);
        std::ptrdiff_t files = 0;
        std::size_t bytes = 0;
        for (int cycle = 0; cycle < 1000; ++cycle) {
            platform.reset();
            ASSERT_EQ(transmit(f), std::pair(1, 1));
            ASSERT_EQ(platform.left_over(), "");
            if (cycle != 100 && cycle != 999) continue;
            platform.reset();
            const auto now = mallinfo2().uordblks;
            if (cycle == 999) {
                EXPECT_EQ(open_files(), files);
                EXPECT_LT(now, bytes + 900 * 8); // less than the smallest block a cycle
            }
            files = open_files();
            bytes = now;
        }
    }
}

} // namespace tonelink
