#include "common/tonelink_tx.h"

#include <atomic>
#include <latch>
#include <thread>

#include "support/failing_memory.h"
#include "support/library_fixture.h"

namespace tonelink {

using test::by;
using test::failing_allocation;
using test::loaded_handle;
using test::platform;

namespace {

class TransmitterHandle : public test::library_test {};
class WriterThread : public test::library_test {};
class StreamCallback : public test::library_test {};

} // namespace

// ---- The handle ----

TEST_F(TransmitterHandle, GeneratesKnownBursts)
{
    // From an independent model: every generate filters, the second of a message its burst once
    // more.
    const std::string pair32 = "00010010011001110011110010100101";
    loaded_handle handle{pair32};
    EXPECT_EQ(test::hash16(handle.burst()), "de2661b91f00701c");
    EXPECT_EQ(handle.load(pair32), 0);
    EXPECT_EQ(test::hash16(handle.burst()), "856007da0e9707f5");
    EXPECT_EQ(handle.load("11011110101011011011111011101111"), 0);
    EXPECT_EQ(test::hash16(handle.burst()), "b77ba1ce25281751");
}

TEST_F(TransmitterHandle, RefusesWhatItCannotDo)
{
    tonelink_tx_h *none = nullptr;
    const uint8_t bits[49] = {};
    EXPECT_EQ(tonelink_tx_open(nullptr), 4);
    EXPECT_EQ(tonelink_tx_open(&none), 10);
    EXPECT_EQ(tonelink_tx_put_bin(nullptr, bits, 1), 1);
    EXPECT_EQ(tonelink_tx_set_samplerate(nullptr, 1), 1);
    EXPECT_EQ(tonelink_tx_generate(nullptr, 32), 10);
    for (const auto close : {tonelink_tx_close, tonelink_tx_close_async}) {
        EXPECT_EQ(close(nullptr), 4);
        EXPECT_EQ(close(&none), 1);
    }
    for (const auto play :
         {tonelink_tx_start, tonelink_tx_stop, tonelink_tx_start_async, tonelink_tx_stop_async})
        EXPECT_EQ(play(nullptr), 10);

    loaded_handle handle;
    EXPECT_EQ(tonelink_tx_put_bin(handle, nullptr, 1), 4);
    EXPECT_EQ(tonelink_tx_put_bin(handle, bits, 49), 4);
    EXPECT_EQ(tonelink_tx_put_bin(handle, bits, 0), 0);
    EXPECT_EQ(handle->message[0], 1); // untouched so far
    EXPECT_EQ(tonelink_tx_set_samplerate(handle, 0), 4);
    EXPECT_EQ(handle->sample_rate, 44100);
    EXPECT_EQ(tonelink_tx_set_samplerate(handle, 48000), 0);
    EXPECT_EQ(handle->sample_rate, 48000);
    EXPECT_EQ(tonelink_tx_stop(handle), 3);
    EXPECT_EQ(tonelink_tx_stop_async(handle), 3);

    const auto burst = handle.burst();
    const float history = yv[2];
    for (const int32_t nbits : {0, 31, 40, 64}) EXPECT_EQ(tonelink_tx_generate(handle, nbits), 6);
    EXPECT_EQ(handle.burst(), burst);
    EXPECT_EQ(yv[2], history);

    EXPECT_EQ(tonelink_tx_close(&handle), 0);
    EXPECT_EQ(tonelink_tx_close(&handle), 0);
    EXPECT_EQ(tonelink_tx_generate(handle, 32), 6);
    EXPECT_EQ(tonelink_tx_start(handle), 7);
    EXPECT_EQ(tonelink_tx_start_async(handle), 7);
    EXPECT_EQ(platform.calls(), "");
}

TEST_F(TransmitterHandle, OpensAndGeneratesOrSaysWhyNot)
{
    for (std::size_t index = 0;; ++index) {
        tonelink_tx_h record;
        std::fill_n(reinterpret_cast<uint8_t *>(&record), sizeof record, uint8_t{0x5A});
        tonelink_tx_h *handle = &record; // filled as malloc's may be
        const failing_allocation failing{index};
        const int32_t opened = tonelink_tx_open(&handle);
        const int32_t made = opened == 0 ? tonelink_tx_generate(handle, 32) : 6;
        EXPECT_EQ(made, failing.happened() ? 6 : 0);
        EXPECT_TRUE(opened == 0 || opened == 5);
        EXPECT_EQ(yv[2] == 0.0f, failing.happened());
        EXPECT_EQ(tonelink_tx_close(&handle), 0);
        EXPECT_EQ(record.modem, nullptr);
        if (!failing.happened()) break;
    }
}

TEST_F(TransmitterHandle, StartsOrSaysWhyNot)
{
    const struct {
        int32_t (*start)(tonelink_tx_h *);
        const char *failing;
        int32_t result;
    } cases[] = {{tonelink_tx_start, "audio_out_create_new", 8},
                 {tonelink_tx_start, "audio_out_prepare", 8},
                 {tonelink_tx_start, "pthread_create", 9},
                 {tonelink_tx_start_async, "audio_out_create_new", 8},
                 {tonelink_tx_start_async, "audio_out_set_stream_cb", 8},
                 {tonelink_tx_start_async, "audio_out_prepare", 8}};
    for (const auto &c : cases) {
        loaded_handle handle;
        platform.fail(c.failing, -1);
        EXPECT_EQ(c.start(handle), c.result);
        EXPECT_EQ(platform.left_over(), "");
        EXPECT_EQ(handle->keep_writing, 0);
        EXPECT_EQ(tonelink_tx_stop(handle), 3);
        EXPECT_EQ(tonelink_tx_stop_async(handle), 3);
        EXPECT_EQ(c.start(handle), 0); // and is taken down by the close
    }
}

// ---- The writer thread ----

TEST_F(WriterThread, SetsTheVolumeByMasterVolumeAndProduct)
{
    const struct {
        int master;
        std::optional<bool> av;
        int volume;
    } cases[] = {{95, {}, 0}, {50, false, 5}, {5, {}, 15}, {5, true, 12}, {0, true, 0}};
    loaded_handle handle;
    for (const auto &c : cases) {
        platform.tv_master_volume = c.master;
        platform.av_product = c.av;
        ASSERT_EQ(tonelink_tx_start(handle), 0);
        platform.wait_for_writes(1);
        EXPECT_EQ(platform.volume, c.volume);
        ASSERT_EQ(tonelink_tx_stop(handle), 0);
        EXPECT_EQ(platform.volume, 9);
    }
}

TEST_F(WriterThread, IsNotDisturbedWhileItPlays)
{
    loaded_handle handle;
    ASSERT_EQ(tonelink_tx_start(handle), 0);
    EXPECT_EQ(handle->is_running, 1);
    EXPECT_EQ(tonelink_tx_start(handle), 3);
    EXPECT_EQ(tonelink_tx_start_async(handle), 3);
    EXPECT_EQ(tonelink_tx_stop_async(handle), 3);
    EXPECT_EQ(tonelink_tx_close_async(&handle), 3);
    EXPECT_EQ(tonelink_tx_generate(handle, 32), 3);
    EXPECT_NE(handle->modem, nullptr);
    EXPECT_EQ(tonelink_tx_close(&handle), 0); // stops it
    EXPECT_EQ(handle->modem, nullptr);
}

TEST_F(WriterThread, StopsWhateverFails)
{
    loaded_handle handle;
    for (const auto *call : {"audio_out_unprepare", "audio_out_destroy"}) {
        ASSERT_EQ(tonelink_tx_start(handle), 0);
        platform.fail(call, -1);
        EXPECT_EQ(tonelink_tx_stop(handle), 8);
        EXPECT_EQ(platform.volume, 9);
        EXPECT_EQ(tonelink_tx_stop(handle), 3);
        EXPECT_EQ(platform.left_over(), "1 outputs; 1 stream infos; ");
        ASSERT_EQ(tonelink_tx_start(handle), 0); // takes it down first
        EXPECT_EQ(platform.left_over(), "1 outputs; 1 stream infos; 1 threads; ");
        EXPECT_EQ(tonelink_tx_stop(handle), 0);
    }
    ASSERT_EQ(tonelink_tx_start(handle), 0);
    platform.fail("audio_out_write", -1, 3);
    platform.wait_for_writes(5); // goes on
    EXPECT_EQ(tonelink_tx_stop(handle), 0);

    // A thread without memory ends at once, and its output waits for the stop.
    platform.forget();
    const failing_allocation failing{1};
    ASSERT_EQ(tonelink_tx_start(handle), 0);
    EXPECT_EQ(tonelink_tx_stop(handle), 0);
    EXPECT_EQ(platform.calls(by::others), "");
}

// ---- The stream callback ----

TEST_F(StreamCallback, SetsTheVolumeOnceAStart)
{
    loaded_handle handle;
    platform.tv_master_volume = 30;
    platform.av_product = true; // not asked for
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(tonelink_tx_start_async(handle), 0);
        EXPECT_EQ(handle->is_running, 0);
        platform.run_callback();
        EXPECT_EQ(handle->is_running, 1);
        EXPECT_EQ(platform.volume, 7);
        platform.volume = 6; // by someone else; nothing looks
        platform.run_callback();
        EXPECT_EQ(platform.volume, 6);
        ASSERT_EQ(tonelink_tx_stop_async(handle), 0);
        EXPECT_EQ(platform.volume, 9);
    }
    EXPECT_EQ(platform.said("IsAVProduct"), "");
}

