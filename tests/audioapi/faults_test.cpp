// Whole transmissions of every family with each fault, once and for good, and each two of them; and
// a thousand of each family without.
#include <atomic>
#include <ostream>
#include <thread>

#include <malloc.h>

#include "support/failing_memory.h"
#include "support/library_fixture.h"
#include "support/scaled.h"
#include "tonelink/transmit.h"

namespace tonelink::test {

namespace {

using Transmissions = library_test;

void run_two_callbacks() // if there is one
{
    platform.run_callback();
    platform.run_callback();
}

struct family {
    const char *name;
    int32_t (*start)();
    int32_t (*stop)();

    /// One transmission, played if it has started and the fault was not its thread's.
    std::pair<int32_t, int32_t> transmit() const
    {
        const int32_t started = start();
        if (started == 1 && platform.failed() != "pthread_create") {
            run_two_callbacks();
            platform.wait_for_writes(2);
        }
        return {started, stop()};
    }

    friend void PrintTo(const family &f, std::ostream *stream) { *stream << f.name; }
};

int32_t start_standalone()
{
    GenerateMessage(2, 1);
    return StartTransmitting(0, 44100);
}

const family kFamilies[] = {
    {"writer thread", start_audio_transmitting, stop_audio_transmitting},
    {"stream callback", start_audio_transmitting_async, stop_audio_transmitting_async},
    {"standalone", start_standalone, StopTransmitting},
};

const std::pair kPlayed{1, 1}; // what start and stop return

/// What a start and a stop of the service return when one call fails, and what may stay behind
/// until the next start; the latter also for the standalone transmitter, which goes on whatever
/// fails.
struct expectation {
    std::string call;
    std::pair<int, int> results = kPlayed;
    std::string left_over{};
    std::string left_standalone{};
};

const std::string kInfo = "1 stream infos; "; // which stays for ever
const expectation kExpectations[] = {
    {"bt_adapter_get_address", {-1, 0}},
    {"sound_manager_create_stream_information", {0, 0}},
    {"audio_out_create_new", {0, 0}},
    {"audio_out_set_sound_stream_info", {0, 0}, kInfo, kInfo},
    {"audio_out_set_stream_cb", {0, 0}},
    {"audio_out_prepare", {0, 0}},
    {"pthread_create", {0, 0}},
    {"audio_out_unset_stream_cb", {1, 0}, "listener; "},
    {"audio_out_unprepare", {1, 0}, "listener; "},
    {"audio_out_destroy", {1, 0}, "listener; ", "1 outputs; 1 stream infos; "},
    {"sound_manager_destroy_stream_information", kPlayed, kInfo, kInfo},
    {"sound_manager_unset_master_volume_changed_cb", kPlayed, "listener; "},
};

expectation expected_of(const family &f, const std::string &call)
{
    const auto *const found = std::ranges::find(kExpectations, call, &expectation::call);
    const auto expected = found == std::end(kExpectations) ? expectation{call} : *found;
    if (f.start != start_standalone) return expected;
    return {.call = call, .left_over = expected.left_standalone};
}

/// After whatever has failed, and does not any more, all is well with the next transmission but
/// for stream information that the platform has refused to bind or to release.
void expect_next_is_well(const family &f)
{
    platform.fail(platform.failed(), 0, 0);
    platform.fail_any(-1);
    platform.turn_master_volume(50);
    platform.volume = 9;
    EXPECT_EQ(f.transmit(), kPlayed);
    EXPECT_EQ(f.transmit(), kPlayed); // which takes down what the one before has refused to be
    const std::string left = platform.left_over();
    EXPECT_TRUE(left.empty() || left.ends_with(" stream infos; ")) << left;
    EXPECT_EQ(left.find("outputs"), left.npos) << left;
    EXPECT_EQ(platform.volume, 9);
    EXPECT_EQ(platform.floor + is_ultra_volume_changed, 0);
    EXPECT_EQ(b_audio_write_, 0);
    EXPECT_EQ(tx_handler, nullptr);
}

} // namespace

TEST_F(Transmissions, SurviveEachPlatformCallFailing)
{
    for (const auto &f : kFamilies)
        for (int index = 0;; ++index) {
            SetUp();
            platform.master_volume = platform.tv_master_volume = 5;
            platform.fail_any(index);
            const auto results = f.transmit();
            const std::string call = platform.failed();
            if (call.empty()) {
                EXPECT_GT(index, 10);
                EXPECT_EQ(results, kPlayed);
                break;
            }
            SCOPED_TRACE(std::string{f.name} + ": " + call);
            const auto expected = expected_of(f, call);
            EXPECT_EQ(results, expected.results);
            EXPECT_EQ(platform.count("Failed to get BD Address"), call == "bt_adapter_get_address");
            EXPECT_EQ(platform.count("sound_manager_set_master_volume_changed_cb failed"),
                      call == "sound_manager_set_master_volume_changed_cb");
            EXPECT_EQ(platform.left_over(), expected.left_over);
            EXPECT_TRUE(platform.volume == 9 || call.ends_with("et_volume"));
            platform.forget();
            platform.turn_master_volume(5);
            EXPECT_EQ(platform.trace(), ""); // a listener left behind does nothing

            platform.volume = 9;
            EXPECT_EQ(f.transmit(), kPlayed);
            EXPECT_EQ(platform.volume, 9);
            EXPECT_EQ(is_ultra_volume_changed, 0);
            EXPECT_EQ(platform.left_over(), expected.left_over == kInfo ? kInfo : "");
        }
    SetUp();
}

TEST_F(Transmissions, SurviveEachAllocationFailing)
{
    for (const auto &f : kFamilies) {
        std::size_t index = 0;
        for (;; ++index) {
            SetUp();
            const failing_allocation failing{index};
            const int32_t started = f.start();
            run_two_callbacks();
            const int32_t stopped = f.stop();
            if (!failing.happened()) break;
            EXPECT_LE(started, stopped); // what has started has stopped
            EXPECT_EQ(platform.left_over(), "");
            EXPECT_EQ(platform.volume, 9);
        }
        EXPECT_GT(index, 10u);
        EXPECT_EQ(f.transmit(), kPlayed);
    }
}

TEST_F(Transmissions, SurviveEachPlatformCallFailingForGood)
{
    for (const auto &f : kFamilies)
        for (int index = 0;; ++index) {
            SetUp();
            platform.master_volume = platform.tv_master_volume = 5;
            platform.fail_for_good(index);
            const int32_t started = f.start();
            const std::string call = platform.failed();
            SCOPED_TRACE(std::string{f.name} + ": " + call);
            run_two_callbacks();
            for (int stop = 0; stop < 3; ++stop) {
                f.stop();
                run_two_callbacks(); // of records that the platform has kept
            }
            if (platform.failed().empty()) {
                EXPECT_EQ(started, 1);
                break;
            }
            EXPECT_EQ(f.start() == -1, call == "bt_adapter_get_address");
            run_two_callbacks();
            f.stop();
            expect_next_is_well(f);
        }
    SetUp();
}

/// Each two calls of the thread that starts and stops, and each of its calls with each allocation.
TEST_F(Transmissions, SurviveEachTwoFaults)
{
    constexpr std::size_t kNoAllocation = SIZE_MAX / 2;
    const auto transmit = [this](const family &f, int first, int second, std::size_t allocation) {
        SCOPED_TRACE(std::string{f.name} + ": " + std::to_string(first) + ", " +
                     std::to_string(second) + ", " + std::to_string(allocation));
        SetUp();
        platform.master_volume = platform.tv_master_volume = 5;
        platform.fail_two(first, second);
        bool has_failed = false; // the allocation
        {
            const failing_allocation failing{allocation};
            f.start();
            run_two_callbacks();
            f.stop();
            run_two_callbacks(); // of a record that the platform has kept
            has_failed = failing.happened();
        }
        const int calls = platform.own_calls();
        expect_next_is_well(f);
        return std::pair{calls, has_failed};
    };
    for (const auto &f : kFamilies) {
        const int calls = transmit(f, -1, -1, kNoAllocation).first;
        EXPECT_GE(calls, 9);
        for (int first = 0; first < calls; ++first) {
            // A fault can make the road longer.
            for (int second = first + 1, last = calls; second < last; ++second)
                last = std::max(calls, transmit(f, first, second, kNoAllocation).first);
            std::size_t allocation = 0;
            while (transmit(f, first, -1, allocation).second) ++allocation;
        }
    }
    SetUp();
}

class ThousandTransmissions : public library_test, public testing::WithParamInterface<family> {};

TEST_P(ThousandTransmissions, LeaveNothingBehind)
{
    std::size_t bytes = 0;
    const int cycles = scaled(1000);
    for (int cycle = 0; cycle < cycles; ++cycle) {
        platform.reset();
        if (cycle == 100) bytes = mallinfo2().uordblks;
        ASSERT_EQ(GetParam().transmit(), kPlayed);
        ASSERT_EQ(platform.left_over(), "");
    }
    platform.reset();
    EXPECT_LT(mallinfo2().uordblks, bytes + 900 * 8); // less than the smallest block a cycle
}

/// An hour of one transmission, in as many writes as that takes.
TEST_P(ThousandTransmissions, PlayOnWithTheMemoryOfTheBeginning)
{
    const auto &f = GetParam();
    const int copies = f.start == start_standalone ? 1 : 5; // in a write
    const int writes = scaled(3600 * 44100 / (copies * 23170));
    int made = 0;
    std::size_t bytes = 0, bytes_at_the_end = 0;
    std::atomic<bool> is_over = false;
    platform.on("audio_out_write", [&] { // by the thread that writes
        platform.forget();
        ++made;
        if (made == writes / 10) bytes = mallinfo2().uordblks;
        if (made == writes) bytes_at_the_end = mallinfo2().uordblks;
        is_over = made >= writes;
    });
    ASSERT_EQ(f.start(), 1);
    while (!is_over) {
        platform.run_callback();
        std::this_thread::yield();
    }
    EXPECT_EQ(f.stop(), 1);
    platform.on("audio_out_write", nullptr);
    EXPECT_LT(bytes_at_the_end, bytes + static_cast<std::size_t>(writes) * 8);
}

INSTANTIATE_TEST_SUITE_P(Families, ThousandTransmissions, testing::ValuesIn(kFamilies));

} // namespace tonelink::test
