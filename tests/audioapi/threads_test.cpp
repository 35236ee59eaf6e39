// The service, the payload, the standalone transmitter, handles and modems from several threads at
// once, with a device that plays and a user who turns the volume.
#include <array>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <span>
#include <thread>
#include <vector>

#include "modem/known_bursts.h"
#include "support/library_fixture.h"
#include "support/modem_guard.h"
#include "support/scaled.h"

namespace tonelink::test {

namespace {

using ManyThreads = library_test;

constexpr std::array<uint8_t, 6> kBytes = {1, 2, 3, 4, 5, 6};

/// Each of some bodies on a thread of its own, so many times.
void run_at_once(int rounds, const std::vector<std::function<void(int)>> &bodies)
{
    std::vector<std::thread> threads;
    for (const auto &body : bodies)
        threads.emplace_back([&body, rounds] {
            for (int round = 0; round < rounds; ++round) body(round);
        });
    for (auto &thread : threads) thread.join();
}

/// Ends what runs, and takes down what an earlier stop or a counted run has left.
void stop_everything()
{
    stop_audio_transmitting();
    StopTransmitting();
    platform.turn_master_volume(50);
    EXPECT_EQ(start_audio_transmitting(), 1);
    platform.wait_for_writes(1);
    EXPECT_EQ(stop_audio_transmitting(), 1);
    EXPECT_EQ(StartTransmitting(0, 44100), 1);
    EXPECT_EQ(StopTransmitting(), 1);
}

} // namespace

TEST_F(ManyThreads, CallWhatTheyLike)
{
    platform.device_plays = true;
    std::atomic<int> started = 0;
    const std::array<std::function<void()>, 31> calls = {
        [&] { started += start_audio_transmitting() == 1; },
        [&] { started += start_audio_transmitting_type(2) == 1; },
        [&] { started += start_audio_transmitting_async() == 1; },
        [&] { started += start_audio_transmitting_async_type_managed(2) == 1; },
        [&] { started += start_audiodata_transmission_managed(kBytes.data(), 6, 2) == 1; },
        [] { stop_audio_transmitting(); },
        [] { stop_audio_transmitting_async(); },
        [] { stop_audio_transmitting_async_managed(); },
        [] { set_tx_sample_rate(44100); },
        [] { set_pin_in_ultrasound(4711, "1:2:3:4:5:6"); },
        [] { set_pin_Custom_in_ultrasound("1234", 1, 2, 4, 0); },
        [] { set_pin_Custom_in_ultrasound("99", 1, 1, 2, 0); },
        [] { platform.turn_master_volume(5); },
        [] { platform.turn_master_volume(50); },
        [] { get_set_tv_volume(); },
        [] { IsAVProduct(); },
        [] { Generate_Random_PIN(); },
        [] { set_app_mode(get_app_mode() + get_audio_pin()); },
        [] { GenerateMessage(77, 2); },
        [] { StartTransmitting(0, 44100); },
        [] { StartTransmitting(1, 44100); },
        [] { StopTransmitting(); },
        [] { StopTransmitting(); },
        [] { format_msg_pin(message_row{}.data(), "1234"); },
        [] { format_msg(message_row{}.data(), 1234, "1:2:3:4:5:6", 48); },
        [] { format_msgm(message_row{}.data(), kBytes.data(), 6, 2); },
        [] { bitset(77, std::array<int32_t, 32>{}.data()); },
        [] { std::free(Get_TV_BD_Addr()); },
        [] { set_tv_volume(get_tv_volume()); },
        [] { set_pin_in_ultrasound_managed(1234, "1:2:3:4:5:6"); },
        [] { set_tx_samplerate_managed(44100); },
    };
    for (int round = 0; round < scaled(4); ++round) {
        std::atomic<int> done = 0;
        const auto any_call = [&](unsigned seed) {
            return [&, seed](int) mutable {
                seed = seed * 1664525 + 1013904223;
                calls[(seed >> 16) % calls.size()]();
                ++done;
            };
        };
        const auto first = static_cast<unsigned>(10 * round);
        run_at_once(100, {any_call(first), any_call(first + 1), any_call(first + 2)});
        EXPECT_EQ(done, 300);
        stop_everything();
        EXPECT_EQ(platform.left_over(), "");
        EXPECT_EQ(platform.volume, 9);
        EXPECT_EQ(platform.floor + is_ultra_volume_changed, 0);
        platform.forget();
    }
    EXPECT_GT(started, 0);
}

/// The start that is taken sends what it was given, not what others prepare.
TEST_F(ManyThreads, SendWhatTheyWereGiven)
{
    std::atomic<int> sent = 0;
    const auto sender = [&](uint8_t letter) {
        return [&, letter](int) {
            const std::array<uint8_t, 6> data{letter, letter, letter, letter, letter, letter};
            if (start_audiodata_transmission(data.data(), 6, 2) != 1) return;
            std::array<uint8_t, 48> expected{};
            for (int32_t n = 0; n < 6; ++n) put(expected.data(), letter, 8 * n, 8);
            EXPECT_TRUE(std::ranges::equal(expected, tx_handler->message));
            stop_audio_transmitting_async();
            ++sent;
        };
    };
    run_at_once(100, {sender('A'), sender('B'), [](int) { set_pin_in_ultrasound(1234, "1:2"); }});
    EXPECT_GT(sent, 0);
    EXPECT_EQ(platform.left_over(), "listener; "); // of stops before the first callback
    platform.reset();
}

/// Each thread a handle of its own, by either player.
TEST_F(ManyThreads, PlayHandlesOfTheirOwn)
{
    platform.device_plays = true;
    const auto play = [](int round) {
        loaded_handle handle;
        tonelink_tx_h *const record = handle;
        if (round % 2 == 0) {
            EXPECT_EQ(tonelink_tx_start(record), 0);
            EXPECT_EQ(tonelink_tx_stop(record), 0);
        } else {
            EXPECT_EQ(tonelink_tx_start_async(record), 0);
            while (std::atomic_ref{record->is_running} == 0) std::this_thread::yield();
            EXPECT_EQ(tonelink_tx_stop_async(record), 0);
        }
    };
    run_at_once(scaled(20), {play, play, play});
    EXPECT_EQ(platform.left_over(), "");
}

/// What a program hears is its message, and what it sends is the burst, however often a start
/// begins the band shifters anew.
TEST_F(ManyThreads, ReceiveAndStartAtOnce)
{
    open_modem receiving;
    const auto burst = receiving.burst(kPair32.bits);
    std::vector<int16_t> sound(burst.size() + 20000);
    std::ranges::copy(burst, sound.begin() + 5000);
    const auto receive = [&](int) {
        int32_t *records = nullptr, *count = nullptr;
        reset_snfc(&receiving);
        const auto length = static_cast<int32_t>(sound.size());
        ASSERT_EQ(receiver_snfc(&receiving, sound.data(), length, &records, &count, 32), 1);
        EXPECT_EQ(records[2], 0x12673CA5);
    };
    const auto send = [](int) {
        ASSERT_EQ(GenerateMessage(0x12673CA5, 1), 1);
        EXPECT_EQ(hash16(std::span{buf, static_cast<std::size_t>(buf_length)}), kPair32.burst);
        ASSERT_EQ(start_audio_transmitting(), 1);
        EXPECT_EQ(stop_audio_transmitting(), 1);
    };
    run_at_once(scaled(20), {receive, send});
}

} // namespace tonelink::test