TEST_F(StreamCallback, IsNotDisturbedWhileArmedOrPlaying)
{
    loaded_handle handle;
    ASSERT_EQ(tonelink_tx_start_async(handle), 0);
    EXPECT_EQ(tonelink_tx_stop_async(handle), 3);
    for (const bool plays : {false, true}) {
        if (plays) platform.run_callback();
        EXPECT_EQ(tonelink_tx_start(handle), 3);
        EXPECT_EQ(tonelink_tx_start_async(handle), 3);
        EXPECT_EQ(tonelink_tx_generate(handle, 32), 3);
        EXPECT_EQ(tonelink_tx_stop(handle), 3);
    }
    EXPECT_EQ(tonelink_tx_close(&handle), 3);
    EXPECT_EQ(tonelink_tx_close_async(&handle), 3);
    EXPECT_NE(handle->modem, nullptr);
    EXPECT_EQ(tonelink_tx_stop_async(handle), 0);

    for (const auto close : {tonelink_tx_close, tonelink_tx_close_async}) {
        loaded_handle armed;
        ASSERT_EQ(tonelink_tx_start_async(armed), 0);
        EXPECT_EQ(close(&armed), 0); // takes it down
        EXPECT_EQ(platform.left_over(), "");
    }
}

TEST_F(StreamCallback, WritesNothingWithoutBurstOrMemory)
{
    _audio_io_stream_write_async_cb(nullptr, 1, nullptr);
    tonelink_tx_h empty{};
    _audio_io_stream_write_async_cb(nullptr, 1, &empty);
    EXPECT_EQ(empty.is_running, 1);

    loaded_handle handle;
    ASSERT_EQ(tonelink_tx_start_async(handle), 0);
    vol_aud_write = 1; // of some earlier time
    {
        const failing_allocation failing{0};
        platform.run_callback();
    }
    EXPECT_EQ(platform.calls(by::others), "");
    EXPECT_EQ(handle->is_running, 1);
    EXPECT_EQ(tonelink_tx_stop_async(handle), 0);
    EXPECT_EQ(platform.volume, 9); // no volume was saved, none is restored
}

TEST_F(StreamCallback, WaitsForACallbackOfAStartThatFails)
{
    loaded_handle handle;
    std::latch under_way{1};
    std::atomic<bool> goes_on = false;
    std::thread device;
    platform.on("Buffer length is 3 23170\n", [&] {
        under_way.count_down();
        while (!goes_on) std::this_thread::yield();
    });
    const auto end_callback = [&] {
        goes_on = true;
        if (device.joinable()) device.join();
    };
    platform.on("audio_out_prepare", [&] {
        device = std::thread{[] { platform.run_callback(); }};
        under_way.wait();
    });
    platform.on("audio_out_unset_stream_cb", end_callback);
    platform.fail("audio_out_prepare", -1);
    EXPECT_EQ(tonelink_tx_start_async(handle), 8);
    EXPECT_FALSE(device.joinable());
    end_callback();
    EXPECT_EQ(platform.volume, 9);
    EXPECT_EQ(handle->is_running + b_audio_write_, 0);
}

TEST_F(StreamCallback, StopsWhateverFails)
{
    for (const auto *call :
         {"audio_out_unset_stream_cb", "audio_out_unprepare", "audio_out_destroy"})
        for (const bool restarts : {false, true}) {
            loaded_handle handle;
            platform.volume = 9;
            ASSERT_EQ(tonelink_tx_start_async(handle), 0);
            platform.run_callback();
            platform.fail(call, -1);
            EXPECT_EQ(tonelink_tx_stop_async(handle), 8);
            EXPECT_EQ(platform.volume, 5); // not restored
            platform.run_callback();       // one that is still registered does nothing
            EXPECT_EQ(handle->is_running + b_audio_write_, 0);
            EXPECT_EQ(tonelink_tx_stop_async(handle), 3);
            if (restarts) {
                ASSERT_EQ(tonelink_tx_start_async(handle), 0); // takes it down first
                platform.run_callback();
                EXPECT_EQ(tonelink_tx_stop_async(handle), 0);
            } else {
                EXPECT_EQ(tonelink_tx_close_async(&handle), 0);
            }
            EXPECT_EQ(platform.left_over(), "");
        }
}

TEST_F(StreamCallback, MeetsAStopAtAnyPoint)
{
    // A callback that is under way when the stop begins neither marks the handle as running nor
    // takes the transmission's volume for the user's.
    loaded_handle handle;
    ASSERT_EQ(tonelink_tx_start_async(handle), 0);
    platform.run_callback();
    std::latch under_way{1};
    std::latch stopping{1};
    platform.on("Buffer length is 3 23170\n", [&] { under_way.count_down(), stopping.wait(); });
    std::thread device{[] { platform.run_callback(); }};
    under_way.wait();
    platform.on("audio_out_unset_stream_cb", [&] { stopping.count_down(), device.join(); });
    ASSERT_EQ(tonelink_tx_stop_async(handle), 0);
    EXPECT_EQ(platform.volume, 9);
    EXPECT_EQ(handle->is_running + b_audio_write_, 0);

    // A device that never rests.
    platform.reset();
    platform.device_plays = true;
    for (int round = 0; round < 50; ++round) {
        ASSERT_EQ(tonelink_tx_start_async(handle), 0);
        int32_t result = 3;
        while (result == 3) result = tonelink_tx_stop_async(handle);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(platform.volume, 9);
        EXPECT_EQ(handle->is_running, 0);
    }
}

TEST_F(StreamCallback, TakesHandFilledRecords)
{
    // What a caller may do with a zeroed record: the private fields mean nothing special.
    int16_t samples[] = {1, -2, 3};
    int32_t length = 3;
    tonelink_tx_h record{};
    tonelink_tx_h *handle = &record;
    record.burst = samples;
    record.burst_length = &length;
    ASSERT_EQ(audio_create(44100, &record.audio_out), 0);
    platform.keeps_samples = true;
    _audio_io_stream_write_async_cb(record.audio_out, 7, &record);
    ASSERT_EQ(platform.writes.size(), 1u);
    EXPECT_EQ(platform.writes[0],
              (std::vector<int16_t>{1, -2, 3, 1, -2, 3, 1, -2, 3, 1, -2, 3, 1, -2, 3}));
    EXPECT_EQ(tonelink_tx_stop_async(handle), 0);
    EXPECT_EQ(tonelink_tx_close(&handle), 0);
}

} // namespace tonelink
